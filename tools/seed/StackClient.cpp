#include "StackClient.h"

#include "Platform/Print.h"

#include <QEventLoop>
#include <QHttpMultiPart>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrlQuery>

namespace {

// Addresses may carry a path of their own (a stack behind a proxy); ours go below it.
QString withoutTrailingSlash(const QUrl &url)
{
    QString text = url.toString(QUrl::RemoveQuery | QUrl::RemoveFragment);
    while (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    return text;
}

constexpr int longestRateLimitWait = 60;
constexpr int rateLimitRetries = 2;

} // namespace

QJsonObject StackAnswer::json() const
{
    return QJsonDocument::fromJson(body).object();
}

QString StackAnswer::message() const
{
    if (!reached())
        return error;
    const QString text = json().value(QStringLiteral("message")).toString();
    return text.isEmpty() ? QStringLiteral("HTTP %1").arg(status) : text;
}

StackClient::StackClient(QUrl backend, QUrl database, std::chrono::milliseconds timeout)
    : backend_(std::move(backend)), database_(std::move(database)), timeout_(timeout)
{
    // A proxy from the environment would carry demo passwords past the addresses given.
    network_.setProxy(QNetworkProxy::NoProxy);
}

QUrl StackClient::endpointUrl(const QString &endpoint) const
{
    return QUrl(withoutTrailingSlash(backend_) + QStringLiteral("/app/backend/app/users/") +
                endpoint);
}

QUrl StackClient::nodeUrl(const QString &path, const QString &token, bool shallow) const
{
    QUrl url(withoutTrailingSlash(database_) + QLatin1Char('/') + path + QStringLiteral(".json"));
    QUrlQuery query;
    if (!token.isEmpty())
        query.addQueryItem(QStringLiteral("auth"), token);
    if (shallow)
        query.addQueryItem(QStringLiteral("shallow"), QStringLiteral("true"));
    url.setQuery(query);
    return url;
}

void StackClient::prepare(QNetworkRequest &request, const QString &token) const
{
    request.setTransferTimeout(int(timeout_.count()));
    if (!token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
}

StackAnswer StackClient::waitFor(QNetworkReply *reply)
{
    // The transfer timeout ends a silent server; this one also ends a server that trickles.
    QTimer deadline;
    deadline.setSingleShot(true);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(&deadline, &QTimer::timeout, reply, &QNetworkReply::abort);
    deadline.start(timeout_);
    if (!reply->isFinished())
        loop.exec();

    StackAnswer answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer.body = reply->readAll();
    answer.retryAfterSeconds = reply->rawHeader("Retry-After").toInt();
    const bool timedOut = !deadline.isActive() || reply->error() == QNetworkReply::TimeoutError;
    if (!answer.reached())
        answer.error = timedOut ? QStringLiteral("no answer from %1 within %2 s")
                                      .arg(reply->url().toString(QUrl::RemoveQuery))
                                      .arg(timeout_.count() / 1000.0)
                                : reply->errorString();
    reply->deleteLater();
    return answer;
}

StackAnswer StackClient::callBackend(const QString &endpoint, const QJsonObject &body,
                                     const QString &token)
{
    const QByteArray json = QJsonDocument(body).toJson(QJsonDocument::Compact);
    for (int attempt = 0;; ++attempt) {
        QNetworkRequest request(endpointUrl(endpoint));
        prepare(request, token);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        StackAnswer answer = waitFor(network_.post(request, json));
        if (answer.status != 429 || attempt == rateLimitRetries)
            return answer;
        const int seconds = qBound(1, answer.retryAfterSeconds, longestRateLimitWait);
        print(QStringLiteral("tailwise-seed: the backend asks to wait %1 s (%2); waiting")
                  .arg(seconds)
                  .arg(endpoint));
        QEventLoop pause;
        QTimer::singleShot(std::chrono::seconds(seconds), &pause, &QEventLoop::quit);
        pause.exec();
    }
}

StackAnswer StackClient::sendProfile(const QString &endpoint, const FormFields &fields,
                                     const QByteArray &png, const QString &token)
{
    auto *form = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    for (const auto &[name, value] : fields) {
        QHttpPart part;
        part.setHeader(QNetworkRequest::ContentDispositionHeader,
                       QStringLiteral("form-data; name=\"%1\"").arg(name));
        part.setBody(value.toUtf8());
        form->append(part);
    }
    QHttpPart picture;
    picture.setHeader(QNetworkRequest::ContentDispositionHeader,
                      QStringLiteral("form-data; name=\"profilePic\"; filename=\"Postimage.png\""));
    picture.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("image/png"));
    picture.setBody(png);
    form->append(picture);

    QNetworkRequest request(endpointUrl(endpoint));
    prepare(request, token);
    QNetworkReply *reply = network_.post(request, form);
    form->setParent(reply);
    return waitFor(reply);
}

StackAnswer StackClient::fetch(const QUrl &url)
{
    QNetworkRequest request(url);
    prepare(request, {});
    return waitFor(network_.get(request));
}

StackAnswer StackClient::health()
{
    return fetch(QUrl(withoutTrailingSlash(backend_) + QStringLiteral("/healthz")));
}

StackAnswer StackClient::readNode(const QString &path, const QString &token, bool shallow)
{
    QNetworkRequest request(nodeUrl(path, token, shallow));
    prepare(request, {});
    return waitFor(network_.get(request));
}

StackAnswer StackClient::writeNode(const QString &path, const QJsonValue &value,
                                   const QString &token)
{
    QNetworkRequest request(nodeUrl(path, token));
    prepare(request, {});
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    const QByteArray body =
        value.isObject() ? QJsonDocument(value.toObject()).toJson()
        : value.isArray()
            ? QJsonDocument(value.toArray()).toJson()
            : QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
    return waitFor(network_.put(request, body));
}
