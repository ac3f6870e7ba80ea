#include "Platform/NotificationBanner.h"

#include <QGuiApplication>

NotificationBanner::NotificationBanner(std::function<void(const PushNotification &)> open,
                                       QObject *parent)
    : QObject(parent), open_(std::move(open))
{}

bool NotificationBanner::isShown() const
{
    return shown_.has_value();
}

QString NotificationBanner::title() const
{
    if (!shown_)
        return {};
    return shown_->title.isEmpty() ? QGuiApplication::applicationDisplayName() : shown_->title;
}

QString NotificationBanner::body() const
{
    return shown_ ? shown_->body : QString();
}

void NotificationBanner::show(const PushNotification &notification)
{
    shown_ = notification;
    Q_EMIT
    changed();
}

void NotificationBanner::tap()
{
    if (!shown_)
        return;
    const PushNotification opened = *std::exchange(shown_, std::nullopt);
    Q_EMIT
    changed();
    open_(opened);
}

void NotificationBanner::dismiss()
{
    if (!shown_)
        return;
    shown_.reset();
    Q_EMIT
    changed();
}
