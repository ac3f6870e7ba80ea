#include "Common/Firebase/FirebaseNode.h"
#include "Deployment.h"
#include "LoginDefaults.h"
#include "Module/Chat/ChatVc/ChatDataManager.h"
#include "Module/Chat/ChatVc/RecentListHelper.h"
#include "Module/Chat/Model/OnlineNotification.h"
#include "Module/Chat/Model/TypingAndOnlineHandler.h"
#include "Platform/OneSignal.h"
#include "Platform/UserDefaults.h"
#include "TestSupport.h"

#include <QSignalSpy>

#include <map>

namespace {

struct RecordingChatDelegate : ChatDataManagerDelegate
{
    void messageReceived() override { ++received; }
    void reloadMessages() override { ++reloads; }
    void messageAppended(qsizetype index) override { appended.append(index); }

    int received = 0;
    int reloads = 0;
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
        anna = signUp("Anna", "female", 52.52, 13.405);
        annaDb = client("anna", LoginDefaults().userToken());
        ben = signUp("Ben", "male", 52.39, 13.06);
        benDb = client("ben", LoginDefaults().userToken());
        conv = conversationId(anna, ben);
        // The sign-in seeds each settings record unless one is there; a test that changed a
        // key before the seed would find its record replaced.
        for (const QString &uid : {anna, ben})
            ASSERT_TRUE(waitUntil([&] {
                return storedValue(*annaDb, "Notifications/" + uid).typeId() ==
                       QMetaType::QVariantMap;
            }));

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

    static std::unique_ptr<Database> client(const QString &name, std::optional<QString> token)
    {
        auto database = std::make_unique<Database>(name);
        database->setTokenProvider([token] { return token; });
        return database;
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
    static bool counterIs(Database &reader, const QString &owner, const QString &other, int count)
    {
        QVariant last;
        const bool held = eventually(
            reader, "RecentChatUserList/" + owner + '/' + other + "/unReadMessageCount",
            [count](const QVariant &value) { return value.isValid() && value.toInt() == count; },
            &last);
        EXPECT_TRUE(held) << "counter of " << owner.toStdString() << " is "
                          << testing::PrintToString(last) << ", not " << count;
        return held;
    }
    QList<RecordedRequest> pushes() const
    {
        QList<RecordedRequest> posted;
        for (const RecordedRequest &request : relay_.requests())
            if (request.target == "/api/v1/notifications")
                posted << request;
        return posted;
    }

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
    benSide.isReadingMessage(false);
    ASSERT_TRUE(waitUntil([&] {
        return annaChat.recentHelper()->receiverIsReadingMessage() == std::optional(false);
    }));

    annaChat.sendMessage("Hallo Ben");
    ASSERT_TRUE(counterIs(*benDb, ben, anna, 1)) << "the first message creates Ben's entry";
    QVariant annasEntry;
    EXPECT_TRUE(eventually(
        *annaDb, "RecentChatUserList/" + anna + '/' + ben,
        [](const QVariant &value) { return value.isValid(); }, &annasEntry));
    const QVariantMap own = annasEntry.toMap();
    EXPECT_EQ(own.value("_id"), ben);
    EXPECT_EQ(own.value("last_message"), "Hallo Ben");
    EXPECT_EQ(own.value("message_type"), "text");
    EXPECT_EQ(own.value("unReadMessageCount").toInt(), 0);
    EXPECT_EQ(own.value("age"), "34");
    EXPECT_EQ(own.value("favourite"), "1");
    EXPECT_GT(own.value("timeStamp").toDouble(), 1.7e12);
    const QVariantMap bens = storedValue(*benDb, "RecentChatUserList/" + ben + '/' + anna).toMap();
    EXPECT_EQ(bens.value("_id"), anna);
    EXPECT_EQ(bens.value("last_message"), "Hallo Ben");

    ASSERT_TRUE(waitUntil([&] { return annaChat.messages().size() == 1; }));
    const Message sent = annaChat.messages()[0];
    EXPECT_EQ(sent.senderId, anna);
    EXPECT_EQ(sent.message, "Hallo Ben");
    QVariantMap stored =
        storedValue(*benDb, "Tailwise_Chat/" + conv + "/Messages/" + sent.key).toMap();
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
    ASSERT_TRUE(counterIs(*benDb, ben, anna, 3));

    benSide.isReadingMessage(true);
    ASSERT_TRUE(waitUntil([&] {
        return annaChat.recentHelper()->receiverIsReadingMessage() == std::optional(true);
    }));
    annaChat.sendMessage("Vier");
    EXPECT_TRUE(counterIs(*benDb, ben, anna, 0));
    EXPECT_TRUE(eventually(*annaDb, "RecentChatUserList/" + anna + '/' + ben,
                           [](const QVariant &v) {
                               return v.toMap().value("receiverReadStatus") == true &&
                                      v.toMap().value("last_message") == "Vier";
                           }))
        << "Anna's entry shows that Ben is reading";

    // Ben leaves; what comes meanwhile is unread until he marks his entry read.
    benSide.isReadingMessage(false);
    ASSERT_TRUE(waitUntil([&] {
        return annaChat.recentHelper()->receiverIsReadingMessage() == std::optional(false);
    }));
    annaChat.sendMessage("Fünf");
    ASSERT_TRUE(counterIs(*benDb, ben, anna, 1));
    benSide.updateSenderReadStaus(true);
    EXPECT_TRUE(counterIs(*benDb, ben, anna, 0));

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
    ASSERT_TRUE(waitUntil([&] { return annaDb->pendingWriteCount() == 0; }, 10000));

    LoginDefaults().setUserId(ben);
    RecordingChatDelegate screen;
    ChatDataManager benChat(anna, "34", "12.3", "0", benDb.get(), kit_.get());
    benChat.setDelegate(&screen);
    ASSERT_TRUE(waitUntil([&] { return screen.received >= 50; }, 10000));
    QTest::qWait(200);
    EXPECT_EQ(screen.received, 50);
    EXPECT_EQ(screen.reloads, 0);
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
    ASSERT_TRUE(waitUntil([&] { return benDb->pendingWriteCount() == 0; }));
    ASSERT_TRUE(waitUntil([&] { return annaDb->pendingWriteCount() == 0; }));
    benChat.sendMessage("Ohne Push");
    EXPECT_TRUE(
        eventually(*annaDb, "RecentChatUserList/" + anna + '/' + ben, [](const QVariant &v) {
            return v.toMap().value("last_message") == "Ohne Push" &&
                   v.toMap().value("unReadMessageCount") == 1;
        }));
    ASSERT_TRUE(waitUntil([&] { return screen.received == 51; }));
    QTest::qWait(300); // the gate's read has been answered

    annaDb->reference("Notifications/" + anna + "/message").setValue("on");
    ASSERT_TRUE(waitUntil([&] { return annaDb->pendingWriteCount() == 0; }));
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

TEST_F(ChatEngine, PresenceIsOnlineOnlyForTheTextOnlineAndTheCleanUpLeavesNoNewFlag)
{
    annaDb->reference("Users/" + anna + "/status").setValue("Online");
    benDb->reference("Users/" + ben + "/status").setValue("Offline");
    ASSERT_TRUE(waitUntil([&] { return annaDb->pendingWriteCount() == 0; }));
    ASSERT_TRUE(waitUntil([&] { return benDb->pendingWriteCount() == 0; }));
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

    TypingAndOnlineHandler &handler = TypingAndOnlineHandler::shared();
    const DatabaseReference chat = annaDb->reference("Tailwise_Chat/" + conv);
    handler.setLastTypingRef(chat.child("Typing").child(anna));
    handler.setUserLastReadMessageRef(chat.child("receiverReadStatus").child(anna));
    handler.applicationIsTerminating();
    EXPECT_TRUE(eventually(*benDb, "Tailwise_Chat/" + conv + "/Typing/" + anna,
                           [](const QVariant &v) { return v.toMap().value("isTyping") == false; }));
    QTest::qWait(300);
    EXPECT_FALSE(storedValue(*benDb, "Tailwise_Chat/" + conv + "/receiverReadStatus").isValid())
        << "a reading flag that was never set stays absent";
    handler.setLastTypingRef(std::nullopt);
    handler.setUserLastReadMessageRef(std::nullopt);
}

} // namespace
