#include "Platform/NotificationCenter.h"
#include "NotificationAlert/NotificationAlert.h"
#include "Platform/UserDefaults.h"

#include "TestSupport.h"

#include <QDir>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>

namespace {

PushNotification chatPush(const QVariant &alert)
{
    const QVariantMap userInfo{
        {"aps", QVariantMap{{"alert", alert}, {"badge", 3}}},
        {"custom", QVariantMap{{"i", "n-1"}, {"a", QVariantMap{{"postID", "12"}}}}}};
    const std::optional<PushNotification> push = PushNotification::fromUserInfo(userInfo);
    EXPECT_TRUE(push.has_value());
    return push.value_or(PushNotification());
}

TEST(NotificationCenter, InTheBackgroundAPushWaitsInTheBannerAndATapOpensIt)
{
    NotificationCenter center;
    RecordingDelegate delegate;
    center.setDelegate(&delegate);
    NotificationBanner &banner = center.banner();

    center.deliver(chatPush("first"));
    center.deliver(chatPush(QVariantMap{{"title", "Anna"}, {"body", "second"}}));
    ASSERT_TRUE(waitUntil([&] { return banner.body() == "second"; }));
    EXPECT_EQ(banner.title(), "Anna");
    EXPECT_TRUE(delegate.presented.isEmpty()) << "will-present is for an active app only";

    banner.tap();
    banner.tap(); // the banner is gone: nothing more to open
    EXPECT_FALSE(banner.isShown());
    EXPECT_TRUE(delegate.opened.isEmpty()) << "not inside the tap";
    ASSERT_TRUE(waitUntil([&] { return !delegate.opened.isEmpty(); }));
    QTest::qWait(50);
    ASSERT_EQ(delegate.opened.size(), 1);
    EXPECT_EQ(delegate.opened[0].body, "second");
    EXPECT_EQ(
        delegate.opened[0].userInfo.value("custom").toMap().value("a").toMap().value("postID"),
        "12");

    center.deliver(chatPush("third"));
    ASSERT_TRUE(waitUntil([&] { return banner.isShown(); }));
    EXPECT_EQ(banner.title(), QGuiApplication::applicationDisplayName()) << "no heading";
    banner.dismiss();
    QTest::qWait(50);
    EXPECT_EQ(delegate.opened.size(), 1) << "a dismissed push is not opened";
}

// The user's own settings decide what a push may show: nothing with pushes off, no message
// text with the preview off, everything while they are not known yet.
TEST_F(FreshSettings, APushShowsAsTheUsersNotificationSettingsAllow)
{
    UserDefaults::standard().setString(QStringLiteral("en"), QStringLiteral("languageCode"));
    NotificationAlert &settings = NotificationAlert::sharedInstance();
    NotificationCenter center;
    center.setPresentationFilter(presentedAsSettingsAllow);
    NotificationBanner &banner = center.banner();
    const auto shown = [&](bool known, bool pushes, bool preview) {
        settings.setSettingsKnown(known);
        settings.setPushNotification(pushes);
        settings.setCustomNotification(preview);
        banner.dismiss();
        center.deliver(chatPush(QVariantMap{{"title", "Anna"}, {"body", "Gassi?"}}));
        QTest::qWait(50);
        return banner.isShown() ? banner.body() : QStringLiteral("<none>");
    };
    EXPECT_EQ(shown(false, false, false), "Gassi?");
    EXPECT_EQ(shown(true, true, true), "Gassi?");
    EXPECT_EQ(shown(true, true, false), "New message");
    EXPECT_EQ(shown(true, false, true), "<none>");
    settings.setSettingsKnown(false);
}

TEST(NotificationCenter, InTheForegroundOnlyTheDelegatesCompletionShowsAPush)
{
    const ActiveApplication active;
    NotificationCenter center;
    center.deliver(chatPush("to the printing default"));
    QTest::qWait(50);
    EXPECT_FALSE(center.banner().isShown()) << "the default never calls the completion";

    RecordingDelegate delegate;
    center.setDelegate(&delegate);
    center.deliver(chatPush("kept quiet"));
    ASSERT_TRUE(waitUntil([&] { return delegate.presented.size() == 1; }));
    EXPECT_FALSE(center.banner().isShown());

    delegate.presentAs = NotificationPresentationOption::alert;
    center.deliver(chatPush("shown"));
    ASSERT_TRUE(waitUntil([&] { return center.banner().isShown(); }));
    EXPECT_EQ(center.banner().body(), "shown");
    EXPECT_TRUE(delegate.opened.isEmpty());
}

TEST(NotificationCenter, BannerViewShowsThePushAndATapOpensIt)
{
    NotificationCenter center;
    RecordingDelegate delegate;
    center.setDelegate(&delegate);
    QQuickView view;
    view.setInitialProperties({{"banner", QVariant::fromValue(&center.banner())}});
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.resize(390, 120);
    view.setSource(QUrl(QStringLiteral("qrc:/Tailwise/Platform/NotificationBannerView.qml")));
    ASSERT_EQ(view.status(), QQuickView::Ready) << view.errors().value(0).toString().toStdString();
    QQuickItem *root = view.rootObject();
    EXPECT_FALSE(root->isVisible());

    center.deliver(chatPush(QVariantMap{{"title", "Anna"}, {"body", "Hallo Ben!"}}));
    ASSERT_TRUE(waitUntil([&] { return root->isVisible(); }));
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    auto *title = root->findChild<QQuickItem *>("notificationBannerTitle");
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->property("text"), "Anna");
    QDir().mkpath(QStringLiteral(TAILWISE_SCREENSHOT_DIR));
    EXPECT_TRUE(view.grabWindow().save(
        QStringLiteral(TAILWISE_SCREENSHOT_DIR "/Platform_NotificationBannerView.png")));

    QTest::mouseClick(&view, Qt::LeftButton, {}, QPoint(60, 30));
    ASSERT_TRUE(waitUntil([&] { return delegate.opened.size() == 1; }));
    EXPECT_EQ(delegate.opened[0].body, "Hallo Ben!");
    EXPECT_FALSE(root->isVisible());
}

} // namespace
