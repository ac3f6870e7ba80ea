#pragma once

#include <QString>
#include <QUrl>

// Where the app's services live. Every value defaults to the local tailwise-server stack and
// can be pointed elsewhere (a hosted backend, database or push service) through the
// environment, which is also how tests reach servers on ephemeral ports.
class Deployment
{
public:
    // TAILWISE_BACKEND, default http://127.0.0.1:8080
    static QUrl backendUrl();
    // TAILWISE_DATABASE, default http://127.0.0.1:9000
    static QUrl databaseUrl();
    // TAILWISE_PUSH, default http://127.0.0.1:8081
    static QUrl pushUrl();
    // TAILWISE_HOME, default the platform's app-data location: settings and queues live here.
    static QString homeDirectory();

private:
    static QUrl serviceUrl(const char *variable, const QString &fallback);
};
