#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QNetworkAccessManager>
#include <QString>
#include <QUrl>

#include <chrono>
#include <utility>

class QNetworkReply;
class QNetworkRequest;

// One answer from the stack. `status` 0 means no HTTP answer at all: `error` says why.
struct StackAnswer
{
    int status = 0;
    QByteArray body;
    QString error;
    int retryAfterSeconds = 0;

    bool reached() const { return status != 0; }
    bool ok() const { return status >= 200 && status < 300; }
    QJsonObject json() const;
    // The backend's "message", or what went wrong on the way.
    QString message() const;
};

// Talks to the backend and the realtime database through their public HTTP interfaces, one
// request at a time, each bounded by `timeout`. Signed-in requests carry the user's session
// token: as a bearer token to the backend and as `auth=` to the database, so the database's
// rules judge every write as that user's own.
class StackClient
{
public:
    using FormFields = QList<std::pair<QString, QString>>;

    StackClient(QUrl backend, QUrl database, std::chrono::milliseconds timeout);

    // POST a JSON body to a backend endpoint ("login", "all_users/7", ...). An answer of 429
    // is waited out (at most a minute, twice) before it is handed back.
    StackAnswer callBackend(const QString &endpoint, const QJsonObject &body,
                            const QString &token = {});
    // POST multipart/form-data the way the app's profile save sends it: the fields, then the
    // picture as the file "profilePic".
    StackAnswer sendProfile(const QString &endpoint, const FormFields &fields,
                            const QByteArray &png, const QString &token);
    StackAnswer fetch(const QUrl &url);
    // The backend's health check.
    StackAnswer health();

    StackAnswer readNode(const QString &path, const QString &token, bool shallow = false);
    StackAnswer writeNode(const QString &path, const QJsonValue &value, const QString &token);

    QUrl backendUrl() const { return backend_; }
    QUrl databaseUrl() const { return database_; }
    QUrl endpointUrl(const QString &endpoint) const;
    QUrl nodeUrl(const QString &path, const QString &token, bool shallow = false) const;

private:
    StackAnswer waitFor(QNetworkReply *reply);
    void prepare(QNetworkRequest &request, const QString &token) const;

    QUrl backend_;
    QUrl database_;
    std::chrono::milliseconds timeout_;
    QNetworkAccessManager network_;
};
