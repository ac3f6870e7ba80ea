#include "Deployment.h"
#include "LoginDefaults.h"
#include "NotificationAlert/DeviceToken.h"
#include "NotificationAlert/NotificationAlert.h"
#include "NotificationAlert/OneSignalLaunch.h"
#include "NotificationAlert/PushNotificationHandler.h"
#include "Platform/OneSignal.h"
#include "Platform/UserDefaults.h"
#include "TestSupport.h"
#include "UserPreferences.h"

namespace {

// One installation of the app: its own settings store, notification centre and push kit.
struct Device
{
    explicit Device(const QString &home, bool asTheApp = false)
        : store(home + QStringLiteral("/UserDefaults.json")), kit(store, center)
    {
        center.setDelegate(&delegate);
        if (asTheApp) {
            startOneSignal(kit);
        } else {
            kit.initWithLaunchOptions({}, Deployment::oneSignalAppId(),
                                      {{kOSSettingsKeyAutoPrompt, false}});
            kit.setInFocusDisplayType(OSNotificationDisplayType::notification);
        }
        EXPECT_TRUE(waitUntil([this] { return !kit.userId().isEmpty(); }, 10000))
            << "no player id from the relay";
    }

    QList<PushNotification> delivered() const { return delegate.presented + delegate.opened; }

    UserDefaults store;
    NotificationCenter center;
    RecordingDelegate delegate;
    OneSignal kit;
};

QVariant dataOf(const PushNotification &push)
{
    return push.userInfo.value("custom").toMap().value("a");
}

// Arguments for a database without rules, for tests that seed records of made-up users.
QStringList openDatabase()
{
    return {QStringLiteral("--database-rules"), QStringLiteral("open")};
}

class Push : public LiveBackend
{
protected:
    Push() = default;
    explicit Push(const QStringList &serverArguments) : LiveBackend(serverArguments) {}

    void SetUp() override
    {
        LiveBackend::SetUp();
        ASSERT_FALSE(server_.pushUrl().isEmpty()) << server_.startupLog().toStdString();
    }
    void TearDown() override
    {
        DeviceToken::shared().setDeviceToken(QString());
        LiveBackend::TearDown();
    }

    std::unique_ptr<Device> device(const QString &name, bool asTheApp = false)
    {
        return std::make_unique<Device>(home_.filePath(name), asTheApp);
    }
    void store(const QString &path, const QVariant &value)
    {
        appDatabase_->client().reference(path).setValue(value);
        ASSERT_TRUE(appDatabase_->waitUntilWritten());
    }
    // A receiver whose pushes go to `device`, with `status` as "noti_status" (none: absent).
    void receiver(const QString &userId, const Device &device, const QVariant &status)
    {
        store("Users/" + userId + "/device_token", device.kit.userId());
        QVariantMap record{{"tone", "on"}};
        if (status.isValid())
            record.insert("noti_status", status);
        store("Notifications/" + userId, record);
    }
};

// The sender's gate and the badge, with receivers made up on the spot.
class PushGate : public Push
{
protected:
    PushGate() : Push(openDatabase()) {}
};

TEST_F(PushGate, OnlyAReceiverWhoseStatusIsExactlyOnlineGetsThePush)
{
    const ActiveApplication active;
    const auto phone = device("phone");
    const auto sender = device("sender");
    LoginDefaults().setUserId(QStringLiteral("100"));
    receiver("101", *phone, "offline");
    receiver("102", *phone, QVariant());
    receiver("103", *phone, "busy");
    receiver("104", *phone, "online");
    const PushNotificationHandler handler(&appDatabase_->client(), &sender->kit);
    for (const QString id : {"101", "102", "103"}) {
        handler.sendNotification(id, "to " + id);
        handler.sendNotificationMessage("Sender", id, "titled to " + id);
    }
    handler.sendNotification("104", "to 104");

    ASSERT_TRUE(waitUntil([&] { return !phone->delegate.presented.isEmpty(); }, 10000));
    QTest::qWait(500);
    ASSERT_EQ(phone->delegate.presented.size(), 1);
    const PushNotification push = phone->delegate.presented[0];
    EXPECT_EQ(push.body, "to 104");
    EXPECT_EQ(push.title, "");
    EXPECT_EQ(push.badge, 1);
    EXPECT_EQ(dataOf(push), (QVariantMap{{"futureUse", ""}}));
    EXPECT_FALSE(phone->center.banner().isShown()) << "the delegate never lets it show";
}

TEST_F(PushGate, BadgeRisesWithEachPushAndOpeningTheAppClearsIt)
{
    const auto phone = device("phone");
    receiver("7", *phone, "online");
    const PushNotificationHandler handler(&appDatabase_->client(), &phone->kit);
    handler.sendNotification("7", "one");
    ASSERT_TRUE(waitUntil([&] { return phone->kit.badgeCount() == 1; }, 10000));
    handler.sendNotification("7", "two");
    ASSERT_TRUE(waitUntil([&] { return phone->center.banner().body() == "two"; }, 10000));
    EXPECT_EQ(phone->kit.badgeCount(), 2);
    {
        const ActiveApplication opened;
        EXPECT_TRUE(waitUntil([&] { return phone->kit.badgeCount() == 0; }));
        QTest::qWait(300); // the relay's count is reset too
    }
    handler.sendNotification("7", "three");
    ASSERT_TRUE(waitUntil([&] { return phone->center.banner().body() == "three"; }, 10000));
    EXPECT_EQ(phone->kit.badgeCount(), 1);
}

// Two installations against one stack: B is signed in and its player id is published; A
// sends B a titled push; B opens it from the banner and finds A named as the sender.
TEST_F(Push, TwoAppClientsAnnounceAMessageFromOneToTheOther)
{
    const QString anna = signUp("Anna", "female", 52.52, 13.405);
    const QString ben = signUp("Ben", "male", 52.39, 13.06);
    ASSERT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(), "Notifications/" + ben).typeId() ==
               QMetaType::QVariantMap;
    })) << "the sign-in seeds the record";
    const auto benPhone = device("ben", true);
    EXPECT_EQ(DeviceToken::shared().deviceToken(), benPhone->kit.userId());
    ASSERT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(), "Users/" + ben + "/device_token") ==
               benPhone->kit.userId();
    }));

    const auto annaPhone = device("anna");
    LoginDefaults().setUserId(anna); // the session on Anna's phone
    PushNotificationHandler(&appDatabase_->client(), &annaPhone->kit)
        .sendNotificationMessage("Anna", ben, "Hallo Ben!");

    NotificationBanner &banner = benPhone->center.banner();
    ASSERT_TRUE(waitUntil([&] { return banner.isShown(); }, 10000));
    EXPECT_EQ(banner.title(), "Anna");
    EXPECT_EQ(banner.body(), "Hallo Ben!");
    EXPECT_EQ(benPhone->kit.badgeCount(), 1);
    EXPECT_EQ(UserPreferences::shared().feedsBadgeCount(), 1) << "the app's badge";
    banner.tap();
    ASSERT_TRUE(waitUntil([&] { return !benPhone->delegate.opened.isEmpty(); }));
    EXPECT_EQ(dataOf(benPhone->delegate.opened[0]).toMap().value("postID"), anna);
    EXPECT_TRUE(annaPhone->delivered().isEmpty());
}

TEST_F(Push, AnInstallKeepsItsPlayerAndCatchesUpOnWhatItMissed)
{
    const ActiveApplication active;
    const auto sender = device("sender");
    QString player;
    {
        const auto phone = device("phone");
        player = phone->kit.userId();
    }
    // One after another, so that the relay's order is the order of sending.
    const auto post = [&](const QString &text) {
        std::optional<bool> accepted;
        sender->kit.postNotification(
            {{"contents", QVariantMap{{"en", text}}}, {"include_player_ids", QVariantList{player}}},
            [&](bool taken) { accepted = taken; });
        EXPECT_TRUE(waitUntil([&] { return accepted.has_value(); }, 10000));
        EXPECT_EQ(accepted, true) << text.toStdString();
    };
    for (const QString text : {"1", "2", "3"})
        post(text);

    const auto phone = device("phone");
    EXPECT_EQ(phone->kit.userId(), player);
    EXPECT_NE(sender->kit.userId(), player);
    const auto bodies = [&] {
        QStringList seen;
        for (const PushNotification &push : phone->delivered())
            seen << push.body;
        return seen;
    };
    ASSERT_TRUE(waitUntil([&] { return bodies().size() >= 3; }, 10000));

    // The stream comes back by itself after the relay has died and restarted.
    server_.kill();
    ASSERT_TRUE(server_.restart()) << server_.startupLog().toStdString();
    post("4");
    EXPECT_TRUE(waitUntil([&] { return bodies().size() >= 4; }, 15000));
    QTest::qWait(300);
    EXPECT_EQ(bodies(), QStringList({"1", "2", "3", "4"}));
}

// The request maps, as the relay receives them.
class PushRequest : public LiveBackend
{
protected:
    PushRequest() : LiveBackend(openDatabase()) {}
    RecordingServer relay_;
};

TEST_F(PushRequest, IsTheWholeMapUnderTheAppsId)
{
    relay_.setReply(
        {200, "application/json", R"({"success": true, "id": "p-1", "recipients": 1})"});
    const ScopedEnvironment push("TAILWISE_PUSH", relay_.url());
    UserDefaults store(home_.filePath("UserDefaults-kit.json"));
    NotificationCenter center;
    OneSignal kit(store, center);
    kit.initWithLaunchOptions({}, Deployment::oneSignalAppId(),
                              {{kOSSettingsKeyAutoPrompt, false}});
    appDatabase_->client().reference("Notifications/7/noti_status").setValue("online");
    appDatabase_->client().reference("Users/7/device_token").setValue("p-7");
    ASSERT_TRUE(appDatabase_->waitUntilWritten());
    LoginDefaults().setUserId(QStringLiteral("3"));

    const auto posted = [&] { return relay_.requestsTo("/api/v1/notifications"); };
    const PushNotificationHandler handler(&appDatabase_->client(), &kit);
    handler.sendNotification("7", "Hallo");
    ASSERT_TRUE(waitUntil([&] { return posted().size() == 1; }));
    handler.sendNotificationMessage("Anna", "7", "Wie geht's?");
    ASSERT_TRUE(waitUntil([&] { return posted().size() == 2; }));

    const QVariantMap common{{"app_id", Deployment::oneSignalAppId()},
                             {"include_player_ids", QVariantList{"p-7"}},
                             {"ios_badgeType", "Increase"},
                             {"ios_badgeCount", 1},
                             {"content_available", true}};
    QVariantMap plain = common;
    plain.insert("contents", QVariantMap{{"en", "Hallo"}});
    plain.insert("data", QVariantMap{{"futureUse", ""}});
    QVariantMap titled = common;
    titled.insert("contents", QVariantMap{{"en", "Wie geht's?"}});
    titled.insert("headings", QVariantMap{{"en", "Anna"}});
    titled.insert("data", QVariantMap{{"postID", "3"}});
    const auto sent = [&](int i) {
        return QJsonDocument::fromJson(posted()[i].body).toVariant().toMap();
    };
    EXPECT_EQ(sent(0), plain);
    EXPECT_EQ(sent(1), titled);
    EXPECT_EQ(posted()[0].headers.value("content-type"), "application/json; charset=utf-8");
}

// The settings record of the signed-in user.
using NotificationRecord = LiveBackend;

TEST_F(NotificationRecord, IsSeededAtSignInAndNeverOverwritten)
{
    const QString anna = signUp("Anna", "female", 52.52, 13.405);
    Database reader(QStringLiteral("reader"));
    QVariantMap record;
    reader.reference("Notifications/" + anna)
        .observe(DataEventType::value,
                 [&](const DataSnapshot &node) { record = node.value().toMap(); });
    const QVariantMap defaults{
        {"noti_status", "online"}, {"tone", "on"}, {"vibrate", "on"}, {"message", "on"}};
    ASSERT_TRUE(waitUntil([&] { return record == defaults; }, 10000))
        << testing::PrintToString(QVariant(record));

    appDatabase_->client().reference("Notifications/" + anna + "/tone").setValue("off");
    ASSERT_TRUE(appDatabase_->waitUntilWritten());
    NotificationAlert::sharedInstance().notificationExist();
    NotificationAlert::sharedInstance().notificationExist();
    QTest::qWait(500);
    ASSERT_TRUE(appDatabase_->waitUntilWritten());
    QTest::qWait(200);
    QVariantMap changed = defaults;
    changed.insert("tone", "off");
    EXPECT_EQ(record, changed);
}

// Records no app writes, to see how the settings are read.
class OddNotificationRecord : public LiveBackend
{
protected:
    OddNotificationRecord() : LiveBackend(openDatabase()) {}
};

TEST_F(OddNotificationRecord, AnUnknownStatusReadsAsOnAnUnknownToneAsOff)
{
    NotificationAlert &alert = NotificationAlert::sharedInstance();
    LoginDefaults().setUserId(QStringLiteral("5"));
    const auto fetch = [&](const QVariantMap &record) {
        appDatabase_->client().reference("Notifications/5").setValue(record);
        ASSERT_TRUE(appDatabase_->waitUntilWritten());
        alert.fetchNotificationSetting();
    };
    alert.setPushNotification(false);
    alert.setNotigicationTone(true);
    alert.setVibrate(false);
    alert.setCustomNotification(false);
    fetch({{"noti_status", "busy"}, {"tone", "loud"}, {"vibrate", "on"}, {"message", "on"}});
    EXPECT_TRUE(waitUntil([&] {
        return alert.pushNotification() && !alert.notigicationTone() && alert.vibrate() &&
               alert.customNotification();
    }));
    ASSERT_TRUE(alert.notificationRefOnOff().has_value());
    EXPECT_EQ(alert.notificationRefOnOff()->pathString(), "/Notifications/5");

    // "On" is not "on"; a value that is not a text leaves its flag as it was.
    fetch({{"noti_status", "offline"}, {"tone", "on"}, {"vibrate", "On"}, {"message", 1}});
    EXPECT_TRUE(waitUntil(
        [&] { return !alert.pushNotification() && alert.notigicationTone() && !alert.vibrate(); }));
    QTest::qWait(200);
    EXPECT_TRUE(alert.customNotification());
}

} // namespace
