// Who a database request comes from, and the rules in force for them.

#include "RawStream.h"
#include "ServerProcess.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;
using realtime::Json;

namespace {

constexpr const char *ownersOnly = R"({"rules": {
  "users": {"$uid": {".read": "auth != null && auth.uid == $uid",
                     ".write": "auth != null && auth.uid == $uid"}},
  "public": {".read": true}
}})";

using User = DatabaseUser;

// A database with accounts in the backend beside it; rules from `rules` when given.
class Fixture
{
public:
    explicit Fixture(const char *rules, std::chrono::milliseconds keepAlive = 30s)
        : stack_(RealtimeStackOptions{
              .keepAlive = keepAlive,
              .configure =
                  [this, rules](StackConfig &config) {
                      config.passwordCost = backend::PasswordCost::minimal();
                      config.clock = &clock_;
                      if (rules) {
                          std::ofstream(rulesDir_.path() / "rules.json") << rules;
                          config.databaseRules = rulesDir_.path() / "rules.json";
                      }
                  },
          })
    {}

    RealtimeStack &stack() { return stack_; }
    backend::ManualClock &clock() { return clock_; }
    std::string secret() { return databaseSecret(stack_); }
    User signUp(const std::string &email) { return test::signUp(stack_, email); }
    void logOut(const User &user) { test::logOut(stack_, user); }

    unsigned status(verb method, const std::string &target, std::string body = {})
    {
        return stack_.call(method, target, std::move(body)).status;
    }

private:
    backend::ManualClock clock_{TestServer::startMs};
    TempDir rulesDir_{"tailwise-rules"};
    RealtimeStack stack_;
};

TEST(RealtimeIdentity, TokensNameTheirUserUntilTheSessionEnds)
{
    Fixture db(ownersOnly);
    const User ann = db.signUp("ann@example.com");
    const User ended = db.signUp("bo@example.com");
    db.logOut(ended);
    const std::string annPath = "/users/" + ann.id + ".json";
    const std::string boPath = "/users/" + ended.id + ".json";
    std::string nearly = db.secret();
    nearly.back() = nearly.back() == '0' ? '1' : '0';

    const struct
    {
        std::string target;
        unsigned status;
    } cases[] = {
        {annPath + "?auth=" + ann.token, 200},
        {annPath + "?access_token=" + ann.token, 200},
        {boPath + "?auth=" + ended.token, 401},
        {annPath + "?auth=not-a-token", 401},
        {annPath + "?auth=" + std::string(64, 'a'), 401},
        {annPath, 401},
        // The administrator's secret, under either name.
        {boPath + "?auth=" + db.secret(), 200},
        {boPath + "?access_token=" + db.secret(), 200},
        {boPath + "?auth=" + nearly, 401},
    };
    for (const auto &c : cases)
        EXPECT_EQ(db.status(verb::get, c.target), c.status) << c.target;

    // The secret was made at first start, for the owner's eyes only.
    struct stat info
    {};
    ASSERT_EQ(::stat((db.stack().dataDir() / "database.secret").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(db.secret().find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST(RealtimeIdentity, OwnersMayStrangersAndAnonymousMayNotAndTheAdministratorMayAll)
{
    Fixture db(ownersOnly);
    const User ann = db.signUp("ann@example.com");
    const User bo = db.signUp("bo@example.com");
    const std::string home = "/users/" + ann.id;
    ASSERT_EQ(db.status(verb::put, as(home + ".json", db.secret()), R"({"name": "Ann"})"), 200u);

    const struct
    {
        verb method;
        std::string target;
        std::string body;
    } requests[] = {
        {verb::get, home + ".json", ""},
        {verb::get, home + ".json?shallow=true", ""},
        {verb::get, home + ".json?orderBy=%22$key%22&limitToFirst=1", ""},
        {verb::put, home + "/name.json", R"("Ann B.")"},
        {verb::post, home + "/notes.json", R"({"text": "hi"})"},
        {verb::patch, home + ".json", R"({"age": 30})"},
        {verb::delete_, home + "/age.json", ""},
    };
    const struct
    {
        const char *who;
        std::string token;
        unsigned status;
    } requesters[] = {
        {"stranger", bo.token, 401},
        {"anonymous", "", 401},
        {"owner", ann.token, 200},
        {"administrator", db.secret(), 200},
    };
    for (const auto &requester : requesters) {
        for (const auto &request : requests) {
            const std::string before =
                db.stack().call(verb::get, as(home + ".json", db.secret())).body;
            const HttpReply reply = db.stack().call(
                request.method,
                requester.token.empty() ? request.target : as(request.target, requester.token),
                request.body);
            EXPECT_EQ(reply.status, requester.status) << requester.who << ' ' << request.target;
            if (requester.status == 401) {
                EXPECT_EQ(reply.json, Json({{"error", "Permission denied"}}));
                EXPECT_EQ(db.stack().call(verb::get, as(home + ".json", db.secret())).body, before);
            }
        }
    }

    // Streams are refused before any event; the owner's opens.
    RawStream refused(db.stack().endpoint(), as(home + ".json", bo.token));
    EXPECT_TRUE(refused.head().starts_with("HTTP/1.1 401"));
    listen(db.stack(), as(home + "/x.json", ann.token), "null");
    // A write left for when a stream closes is checked as its requester's, when registered.
    std::string connection;
    auto open = listen(db.stack(), "/public.json", "null", 0, &connection);
    const Json leave = {{"path", home + "/x"}, {"op", "remove"}};
    EXPECT_EQ(db.status(verb::post, "/.ondisconnect?conn=" + connection, leave.dump()), 401u);
    EXPECT_EQ(
        db.status(verb::post, as("/.ondisconnect?conn=" + connection, ann.token), leave.dump()),
        200u);
}

TEST(RealtimeIdentity, TheAdministratorReadsAndReplacesTheRules)
{
    Fixture db(nullptr);
    const std::string rules = as("/.settings/rules.json", db.secret());
    // Without rules nothing is refused.
    EXPECT_EQ(db.status(verb::put, "/users/x.json", "1"), 200u);
    EXPECT_EQ(db.status(verb::get, rules), 404u);
    EXPECT_EQ(db.status(verb::get, "/.settings/rules.json"), 401u);
    EXPECT_EQ(db.status(verb::put, "/.settings/rules.json", ownersOnly), 401u);

    EXPECT_EQ(db.status(verb::put, rules, ownersOnly), 200u);
    EXPECT_EQ(db.stack().call(verb::get, rules).body, ownersOnly);
    EXPECT_EQ(db.status(verb::put, "/users/x.json", "2"), 401u);

    // A faulty text is refused with its position and the rules in force stay.
    const HttpReply faulty = db.stack().call(verb::put, rules, "{\"rules\": {\n  \".read\": (}}");
    EXPECT_EQ(faulty.status, 400u);
    EXPECT_TRUE(faulty.json.value("error", "").starts_with("line 2, column ")) << faulty.body;
    EXPECT_EQ(db.stack().call(verb::get, rules).body, ownersOnly);
}

TEST(RealtimeIdentity, ALogoutCancelsTheStreamsOfItsTokenAtOnce)
{
    // Keep-alives every 30 s: a cancel within the wait below can only come from the logout.
    Fixture db(ownersOnly);
    const User ann = db.signUp("ann@example.com");
    const User bo = db.signUp("bo@example.com");
    const std::string annHome = "/users/" + ann.id + ".json";
    const std::string boHome = "/users/" + bo.id + ".json";
    auto annStream = listen(db.stack(), as(annHome, ann.token), "null");
    auto boStream = listen(db.stack(), as(boHome, bo.token), "null");
    db.logOut(ann);
    EXPECT_EQ(annStream->next(3s), (Event{"cancel", "auth_revoked"}));
    EXPECT_TRUE(annStream->endedByServer(3s));
    // Someone else's stream goes on.
    db.status(verb::put, as(boHome, bo.token), "1");
    EXPECT_EQ(boStream->next(3s), put("/", "1"));
}

TEST(RealtimeIdentity, AnIdleStreamNoticesAnExpiredSessionAtItsKeepAlive)
{
    Fixture db(ownersOnly, 300ms);
    const User ann = db.signUp("ann@example.com");
    auto stream = listen(db.stack(), as("/users/" + ann.id + ".json", ann.token), "null");
    ASSERT_EQ(stream->next(), (Event{"keep-alive", nullptr}));
    // An idle expiry tells nobody: the session is simply found too old when next looked up.
    db.clock().advance(std::chrono::days(31));
    auto event = stream->next();
    while (event && event->name == "keep-alive")
        event = stream->next();
    EXPECT_EQ(event, (Event{"cancel", "auth_revoked"}));
}

TEST(RealtimeIdentity, AFaultyRulesFileStopsTheServerWithItsPosition)
{
    TempDir dir;
    std::ofstream(dir.path() / "rules.json") << "{\"rules\": {\n  \".write\": \"auth !=\"}}";
    ServerProcess server(
        programArguments(dir.path() / "data",
                         {"--database-rules", (dir.path() / "rules.json").string()}),
        dir.path() / "stderr");
    const auto status = server.wait(10s);
    ASSERT_TRUE(status && WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 2);
    EXPECT_NE(fileText(dir.path() / "stderr").find("rules.json: line 2, column "),
              std::string::npos)
        << fileText(dir.path() / "stderr");
}

TEST(RealtimeIdentity, TheProgramServesTheRulesBesideItUnlessToldToServeOpen)
{
    const struct
    {
        std::vector<std::string> flags;
        unsigned anonymousRead;
        const char *says;
    } cases[] = {
        {{}, 401, "database rules: " TAILWISE_SERVER_DIRECTORY "/database.rules.json"},
        {{"--database-rules", "open"}, 200, "WARNING: database rules: open."},
    };
    for (const auto &c : cases) {
        TempDir dir;
        ServerProcess server(programArguments(dir.path() / "data", c.flags), dir.path() / "stderr",
                             false);
        const auto database = server.listeningEndpoint("database", 10s);
        ASSERT_TRUE(database) << fileText(dir.path() / "stderr");
        EXPECT_EQ(HttpClient(*database).get("/Users.json").status, c.anonymousRead);
        EXPECT_NE(fileText(dir.path() / "stderr").find(c.says), std::string::npos)
            << fileText(dir.path() / "stderr");
    }
}

} // namespace
