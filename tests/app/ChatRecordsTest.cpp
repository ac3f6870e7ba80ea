#include "TestSupport.h"

#include "Common/Extensions/DateExtension.h"
#include "Common/Firebase/FirebaseNode.h"
#include "Common/Network/API.h"
#include "Module/Chat/Model/ChatModels.h"
#include "NotificationAlert/DeviceToken.h"

#include <QTimeZone>

namespace {

const QDateTime pinnedNow = QDateTime(QDate(2026, 3, 1), QTime(9, 30, 15), QTimeZone::utc());
const double pinnedMs = 1772357415000.0;

// "Now" held still, so that written timestamps can be compared.
class ChatRecords : public FreshSettings
{
protected:
    void TearDown() override
    {
        DeviceToken::shared().setDeviceToken(QString());
        FreshSettings::TearDown();
    }

    QDateTime now_ = pinnedNow;
    const ScopedCurrentDate clock_{[this] { return now_; }};
};

QVariantMap storedMessage()
{
    return {{"user_id", "7"},         {"receiverId", "9"}, {"message", "Hallo"},
            {"message_type", "text"}, {"file_url", ""},    {"timestamp", 1772357000000.0}};
}

TEST_F(ChatRecords, MessagesReadTheirKindByTheirOwnRuleAndWriteTheTimeOfWriting)
{
    QVariantMap values = storedMessage();
    values.remove("message");
    values["message_type"] = "video";
    values["image_pos"] = 3;
    values["isSent"] = true;
    const Message read(DataSnapshot("-Nx1", values));
    EXPECT_EQ(read.message, "");
    EXPECT_EQ(read.messageType, MessageType::audio) << "an unknown kind plays as audio";
    EXPECT_EQ(read.timeStamp, 1772357000000.0);
    EXPECT_EQ(read.imagePostion, 0) << "never read back";
    EXPECT_FALSE(read.sent);

    Message composed("7", "9", "Wuff", "", MessageType::image, "https://x/p.png", 5, 2, true);
    const QVariantMap written = composed.toAnyObject();
    EXPECT_EQ(written, (QVariantMap{{"user_id", "7"},
                                    {"receiverId", "9"},
                                    {"message", "Wuff"},
                                    {"message_type", "image"},
                                    {"image_pos", 2},
                                    {"timestamp", pinnedMs},
                                    {"file_url", "https://x/p.png"},
                                    {"isSent", true}}));
    now_ = now_.addSecs(1);
    EXPECT_EQ(composed.toAnyObject().value("timestamp").toDouble(), pinnedMs + 1000);
    // What is written reads back as the same message.
    const Message again(DataSnapshot("k", written));
    EXPECT_EQ(again.messageType, MessageType::image);
    EXPECT_EQ(again.fileUrl, "https://x/p.png");
}

using ChatRecordsDeathTest = ChatRecords;

TEST_F(ChatRecordsDeathTest, AStoredMessageMissingARequiredKeyStopsTheApp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char *key : {"user_id", "receiverId", "message_type", "file_url", "timestamp"}) {
        QVariantMap values = storedMessage();
        values.remove(key);
        EXPECT_DEATH(Message(DataSnapshot("k", values)), "found nil") << key;
    }
    QVariantMap textTime = storedMessage();
    textTime["timestamp"] = "1772357000000";
    EXPECT_DEATH(Message(DataSnapshot("k", textTime)), "found nil");
    EXPECT_DEATH(Message(DataSnapshot("k", QStringLiteral("just text"))), "found nil");
}

TEST_F(ChatRecords, RecentListEntriesFallBackToDefaultsAndAlwaysWriteText)
{
    const ChatUser partial(
        DataSnapshot("9", QVariantMap{{"age", 4}, {"receiverReadStatus", "true"}}));
    EXPECT_EQ(partial.age, "") << "numbers are not text";
    EXPECT_FALSE(partial.receiverReadStatus) << "only a boolean counts";
    EXPECT_EQ(partial.unreadMessageCount, 0);
    EXPECT_EQ(partial.timeStamp, 0);

    ChatUser entry(DataSnapshot("9", QVariantMap{{"unReadMessageCount", 3},
                                                 {"receiverReadStatus", true},
                                                 {"message_type", "image"},
                                                 {"timeStamp", 1.0}}));
    EXPECT_TRUE(entry.receiverReadStatus);
    const QVariantMap written = entry.toAnyObject();
    EXPECT_EQ(written.value("message_type"), "text");
    EXPECT_EQ(written.value("timeStamp").toDouble(), pinnedMs);
    EXPECT_EQ(written.value("unReadMessageCount").toDouble(), 3);
    EXPECT_EQ(written.size(), 9);
}

TEST_F(ChatRecords, TheUserMirrorReadsBackendKeysAndWritesDatabaseKeys)
{
    ScopedEnvironment uploads("TAILWISE_UPLOADS", "http://127.0.0.1:8080");
    DeviceToken::shared().setDeviceToken("player-42");
    const DSUser user(QVariantMap{{"user_id", "7"},
                                  {"name", "lower-case key"},
                                  {"email", "anna@example.com"},
                                  {"profilePic", "ab12.png"},
                                  {"device_token", "stale"},
                                  {"status", "Offline"},
                                  {"about", "Walks"},
                                  {"time_stamp", 1700000000000.0}});
    EXPECT_EQ(user.name, "") << "only \"Name\" fills the name";
    // Which keys the record has and what the backend's fields become is pinned by the mirror
    // tests against the real database; here what the app puts in of its own.
    const QVariantMap written = user.firebaseInfo();
    EXPECT_EQ(written.value("name"), "");
    EXPECT_EQ(written.value("status"), "Online");
    EXPECT_EQ(written.value("device_token"), "player-42");
    EXPECT_EQ(written.value("profilePic"), API::imageBaseURL() + "ab12.png");
    EXPECT_EQ(written.value("aboutstory"), "Walks");
    EXPECT_EQ(written.value("time_stamp"), pinnedMs);
    EXPECT_EQ(DSUser(QVariantMap{{"profilePic", "https://lh3.example/p"}}).image(),
              "https://lh3.example/p");
    EXPECT_EQ(DSUser(QVariantMap{}).firebaseInfo().value("profilePic"), "");
}

TEST(ConversationIds, AreTheSameFromEitherSideAndGroupsKeepTheirOwn)
{
    EXPECT_EQ(conversationId("7", "12"), "7_12");
    EXPECT_EQ(conversationId("12", "7"), "7_12") << "by number, not by text";
    EXPECT_EQ(conversationId("07", "7"), "7_07");
    EXPECT_EQ(conversationId("7", "07"), "07_7");
    EXPECT_EQ(conversationId("+12", "-3"), "-3_+12");
    EXPECT_EQ(uniqueChatId("12", "7", false), "7_12");
    EXPECT_EQ(uniqueChatId("5", "G1", true), "G1");
}

TEST(ConversationIdsDeathTest, ANonNumericUserIdStopsTheApp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Blanks around digits are no whole number either, though Qt's own parsing skips them.
    for (const char *id : {"abc", " 12", "12 ", "\t12", "", "-"})
        EXPECT_DEATH(conversationId("7", QString::fromLatin1(id)), "found nil") << '"' << id << '"';
    EXPECT_DEATH(uniqueChatId("G1", "5", false), "found nil");
    EXPECT_DEATH(uniqueChatId("12\n", "5", false), "found nil");
}

} // namespace
