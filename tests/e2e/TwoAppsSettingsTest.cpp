// What one person chooses in the settings, seen from the other person's app: hiding last seen,
// turning pushes off, logging out and deleting the account. Both apps are driven through their
// windows; the database and backend are checked as they are left.
#include "TwoApps.h"

namespace {

bool isPresence(const QString &header)
{
    return header.startsWith("Online") || header.contains("Last Seen");
}

TEST_F(TwoApps, PrivacyAndPushChoicesTakeEffectOnThePartnersApp)
{
    AppProcess a("anna", outputDir());
    AppProcess b("ben", outputDir());
    annaWritesToBen(a, b);
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_TRUE(a.waitForText("chatPresence", "text", isPresence));

    // Ben lets nobody see when he was last seen: Anna's open conversation drops his presence
    // but keeps his age and distance.
    ASSERT_TRUE(b.click("tab5"));
    ASSERT_TRUE(b.click("SettingCellid_0"));
    ASSERT_TRUE(b.click("btnLastNo"));
    EXPECT_TRUE(
        waitUntil([&] { return stored("DataProtection/" + ben_ + "/lastseen_status") == "Nobody"; },
                  AppProcess::waitMs));
    EXPECT_TRUE(a.waitForText("chatPresence", "text", [](const QString &header) {
        return !isPresence(header) && header.contains("km away");
    })) << a.property("chatPresence", "text").toString().toStdString();
    EXPECT_TRUE(a.screenshot(png("settings_a_presence_hidden")));
    EXPECT_TRUE(b.screenshot(png("settings_b_last_seen_nobody")));

    // With his pushes off, Anna's next message reaches his list but not his device.
    ASSERT_TRUE(b.click("backButton"));
    ASSERT_TRUE(b.click("SettingCellid_1"));
    ASSERT_TRUE(b.click("pushesSwitch"));
    ASSERT_TRUE(
        waitUntil([&] { return stored("Notifications/" + ben_ + "/noti_status") == "offline"; },
                  AppProcess::waitMs));
    send(a, "Noch da?");
    ASSERT_TRUE(b.click("backButton"));
    ASSERT_TRUE(b.click("tab2"));
    EXPECT_TRUE(b.waitFor("chatRow_" + anna_.id, "lastMessage", "Noch da?"))
        << b.log().toStdString();

    // Pushes on again: the next one arrives, and the one sent while off never did. Pushes to a
    // device come in order, so the later arrival rules out a late one.
    ASSERT_TRUE(b.click("tab5"));
    ASSERT_TRUE(b.click("SettingCellid_1"));
    ASSERT_TRUE(b.click("pushesSwitch"));
    ASSERT_TRUE(
        waitUntil([&] { return stored("Notifications/" + ben_ + "/noti_status") == "online"; },
                  AppProcess::waitMs));
    send(a, "Jetzt mit Push");
    EXPECT_TRUE(
        waitUntil([&] { return b.log().contains("willPresent notification : Jetzt mit Push"); },
                  AppProcess::waitMs))
        << b.log().toStdString();
    EXPECT_FALSE(b.log().contains("willPresent notification : Noch da?"));

    // Ben logs out: he is back on the first screen, away, and no push is addressed to him.
    ASSERT_TRUE(b.click("backButton"));
    ASSERT_TRUE(b.click("SettingCellid_4"));
    ASSERT_TRUE(b.click("alertAction0"));
    EXPECT_TRUE(b.waitFor("emailLoginButton", "visible", true)) << b.log().toStdString();
    EXPECT_TRUE(waitUntil([&] { return stored("Users/" + ben_ + "/status") == "Offline"; },
                          AppProcess::waitMs));
    EXPECT_EQ(stored("Users/" + ben_ + "/device_token"), "");
}

TEST_F(TwoApps, ADeletedAccountShowsInThePartnersConversationAndCannotSignInAgain)
{
    AppProcess a("anna", outputDir());
    AppProcess b("ben", outputDir());
    annaWritesToBen(a, b);
    ASSERT_FALSE(HasFatalFailure());

    // Ben deletes his account with a reason and a word of his own.
    ASSERT_TRUE(b.click("tab5"));
    ASSERT_TRUE(b.click("SettingCellid_3"));
    ASSERT_TRUE(b.click("btnThird"));
    ASSERT_TRUE(b.click("btnTellus"));
    ASSERT_TRUE(b.type("txtViewMessage", "Wir sind umgezogen"));
    EXPECT_TRUE(b.screenshot(png("settings_b_delete_account")));
    ASSERT_TRUE(b.click("deleteButton"));
    ASSERT_TRUE(b.click("alertAction0"));
    EXPECT_TRUE(b.waitFor("emailLoginButton", "visible", true)) << b.log().toStdString();
    readAsAnna();
    EXPECT_EQ(stored("Users/" + ben_ + "/activate_status"), "Deactivate");
    EXPECT_EQ(stored("Users/" + ben_ + "/device_token"), "");

    // Anna's open conversation says so at once, and so does her list.
    EXPECT_TRUE(a.waitFor("chatPresence", "text", "Account doesn't Exist"))
        << a.property("chatPresence", "text").toString().toStdString();
    EXPECT_TRUE(a.waitFor("alertMessage", "text", "Account doesn't Exist"));
    EXPECT_TRUE(a.screenshot(png("settings_a_partner_deleted")));
    ASSERT_TRUE(a.click("alertAction0"));
    ASSERT_TRUE(a.click("tab2"));
    EXPECT_TRUE(a.waitFor("chatRow_" + ben_, "deactivated", true))
        << a.property("chatRow_" + ben_, "lastMessage").toString().toStdString();
    EXPECT_TRUE(a.screenshot(png("settings_a_chat_list_partner_deleted")));

    // The account is gone for good: signing in again is refused on the first screen.
    ASSERT_TRUE(b.click("emailLoginButton"));
    ASSERT_TRUE(b.type("emailField", "ben@example.com"));
    ASSERT_TRUE(b.type("passwordField", "pw-Ben"));
    ASSERT_TRUE(b.click("signInButton"));
    EXPECT_TRUE(b.waitForText("alertMessage", "text", [](const QString &message) {
        return !message.isEmpty();
    })) << b.log().toStdString();
    EXPECT_FALSE(b.property("tab0", "visible").toBool());
    EXPECT_TRUE(b.screenshot(png("settings_b_deleted_sign_in_refused")));
}

} // namespace
