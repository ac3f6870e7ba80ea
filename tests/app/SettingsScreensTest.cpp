// The settings screens' rules, headless, against a real server with the database rules on.

#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/Connectivity.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Module/Login/LoginDataManager.h"
#include "Module/Setting/ChangePassword/ChangePasswordViewController.h"
#include "Module/Setting/DataProtection/DataProtectionController.h"
#include "Module/Setting/Delete/DeleteAccViewController.h"
#include "Module/Setting/DistanceWarning.h"
#include "Module/Setting/Notification/NotificationSettingsController.h"
#include "Module/Setting/SetingViewController.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Reachability.h"
#include "Platform/UI/Alert.h"
#include "Platform/UserDefaults.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

class SettingsScreens : public EnglishLiveBackend
{
protected:
    // Ada, signed in with a finished profile, online on a device that takes pushes.
    QString signedInAda()
    {
        const QString me = signUp("Ada");
        appDatabase_->client()
            .reference("Users/" + me)
            .setValue(QVariantMap{{"id", me}, {"status", "Online"}, {"device_token", "player-7"}});
        EXPECT_TRUE(appDatabase_->waitUntilWritten());
        UserDefaults::standard().setString(RegisterStatus::success, RegisterStatus::key);
        return me;
    }
    bool signsIn(const QString &email, const QString &password)
    {
        std::optional<bool> signedIn;
        LoginDataManager().login(email, password,
                                 [&](bool success, const std::optional<QString> &,
                                     std::optional<int>) { signedIn = success; });
        EXPECT_TRUE(waitUntil([&] { return signedIn.has_value(); }, 10000));
        return signedIn.value_or(false);
    }
    // Ada's record as another signed-in user reads it once she has gone.
    QVariantMap adasRecordLater(const QString &me, Database &reader)
    {
        signUp("Bea");
        return storedValue(reader, "Users/" + me).toMap();
    }
};

TEST_F(SettingsScreens, PrivacyChoicesAreWrittenTogetherAndShownWhenTheScreenOpens)
{
    const QString me = signUp("Ada");
    const QString path = "DataProtection/" + me;
    {
        DataProtectionController privacy;
        privacy.loadViewIfNeeded();
        EXPECT_EQ(privacy.imageChoice(), 0) << "nothing stored reads as anybody";
        privacy.tapLastSeen(1); // nobody
        privacy.tapImage(2);    // only favourites
        ASSERT_TRUE(appDatabase_->waitUntilWritten());
        EXPECT_EQ(storedValue(appDatabase_->client(), path),
                  (QVariantMap{{"img_status", "Only Favourite"}, {"lastseen_status", "Nobody"}}));
        // Tapping the selected button leaves none selected and writes nothing.
        privacy.tapImage(2);
        EXPECT_EQ(privacy.imageChoice(), -1);
        EXPECT_EQ(appDatabase_->client().pendingWriteCount(), 0);
    }
    DataProtectionController reopened;
    reopened.loadViewIfNeeded();
    EXPECT_TRUE(
        waitUntil([&] { return reopened.imageChoice() == 2 && reopened.lastSeenChoice() == 1; }));
}

TEST_F(SettingsScreens, LogoutAsksThenEmptiesTheRecordAndEndsAtTheFirstScreen)
{
    const QString me = signedInAda();
    const std::optional<QString> token = LoginDefaults().userToken();

    SetingViewController settings;
    EXPECT_EQ(settings.rowKeys().size(), 7);
    settings.logout();
    ASSERT_NE(settings.presentedAlert(), nullptr);
    EXPECT_EQ(settings.presentedAlert()->actionTitles(), (QStringList{"YES", "NO"}));
    settings.presentedAlert()->trigger(0);
    ASSERT_TRUE(waitUntil([] { return !LoginDefaults().userId().has_value(); }, 10000));
    EXPECT_FALSE(UserDefaults::standard().object(RegisterStatus::key).has_value());

    Database reader(QStringLiteral("reader"));
    const QVariantMap record = adasRecordLater(me, reader);
    EXPECT_EQ(record.value("status"), "Offline");
    EXPECT_EQ(record.value("device_token"), "");
    // The session is over for the database too.
    reader.setTokenProvider([token] { return token; });
    EXPECT_TRUE(storedValue(reader, "Users/" + me).toString().startsWith("<error> 401"));
}

TEST_F(SettingsScreens, DeletionIsRefusedOfflineThenMarksTheAccountAndEndsAtTheFirstScreen)
{
    const QString me = signedInAda();

    DeleteAccViewController deletion;
    deletion.selectReason(1);
    EXPECT_EQ(LoginDefaults().reason(), 1) << "kept under SelectedReason";
    deletion.btnTellus();
    deletion.txtViewMessage = QStringLiteral("The app crashed twice.");

    // Offline: the connection message, and nothing changes.
    server_.stop();
    Reachability::shared().refresh();
    ASSERT_TRUE(waitUntil([] { return !Connectivity::isConnectedToInternet(); }));
    deletion.deleteAccount();
    ASSERT_NE(deletion.presentedAlert(), nullptr);
    deletion.presentedAlert()->trigger(0);
    ASSERT_TRUE(waitUntil([&] { return deletion.presentedAlert() != nullptr; }));
    EXPECT_EQ(deletion.presentedAlert()->message(), "Please check your internet connection");
    deletion.presentedAlert()->trigger(0);
    EXPECT_EQ(LoginDefaults().userId(), me);
    EXPECT_EQ(appDatabase_->client().pendingWriteCount(), 0);

    ASSERT_TRUE(server_.restart());
    Reachability::shared().refresh();
    ASSERT_TRUE(waitUntil([] { return Connectivity::isConnectedToInternet(); }));
    deletion.deleteAccount();
    deletion.presentedAlert()->trigger(0);
    ASSERT_TRUE(waitUntil([] { return !LoginDefaults().userId().has_value(); }, 10000));
    EXPECT_FALSE(UserDefaults::standard().object(RegisterStatus::key).has_value());

    const QVariantMap record = adasRecordLater(me, appDatabase_->client());
    EXPECT_EQ(record.value("activate_status"), "Deactivate");
    EXPECT_EQ(record.value("device_token"), "");
    EXPECT_FALSE(signsIn("ada@example.com", "pw-Ada")) << "the deleted account";
}

TEST_F(SettingsScreens, APasswordChangeIsCheckedHereAndThenSignsInWithTheNewOne)
{
    signUp("Ada");
    ChangePasswordViewController change;
    const auto problem = [&](const char *old, const char *fresh, const char *again) {
        change.oldPassword()->textFieldDidChange(old);
        change.newPassword()->textFieldDidChange(fresh);
        change.confirmPassword()->textFieldDidChange(again);
        return change.formProblem().value_or(QString());
    };
    EXPECT_EQ(problem("", "wuff-wuff", "wuff-wuff"), "Password is required");
    EXPECT_EQ(problem("pw-Ada", "wuff", "wuff"), "The new password needs at least 6 characters.");
    EXPECT_EQ(problem("pw-Ada", "wuff-wuff", "wuff-wuf"), "Password does not match");
    EXPECT_EQ(problem("pw-Ada", "pw-Ada", "pw-Ada"),
              "The new password is the same as the old one.");
    EXPECT_EQ(problem("pw-Ada", "wuff-wuff", "wuff-wuff"), "");

    change.save();
    ASSERT_TRUE(waitUntil([&] { return change.presentedAlert() != nullptr; }, 10000));
    change.presentedAlert()->trigger(0);
    EXPECT_TRUE(signsIn("ada@example.com", "wuff-wuff"));
}

TEST_F(SettingsScreens, NotificationChoicesGoToTheRecordSendersReadAndComeBackWhenReopened)
{
    const QString me = signUp("Ada");
    const QString path = "Notifications/" + me;
    ASSERT_TRUE(
        waitUntil([&] { return storedValue(appDatabase_->client(), path).isValid(); }, 10000));
    {
        NotificationSettingsController settings;
        settings.loadViewIfNeeded();
        ASSERT_TRUE(waitUntil([&] { return settings.loaded(); }));
        EXPECT_TRUE(settings.pushes() && settings.tone() && settings.vibration() &&
                    settings.preview())
            << "the record's defaults";
        settings.setPushes(false);
        settings.setPreview(false);
        settings.setLightColour(1);
        ASSERT_TRUE(appDatabase_->waitUntilWritten());
    }
    EXPECT_EQ(
        storedValue(appDatabase_->client(), path),
        (QVariantMap{
            {"noti_status", "offline"}, {"tone", "on"}, {"vibrate", "on"}, {"message", "off"}}));
    EXPECT_EQ(LoginDefaults().ledColour(), 2) << "LedColour keeps the colour's place plus one";
    NotificationSettingsController reopened;
    reopened.loadViewIfNeeded();
    ASSERT_TRUE(waitUntil([&] { return reopened.loaded(); }));
    EXPECT_FALSE(reopened.pushes());
    EXPECT_FALSE(reopened.preview());
    EXPECT_TRUE(reopened.tone());
    EXPECT_EQ(reopened.lightColour(), 1);
}

TEST_F(SettingsScreens, TheDistanceWarningAnnouncesANearFavouriteOnceAndOnlyWhileSwitchedOn)
{
    const QString bea = signUp("Bea", "female", 52.5290, 13.4050); // about 1 km north
    const QString cleo = signUp("Cleo", "female", 52.6500, 13.4050);
    const QString ada = signUp("Ada", "female", 48.1374, 11.5755); // far away, for now
    for (const QString &partner : {bea, cleo}) {
        std::optional<bool> marked;
        FindDogDataManager().createFavUser(
            ada, partner, "1", [&](bool success, const QString &) { marked = success; });
        ASSERT_TRUE(waitUntil([&] { return marked.has_value(); }, 10000) && *marked);
    }
    NotificationCenter center;
    DistanceWarning warning(center);
    QStringList announced;
    QObject::connect(&warning, &DistanceWarning::announced,
                     [&](const QString &partner) { announced << partner; });

    warning.locationChanged({52.5200, 13.4050}); // the switch is off
    QTest::qWait(500);
    EXPECT_TRUE(announced.isEmpty());

    LoginDefaults().setSwitchState(QStringLiteral("on"));
    warning.locationChanged({52.5200, 13.4050});
    ASSERT_TRUE(waitUntil([&] { return !announced.isEmpty(); }, 10000));
    EXPECT_EQ(announced, QStringList{bea}) << "Cleo is 14 km away";
    ASSERT_TRUE(waitUntil([&] { return center.banner().isShown(); }));
    EXPECT_EQ(center.banner().body(), "Bea is 1.0 km from you");

    // Still near after another move: not announced again.
    warning.locationChanged({52.5250, 13.4150});
    QTest::qWait(800);
    EXPECT_EQ(announced.size(), 1);
}
