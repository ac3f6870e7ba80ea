// Two real apps, each in its own process with its own settings, chat through a real
// tailwise-server, driven through their windows as two people would: a message found from the
// search, the receiver's list, badge and push, reading, the partner's presence, a reply, and
// the last-seen time once the receiver has quit. PNGs of both apps' screens go to the build
// tree.
#include "AppProcess.h"
#include "TestSupport.h"

#include "LoginDefaults.h"

#include <QDir>
#include <QProcessEnvironment>

namespace {

class TwoApps : public LiveBackend
{
protected:
    void SetUp() override
    {
        LiveBackend::SetUp();
        QDir().mkpath(outputDir());
    }

    static QString outputDir() { return QStringLiteral(TAILWISE_E2E_OUTPUT_DIR); }
    static QString png(const QString &name) { return outputDir() + '/' + name + ".png"; }

    // A finished account at that position, who wants chat pushes and shows presence to
    // anybody. The database records are written as that user; answers the id.
    QString person(const QString &name, const QString &gender, double latitude, double longitude)
    {
        const QString id = signUp(name, gender, latitude, longitude);
        const QString token = LoginDefaults().userToken().value_or(QString());
        writeAs(
            token, "Notifications/" + id,
            QVariantMap{
                {"noti_status", "online"}, {"message", "on"}, {"tone", "on"}, {"vibrate", "on"}});
        writeAs(token, "DataProtection/" + id,
                QVariantMap{{"img_status", "Anybody"}, {"lastseen_status", "Anybody"}});
        return id;
    }

    QProcessEnvironment appEnvironment(const QString &location) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("TAILWISE_BACKEND", server_.backendUrl());
        env.insert("TAILWISE_DATABASE", server_.databaseUrl());
        env.insert("TAILWISE_PUSH", server_.pushUrl());
        env.insert("TAILWISE_LOCATION", location);
        return env;
    }

    // Through the landing and sign-in screens, up to the tabs.
    static void signInThroughTheWindow(AppProcess &app, const QString &name)
    {
        ASSERT_TRUE(app.click("emailLoginButton")) << app.log().toStdString();
        ASSERT_TRUE(app.type("emailField", name.toLower() + "@example.com"));
        ASSERT_TRUE(app.type("passwordField", "pw-" + name));
        ASSERT_TRUE(app.click("signInButton"));
        ASSERT_TRUE(app.waitFor("tab0", "visible", true)) << app.log().toStdString();
    }
};

TEST_F(TwoApps, AMessageReachesThePartnerWithBadgePushPresenceAndReply)
{
    // About a kilometre apart.
    const QString anna = person("Anna", "female", 52.5200, 13.4050);
    const QString ben = person("Ben", "male", 52.5290, 13.4050);
    // The test's own client reads as the last one signed up.
    ASSERT_EQ(LoginDefaults().userId(), ben);

    AppProcess a("anna", outputDir());
    AppProcess b("ben", outputDir());
    ASSERT_TRUE(a.start(appEnvironment("52.5200,13.4050"))) << a.problem().toStdString();
    ASSERT_TRUE(b.start(appEnvironment("52.5290,13.4050"))) << b.problem().toStdString();
    // Anna reads in English, Ben in German.
    ASSERT_TRUE(a.click("languageSwitch"));
    signInThroughTheWindow(a, "Anna");
    signInThroughTheWindow(b, "Ben");

    // Anna finds Ben in the search and writes to him from his detail.
    ASSERT_TRUE(a.waitFor("partnerRow_" + ben, "visible", true)) << a.log().toStdString();
    ASSERT_TRUE(a.click("partnerRow_" + ben));
    ASSERT_TRUE(a.click("chatButton"));
    ASSERT_TRUE(a.type("messageField", "Hallo"));
    ASSERT_TRUE(a.click("sendButton"));
    ASSERT_TRUE(a.waitFor("messageList", "count", 1));
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
            return storedValue(appDatabase_->client(), "RecentChatUserList/" + ben + "/" + anna +
                                                           "/unReadMessageCount") == 0;
        },
        AppProcess::waitMs));
    EXPECT_TRUE(a.waitForText("chatPresence", "text", [](const QString &text) {
        return text.startsWith("Online");
    })) << a.property("chatPresence", "text").toString().toStdString();
    EXPECT_TRUE(a.screenshot(png("two_apps_a_partner_online")));

    // His reply reaches Anna's open conversation.
    ASSERT_TRUE(b.type("messageField", "Wuff, bis gleich"));
    ASSERT_TRUE(b.click("sendButton"));
    ASSERT_TRUE(b.waitFor("messageList", "count", 2));
    EXPECT_TRUE(a.waitFor("messageList", "count", 2)) << a.log().toStdString();
    EXPECT_TRUE(b.screenshot(png("two_apps_b_conversation")));
    ASSERT_TRUE(b.click("backButton"));
    EXPECT_TRUE(b.waitFor("chatRow_" + anna, "unread", 0));
    EXPECT_TRUE(b.waitFor("chatRow_" + anna, "lastMessage", "Wuff, bis gleich"));
    EXPECT_TRUE(b.screenshot(png("two_apps_b_chat_list_read")));

    // Ben quits: Anna's header turns to when he was last seen.
    ASSERT_TRUE(b.quit()) << b.log().toStdString();
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
