#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>

class QPainter;

// Paints a demo profile picture: a soft two-tone background, a dog's head wearing a collar tag
// or a paw print, and the owner's initial. `look` chooses colours and motif, so every seed
// gives a varied but repeatable neighbourhood. Everything important stays inside the circle
// the app crops pictures to.
class AvatarPainter
{
public:
    static constexpr int size = 512;

    QImage paint(QChar initial, quint32 look) const;
    // The same picture as PNG bytes, as the profile upload takes it.
    QByteArray png(QChar initial, quint32 look) const;

private:
    struct Palette
    {
        QColor light, deep; // the background's two tones
        QColor fur, ears, muzzle;
        QColor accent; // the collar
    };
    static Palette paletteFor(quint32 look);

    static void paintBackground(QPainter &painter, const Palette &palette, quint32 look);
    static void paintDog(QPainter &painter, const Palette &palette, quint32 look, QChar initial);
    static void paintPaw(QPainter &painter, const Palette &palette, QChar initial);
    static void paintInitial(QPainter &painter, const QRectF &box, QChar initial, QColor colour,
                             int pixelSize);
};
