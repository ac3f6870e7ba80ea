#pragma once

#include <QQuickAsyncImageProvider>

// Every picture the views show from the network, a file or the app's resources, through one
// path: image://picture/<shape>/<percent-encoded address>, with shape "round" (a circle),
// "rounded-<radius>" or "square". The bytes come through a disk cache under the app's home
// (uploaded pictures never change under their name, so a picture seen once shows again at
// once and without the network); each is decoded at the size shown and cut to its shape
// here, which every renderer can draw.
class PictureProvider : public QQuickAsyncImageProvider
{
public:
    static constexpr const char *name = "picture";
    // Pictures larger than this are not read: no profile picture comes near it.
    static constexpr qint64 maximumBytes = 8LL * 1024 * 1024;

    QQuickImageResponse *requestImageResponse(const QString &id,
                                              const QSize &requestedSize) override;
    // Deployment::homeDirectory()/PictureCache
    static QString cacheDirectory();
};

// `image` scaled to cover `size` (cropped in the middle) and cut to `shape`.
QImage shapedPicture(const QImage &image, const QSize &size, const QString &shape);
