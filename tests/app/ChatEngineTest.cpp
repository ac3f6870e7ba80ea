#include "Common/Firebase/FirebaseNode.h"
#include "Deployment.h"
#include "LoginDefaults.h"
#include "Module/Chat/ChatVc/ChatDataManager.h"
#include "Module/Chat/ChatVc/RecentListHelper.h"
#include "Module/Chat/Model/OnlineNotification.h"
#include "Platform/OneSignal.h"
#include "Platform/UserDefaults.h"
#include "TestSupport.h"

#include <QSignalSpy>

#include <map>

namespace {

struct RecordingChatDelegate : ChatDataManagerDelegate
{
    void messageReceived() override { ++received; }
    void reloadMessages() override {}
    void messageAppended(qsizetype index) override { appended.append(index); }

    int received = 0;
    QList<qsizetype> appended;
};

// Anna and Ben, signed up against a server with the app's rules, each speaking through a
// database client of their own. Pushes go to a recording relay.
class ChatEngine : public LiveBackend
{
protected:
    void SetUp() override
    {
        LiveBackend::SetUp();
        // Each sign-up seeds its user's settings record, under that user's session: the next
        // sign-up waits for it, and a test that changed a key before the seed would find its
        // record replaced.
        const auto seeded = [](Database &client, const QString &uid) {
            return waitUntil([&] {
                return storedValue(client, "Notifications/" + uid).typeId() ==
                       QMetaType::QVariantMap;
            });
        };
        anna = signUp("Anna", "female", 52.52, 13.405);
        annaDb = clientFor("anna", LoginDefaults().userToken());
        ASSERT_TRUE(seeded(*annaDb, anna));
        ben = signUp("Ben", "male", 52.39, 13.06);
        benDb = clientFor("ben", LoginDefaults().userToken());
        ASSERT_TRUE(seeded(*benDb, ben));
        conv = conversationId(anna, ben);

        relay_.setReply(
            {200, "application/json", R"({"success": true, "id": "p-1", "recipients": 1})"});
        relayVariable_ = std::make_unique<ScopedEnvironment>("TAILWISE_PUSH", relay_.url());
        kitStore_ = std::make_unique<UserDefaults>(home_.filePath("UserDefaults-kit.json"));
        kit_ = std::make_unique<OneSignal>(*kitStore_, center_);
        kit_->initWithLaunchOptions({}, Deployment::oneSignalAppId(),
                                    {{kOSSettingsKeyAutoPrompt, false}});
    }
    void TearDown() override
    {
        kit_.reset();
        relayVariable_.reset();
        LiveBackend::TearDown();
    }

    // Follows a location through `reader` and waits until `holds` is true of its value.
    static bool eventually(Database &reader, const QString &path,
                           const std::function<bool(const QVariant &)> &holds,
                           QVariant *last = nullptr)
    {
        QVariant latest;
        const DatabaseReference at = reader.reference(path);
        const DatabaseHandle handle = at.observe(
            DataEventType::value, [&](const DataSnapshot &node) { latest = node.value(); });
        const bool held = waitUntil([&] { return holds(latest); }, 10000);
        at.removeObserver(handle);
        if (last)
            *last = latest;
        return held;
    }
    // Ben's entry for Anna: what Ben has not read of her messages.
    bool bensCounterIs(int count)
    {
        QVariant last;
        const bool held = eventually(
            *benDb, "RecentChatUserList/" + ben + '/' + anna + "/unReadMessageCount",
            [count](const QVariant &value) { return value.isValid() && value.toInt() == count; },
            &last);
        EXPECT_TRUE(held) << "the counter is " << testing::PrintToString(last);
        return held;
    }
    // Until both clients' writes are stored.
    bool settled()
    {
        return waitUntil(
            [&] { return annaDb->pendingWriteCount() == 0 && benDb->pendingWriteCount() == 0; },
            10000);
    }
    QList<RecordedRequest> pushes() const { return relay_.requestsTo("/api/v1/notifications"); }

    QString anna;
    QString ben;
    QString conv;
    std::unique_ptr<Database> annaDb;
    std::unique_ptr<Database> benDb;
    RecordingServer relay_;
    std::unique_ptr<ScopedEnvironment> relayVariable_;
    std::unique_ptr<UserDefaults> kitStore_;
    NotificationCenter center_;
    std::unique_ptr<OneSignal> kit_;
};

TEST_F(ChatEngine, TheCounterCountsWhatThePartnerHasNotReadAndBothEntriesFollowEachMessage)
{
    benDb->reference("Notifications/" + ben + "/message").setValue("off");
    LoginDefaults().setUserId(anna);
    ChatDataManager annaChat(ben, "34", "12.3", "1", annaDb.get(), kit_.get());
    RecentListHelper benSide(ben, anna, false, "29", "12.3", "0", benDb.get());
    const auto annaSeesBenReading = [&](bool reading) {
        benSide.isReadingMessage(reading);
        return waitUntil([&] {
            return annaChat.recentHelper()->receiverIsReadingMessage() == std::optional(reading);
        });
    };
    ASSERT_TRUE(annaSeesBenReading(false));

    annaChat.sendMessage("Hallo Ben");
    ASSERT_TRUE(bensCounterIs(1)) << "the first message creates Ben's entry";
    QVariant own;
    EXPECT_TRUE(eventually(
        *annaDb, "RecentChatUserList/" + anna + '/' + ben,
        [](const QVariant &value) { return value.isValid(); }, &own));
    EXPECT_EQ(own.toMap().value("_id"), ben);
    EXPECT_EQ(own.toMap().value("last_message"), "Hallo Ben");
    EXPECT_EQ(own.toMap().value("favourite"), "1");

    ASSERT_TRUE(waitUntil([&] { return annaChat.messages().size() == 1; }));
    QVariantMap stored =
        storedValue(*benDb, "Tailwise_Chat/" + conv + "/Messages/" + annaChat.messages()[0].key)
            .toMap();
    EXPECT_GT(stored.take("timestamp").toDouble(), 1.7e12);
    EXPECT_EQ(QVariant(stored), QVariant(QVariantMap{{"user_id", anna},
                                                     {"receiverId", ben},
                                                     {"message", "Hallo Ben"},
                                                     {"message_type", "text"},
                                                     {"image_pos", 0},
                                                     {"file_url", "NOTSET"},
                                                     {"isSent", false}}));

    // Back to back: none of them may be lost to another.
    annaChat.sendMessage("Zwei");
    annaChat.sendMessage("Drei");
    ASSERT_TRUE(bensCounterIs(3));
    benSide.updateSenderReadStaus(true);
    ASSERT_TRUE(bensCounterIs(0)) << "Ben has read them";

    ASSERT_TRUE(annaSeesBenReading(true));
    annaChat.sendMessage("Vier");
    QVariant bens;
    EXPECT_TRUE(eventually(
        *benDb, "RecentChatUserList/" + ben + '/' + anna,
        [](const QVariant &v) { return v.toMap().value("last_message") == "Vier"; }, &bens));
    EXPECT_EQ(bens.toMap().value("unReadMessageCount"), 0) << "Ben is reading";
    EXPECT_TRUE(
        eventually(*annaDb, "RecentChatUserList/" + anna + '/' + ben,
                   [](const QVariant &v) { return v.toMap().value("receiverReadStatus") == true; }))
        << "Anna's entry shows that Ben is reading";

    // Typing is never published: no flag, no callback, and the rules saw no refused write.
    bool typingReported = false;
    annaChat.user(true);
    annaChat.listenToTyping([&](bool) { typingReported = true; });
    QTest::qWait(300);
    EXPECT_FALSE(storedValue(*benDb, "Tailwise_Chat/" + conv + "/Typing").isValid());
    EXPECT_FALSE(typingReported);
    EXPECT_EQ(annaDb->pendingWriteCount(), 0);
    EXPECT_TRUE(pushes().isEmpty()) << "Ben wants no pushes for messages";
}

TEST_F(ChatEngine, AnOpenedConversationDeliversItsHistoryInOrderAndPushesOnlyWhenWanted)
{
    // Anna wrote fifty messages before Ben opens the conversation.
    QStringList keys;
    const DatabaseReference messages = annaDb->reference("Tailwise_Chat/" + conv + "/Messages");
    for (int i = 0; i < 50; ++i) {
        const DatabaseReference at = messages.childByAutoId();
        keys << at.key();
        at.setValue(Message(anna, ben, QString::number(i), QString(), MessageType::text, "NOTSET",
                            0, 0, false)
                        .toAnyObject());
    }
    ASSERT_TRUE(settled());

    LoginDefaults().setUserId(ben);
    RecordingChatDelegate screen;
    ChatDataManager benChat(anna, "34", "12.3", "0", benDb.get(), kit_.get());
    benChat.setDelegate(&screen);
    ASSERT_TRUE(waitUntil([&] { return screen.received >= 50; }, 10000));
    QTest::qWait(200);
    EXPECT_EQ(screen.received, 50);
    QStringList delivered;
    for (const Message &message : benChat.messages())
        delivered << message.key;
    EXPECT_EQ(delivered, keys);
    QList<qsizetype> rows;
    for (qsizetype row = 0; row < 50; ++row)
        rows << row;
    EXPECT_EQ(screen.appended, rows);

    // Anna's device, and her choice whether a message announces itself.
    annaDb->reference("Users/" + anna + "/device_token").setValue("p-anna");
    annaDb->reference("Notifications/" + anna + "/message").setValue("off");
    benDb->reference("Users/" + ben + "/name").setValue("Ben"); // as a sign-in mirrors it
    ASSERT_TRUE(settled());
    benChat.sendMessage("Ohne Push");
    EXPECT_TRUE(
        eventually(*annaDb, "RecentChatUserList/" + anna + '/' + ben, [](const QVariant &v) {
            return v.toMap().value("last_message") == "Ohne Push" &&
                   v.toMap().value("unReadMessageCount") == 1;
        }));
    ASSERT_TRUE(waitUntil([&] { return screen.received == 51; }));
    QTest::qWait(300); // the gate's read has been answered

    annaDb->reference("Notifications/" + anna + "/message").setValue("on");
    ASSERT_TRUE(settled());
    benChat.sendMessage("Mit Push");
    ASSERT_TRUE(waitUntil([&] { return !pushes().isEmpty(); }, 10000));
    QTest::qWait(300);
    ASSERT_EQ(pushes().size(), 1);
    const QVariantMap push = QJsonDocument::fromJson(pushes()[0].body).toVariant().toMap();
    EXPECT_EQ(push.value("contents"), (QVariantMap{{"en", "Mit Push"}}));
    EXPECT_EQ(push.value("headings"), (QVariantMap{{"en", "Ben"}})) << "who wrote";
    EXPECT_EQ(push.value("data"), (QVariantMap{{"postID", ben}})) << "the tap opens this chat";
    EXPECT_EQ(push.value("include_player_ids"), QVariantList{"p-anna"});
}

TEST_F(ChatEngine, PresenceIsOnlineOnlyForTheTextOnlineAndFollowsOnePartnerAtATime)
{
    annaDb->reference("Users/" + anna + "/status").setValue("Online");
    benDb->reference("Users/" + ben + "/status").setValue("Offline");
    ASSERT_TRUE(settled());
    OnlineNotification &presence = OnlineNotification::shared();
    std::map<QString, std::optional<bool>> answers;
    for (const QString &uid : {anna, ben, QStringLiteral("999")})
        presence.fetchData(uid, [&answers, uid](bool online) { answers[uid] = online; });
    ASSERT_TRUE(waitUntil([&] { return answers.size() == 3; }));
    EXPECT_EQ(answers[anna], true);
    EXPECT_EQ(answers[ben], false);
    EXPECT_EQ(answers["999"], false) << "no record";

    presence.fecthOnlineStatus("999"); // the shared state may hold an earlier partner's
    QSignalSpy changes(&presence, &OnlineNotification::onlineStatusChanged);
    presence.fecthOnlineStatus(anna);
    ASSERT_TRUE(waitUntil([&] { return presence.isOnline(); }));
    presence.fecthOnlineStatus(ben);
    EXPECT_FALSE(presence.isOnline()) << "the previous partner's state does not carry over";
    benDb->reference("Users/" + ben + "/status").setValue("Online");
    ASSERT_TRUE(waitUntil([&] { return presence.isOnline(); }));
    EXPECT_EQ(changes.size(), 3);
}

} // namespace
