#pragma once

#include "Common/Network/ApiHTTPMethod.h"

#include <QByteArray>
#include <QMap>
#include <QNetworkRequest>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

// The decoded top-level JSON object of an answer (an array arrives as {"data": array}).
using APISuccess = std::function<void(const QVariantMap &)>;
// Always exactly one entry, "message".
using APIFailure = std::function<void(const QMap<QString, QString> &)>;

// The one gateway to the app's backend. It knows nothing about what an endpoint means: it
// sends, decodes and hands over, and the data managers judge the answer by its "status".
// The HTTP status code decides nothing for the callbacks; one answer is also read here: a
// 401 to a request that carried the stored session token ends that session
// (LoginDefaults::endExpiredSession) before the callbacks run. Callbacks run later on the event
// loop of the calling thread, never inside the call. A request during which nothing has moved
// for Deployment::requestTimeout() is given up and fails like a refused connection, with
// "Temporary error occured!". Holds no state; make one wherever needed.
class APIManager
{
public:
    // JSON request. Parameters travel in the body, also for GET. An answer is delivered to
    // exactly one callback, except that a bare JSON value (a text, a number) reaches neither,
    // and a report of {"status": "Offline"} is sent fire-and-forget and never calls back.
    void apiCall(ApiHTTPMethod withMethod, const QString &appendingStr,
                 const std::optional<QVariantMap> &andParams, APISuccess success,
                 APIFailure failure);

    // multipart/form-data request carrying the parameters and at most one file, whose name
    // and media type follow `type` ("video", "audio", "gif", anything else a PNG picture).
    void apiCallWithFormData(ApiHTTPMethod method, const QString &appendingStr,
                             const std::optional<QVariantMap> &andParams,
                             const QString &filePathKey, const std::optional<QByteArray> &imageData,
                             const QString &type, APISuccess success, APIFailure failure);

    // Requests sent and not yet ended, the fire-and-forget ones included.
    static qsizetype requestsInFlight();

private:
    QNetworkRequest urlRequest(ApiHTTPMethod forMethod, const QString &appendString) const;
    static QByteArray createBodyWithParameters(const std::optional<QVariantMap> &parameters,
                                               const std::optional<QString> &filePathKey,
                                               const std::optional<QByteArray> &imageDataKey,
                                               const QString &type, const QString &boundary);
    static QString generateBoundaryString();
};
