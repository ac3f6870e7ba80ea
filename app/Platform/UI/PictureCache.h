#pragma once

#include <QQmlNetworkAccessManagerFactory>
#include <QString>

// Every remote picture the views show is fetched by the QML engine's network access; this
// gives it a disk cache under the app's home. Uploaded pictures never change under their name
// (the backend serves them immutable for a year), so one seen once shows again at once and
// without the network.
class PictureCache final : public QQmlNetworkAccessManagerFactory
{
public:
    static constexpr qint64 maximumBytes = 200LL * 1024 * 1024;

    QNetworkAccessManager *create(QObject *parent) override;
    // Deployment::homeDirectory()/PictureCache
    static QString directory();
};
