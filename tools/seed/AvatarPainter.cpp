#include "AvatarPainter.h"

#include <QBuffer>
#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

#include <array>
#include <cmath>

namespace {

// Coats real dogs wear, from cream to black.
constexpr std::array<QRgb, 8> coats = {0xEBD3A8, 0xD9A05B, 0xC0703A, 0x8A5A36,
                                       0x5E3B26, 0x3A3533, 0xA7A6AB, 0xF4EFE6};

QColor mixed(const QColor &a, const QColor &b, double share)
{
    return QColor::fromRgbF(float(a.redF() * (1 - share) + b.redF() * share),
                            float(a.greenF() * (1 - share) + b.greenF() * share),
                            float(a.blueF() * (1 - share) + b.blueF() * share));
}

// One of `choices` picked from `look`; each salt gives a choice independent of the others.
quint32 trait(quint32 look, quint32 salt, std::size_t choices)
{
    quint32 x = look ^ (salt * 0x9E3779B9u);
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    x ^= x >> 16;
    return x % quint32(choices);
}

bool isDark(const QColor &colour)
{
    return colour.lightnessF() < 0.35;
}

void ellipse(QPainter &painter, QPointF centre, double rx, double ry, const QBrush &brush)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(brush);
    painter.drawEllipse(centre, rx, ry);
}

// An ellipse turned by `degrees` around its own centre.
void turnedEllipse(QPainter &painter, QPointF centre, double rx, double ry, double degrees,
                   const QBrush &brush)
{
    painter.save();
    painter.translate(centre);
    painter.rotate(degrees);
    ellipse(painter, {0, 0}, rx, ry, brush);
    painter.restore();
}

} // namespace

AvatarPainter::Palette AvatarPainter::paletteFor(quint32 look)
{
    Palette palette;
    const float hue = float(trait(look, 1, 360)) / 360.0f;
    palette.light = QColor::fromHsvF(hue, 0.22f, 0.99f);
    palette.deep = QColor::fromHsvF(std::fmod(hue + 0.09f, 1.0f), 0.48f, 0.90f);
    palette.fur = QColor(coats[trait(look, 2, coats.size())]);
    palette.ears = isDark(palette.fur) ? palette.fur.lighter(135) : palette.fur.darker(135);
    palette.muzzle = mixed(palette.fur, QColor(0xFFF8EE), isDark(palette.fur) ? 0.35 : 0.6);
    palette.accent = QColor::fromHsvF(std::fmod(hue + 0.5f, 1.0f), 0.65f, 0.80f);
    return palette;
}

void AvatarPainter::paintBackground(QPainter &painter, const Palette &palette, quint32 look)
{
    QLinearGradient tones(0, 0, size, size);
    tones.setColorAt(0, palette.light);
    tones.setColorAt(1, palette.deep);
    painter.fillRect(QRect(0, 0, size, size), tones);

    QRadialGradient glow(QPointF(size * 0.5, size * 0.42), size * 0.55);
    glow.setColorAt(0, QColor(255, 255, 255, 120));
    glow.setColorAt(1, QColor(255, 255, 255, 0));
    painter.fillRect(QRect(0, 0, size, size), glow);

    // A few soft bubbles give the background some depth without competing with the motif.
    for (int i = 0; i < 6; ++i) {
        const quint32 bits = look * 2654435761u + quint32(i) * 40503u;
        const QPointF at((bits % 512), ((bits >> 9) % 512));
        const double radius = 14 + (bits >> 18) % 40;
        ellipse(painter, at, radius, radius, QColor(255, 255, 255, 34));
    }
}

void AvatarPainter::paintInitial(QPainter &painter, const QRectF &box, QChar initial, QColor colour,
                                 int pixelSize)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setBold(true);
    font.setPixelSize(pixelSize);
    painter.setFont(font);
    painter.setPen(colour);
    painter.drawText(box, Qt::AlignCenter, QString(initial.toUpper()));
}

void AvatarPainter::paintDog(QPainter &painter, const Palette &palette, quint32 look, QChar initial)
{
    const bool floppy = trait(look, 3, 2) == 0;
    const bool patch = trait(look, 4, 4) == 0;
    const bool tongue = trait(look, 5, 2) == 0;
    const QColor ink(0x2A2421);

    // Shoulders, then the collar and its tag, then the head over them.
    ellipse(painter, {256, 545}, 190, 178, palette.fur.darker(108));
    QPainterPath collar;
    collar.moveTo(160, 394);
    collar.quadTo(256, 448, 352, 394);
    painter.setPen(QPen(palette.accent, 24, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(collar);

    if (floppy) {
        turnedEllipse(painter, {150, 238}, 48, 96, 18, palette.ears);
        turnedEllipse(painter, {362, 238}, 48, 96, -18, palette.ears);
    } else {
        const QColor inner = mixed(palette.ears, QColor(0xF2A7A0), 0.45);
        for (const int side : {-1, 1}) {
            QPainterPath ear;
            ear.moveTo(256 + side * 62, 170);
            ear.lineTo(256 + side * 122, 62);
            ear.lineTo(256 + side * 138, 200);
            ear.closeSubpath();
            painter.setPen(QPen(palette.ears, 26, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.setBrush(palette.ears);
            painter.drawPath(ear);
            QPainterPath inside;
            inside.moveTo(256 + side * 80, 170);
            inside.lineTo(256 + side * 118, 100);
            inside.lineTo(256 + side * 124, 190);
            inside.closeSubpath();
            painter.setPen(QPen(inner, 10, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.setBrush(inner);
            painter.drawPath(inside);
        }
    }

    QLinearGradient shade(0, 140, 0, 370);
    shade.setColorAt(0, palette.fur.lighter(110));
    shade.setColorAt(1, palette.fur.darker(104));
    QPainterPath head;
    head.addEllipse(QPointF(256, 252), 118, 112);
    painter.setPen(Qt::NoPen);
    painter.setBrush(shade);
    painter.drawPath(head);
    if (patch) {
        painter.save();
        painter.setClipPath(head);
        turnedEllipse(painter, {304, 222}, 44, 38, -15, palette.ears);
        painter.restore();
    }

    ellipse(painter, {256, 304}, 72, 52, palette.muzzle);
    for (const int side : {-1, 1})
        ellipse(painter, {256 + side * 84.0, 282}, 16, 11, QColor(0xF29C9C).lighter(105));

    for (const int side : {-1, 1}) {
        const QPointF eye(256 + side * 44.0, 226);
        if (isDark(palette.fur))
            ellipse(painter, eye, 18, 18, palette.fur.lighter(190));
        ellipse(painter, eye, 14, 14, ink);
        ellipse(painter, eye + QPointF(-4, -5), 5, 5, Qt::white);
    }

    if (tongue) {
        ellipse(painter, {256, 332}, 17, 22, QColor(0xEE7487));
        painter.setPen(QPen(QColor(0xC95266), 3, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(256, 322), QPointF(256, 342));
    }
    QPainterPath mouth;
    mouth.moveTo(256, 290);
    mouth.lineTo(256, 310);
    mouth.moveTo(226, 306);
    mouth.quadTo(242, 326, 256, 310);
    mouth.quadTo(270, 326, 286, 306);
    painter.setPen(QPen(ink, 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(mouth);

    QPainterPath nose;
    nose.moveTo(232, 272);
    nose.cubicTo(232, 258, 280, 258, 280, 272);
    nose.cubicTo(280, 284, 266, 292, 256, 292);
    nose.cubicTo(246, 292, 232, 284, 232, 272);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawPath(nose);
    ellipse(painter, {248, 268}, 7, 4, QColor(255, 255, 255, 150));

    // The tag on the collar carries the owner's initial.
    const QPointF tag(256, 448);
    ellipse(painter, {256, 420}, 9, 9, QColor(0xC9A227));
    QRadialGradient gold(tag + QPointF(-12, -14), 54);
    gold.setColorAt(0, QColor(0xFFE38A));
    gold.setColorAt(1, QColor(0xE0A928));
    painter.setPen(QPen(QColor(0xB8861B), 3));
    painter.setBrush(gold);
    painter.drawEllipse(tag, 40, 40);
    paintInitial(painter, QRectF(tag.x() - 40, tag.y() - 40, 80, 80), initial, QColor(0x6B4A0E),
                 46);
}

void AvatarPainter::paintPaw(QPainter &painter, const Palette &palette, QChar initial)
{
    const QColor pad(255, 255, 255, 235);
    const QColor shadow(0, 0, 0, 28);
    const QPointF toes[] = {{144, 220}, {202, 136}, {310, 136}, {368, 220}};
    const double tilts[] = {-28, -10, 10, 28};
    for (const QPointF offset : {QPointF(6, 8), QPointF(0, 0)}) {
        const bool isShadow = !offset.isNull();
        for (int i = 0; i < 4; ++i)
            turnedEllipse(painter, toes[i] + offset, 40, 52, tilts[i], isShadow ? shadow : pad);
        QPainterPath ball;
        ball.moveTo(QPointF(256, 232) + offset);
        ball.cubicTo(QPointF(340, 232) + offset, QPointF(384, 332) + offset,
                     QPointF(350, 380) + offset);
        ball.cubicTo(QPointF(318, 424) + offset, QPointF(194, 424) + offset,
                     QPointF(162, 380) + offset);
        ball.cubicTo(QPointF(128, 332) + offset, QPointF(172, 232) + offset,
                     QPointF(256, 232) + offset);
        painter.setPen(Qt::NoPen);
        painter.setBrush(isShadow ? shadow : pad);
        painter.drawPath(ball);
    }
    paintInitial(painter, QRectF(166, 262, 180, 140), initial, palette.deep.darker(150), 112);
}

QImage AvatarPainter::paint(QChar initial, quint32 look) const
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const Palette palette = paletteFor(look);
    paintBackground(painter, palette, look);
    if (trait(look, 6, 5) == 0)
        paintPaw(painter, palette, initial);
    else
        paintDog(painter, palette, look, initial);
    painter.end();
    return image.convertToFormat(QImage::Format_RGB32);
}

QByteArray AvatarPainter::png(QChar initial, quint32 look) const
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    paint(initial, look).save(&buffer, "PNG");
    return bytes;
}
