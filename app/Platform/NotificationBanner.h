#pragma once

#include "Platform/PushNotification.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

// The app's own stand-in for the phone's system notification: the last push that arrived
// while the app was not active, shown until it is opened or dismissed. A newer push takes the
// place of the one shown. The view (NotificationBannerView.qml) binds to it and calls tap()
// and dismiss().
class NotificationBanner : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The notification centre owns the banner")
    Q_PROPERTY(bool shown READ isShown NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString body READ body NOTIFY changed)

public:
    // `open` receives the notification the user tapped.
    explicit NotificationBanner(std::function<void(const PushNotification &)> open,
                                QObject *parent = nullptr);

    bool isShown() const;
    // The push's heading, or the application's name when it has none, as a phone shows it.
    QString title() const;
    QString body() const;
    // The notification shown, if any.
    const std::optional<PushNotification> &notification() const { return shown_; }

    void show(const PushNotification &notification);
    // Opens the notification shown and hides the banner; nothing when none is shown.
    Q_INVOKABLE void tap();
    Q_INVOKABLE void dismiss();

Q_SIGNALS:
    void changed();

private:
    std::function<void(const PushNotification &)> open_;
    std::optional<PushNotification> shown_;
};
