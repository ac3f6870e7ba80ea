#include "Common/Network/APIManager.h"

#include "Common/Network/API.h"
#include "Deployment.h"
#include "LoginDefaults.h"
#include "Platform/Print.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QUrl>
#include <QUuid>

#include <cmath>

namespace {

const QString temporaryError = QStringLiteral("Temporary error occured!");
const QByteArray crlf = QByteArrayLiteral("\r\n");

void appendJsonString(QByteArray &out, const QString &text)
{
    out += '"';
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '/':
            out += "\\/";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (c.unicode() < 0x20)
                out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0')).toLatin1();
            else
                out += QString(c).toUtf8();
        }
    }
    out += '"';
}

// A number as its shortest decimal text; integral values without a fraction.
std::optional<QByteArray> numberText(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Long:
        return QByteArray::number(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::ULong:
        return QByteArray::number(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float: {
        const double number = value.toDouble();
        if (!std::isfinite(number))
            return std::nullopt;
        return QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
    }
    default:
        return std::nullopt;
    }
}

// Pretty-printed JSON: two-space indentation and " : " between key and value. Only JSON's
// own value types serialise; anything else (bytes, dates, NaN, an invalid value) fails the
// whole document, as a serialiser must rather than sending something the caller did not mean.
bool appendPrettyJson(QByteArray &out, const QVariant &value, int depth)
{
    const QByteArray indent(2 * (depth + 1), ' ');
    const QByteArray closingIndent(2 * depth, ' ');
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        out += "{\n";
        bool first = true;
        for (auto it = map.begin(); it != map.end(); ++it) {
            if (!first)
                out += ",\n";
            first = false;
            out += indent;
            appendJsonString(out, it.key());
            out += " : ";
            if (!appendPrettyJson(out, it.value(), depth + 1))
                return false;
        }
        out += "\n" + closingIndent + "}";
        return true;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        out += "[\n";
        bool first = true;
        for (const QVariant &element : list) {
            if (!first)
                out += ",\n";
            first = false;
            out += indent;
            if (!appendPrettyJson(out, element, depth + 1))
                return false;
        }
        out += "\n" + closingIndent + "]";
        return true;
    }
    case QMetaType::QString:
        appendJsonString(out, value.toString());
        return true;
    case QMetaType::Bool:
        out += value.toBool() ? "true" : "false";
        return true;
    case QMetaType::Nullptr:
        out += "null";
        return true;
    default:
        if (const auto number = numberText(value)) {
            out += *number;
            return true;
        }
        return false;
    }
}

// A form field's plain text: texts as they are, numbers in their shortest decimal form.
QByteArray formText(const QVariant &value)
{
    if (const auto number = numberText(value))
        return *number;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? "true" : "false";
    return value.toString().toUtf8();
}

bool isOfflineReport(const std::optional<QVariantMap> &parameters)
{
    if (!parameters)
        return false;
    const auto status = parameters->constFind(QStringLiteral("status"));
    return status != parameters->constEnd() && status->typeId() == QMetaType::QString &&
           status->toString() == QLatin1String("Offline");
}

// Decodes any JSON text, a bare value included: the body is parsed as the only element of
// an array, so anything but exactly one well-formed value fails.
std::optional<QJsonValue> decodeJson(const QByteArray &body, QString &error)
{
    QJsonParseError parseError{};
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray("[") + body + QByteArray("]"), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        error = parseError.errorString();
        return std::nullopt;
    }
    const QJsonArray wrapper = document.array();
    if (wrapper.size() != 1) {
        error = wrapper.isEmpty() ? QStringLiteral("no value") : QStringLiteral("garbage at end");
        return std::nullopt;
    }
    return wrapper.first();
}

// A 401 to a request that carried the stored session token means the backend has ended
// that session.
void noticeEndedSession(QNetworkReply *reply)
{
    if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 401)
        return;
    const QByteArray authorization = reply->request().rawHeader("Authorization");
    const QByteArray scheme = "Bearer ";
    if (authorization.startsWith(scheme))
        LoginDefaults().endExpiredSession(QString::fromUtf8(authorization.mid(scheme.size())));
}

void complete(QNetworkReply *reply, bool logTransportError, const APISuccess &success,
              const APIFailure &failure)
{
    noticeEndedSession(reply);
    if (logTransportError)
        print(QStringLiteral("Error -> ") + (reply->error() == QNetworkReply::NoError
                                                 ? QStringLiteral("nil")
                                                 : reply->errorString()));
    // Without a status line nothing arrived at all: refused, reset, timed out.
    if (!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid()) {
        failure({{QStringLiteral("message"), temporaryError}});
        return;
    }
    const QByteArray body = reply->readAll();
    print(QStringLiteral("Web Service Response -> ") + QString::fromUtf8(body));
    QString error;
    const auto decoded = decodeJson(body, error);
    if (!decoded) {
        print(QStringLiteral("JSON error -> ") + error);
        failure({{QStringLiteral("message"), temporaryError}});
        return;
    }
    if (decoded->isObject())
        success(decoded->toObject().toVariantMap());
    if (decoded->isArray())
        success({{QStringLiteral("data"), decoded->toArray().toVariantList()}});
}

using ReplyHandler = std::function<void(QNetworkReply *)>;

qsizetype &inFlight()
{
    static qsizetype count = 0;
    return count;
}

// The one place a reply is sent and let go: whatever ends it (an answer, a refused or dropped
// connection, the timeout), its handler runs once and the reply is deleted later, once.
QNetworkReply *send(QNetworkAccessManager &session, const QNetworkRequest &request,
                    const QByteArray &verb, const std::optional<QByteArray> &body,
                    ReplyHandler handle)
{
    QNetworkReply *reply = body ? session.sendCustomRequest(request, verb, *body)
                                : session.sendCustomRequest(request, verb);
    ++inFlight();
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, handle = std::move(handle)] {
        --inFlight();
        handle(reply);
        reply->deleteLater();
    });
    return reply;
}

// Sends on a session of its own that goes away once the answer has been handled. The session
// hangs off the application so that one still waiting at exit is cleaned up with it.
void sendOnFreshSession(const QNetworkRequest &request, const QByteArray &verb,
                        const std::optional<QByteArray> &body, ReplyHandler handle)
{
    auto *session = new QNetworkAccessManager(QCoreApplication::instance());
    QNetworkReply *reply = send(*session, request, verb, body, std::move(handle));
    QObject::connect(reply, &QNetworkReply::finished, session, &QObject::deleteLater);
}

QNetworkAccessManager &sharedSession()
{
    static QPointer<QNetworkAccessManager> session;
    if (!session)
        session = new QNetworkAccessManager(QCoreApplication::instance());
    return *session;
}

} // namespace

qsizetype APIManager::requestsInFlight()
{
    return inFlight();
}

QNetworkRequest APIManager::urlRequest(ApiHTTPMethod forMethod, const QString &appendString) const
{
    const QString address = API::baseURL() + appendString;
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        fatalError(QStringLiteral("not a URL: ") + address);
    QNetworkRequest request(url);
    print(QStringLiteral("Request : ") + rawValue(forMethod) + QLatin1Char(' ') + url.toString());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    // Our backend speaks HTTP/1.1 only; no h2c upgrade offer on plain connections.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // Without it a server that accepts and then says nothing holds the caller's progress
    // indicator up for good; giving up takes the same path as a refused connection.
    request.setTransferTimeout(static_cast<int>(Deployment::requestTimeout().count()));
    if (const auto token = LoginDefaults().userToken(); token && !token->isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token->toUtf8());
    return request;
}

void APIManager::apiCall(ApiHTTPMethod withMethod, const QString &appendingStr,
                         const std::optional<QVariantMap> &andParams, APISuccess success,
                         APIFailure failure)
{
    const QNetworkRequest request = urlRequest(withMethod, appendingStr);
    std::optional<QByteArray> body;
    if (andParams) {
        QByteArray json;
        if (appendPrettyJson(json, *andParams, 0)) {
            print(QStringLiteral("Post Data -> ") + QString::fromUtf8(json));
            body = json;
        } else {
            print(QStringLiteral("JSON error -> parameters cannot be serialised; sending "
                                 "no body"));
        }
    }
    const QByteArray verb = rawValue(withMethod).toLatin1();
    const QString description = rawValue(withMethod) + QLatin1Char(' ') + request.url().toString();

    if (isOfflineReport(andParams)) {
        // The offline status report goes out as the app leaves the foreground; nobody is
        // left to hear the answer, so it is sent and forgotten.
        print(QStringLiteral("request josn ") + description + QStringLiteral(" (background ") +
              Deployment::backgroundSessionIdentifier() + QLatin1Char(')'));
        sendOnFreshSession(request, verb, body, noticeEndedSession);
        return;
    }

    print(QStringLiteral("request josn ") + description);
    sendOnFreshSession(request, verb, body,
                       [success = std::move(success), failure = std::move(failure)](
                           QNetworkReply *reply) { complete(reply, true, success, failure); });
}

void APIManager::apiCallWithFormData(ApiHTTPMethod method, const QString &appendingStr,
                                     const std::optional<QVariantMap> &andParams,
                                     const QString &filePathKey,
                                     const std::optional<QByteArray> &imageData,
                                     const QString &type, APISuccess success, APIFailure failure)
{
    QNetworkRequest request = urlRequest(method, appendingStr);
    const QString boundary = generateBoundaryString();
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("multipart/form-data; boundary=") + boundary);
    const QByteArray body =
        createBodyWithParameters(andParams, filePathKey, imageData, type, boundary);
    send(sharedSession(), request, rawValue(method).toLatin1(), body,
         [success = std::move(success), failure = std::move(failure)](QNetworkReply *reply) {
             complete(reply, false, success, failure);
         });
}

QByteArray APIManager::createBodyWithParameters(const std::optional<QVariantMap> &parameters,
                                                const std::optional<QString> &filePathKey,
                                                const std::optional<QByteArray> &imageDataKey,
                                                const QString &type, const QString &boundary)
{
    const QByteArray delimiter = "--" + boundary.toUtf8() + crlf;
    QByteArray body;
    if (parameters) {
        for (auto it = parameters->begin(); it != parameters->end(); ++it) {
            body += delimiter;
            body +=
                "Content-Disposition: form-data; name=\"" + it.key().toUtf8() + "\"" + crlf + crlf;
            body += formText(it.value()) + crlf;
        }
    }
    if (imageDataKey) {
        if (!filePathKey)
            fatalError(QStringLiteral("file bytes without a form field name"));
        QByteArray fileName = "Postimage.png";
        QByteArray mediaType = "image/png";
        if (type == QLatin1String("video")) {
            fileName = "Postvideo.mp4";
            mediaType = "video/mp4";
        } else if (type == QLatin1String("audio")) {
            fileName = "Postaudio.mp3";
            mediaType = "audio/mpeg";
        } else if (type == QLatin1String("gif")) {
            // The bare word, not image/gif: the backend has always received it so.
            fileName = "Postgif.gif";
            mediaType = "gif";
        }
        body += delimiter;
        body += "Content-Disposition: form-data; name=\"" + filePathKey->toUtf8() +
                "\"; filename=\"" + fileName + "\"" + crlf;
        body += "Content-Type: " + mediaType + crlf + crlf;
        body += *imageDataKey;
        body += crlf;
    }
    body += "--" + boundary.toUtf8() + "--" + crlf;
    return body;
}

QString APIManager::generateBoundaryString()
{
    return QStringLiteral("Boundary-") +
           QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}
