#include "Platform/UI/PictureProvider.h"

#include "Deployment.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QNetworkAccessManager>
#include <QNetworkDiskCache>
#include <QNetworkReply>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QThread>
#include <QUrl>

namespace {

constexpr qint64 cacheBytes = 200LL * 1024 * 1024;
constexpr int largestSide = 2048;

// The network side, on the main thread: one manager and one disk cache for every picture.
QNetworkAccessManager &pictureNetwork()
{
    static QPointer<QNetworkAccessManager> manager;
    if (!manager) {
        manager = new QNetworkAccessManager(QCoreApplication::instance());
        auto *cache = new QNetworkDiskCache(manager);
        cache->setCacheDirectory(PictureProvider::cacheDirectory());
        cache->setMaximumCacheSize(cacheBytes);
        manager->setCache(cache);
    }
    return *manager;
}

QImage decoded(const QByteArray &bytes, const QSize &wanted, QString &error)
{
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize full = reader.size();
    if (full.isValid() && wanted.isValid() && !wanted.isEmpty() &&
        (full.width() > wanted.width() * 2 || full.height() > wanted.height() * 2))
        // Decoding at (about) the size shown is much cheaper for large pictures.
        reader.setScaledSize(full.scaled(wanted * 2, Qt::KeepAspectRatioByExpanding));
    else if (full.isValid() && (full.width() > largestSide || full.height() > largestSide))
        reader.setScaledSize(full.scaled(largestSide, largestSide, Qt::KeepAspectRatio));
    QImage image;
    if (!reader.read(&image))
        error = reader.errorString();
    return image;
}

class PictureResponse : public QQuickImageResponse
{
public:
    PictureResponse(QString shape, QUrl address, QSize size)
        : shape_(std::move(shape)), address_(std::move(address)), size_(size)
    {}

    QQuickTextureFactory *textureFactory() const override
    {
        return QQuickTextureFactory::textureFactoryForImage(image_);
    }
    QString errorString() const override { return error_; }

    // On the main thread.
    void start()
    {
        if (address_.scheme() == QLatin1String("http") ||
            address_.scheme() == QLatin1String("https"))
            return fetch();
        const QString path = address_.scheme() == QLatin1String("qrc")
                                 ? QLatin1Char(':') + address_.path()
                                 : address_.toLocalFile();
        QFile file(path);
        if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
            return finish({}, QStringLiteral("cannot open %1").arg(address_.toString()));
        if (file.size() > PictureProvider::maximumBytes)
            return finish({}, QStringLiteral("%1 is too large").arg(address_.toString()));
        finish(file.readAll(), {});
    }

private:
    void fetch()
    {
        QNetworkRequest request(address_);
        request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                             QNetworkRequest::PreferCache);
        request.setTransferTimeout(static_cast<int>(Deployment::requestTimeout().count()));
        QNetworkReply *reply = pictureNetwork().get(request);
        connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received) {
            if (received > PictureProvider::maximumBytes)
                reply->abort();
        });
        connect(reply, &QNetworkReply::finished, this, [this, reply] {
            reply->deleteLater();
            if (reply->error() != QNetworkReply::NoError)
                return finish({}, reply->errorString());
            finish(reply->readAll(), {});
        });
    }

    void finish(const QByteArray &bytes, QString error)
    {
        if (error.isEmpty()) {
            const QImage image = decoded(bytes, size_, error);
            if (error.isEmpty())
                image_ = shapedPicture(image, size_.isEmpty() ? image.size() : size_, shape_);
        }
        error_ = std::move(error);
        Q_EMIT
        finished();
    }

    QString shape_;
    QUrl address_;
    QSize size_;
    QImage image_;
    QString error_;
};

} // namespace

QQuickImageResponse *PictureProvider::requestImageResponse(const QString &id,
                                                           const QSize &requestedSize)
{
    const qsizetype slash = id.indexOf(QLatin1Char('/'));
    const QString shape = slash < 0 ? QString() : id.left(slash);
    const QUrl address = QUrl(QUrl::fromPercentEncoding(id.mid(slash + 1).toUtf8()));
    auto *response = new PictureResponse(shape, address, requestedSize);
    // It works on the main thread, where the network and the cache live; the engine's
    // deleteLater reaches it there as well.
    response->moveToThread(QCoreApplication::instance()->thread());
    QMetaObject::invokeMethod(
        response, [response] { response->start(); }, Qt::QueuedConnection);
    return response;
}

QString PictureProvider::cacheDirectory()
{
    return QDir(Deployment::homeDirectory()).filePath(QStringLiteral("PictureCache"));
}

QImage shapedPicture(const QImage &image, const QSize &size, const QString &shape)
{
    if (image.isNull() || size.isEmpty())
        return image;
    const QImage covering =
        image.scaled(size, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    const QRect middle((covering.width() - size.width()) / 2,
                       (covering.height() - size.height()) / 2, size.width(), size.height());
    if (shape == QLatin1String("square"))
        return covering.copy(middle);
    QImage shaped(size, QImage::Format_ARGB32_Premultiplied);
    shaped.fill(Qt::transparent);
    QPainter painter(&shaped);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    if (shape == QLatin1String("round")) {
        outline.addEllipse(QRectF(QPointF(0, 0), size));
    } else {
        const qreal radius =
            shape.startsWith(QLatin1String("rounded-")) ? shape.mid(8).toDouble() : 0.0;
        outline.addRoundedRect(QRectF(QPointF(0, 0), size), radius, radius);
    }
    painter.setClipPath(outline);
    painter.drawImage(QPoint(0, 0), covering, middle);
    return shaped;
}
