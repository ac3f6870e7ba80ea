#pragma once

#include "Platform/NotificationBanner.h"
#include "Platform/PushNotification.h"

#include <QFlags>
#include <QObject>
#include <QString>

#include <functional>

// How a notification that arrives while the app is in the foreground may be shown.
enum class NotificationPresentationOption
{
    badge = 0x1,
    sound = 0x2,
    alert = 0x4,
};
Q_DECLARE_FLAGS(NotificationPresentationOptions, NotificationPresentationOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(NotificationPresentationOptions)

using WillPresentCompletion = std::function<void(NotificationPresentationOptions)>;
using DidReceiveCompletion = std::function<void()>;

class NotificationCenter;

// The notification centre's delegate role, which the application delegate takes.
class NotificationCenterDelegate
{
public:
    virtual ~NotificationCenterDelegate() = default;
    // A notification arrived while the app is active. It is shown only if the completion
    // handler is called with the alert option; a delegate that never calls it shows nothing.
    virtual void userNotificationCenter(NotificationCenter &center,
                                        const PushNotification &willPresent,
                                        WillPresentCompletion completionHandler) = 0;
    // The user opened a notification.
    virtual void userNotificationCenter(NotificationCenter &center,
                                        const NotificationResponse &didReceive,
                                        DidReceiveCompletion completionHandler) = 0;
};

// Holds the role until the application delegate takes it: prints what arrives, as the
// application delegate does, and shows nothing in the foreground.
class PrintingNotificationDelegate : public NotificationCenterDelegate
{
public:
    void userNotificationCenter(NotificationCenter &center, const PushNotification &willPresent,
                                WillPresentCompletion completionHandler) override;
    void userNotificationCenter(NotificationCenter &center, const NotificationResponse &didReceive,
                                DidReceiveCompletion completionHandler) override;
};

// Stands in for the phone's notification centre. A push that arrives while the application is
// active (ApplicationState) goes to the delegate's will-present; otherwise it is what the
// phone would show as a system notification, which here is the app's own banner. Opening the
// banner goes to the delegate's did-receive. Delegate calls are made from the event loop,
// never inside the call that delivered the push or tapped the banner.
class NotificationCenter : public QObject
{
    Q_OBJECT

public:
    explicit NotificationCenter(QObject *parent = nullptr);

    // The app's centre; it lives as long as the application object.
    static NotificationCenter &current();

    // Not owned; nullptr gives the role back to the printing default.
    void setDelegate(NotificationCenterDelegate *delegate) { delegate_ = delegate; }
    // What the user's own settings make of a push before it is shown: the push as it is, a
    // changed one (no message text), or none at all. All shown as they came when unset.
    using PresentationFilter =
        std::function<std::optional<PushNotification>(const PushNotification &)>;
    void setPresentationFilter(PresentationFilter filter) { filter_ = std::move(filter); }
    NotificationCenterDelegate &delegate() const;

    // What the window shows over every screen.
    NotificationBanner &banner() { return banner_; }

    // A push arrived for this device.
    void deliver(const PushNotification &notification);

private:
    void open(const PushNotification &notification);

    NotificationCenterDelegate *delegate_ = nullptr;
    void present(const PushNotification &notification);

    NotificationBanner banner_;
    PresentationFilter filter_;
};
