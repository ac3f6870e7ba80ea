#include "Platform/NotificationCenter.h"

#include "Platform/ApplicationState.h"
#include "Platform/Print.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QPointer>

void PrintingNotificationDelegate::userNotificationCenter(NotificationCenter &,
                                                          const PushNotification &willPresent,
                                                          WillPresentCompletion)
{
    // The completion handler is not called: a push in the foreground is not shown.
    print(QStringLiteral("willPresent notification : ") + willPresent.body);
}

void PrintingNotificationDelegate::userNotificationCenter(NotificationCenter &,
                                                          const NotificationResponse &didReceive,
                                                          DidReceiveCompletion completionHandler)
{
    print(QStringLiteral("didReceive Response : ") +
          QString::fromUtf8(QJsonDocument::fromVariant(didReceive.notification.userInfo)
                                .toJson(QJsonDocument::Compact)));
    completionHandler();
}

NotificationCenter::NotificationCenter(QObject *parent)
    : QObject(parent), banner_([this](const PushNotification &opened) { open(opened); }, this)
{}

NotificationCenter &NotificationCenter::current()
{
    static QPointer<NotificationCenter> shared;
    if (!shared)
        shared = new NotificationCenter(QCoreApplication::instance());
    return *shared;
}

NotificationCenterDelegate &NotificationCenter::delegate() const
{
    static PrintingNotificationDelegate printing;
    return delegate_ ? *delegate_ : printing;
}

void NotificationCenter::deliver(const PushNotification &notification)
{
    QMetaObject::invokeMethod(
        this,
        [this, notification] {
            if (!ApplicationState::shared().isActive()) {
                present(notification);
                return;
            }
            QPointer<NotificationCenter> center(this);
            delegate().userNotificationCenter(
                *this, notification,
                [center, notification](NotificationPresentationOptions options) {
                    if (center && options.testFlag(NotificationPresentationOption::alert))
                        center->present(notification);
                });
        },
        Qt::QueuedConnection);
}

void NotificationCenter::present(const PushNotification &notification)
{
    if (!filter_)
        return banner_.show(notification);
    if (const std::optional<PushNotification> shown = filter_(notification))
        banner_.show(*shown);
}

void NotificationCenter::open(const PushNotification &notification)
{
    // Not inside the tap: the delegate may replace the screen that holds the banner.
    QMetaObject::invokeMethod(
        this,
        [this, notification] {
            delegate().userNotificationCenter(*this, NotificationResponse{notification}, [] {});
        },
        Qt::QueuedConnection);
}
