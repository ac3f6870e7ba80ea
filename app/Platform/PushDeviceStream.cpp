#include "Platform/PushDeviceStream.h"

#include "Platform/Print.h"
#include "Platform/RetryDelay.h"

#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

// The relay sends keep-alives while it has nothing to say; a stream silent for this long has
// been dropped without anyone saying so, and is reopened.
constexpr int streamSilenceMs = 75'000;

} // namespace

PushDeviceStream::PushDeviceStream(QObject *parent) : QObject(parent)
{
    retry_.setSingleShot(true);
    connect(&retry_, &QTimer::timeout, this, [this] { connectNow(); });
}

PushDeviceStream::~PushDeviceStream()
{
    release();
}

void PushDeviceStream::open(const QUrl &url, const QByteArray &lastEventId)
{
    close();
    url_ = url;
    lastEventId_ = lastEventId;
    attempt_ = 0;
    lossReported_ = false;
    connectNow();
}

void PushDeviceStream::close()
{
    retry_.stop();
    release();
    url_.clear();
}

void PushDeviceStream::connectNow()
{
    release();
    parser_.reset();
    QNetworkRequest request(url_);
    request.setRawHeader("Accept", "text/event-stream");
    request.setRawHeader("Cache-Control", "no-cache");
    if (!lastEventId_.isEmpty())
        request.setRawHeader("Last-Event-ID", lastEventId_);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(streamSilenceMs);
    reply_ = network_.get(request);
    QNetworkReply *reply = reply_;
    connect(reply, &QNetworkReply::readyRead, this, [this, reply] {
        if (reply_ == reply)
            read();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        if (reply_ == reply)
            ended();
    });
}

void PushDeviceStream::read()
{
    if (reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 200)
        return; // an error body, reported when the reply ends
    const QByteArray bytes = reply_->readAll();
    if (bytes.isEmpty())
        return;
    // Bytes from the relay: the stream works again, and a later loss starts the back-off over.
    attempt_ = 0;
    lossReported_ = false;
    const QPointer<QNetworkReply> reading = reply_;
    for (const EventStreamParser::Event &event : parser_.feed(bytes)) {
        if (!event.id.isEmpty())
            lastEventId_ = event.id;
        Q_EMIT
        received(event);
        if (reply_ != reading)
            return; // closed or reopened by a receiver; the rest belongs to the old stream
    }
}

void PushDeviceStream::ended()
{
    const QVariant status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.toInt() == 404) {
        print(QStringLiteral("OneSignal: %1 is unknown to the push relay")
                  .arg(url_.toDisplayString()));
        close();
        Q_EMIT
        deviceUnknown();
        return;
    }
    if (status.toInt() == 400 && !lastEventId_.isEmpty()) {
        // A position the relay does not take (the app met another relay before): resume from
        // the relay's own record of this device instead of being refused for good.
        print(QStringLiteral("OneSignal: the push relay refused to resume after event %1; "
                             "resuming where it stands")
                  .arg(QString::fromUtf8(lastEventId_)));
        lastEventId_.clear();
    } else if (!lossReported_) {
        if (status.isValid() && status.toInt() != 200)
            print(QStringLiteral("OneSignal: device stream refused (%1): %2")
                      .arg(status.toString(), QString::fromUtf8(reply_->readAll().left(300))));
        else if (reply_->error() != QNetworkReply::NoError)
            print(QStringLiteral("OneSignal: device stream lost: %1").arg(reply_->errorString()));
        else
            print(QStringLiteral("OneSignal: device stream closed by the push relay"));
        lossReported_ = true;
    }
    release();
    retry_.start(retryDelay(attempt_++));
}

void PushDeviceStream::release()
{
    if (!reply_)
        return;
    QNetworkReply *reply = reply_;
    reply_ = nullptr;
    disconnect(reply, nullptr, this, nullptr);
    reply->abort();
    reply->deleteLater();
}
