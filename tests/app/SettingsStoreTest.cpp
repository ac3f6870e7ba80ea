#include "TestSupport.h"

#include "Constants.h"
#include "LoginDefaults.h"
#include "NotificationAlert/DeviceToken.h"
#include "Platform/SignInKits.h"
#include "Platform/UserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

namespace {

using UserDefaultsStore = FreshSettings;

TEST_F(UserDefaultsStore, KeepsValuesAndTheirTypesAcrossARecreatedStore)
{
    {
        UserDefaults store(settingsFile());
        store.setString(QStringLiteral("12"), QStringLiteral("text"));
        store.setString(QString(), QStringLiteral("empty"));
        store.setInteger(7, QStringLiteral("number"));
        store.setInteger(-9'000'000'000LL, QStringLiteral("large"));
        store.setBool(false, QStringLiteral("flag"));
        store.setString(QStringLiteral("gone"), QStringLiteral("removed"));
        store.removeObject(QStringLiteral("removed"));
    }
    const UserDefaults reopened(settingsFile());
    const QVariantMap values = reopened.dictionaryRepresentation();
    ASSERT_EQ(values.keys(), (QStringList{"empty", "flag", "large", "number", "text"}));
    EXPECT_EQ(values["text"].typeId(), QMetaType::QString);
    EXPECT_EQ(values["text"], "12");
    EXPECT_EQ(values["empty"].typeId(), QMetaType::QString);
    EXPECT_EQ(values["number"].typeId(), QMetaType::LongLong);
    EXPECT_EQ(values["number"], 7);
    EXPECT_EQ(values["large"], -9'000'000'000LL);
    EXPECT_EQ(values["flag"].typeId(), QMetaType::Bool);
    EXPECT_FALSE(reopened.object(QStringLiteral("removed")).has_value());
    // Nothing but the store itself is left in the directory.
    EXPECT_EQ(QDir(home_.path()).entryList(QDir::Files | QDir::Hidden),
              QStringList{"UserDefaults.json"});
}

TEST_F(UserDefaultsStore, ExistsAlwaysAsksTheStandardStore)
{
    UserDefaults::standard().setString(QString(), QStringLiteral("emptyText"));
    UserDefaults::standard().setBool(false, QStringLiteral("falseFlag"));
    UserDefaults other(home_.filePath(QStringLiteral("other.json")));
    other.setString(QStringLiteral("x"), QStringLiteral("onlyInOther"));

    const UserDefaults *const stores[] = {&UserDefaults::standard(), &other};
    for (const UserDefaults *store : stores) {
        EXPECT_TRUE(store->exists(QStringLiteral("emptyText")));
        EXPECT_TRUE(store->exists(QStringLiteral("falseFlag")));
        EXPECT_FALSE(store->exists(QStringLiteral("onlyInOther")));
    }
}

TEST_F(UserDefaultsStore, StartsEmptyOverADamagedFileAndReplacesIt)
{
    QFile damaged(settingsFile());
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write(R"({"userId": "4", "userTo)");
    damaged.close();
    UserDefaults::resetStandardUserDefaults();

    EXPECT_TRUE(UserDefaults::standard().dictionaryRepresentation().isEmpty());
    UserDefaults::standard().setString(QStringLiteral("5"), QStringLiteral("userId"));
    EXPECT_EQ(storedSettings(), (QVariantMap{{"userId", "5"}}));
}

TEST_F(UserDefaultsStore, AWriterKilledMidWriteLeavesACompleteStore)
{
    const QString path = settingsFile();
    for (int attempt = 0; attempt < 3; ++attempt) {
        QProcess writer;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TAILWISE_TEST_STORE_WRITER"), path);
        writer.setProcessEnvironment(environment);
        writer.start(QCoreApplication::applicationFilePath(), {});
        ASSERT_TRUE(writer.waitForStarted(5000));
        ASSERT_TRUE(waitUntil([&] { return QFile::exists(path); }));
        QTest::qWait(100 + 70 * attempt);
        writer.kill();
        ASSERT_TRUE(writer.waitForFinished(5000));

        const UserDefaults survivor(path);
        const QString payload = survivor.string(QStringLiteral("payload")).value_or(QString());
        ASSERT_EQ(payload.size(), 200'000) << "attempt " << attempt;
        EXPECT_EQ(payload.count(payload.front()), payload.size());
    }
}

TEST_F(UserDefaultsStore, WritesItsFileOncePerTurnHoweverManyKeysChange)
{
    UserDefaults store(settingsFile());
    for (int i = 0; i < 10; ++i)
        store.setInteger(i, QStringLiteral("key%1").arg(i));
    EXPECT_EQ(store.fileWrites(), 0U) << "written before the turn ended";
    ASSERT_TRUE(waitUntil([&] { return store.fileWrites() > 0; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(store.fileWrites(), 1U);
    EXPECT_TRUE(store.synchronize());
    EXPECT_EQ(store.fileWrites(), 1U) << "nothing was pending";

    const UserDefaults reread(settingsFile());
    EXPECT_EQ(reread.dictionaryRepresentation().size(), 10);
    EXPECT_EQ(reread.integer(QStringLiteral("key9")), 9);
}

TEST_F(UserDefaultsStore, AChangeLeftForTheLoopIsWrittenWhenTheApplicationGoesAway)
{
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TAILWISE_TEST_STORE_AT_EXIT"), settingsFile());
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {});
    ASSERT_TRUE(child.waitForFinished(10000));
    ASSERT_EQ(child.exitCode(), 0) << child.readAllStandardError().toStdString();
    EXPECT_EQ(UserDefaults(settingsFile()).string(QStringLiteral("lastChange")), "kept");
}

using LoginDefaultsStore = FreshSettings;

TEST_F(LoginDefaultsStore, LogOutClearsTheSessionButNotTheSwitchOrRegisterStatus)
{
    LoginDefaults defaults;
    defaults.setUserName(QStringLiteral("Anna"));
    defaults.setLedColour(1);
    defaults.setReason(5);
    defaults.setSwitchState(QStringLiteral("on"));
    EXPECT_EQ(LoginDefaults().ledColour(), 1) << "every instance reads the same store";
    UserDefaults::standard().setString(RegisterStatus::success, RegisterStatus::key);
    GIDSignIn::sharedInstance().setCurrentUser(
        GIDGoogleUser{"anna@example.com", "Anna", "google-id-token"});
    AccessToken::setCurrent(QStringLiteral("fb-token"));
    AuthenticationToken::setCurrent(QStringLiteral("fb-id-token"));

    UserDefaults::standard().synchronize();
    const quint64 writes = UserDefaults::standard().fileWrites();

    defaults.logOut();

    EXPECT_EQ(storedSettings(),
              (QVariantMap{{"switchState", "on"}, {"RegisterStatus", "Success"}}));
    EXPECT_EQ(UserDefaults::standard().fileWrites(), writes + 1) << "one write for the sign-out";
    EXPECT_EQ(defaults.ledColour(), 0) << "an absent number reads as none chosen";
    EXPECT_EQ(defaults.userName(), std::nullopt);
    EXPECT_FALSE(GIDSignIn::sharedInstance().currentUser());
    EXPECT_EQ(AccessToken::current(), std::nullopt);
    EXPECT_EQ(AuthenticationToken::current(), std::nullopt);

    defaults.swtichOff();
    EXPECT_EQ(storedSettings(), (QVariantMap{{"RegisterStatus", "Success"}}));
}

} // namespace
