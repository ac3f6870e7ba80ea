// Two real apps, each in its own process with its own settings, chat through a real
// tailwise-server, driven through their windows as two people would: a message found from the
// search, the receiver's list, badge and push, reading, the partner's presence, a reply, and
// the last-seen time once the receiver has quit. PNGs of both apps' screens go to the build
// tree.
#include "TwoApps.h"

#include <QDateTime>

namespace {

TEST_F(TwoApps, AMessageReachesThePartnerWithBadgePushPresenceAndReply)
{
    AppProcess a("anna", outputDir());
    AppProcess b("ben", outputDir());
    annaWritesToBen(a, b);
    ASSERT_FALSE(HasFatalFailure());
    const QString anna = anna_.id;
    const QString ben = ben_;
    EXPECT_TRUE(a.screenshot(png("two_apps_a_conversation")));

    // Ben's list has Anna with the message and one unread; his device got the push.
    ASSERT_TRUE(b.click("tab2"));
    EXPECT_TRUE(b.waitFor("chatRow_" + anna, "lastMessage", "Hallo")) << b.log().toStdString();
    EXPECT_TRUE(b.waitFor("chatRow_" + anna, "unread", 1));
    EXPECT_TRUE(b.screenshot(png("two_apps_b_chat_list_unread")));
    EXPECT_TRUE(waitUntil([&] { return b.log().contains("willPresent notification : Hallo"); },
                          AppProcess::waitMs))
        << b.log().toStdString();

    // Ben opens the conversation: his entry is read, and Anna sees him online.
    ASSERT_TRUE(b.click("chatRow_" + anna));
    ASSERT_TRUE(b.waitFor("messageList", "count", 1));
    EXPECT_TRUE(waitUntil(
        [&] {
            return stored("RecentChatUserList/" + ben + "/" + anna + "/unReadMessageCount") == 0;
        },
        AppProcess::waitMs));
    EXPECT_TRUE(a.waitForText("chatPresence", "text", [](const QString &text) {
        return text.startsWith("Online");
    })) << a.property("chatPresence", "text").toString().toStdString();
    EXPECT_TRUE(a.screenshot(png("two_apps_a_partner_online")));

    // His reply reaches Anna's open conversation.
    send(b, "Wuff, bis gleich");
    ASSERT_TRUE(b.waitFor("messageList", "count", 2));
    EXPECT_TRUE(a.waitFor("messageList", "count", 2)) << a.log().toStdString();
    EXPECT_TRUE(b.screenshot(png("two_apps_b_conversation")));
    ASSERT_TRUE(b.click("backButton"));
    EXPECT_TRUE(b.waitFor("chatRow_" + anna, "unread", 0));
    EXPECT_TRUE(b.waitFor("chatRow_" + anna, "lastMessage", "Wuff, bis gleich"));
    EXPECT_TRUE(b.screenshot(png("two_apps_b_chat_list_read")));

    // Ben quits: Anna's header turns to when he was last seen, which is now.
    const qint64 beforeQuit = QDateTime::currentMSecsSinceEpoch();
    ASSERT_TRUE(b.quit()) << b.log().toStdString();
    EXPECT_GE(stored("Users/" + ben + "/time_stamp").toLongLong(), beforeQuit);
    EXPECT_TRUE(a.waitForText("chatPresence", "text", [](const QString &text) {
        return text.startsWith("Last Seen: ");
    })) << a.property("chatPresence", "text").toString().toStdString();
    EXPECT_TRUE(a.screenshot(png("two_apps_a_partner_last_seen")));

    // Anna read the reply as it came: her list shows it with nothing unread.
    ASSERT_TRUE(a.click("tab2"));
    EXPECT_TRUE(a.waitFor("chatRow_" + ben, "lastMessage", "Wuff, bis gleich"));
    EXPECT_TRUE(a.waitFor("chatRow_" + ben, "unread", 0));
    EXPECT_TRUE(a.screenshot(png("two_apps_a_chat_list")));
    EXPECT_TRUE(a.quit()) << a.log().toStdString();
}

} // namespace
