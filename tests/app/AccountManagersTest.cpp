#include "TestSupport.h"

#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/ForgotPassword/forgorPasswordManager.h"
#include "Module/Login/LoginDataManager.h"
#include "Module/Register/RegisterationDataManager.h"
#include "Module/Setting/ChangePasswordManager.h"
#include "Module/Setting/Delete/DeleteDataManager.h"
#include "Platform/SignInKits.h"
#include "Platform/UserDefaults.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace {

struct AccountResult
{
    int calls = 0;
    bool success = false;
    std::optional<QString> message;
    std::optional<int> isNew;
    bool operator==(const AccountResult &) const = default;
};

std::ostream &operator<<(std::ostream &out, const AccountResult &r)
{
    return out << "{calls " << r.calls << ", " << r.success << ", "
               << (r.message ? r.message->toStdString() : "none") << ", "
               << (r.isNew ? std::to_string(*r.isNew) : "none") << "}";
}

AccountCompletion into(const std::shared_ptr<AccountResult> &result)
{
    return [result](bool success, std::optional<QString> message, std::optional<int> isNew) {
        ++result->calls;
        result->success = success;
        result->message = std::move(message);
        result->isNew = isNew;
    };
}

// Records what the managers hand to the realtime and push subsystems.
class RecordingHooks : public SessionHooks
{
public:
    void userDidSignIn(const QString &userId) override { signedIn.append(userId); }
    void mirrorSignedInUser(const QVariantMap &userData) override { mirrored.append(userData); }
    void markUserDeactivated(const QString &userId) override { deactivated.append(userId); }

    QStringList signedIn;
    QList<QVariantMap> mirrored;
    QStringList deactivated;
};

QVariantMap session()
{
    QVariantMap values = UserDefaults::standard().dictionaryRepresentation();
    for (auto it = values.begin(); it != values.end();)
        it = (it.key() == "userId" || it.key() == "userToken") ? std::next(it) : values.erase(it);
    return values;
}

class AccountAnswers : public RecordingBackend
{
protected:
    RecordingHooks hooks_;
};

struct LoginCase
{
    const char *answer;
    AccountResult expected;
    QVariantMap stored;
};

TEST_F(AccountAnswers, SignInFollowsTheAnswerRules)
{
    const QString tmp = QStringLiteral("Temporary error occured");
    const LoginCase cases[] = {
        {R"({"status": "1", "user_data": [{"user_id": "4", "userToken": "t"}],
             "is_new_account": 0})",
         {1, true, std::nullopt, 0},
         {{"userId", "4"}, {"userToken", "t"}}},
        {R"({"status": "1", "user_data": [{"user_id": "5", "userToken": "u"}],
             "is_new_account": 7})",
         {1, true, std::nullopt, 1},
         {{"userId", "5"}, {"userToken", "u"}}},
        // Stored, but the screen is never told.
        {R"({"status": "1", "user_data": [{"user_id": "4", "userToken": "t"}],
             "is_new_account": "0"})",
         {},
         {{"userId", "4"}, {"userToken", "t"}}},
        {R"({"status": "1", "user_data": [], "is_new_account": 1})",
         {1, true, std::nullopt, 1},
         {}},
        {R"({"status": "0"})", {1, false, tmp, std::nullopt}, {}},
        {R"({"status": 1, "message": "numbers are not success"})",
         {1, false, "numbers are not success", std::nullopt},
         {}},
    };
    for (const LoginCase &c : cases) {
        LoginDefaults().logOut();
        hooks_ = {};
        answer(c.answer);
        const qsizetype sent = server_.requests().size();
        const auto result = std::make_shared<AccountResult>();
        LoginDataManager(hooks_).login(QStringLiteral("anna@example.com"), QStringLiteral("pw"),
                                       into(result));
        ASSERT_TRUE(settle(result, c.expected.calls > 0, sent)) << c.answer;
        EXPECT_EQ(*result, c.expected) << c.answer;
        EXPECT_EQ(session(), c.stored) << c.answer;
        EXPECT_EQ(hooks_.signedIn.size(), c.stored.isEmpty() ? 0 : 1) << c.answer;
        EXPECT_EQ(hooks_.mirrored.size(), c.stored.isEmpty() ? 0 : 1) << c.answer;
    }
    EXPECT_EQ(sentTarget(), "/app/backend/app/users/login");
    EXPECT_EQ(sentParameters(), (QVariantMap{{"email", "anna@example.com"}, {"password", "pw"}}));
    EXPECT_EQ(hooks_.signedIn, QStringList()); // the last case signed nobody in
}

TEST_F(AccountAnswers, RegistrationFollowsTheAnswerRules)
{
    const LoginCase cases[] = {
        {R"({"status": "1", "message": "ok", "is_new_account": true, "user_id": "9"})",
         {1, true, "ok", -1},
         {}},
        {R"({"status": "1", "message": "back", "is_new_account": "false", "user_id": "9",
             "userToken": "u"})",
         {1, true, "back", 0},
         {{"userId", "9"}, {"userToken", "u"}}},
        {R"({"status": "0"})", {1, false, "Temporary error occured", std::nullopt}, {}},
        {R"({"status": "0", "message": "Email already exists."})",
         {1, false, "Email already exists.", std::nullopt},
         {}},
    };
    const QVariantMap form{{"email", "anna@example.com"},
                           {"password", "secret1"},
                           {"register_type", "manual"},
                           {"age", 31}};
    for (const LoginCase &c : cases) {
        LoginDefaults().logOut();
        hooks_ = {};
        answer(c.answer);
        const auto result = std::make_shared<AccountResult>();
        RegisterationDataManager(hooks_).register_(form, QImage(4, 4, QImage::Format_RGB32),
                                                   into(result));
        ASSERT_TRUE(settle(result, true, 0)) << c.answer;
        EXPECT_EQ(*result, c.expected) << c.answer;
        EXPECT_EQ(session(), c.stored) << c.answer;
        EXPECT_EQ(hooks_.signedIn.size(), c.stored.isEmpty() ? 0 : 1) << c.answer;
        EXPECT_TRUE(hooks_.mirrored.isEmpty());
    }
    EXPECT_EQ(sentTarget(), "/app/backend/app/users/register");
    EXPECT_EQ(server_.requests().last().headers.value("content-type"), "application/json");
    EXPECT_EQ(sentParameters(), form);
}

TEST_F(AccountAnswers, DeactivationLogoutAndPasswordChangeHaveTheirOwnFallbacks)
{
    answer(R"({"status": "0"})");
    const auto deactivated = std::make_shared<MessageResult>();
    DeleteDataManager().deleteUserAccopunt("7", "Too many messages", "bye", into(deactivated));
    const auto loggedOut = std::make_shared<MessageResult>();
    DeleteDataManager().logoutUserAccopunt("7", into(loggedOut));
    const auto changed = std::make_shared<MessageResult>();
    ChangePasswordManager().changePassword("7", "old-pw", "new-pw", into(changed));
    ASSERT_TRUE(
        waitUntil([&] { return deactivated->calls && loggedOut->calls && changed->calls; }));
    EXPECT_EQ(*deactivated, (MessageResult{1, false, "User does not exist!"}));
    EXPECT_EQ(*loggedOut, (MessageResult{1, false, "User does not exist"}));
    EXPECT_EQ(*changed, (MessageResult{1, false, "Temporary error occured"}));
}

TEST_F(AccountAnswers, WithoutAnAnswerOnlyDeactivationAndLogoutStaySilent)
{
    server_.setReply({200, "", "", true});
    const auto login = std::make_shared<AccountResult>();
    LoginDataManager(hooks_).login("a@b.de", "pw", into(login));
    const auto registration = std::make_shared<AccountResult>();
    RegisterationDataManager(hooks_).register_({{"email", "a@b.de"}}, std::nullopt,
                                               into(registration));
    const auto forgot = std::make_shared<AccountResult>();
    forgorPasswordManager().forgot("a@b.de", into(forgot));
    const auto change = std::make_shared<MessageResult>();
    ChangePasswordManager().changePassword("7", "a", "b", into(change));
    const auto deactivate = std::make_shared<MessageResult>();
    DeleteDataManager().deleteUserAccopunt("7", "r", "m", into(deactivate));
    const auto logout = std::make_shared<MessageResult>();
    DeleteDataManager().logoutUserAccopunt("7", into(logout));

    ASSERT_TRUE(waitUntil(
        [&] { return login->calls && registration->calls && forgot->calls && change->calls; }));
    QTest::qWait(300);
    const AccountResult failed{1, false, "Temporary error occured!", std::nullopt};
    EXPECT_EQ(*login, failed);
    EXPECT_EQ(*registration, failed);
    EXPECT_EQ(*forgot, failed);
    EXPECT_EQ(*change, (MessageResult{1, false, "Temporary error occured!"}));
    EXPECT_EQ(deactivate->calls, 0);
    EXPECT_EQ(logout->calls, 0);
}

using AccountValidation = FreshSettings;

TEST_F(AccountValidation, ReportsTheFirstProblemInFormOrder)
{
    // Keys are the English texts, so English messages read as the keys do.
    UserDefaults::standard().setString(QStringLiteral("en"), Constants::userDefaults::languagecode);
    struct Case
    {
        FormFields fields;
        bool registration;
        std::pair<bool, QString> expected;
    };
    const Case cases[] = {
        {{{"Email", "a@b.de"}, {"Password", "x"}}, false, {true, ""}},
        {{{"Email", ""}, {"Password", ""}}, false, {false, "Email is empty"}},
        {{{"Email", "a@b"}, {"Password", "x"}}, false, {false, "Email is not valid"}},
        // An empty field is reported before an invalid address.
        {{{"Email", "nope"}, {"Password", ""}}, false, {false, "Password is empty"}},
        {{{"Email", "a@b.de"}, {"Password", "a"}, {"Confirm Password", "b"}},
         true,
         {false, "Password does not match"}},
        {{{"Email", "a@b.de"}, {"Password", "a"}, {"Confirm Password", "b"}}, false, {true, ""}},
        {{{"Email", "a@b.de"}, {"Password", "a"}, {"Confirm Password", "a"}}, true, {true, ""}},
        {{{"Name", "Anna"}}, true, {true, ""}},
    };
    for (const Case &c : cases) {
        const auto result = c.registration ? RegisterationDataManager().isDataValid(c.fields)
                                           : LoginDataManager().isDataValid(c.fields);
        EXPECT_EQ(result, c.expected) << c.expected.second.toStdString();
        if (!c.registration) {
            EXPECT_EQ(forgorPasswordManager().isDataValid(c.fields), c.expected);
        }
    }
}

// The whole account life cycle through the managers against the real backend.
class AccountLifeCycle : public LiveBackend
{
protected:
    AccountResult login(const QString &email, const QString &password)
    {
        const auto result = std::make_shared<AccountResult>();
        LoginDataManager(hooks_).login(email, password, into(result));
        EXPECT_TRUE(waitUntil([&] { return result->calls > 0; }, 10000)) << email.toStdString();
        return *result;
    }
    AccountResult registration(const QVariantMap &form)
    {
        const auto result = std::make_shared<AccountResult>();
        RegisterationDataManager(hooks_).register_(form, std::nullopt, into(result));
        EXPECT_TRUE(waitUntil([&] { return result->calls > 0; }, 10000));
        return *result;
    }
    QString mailedPassword() const
    {
        QDirIterator mails(QDir(server_.dataDir()).filePath("outbox"), {"*.eml"}, QDir::Files,
                           QDirIterator::Subdirectories);
        if (!mails.hasNext())
            return {};
        QFile mail(mails.next());
        if (!mail.open(QIODevice::ReadOnly))
            return {};
        const auto match =
            QRegularExpression(QStringLiteral("Sign in with:\\r?\\n\\r?\\n\\s+(\\S+)"))
                .match(QString::fromUtf8(mail.readAll()));
        return match.captured(1);
    }

    RecordingHooks hooks_;
};

TEST_F(AccountLifeCycle, SignUpSignInChangePasswordLogOutAndDeactivate)
{
    const QString email = QStringLiteral("anna@example.com");
    // What the screens keep beside the session; no account operation may touch it.
    UserDefaults::standard().setString(QStringLiteral("de"), Constants::userDefaults::languagecode);
    LoginDefaults().setSwitchState(QStringLiteral("on"));
    const QVariantMap screenState{{"languageCode", "de"}, {"switchState", "on"}};

    EXPECT_EQ(registration({{"email", email},
                            {"password", "first-pw"},
                            {"register_type", "manual"},
                            {"Name", "Anna"}}),
              (AccountResult{1, true, "Registered successfully.", 1}));
    const QString userId = LoginDefaults().userId().value_or(QString());
    const QString firstToken = LoginDefaults().userToken().value_or(QString());
    ASSERT_FALSE(userId.isEmpty());
    ASSERT_FALSE(firstToken.isEmpty());
    QVariantMap expected = screenState;
    expected.insert({{"userId", userId}, {"userToken", firstToken}});
    EXPECT_EQ(storedSettings(), expected);
    UserDefaults::standard().setString(RegisterStatus::inProgress, RegisterStatus::key);
    expected.insert("RegisterStatus", "In_Progress");

    // The profile is not complete yet, so the account still counts as new.
    EXPECT_EQ(login(email, "first-pw"), (AccountResult{1, true, std::nullopt, 1}));
    EXPECT_EQ(LoginDefaults().userId(), userId);
    const QString secondToken = LoginDefaults().userToken().value_or(QString());
    EXPECT_NE(secondToken, firstToken);
    expected["userToken"] = secondToken;
    EXPECT_EQ(storedSettings(), expected);
    ASSERT_EQ(hooks_.mirrored.size(), 1);
    EXPECT_EQ(hooks_.mirrored[0].value("email"), email);

    EXPECT_EQ(completed([&](ResultCompletion done) {
                  ChangePasswordManager().changePassword(userId, "wrong-pw", "second-pw", done);
              }),
              (MessageResult{1, false, "Old password is not correct."}));
    EXPECT_EQ(completed([&](ResultCompletion done) {
                  ChangePasswordManager().changePassword(userId, "first-pw", "second-pw", done);
              }),
              (MessageResult{1, true, "Password changed successfully."}));
    EXPECT_EQ(storedSettings(), expected);

    EXPECT_EQ(login(email, "first-pw"), (AccountResult{1, false, "Wrong password.", std::nullopt}));
    EXPECT_EQ(storedSettings(), expected) << "a refused sign-in keeps the session";
    EXPECT_EQ(login(email, "second-pw"), (AccountResult{1, true, std::nullopt, 1}));
    expected["userToken"] = LoginDefaults().userToken().value_or(QString());

    EXPECT_EQ(completed([&](ResultCompletion done) {
                  DeleteDataManager(hooks_).logoutUserAccopunt(userId, done);
              }),
              (MessageResult{1, true, "Logged out successfully."}));
    // The sign-out screen ends the local session.
    LoginDefaults().logOut();
    expected.remove("userId");
    expected.remove("userToken");
    EXPECT_EQ(storedSettings(), expected);
    // Without a token the backend refuses to act for the account.
    EXPECT_EQ(completed([&](ResultCompletion done) {
                  DeleteDataManager(hooks_).logoutUserAccopunt(userId, done);
              }),
              (MessageResult{1, false, "Sign-in required."}));

    EXPECT_EQ(login(email, "second-pw"), (AccountResult{1, true, std::nullopt, 1}));
    EXPECT_EQ(completed([&](ResultCompletion done) {
                  DeleteDataManager(hooks_).deleteUserAccopunt(userId, "Other", "bye", done);
              }),
              (MessageResult{1, true, "Your account has been deactivated."}));
    DeleteDataManager(hooks_).deleteUserFromFirebase(userId);
    EXPECT_EQ(hooks_.deactivated, QStringList{userId});
    EXPECT_EQ(storedSettings(), expected);

    EXPECT_EQ(login(email, "second-pw"),
              (AccountResult{1, false, "This account has been deactivated.", std::nullopt}));
    EXPECT_EQ(storedSettings(), expected);
}

TEST_F(AccountLifeCycle, ForgottenPasswordMailsOneThatSignsIn)
{
    ASSERT_TRUE(registration({{"email", "ben@example.com"}, {"password", "ben-pw-1"}}).success);
    LoginDefaults().logOut();

    EXPECT_EQ(login("nobody@example.com", "x"),
              (AccountResult{1, false, "Email does not exist.", std::nullopt}));
    const auto unknown = std::make_shared<AccountResult>();
    forgorPasswordManager().forgot("nobody@example.com", into(unknown));
    const auto known = std::make_shared<AccountResult>();
    forgorPasswordManager().forgot("ben@example.com", into(known));
    ASSERT_TRUE(waitUntil([&] { return unknown->calls && known->calls; }, 10000));
    EXPECT_EQ(*unknown, (AccountResult{1, false, "Email does not exist.", std::nullopt}));
    EXPECT_EQ(*known, (AccountResult{1, true, std::nullopt, std::nullopt}));
    // The mailed password becomes the password once used.
    const QString mailed = mailedPassword();
    ASSERT_FALSE(mailed.isEmpty());
    EXPECT_EQ(login("ben@example.com", mailed), (AccountResult{1, true, std::nullopt, 1}));
    EXPECT_EQ(login("ben@example.com", "ben-pw-1").success, false);
    EXPECT_EQ(storedSettings().keys(), (QStringList{"userId", "userToken"}));
}

TEST_F(AccountLifeCycle, AnEndedSessionIsClearedAndAnnouncedOnce)
{
    int announced = 0;
    QObject context;
    QObject::connect(&SessionEvents::shared(), &SessionEvents::sessionExpired, &context,
                     [&] { ++announced; });
    registration({{"email", "cy@example.com"}, {"password", "cy-pw-1"}});
    const QString userId = LoginDefaults().userId().value_or(QString());
    ASSERT_FALSE(userId.isEmpty());

    // The backend ends the session (here by logging it out behind the screen's back); the
    // next requests carrying it are answered 401 as before, and the app forgets it once.
    EXPECT_TRUE(completed([&](ResultCompletion done) {
                    DeleteDataManager(hooks_).logoutUserAccopunt(userId, done);
                }).success);
    EXPECT_EQ(announced, 0);
    const auto first = std::make_shared<MessageResult>();
    const auto second = std::make_shared<MessageResult>();
    ChangePasswordManager().changePassword(userId, "cy-pw-1", "cy-pw-2", into(first));
    ChangePasswordManager().changePassword(userId, "cy-pw-1", "cy-pw-2", into(second));
    ASSERT_TRUE(waitUntil([&] { return first->calls && second->calls; }, 10000));
    const MessageResult ended{1, false, "Your session has ended; please sign in again."};
    EXPECT_EQ(*first, ended);
    EXPECT_EQ(*second, ended);
    EXPECT_EQ(announced, 1);
    EXPECT_EQ(storedSettings(), QVariantMap());

    // Without a stored session a 401 ends nothing; a newer session is not cleared by an old
    // token's refusal.
    EXPECT_EQ(completed([&](ResultCompletion done) {
                  ChangePasswordManager().changePassword(userId, "a", "b", done);
              }),
              (MessageResult{1, false, "Sign-in required."}));
    EXPECT_EQ(login("cy@example.com", "cy-pw-1").success, true);
    LoginDefaults().endExpiredSession(QStringLiteral("an older token"));
    EXPECT_EQ(LoginDefaults().userId(), userId);
    EXPECT_EQ(announced, 1);
}

TEST_F(AccountAnswers, SocialSignInSendsTheKitsIdToken)
{
    GIDSignIn::sharedInstance().setCurrentUser(
        GIDGoogleUser{"anna@example.com", "Anna", "google.id.token"});
    AuthenticationToken::setCurrent(QStringLiteral("facebook.id.token"));
    const std::pair<const char *, QVariant> cases[] = {
        {"gmail", "google.id.token"},
        {"facebook", "facebook.id.token"},
        {"manual", QVariant()},
    };
    for (const auto &[type, token] : cases) {
        const auto result = std::make_shared<AccountResult>();
        RegisterationDataManager(hooks_).register_(
            {{"email", "anna@example.com"}, {"register_type", type}}, std::nullopt, into(result));
        ASSERT_TRUE(settle(result, true, 0)) << type;
        EXPECT_EQ(sentParameters().value("id_token"), token) << type;
    }
    GIDSignIn::sharedInstance().signOut();
    LoginManager().logOut();
}

} // namespace
