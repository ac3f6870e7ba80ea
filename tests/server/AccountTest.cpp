// The account endpoints over real HTTP against a real stack: registration, sign-in and its
// lock, password reset and change, sessions, deactivation.

#include "TestServer.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <map>
#include <regex>
#include <set>

using namespace tailwise::test;
namespace net = tailwise::net;
using nlohmann::json;

namespace {

class Accounts : public ::testing::Test
{
protected:
    HttpReply post(std::string_view word, const json &body, const Headers &headers = {})
    {
        return server.post(TestServer::api(word), body, headers);
    }
    HttpReply login(const std::string &email, const std::string &password)
    {
        return post("login", {{"email", email}, {"password", password}});
    }

    TestServer server;
};

bool isDecimalId(const json &value)
{
    return value.is_string() &&
           std::regex_match(value.get<std::string>(), std::regex("[1-9][0-9]*"));
}

bool isToken(const json &value)
{
    return value.is_string() &&
           std::regex_match(value.get<std::string>(), std::regex("[0-9a-f]{64}"));
}

std::vector<std::filesystem::path> filesIn(const std::filesystem::path &dir)
{
    std::vector<std::filesystem::path> files;
    if (std::filesystem::exists(dir))
        for (const auto &entry : std::filesystem::directory_iterator(dir))
            files.push_back(entry.path());
    return files;
}

// ---- Registration ------------------------------------------------------------------------

TEST_F(Accounts, ManualRegistrationAnswersTextValuesAndASignedInToken)
{
    auto reply =
        post("register",
             {{"email", "ann@example.com"}, {"password", "secret-1"}, {"register_type", "manual"}});
    ASSERT_TRUE(reply.succeeded()) << reply;
    EXPECT_EQ(reply.headers[net::http::field::content_type], "application/json");
    EXPECT_FALSE(reply.message().empty());
    EXPECT_TRUE(isDecimalId(reply.json["user_id"])) << reply;
    EXPECT_TRUE(isToken(reply.json["userToken"])) << reply;
    EXPECT_EQ(reply.json["is_new_account"], "true"); // text, as the app compares it
    EXPECT_TRUE(server.sessionWorks(reply.field("user_id"), reply.field("userToken")));
}

TEST_F(Accounts, EveryRegistrationKeyIsStoredAndComesBackAsTextAtLogin)
{
    const json sent = {
        {"email", "bo@example.com"},
        {"password", "secret-1"},
        {"register_type", "manual"},
        {"username", "Bo"},
        {"phone", "+49 30 1234567"},
        {"dogInfo", "Loves sticks"},
        {"dog_address", "Berlin"},
        {"gender", "female"},
        {"dog_name", "Rex"},
        {"dogs_count", "2"},
        {"longitude", "13.405"},
        {"latitude", "52.52"},
        {"about", "Morning walks"},
        {"user_age", "34"},
        // The server's to set, not the client's: another user's stored picture, a claim of
        // being verified, a deactivation mark.
        {"activate_status", "Deactivate"},
        {"verify_status", "1"},
        {"profilePic", "0123456789abcdef0123456789abcdef.png"},
    };
    auto registered = post("register", sent);
    ASSERT_TRUE(registered.succeeded()) << registered;

    auto reply = login("bo@example.com", "secret-1");
    ASSERT_TRUE(reply.succeeded()) << reply;
    EXPECT_EQ(reply.json["is_new_account"], 1); // an integer here, unlike at registration
    ASSERT_TRUE(reply.json["user_data"].is_array());
    ASSERT_EQ(reply.json["user_data"].size(), 1u);
    const json &user = reply.json["user_data"][0];
    ASSERT_TRUE(user.is_object()) << reply;

    for (const char *key :
         {"user_id",     "id",       "Name",          "email",        "profilePic",      "Image",
          "gender",      "age",      "dogInfo",       "dog_name",     "dogs_count",      "about",
          "dog_address", "status",   "verify_status", "device_token", "activate_status", "distance",
          "favourite",   "userToken"}) {
        ASSERT_TRUE(user.contains(key)) << key;
        EXPECT_TRUE(user[key].is_string()) << key << " is " << user[key];
    }
    ASSERT_TRUE(user.contains("time_stamp"));
    EXPECT_TRUE(user["time_stamp"].is_number_integer()) << user["time_stamp"];
    EXPECT_EQ(user["time_stamp"], TestServer::startMs);

    const std::pair<const char *, const char *> stored[] = {
        {"Name", "username"},         {"email", "email"},     {"gender", "gender"},
        {"age", "user_age"},          {"dogInfo", "dogInfo"}, {"dog_name", "dog_name"},
        {"dogs_count", "dogs_count"}, {"about", "about"},     {"dog_address", "dog_address"},
    };
    for (const auto &[answered, registeredAs] : stored)
        EXPECT_EQ(user[answered], sent[registeredAs]) << answered;
    EXPECT_EQ(user["profilePic"], "");
    EXPECT_EQ(user["verify_status"], "0");
    EXPECT_EQ(user["activate_status"], "activate");
    EXPECT_EQ(user["user_id"], registered.json["user_id"]);
    EXPECT_TRUE(server.sessionWorks(user["user_id"].get<std::string>(),
                                    user["userToken"].get<std::string>()));

    auto record = server.users().findByEmail("bo@example.com");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->phone, "+49 30 1234567");
    EXPECT_DOUBLE_EQ(record->latitude.value_or(0), 52.52);
    EXPECT_DOUBLE_EQ(record->longitude.value_or(0), 13.405);
}

TEST_F(Accounts, TakenAddressIsRefusedWhateverItsSpellingOrSignInMethod)
{
    server.registerAccount("ann@example.com");
    const json attempts[] = {
        {{"email", "ann@example.com"}, {"password", "other-pw"}},
        {{"email", "ANN@Example.COM"}, {"password", "other-pw"}},
        {{"email", "  ann@example.com "}, {"password", "other-pw"}},
    };
    for (const json &attempt : attempts) {
        auto reply = post("register", attempt);
        EXPECT_TRUE(reply.refused()) << attempt << " -> " << reply;
        EXPECT_EQ(reply.status, 409) << attempt;
    }
    EXPECT_EQ(server.userRows(), 1);
    EXPECT_NO_THROW(server.login("ann@example.com", "secret-1"));
}

TEST_F(Accounts, BadRegistrationIsRefusedAndStoresNothing)
{
    const json valid = {
        {"email", "new@example.com"}, {"password", "secret-1"}, {"register_type", "manual"}};
    // Each case is merged into the valid body; null removes a key.
    const std::pair<const char *, json> cases[] = {
        {"missing email", {{"email", nullptr}}},
        {"blank email", {{"email", "   "}}},
        {"email without @", {{"email", "new.example.com"}}},
        {"email without a dotted domain", {{"email", "new@example"}}},
        {"email with a space", {{"email", "new one@example.com"}}},
        {"email as a number", {{"email", 12345}}},
        {"missing password", {{"password", nullptr}}},
        {"short password", {{"password", "12345"}}},
        {"password over 128 bytes", {{"password", std::string(129, 'p')}}},
        {"unknown register_type", {{"register_type", "twitter"}}},
        {"latitude above 90", {{"latitude", "90.5"}, {"longitude", "8"}}},
        {"longitude below -180", {{"latitude", "0"}, {"longitude", "-180.1"}}},
        {"latitude not a number", {{"latitude", "north"}, {"longitude", "8"}}},
        {"latitude without longitude", {{"latitude", "52.5"}}},
        {"username as a number", {{"username", 42}}},
        {"dogs_count as a number", {{"dogs_count", 2}}},
        {"username over 256 bytes", {{"username", std::string(257, 'n')}}},
        {"about over 4000 bytes", {{"about", std::string(4001, 'a')}}},
        {"unknown gender", {{"gender", "other"}}},
        {"dogs_count not offered", {{"dogs_count", "3"}}},
        {"user_age not whole years", {{"user_age", "2.5"}}},
        {"NUL inside a field", {{"username", std::string("Bo\0b", 4)}}},
    };
    for (const auto &[label, change] : cases) {
        json body = valid;
        body.merge_patch(change);
        auto reply = post("register", body);
        EXPECT_TRUE(reply.refused()) << label << ": " << reply;
        EXPECT_EQ(reply.status, 400) << label;
    }
    EXPECT_EQ(server.userRows(), 0);
    EXPECT_NO_THROW(server.registerAccount("new@example.com"));
}

// ---- Sign-in -----------------------------------------------------------------------------

TEST_F(Accounts, SignInFindsTheAddressWhateverItsCase)
{
    const Account ann = server.registerAccount("Ann@Example.com");
    auto reply = login("  ann@EXAMPLE.com ", ann.password);
    ASSERT_TRUE(reply.succeeded()) << reply;
    EXPECT_EQ(reply.json["user_data"][0]["user_id"], ann.userId);

    auto unknown = login("nobody@example.com", "secret-1");
    EXPECT_TRUE(unknown.refused()) << unknown;
    EXPECT_EQ(unknown.message(), "Email does not exist.");
    EXPECT_TRUE(login(ann.email, "").refused());
}

TEST_F(Accounts, ThirdWrongPasswordInARowLocksSignInForAMinute)
{
    const Account ann = server.registerAccount("ann@example.com");
    const Account bo = server.registerAccount("bo@example.com");

    // A correct password in between starts the count again.
    EXPECT_TRUE(login(ann.email, "wrong-pw").refused());
    EXPECT_TRUE(login(ann.email, "wrong-pw").refused());
    EXPECT_TRUE(login(ann.email, ann.password).succeeded());

    for (int attempt = 1; attempt <= 2; ++attempt) {
        auto reply = login(ann.email, "wrong-pw");
        EXPECT_TRUE(reply.refused()) << reply;
        EXPECT_EQ(reply.message().find("try 3 times"), std::string::npos) << reply;
    }
    auto third = login(ann.email, "wrong-pw");
    EXPECT_TRUE(third.refused()) << third;
    EXPECT_NE(third.message().find("try 3 times"), std::string::npos) << third;

    EXPECT_TRUE(login(ann.email, ann.password).refused());
    EXPECT_TRUE(login(bo.email, bo.password).succeeded()) << "the lock is per account";
    server.clock().advance(59s);
    EXPECT_TRUE(login(ann.email, ann.password).refused());
    server.clock().advance(1s);
    auto unlocked = login(ann.email, ann.password);
    EXPECT_TRUE(unlocked.succeeded()) << unlocked;
    EXPECT_TRUE(server.sessionWorks(ann.userId, ann.token)) << "sessions outlive the lock";
}

// ---- Password reset ----------------------------------------------------------------------

TEST_F(Accounts, AMailedPasswordWorksBesideTheOldOneUntilEitherIsUsed)
{
    const Account ann =
        server.registerAccount("ann@example.com", "secret-1", {{"username", "Ann"}});
    const auto requestMail = [&] {
        const auto reply = post("forgot_password", {{"email", "ANN@example.com"}});
        EXPECT_TRUE(reply.succeeded()) << reply;
        const auto files = filesIn(server.dataDir() / "outbox");
        std::string newest;
        for (const auto &file : files) {
            EXPECT_EQ(file.extension(), ".eml") << "no staging file may be left behind";
            std::ifstream in(file, std::ios::binary);
            const std::string eml{std::istreambuf_iterator<char>(in), {}};
            EXPECT_NE(eml.find("To: ann@example.com\r\n"), std::string::npos) << eml;
            std::smatch found;
            if (std::regex_search(eml, found, std::regex("\r\n {4}([A-Za-z0-9]{12})\r\n")) &&
                eml.find(found[1].str()) != std::string::npos)
                newest = std::max(newest, file.filename().string() + " " + found[1].str());
        }
        return newest.substr(newest.find(' ') + 1);
    };

    // Asking does not lock the owner out: the old password still works, and using it
    // discards the mailed one.
    const std::string first = requestMail();
    ASSERT_EQ(first.size(), 12u);
    EXPECT_TRUE(login(ann.email, ann.password).succeeded());
    EXPECT_TRUE(login(ann.email, first).refused());

    // Using the mailed one makes it the password and ends every other session.
    server.clock().advance(1s);
    const std::string second = requestMail();
    ASSERT_NE(second, first);
    auto signedIn = login(ann.email, second);
    ASSERT_TRUE(signedIn.succeeded()) << signedIn;
    EXPECT_FALSE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_TRUE(server.sessionWorks(ann.userId,
                                    signedIn.json["user_data"][0]["userToken"].get<std::string>()));
    EXPECT_TRUE(login(ann.email, ann.password).refused());
    EXPECT_TRUE(login(ann.email, second).succeeded());

    // A mailed password left unused expires after a day.
    server.clock().advance(1s);
    const std::string third = requestMail();
    server.clock().advance(24h);
    EXPECT_TRUE(login(ann.email, third).refused());
    EXPECT_TRUE(login(ann.email, second).succeeded());
    EXPECT_EQ(server.users().countOutbox(), 3);
}

TEST_F(Accounts, ForgotPasswordSendsNothingForUnknownAddresses)
{
    auto unknown = post("forgot_password", {{"email", "nobody@example.com"}});
    EXPECT_TRUE(unknown.refused()) << unknown;
    EXPECT_EQ(unknown.message(), "Email does not exist.");
    EXPECT_TRUE(post("forgot_password", json::object()).refused());
    EXPECT_EQ(server.users().countOutbox(), 0);
    EXPECT_TRUE(filesIn(server.dataDir() / "outbox").empty());
}

TEST_F(Accounts, AnInterruptedMailIsFinishedOrDroppedAtTheNextStart)
{
    // What a crash between the database commit and the rename (or before the commit) leaves.
    const auto outbox = server.dataDir() / "outbox";
    const std::string recorded = "20231114T221320Z-00000000000000aa.eml";
    const std::string unrecorded = "20231114T221320Z-00000000000000bb.eml";
    server.users().write([&](tailwise::backend::Connection &db) {
        tailwise::backend::UserStore::queueMail(db, "ann@example.com", "s", "b", recorded, 0);
    });
    std::ofstream(outbox / ("." + recorded + ".tmp")) << "mail";
    std::ofstream(outbox / ("." + unrecorded + ".tmp")) << "mail";

    server.restart();
    std::set<std::string> names;
    for (const auto &file : filesIn(outbox))
        names.insert(file.filename().string());
    EXPECT_EQ(names, std::set<std::string>{recorded});
}

// ---- Signed-in requests ------------------------------------------------------------------

TEST_F(Accounts, ChangePasswordReplacesItAndEndsTheOtherSessions)
{
    const Account ann = server.registerAccount("ann@example.com");
    const std::string otherDevice = server.login(ann.email, ann.password);
    auto reply = post(
        "change_password",
        {{"user_id", ann.userId}, {"old_password", ann.password}, {"new_password", "fresh-pw"}},
        bearer(ann.token));
    ASSERT_TRUE(reply.succeeded()) << reply;

    EXPECT_TRUE(login(ann.email, ann.password).refused());
    EXPECT_TRUE(login(ann.email, "fresh-pw").succeeded());
    EXPECT_TRUE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_FALSE(server.sessionWorks(ann.userId, otherDevice));
}

TEST_F(Accounts, RefusedPasswordChangeChangesNothing)
{
    const Account ann = server.registerAccount("ann@example.com");
    const std::string otherDevice = server.login(ann.email, ann.password);
    const struct
    {
        json body;
        unsigned status;
    } cases[] = {
        {{{"old_password", "wrong-pw"}, {"new_password", "fresh-pw"}}, 403},
        {{{"old_password", ann.password}, {"new_password", "short"}}, 400},
        {{{"old_password", ann.password}}, 400},
        {{{"new_password", "fresh-pw"}}, 400},
        {{{"old_password", ann.password}, {"new_password", 123456789}}, 400},
    };
    for (const auto &c : cases) {
        json body = c.body;
        body["user_id"] = ann.userId;
        auto reply = post("change_password", body, bearer(ann.token));
        EXPECT_TRUE(reply.refused()) << c.body << ": " << reply;
        EXPECT_EQ(reply.status, c.status) << c.body;
    }
    EXPECT_TRUE(login(ann.email, ann.password).succeeded());
    EXPECT_TRUE(server.sessionWorks(ann.userId, otherDevice));
}

TEST_F(Accounts, SignedInEndpointsRequireTheAccountsOwnSession)
{
    const Account ann = server.registerAccount("ann@example.com");
    const Account bo = server.registerAccount("bo@example.com");
    const std::map<std::string, json> bodies = {
        {"change_password", {{"old_password", ann.password}, {"new_password", "fresh-pw"}}},
        {"logout", json::object()},
        {"deactivate", {{"reason", "Moving away"}, {"message", ""}}},
        {"get_profile", json::object()},
        {"statusUpdate", {{"status", "Online"}}},
        {"update", {{"about", "x"}}},
        {"all_users/" + ann.userId, {{"filter", "All"}}},
        {"get_user_favourite/" + ann.userId, {{"filter", "All"}}},
        {"create_user_favourite", {{"favouriteId", bo.userId}, {"favourite_status", "1"}}},
    };
    const struct
    {
        const char *label;
        Headers headers;
        unsigned status;
    } credentials[] = {
        {"no token", {}, 401},
        {"empty bearer", {{"Authorization", "Bearer "}}, 401},
        {"other scheme", {{"Authorization", "Basic " + ann.token}}, 401},
        {"malformed token", {{"Authorization", "Bearer not-a-token"}}, 401},
        {"unknown token", bearer(std::string(64, '0')), 401},
        {"token in upper case", bearer([&] {
             std::string upper = ann.token;
             for (char &c : upper)
                 c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
             return upper;
         }()),
         401},
        {"another user's token", bearer(bo.token), 403},
    };
    for (const auto &[word, fields] : bodies) {
        for (const auto &c : credentials) {
            json body = fields;
            body["user_id"] = ann.userId;
            auto reply = post(word, body, c.headers);
            EXPECT_TRUE(reply.refused()) << word << ", " << c.label << ": " << reply;
            EXPECT_EQ(reply.status, c.status) << word << ", " << c.label;
            if (c.status == 401) {
                EXPECT_EQ(reply.headers[net::http::field::www_authenticate], "Bearer");
            }
        }
    }
    EXPECT_TRUE(login(ann.email, ann.password).succeeded());
    EXPECT_TRUE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_TRUE(server.sessionWorks(bo.userId, bo.token));
    const auto favourites =
        post("get_user_favourite/" + ann.userId, json::object(), bearer(ann.token));
    EXPECT_TRUE(favourites.json["data"].empty()) << "a refused mark was stored: " << favourites;
}

TEST_F(Accounts, LogoutEndsOnlyThatSession)
{
    const Account ann = server.registerAccount("ann@example.com");
    const std::string otherDevice = server.login(ann.email, ann.password);
    const json body = {{"user_id", ann.userId}};
    ASSERT_TRUE(post("logout", body, bearer(ann.token)).succeeded());
    EXPECT_FALSE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_EQ(post("logout", body, bearer(ann.token)).status, 401);
    EXPECT_TRUE(server.sessionWorks(ann.userId, otherDevice));
}

TEST_F(Accounts, DeactivationClosesTheAccountForGood)
{
    const Account ann = server.registerAccount("ann@example.com");
    const std::string otherDevice = server.login(ann.email, ann.password);
    auto noReason = post("deactivate", {{"user_id", ann.userId}}, bearer(ann.token));
    EXPECT_TRUE(noReason.refused()) << noReason;
    ASSERT_TRUE(server.sessionWorks(ann.userId, ann.token));

    auto reply = post(
        "deactivate",
        {{"user_id", ann.userId}, {"reason", "Moving away"}, {"message", "Thanks for the walks"}},
        bearer(ann.token));
    ASSERT_TRUE(reply.succeeded()) << reply;
    auto record = server.users().findByEmail(ann.email);
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->deactivated);

    EXPECT_FALSE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_FALSE(server.sessionWorks(ann.userId, otherDevice));
    EXPECT_TRUE(login(ann.email, ann.password).refused());
    EXPECT_TRUE(post("register", {{"email", ann.email}, {"password", "secret-2"}}).refused());
    EXPECT_TRUE(post("register", {{"email", ann.email}, {"register_type", "gmail"}}).refused());
    EXPECT_TRUE(post("forgot_password", {{"email", ann.email}}).refused());
    EXPECT_EQ(server.users().countOutbox(), 0);
    EXPECT_EQ(server.userRows(), 1);
}

// ---- Concurrency -------------------------------------------------------------------------

TEST_F(Accounts, SimultaneousRegistrationsOfOneAddressMakeOneAccount)
{
    constexpr int clients = 16;
    const std::vector<HttpReply> replies = server.concurrently(clients, [&](HttpClient &client) {
        return client.post(TestServer::api("register"),
                           {{"email", "race@example.com"}, {"password", "secret-1"}});
    });
    int created = 0;
    for (const auto &reply : replies) {
        if (reply.succeeded() && reply.field("is_new_account") == "true")
            ++created;
        else
            EXPECT_EQ(reply.status, 409) << reply;
    }
    EXPECT_EQ(created, 1);
    EXPECT_EQ(server.userRows(), 1);
}

TEST_F(Accounts, SimultaneousWrongPasswordsCheckNoMoreThanTheLockAllows)
{
    const Account ann = server.registerAccount("ann@example.com");
    const std::vector<HttpReply> replies = server.concurrently(16, [&](HttpClient &client) {
        return client.post(TestServer::api("login"),
                           {{"email", ann.email}, {"password", "wrong-pw"}});
    });
    int checked = 0, locked = 0;
    for (const auto &reply : replies) {
        EXPECT_TRUE(reply.refused()) << reply;
        if (reply.status == 403)
            ++checked;
        if (reply.message().find("try 3 times") != std::string::npos)
            ++locked;
    }
    EXPECT_EQ(checked, 3) << "every answer but three came without a password check";
    EXPECT_EQ(locked, 1);
    const auto after = login(ann.email, ann.password);
    EXPECT_EQ(after.status, 429) << after;
    EXPECT_NE(after.headers[net::http::field::retry_after], "");
}

TEST_F(Accounts, WrongOldPasswordsCountTowardTheSignInLock)
{
    const Account ann = server.registerAccount("ann@example.com");
    const json body = {
        {"user_id", ann.userId}, {"old_password", "guess-pw"}, {"new_password", "fresh-pw"}};
    for (int attempt = 1; attempt <= 3; ++attempt)
        EXPECT_EQ(post("change_password", body, bearer(ann.token)).status, 403);
    EXPECT_EQ(login(ann.email, ann.password).status, 429);
    json right = body;
    right["old_password"] = ann.password;
    EXPECT_EQ(post("change_password", right, bearer(ann.token)).status, 429)
        << "no more guesses while locked, right or wrong";
    server.clock().advance(60s);
    EXPECT_TRUE(post("change_password", right, bearer(ann.token)).succeeded());
}

// ---- Sessions and rate limits ------------------------------------------------------------

TEST_F(Accounts, SessionsEndAfterThirtyIdleDaysAndSlideWithUse)
{
    const Account ann = server.registerAccount("ann@example.com");
    const auto lastUsed = [&] {
        return server.users().read([](tailwise::backend::Connection &db) {
            auto query = db.prepare("SELECT MAX(last_used) FROM sessions");
            query.step();
            return query.integer(0);
        });
    };
    // Reading a session writes its last use only when that is a few minutes old.
    server.clock().advance(4min);
    ASSERT_TRUE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_EQ(lastUsed(), TestServer::startMs);
    server.clock().advance(1min);
    ASSERT_TRUE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_EQ(lastUsed(), TestServer::startMs + 5 * 60'000);

    const std::string idle = server.login(ann.email, ann.password);
    for (int week = 0; week < 6; ++week) {
        server.clock().advance(24h * 7);
        ASSERT_TRUE(server.sessionWorks(ann.userId, ann.token)) << "used weekly, week " << week;
    }
    const auto ended = post("get_profile", {{"user_id", ann.userId}}, bearer(idle));
    EXPECT_EQ(ended.status, 401) << ended;
    EXPECT_EQ(ended.message(), "Your session has ended; please sign in again.");
}

TEST_F(Accounts, RateLimitsAnswer429WithWhenToRetry)
{
    server.registerAccount("ann@example.com");
    // Per account: five mails an hour.
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(post("forgot_password", {{"email", "ann@example.com"}}).succeeded()) << i;
    const auto limited = post("forgot_password", {{"email", "ann@example.com"}});
    EXPECT_EQ(limited.status, 429) << limited;
    EXPECT_EQ(limited.field("status"), "0");
    EXPECT_EQ(limited.headers[net::http::field::retry_after], "3600");
    EXPECT_NE(limited.message().find("3600 seconds"), std::string::npos) << limited;
    // Per client address: twenty an hour, whichever addresses they name.
    const auto other = [](int i) {
        return json{{"email", "x" + std::to_string(i) + "@example.com"}};
    };
    for (int i = 6; i < 20; ++i)
        ASSERT_NE(post("forgot_password", other(i)).status, 429u) << i;
    EXPECT_EQ(post("forgot_password", other(20)).status, 429);
    EXPECT_EQ(server.users().countOutbox(), 5);
    server.clock().advance(1h);
    EXPECT_TRUE(post("forgot_password", {{"email", "ann@example.com"}}).succeeded());
}

} // namespace
