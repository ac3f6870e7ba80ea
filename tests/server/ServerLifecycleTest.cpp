// Starting, stopping and restarting the stack, in-process and as the tailwise-server program.

#include "RawStream.h"
#include "ServerProcess.h"
#include "TestServer.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

using namespace tailwise::test;
using Clock = std::chrono::steady_clock;

namespace {

TEST(Lifecycle, AcknowledgedAccountsAndSessionsSurviveARestart)
{
    TestServer server;
    const Account ann = server.registerAccount("ann@example.com");
    const Account bo = server.registerAccount("bo@example.com");
    ASSERT_TRUE(server
                    .post(TestServer::api("change_password"),
                          {{"user_id", bo.userId},
                           {"old_password", bo.password},
                           {"new_password", "fresh-pw"}},
                          bearer(bo.token))
                    .succeeded());
    const std::string ended = server.login(ann.email, ann.password);
    ASSERT_TRUE(server.post(TestServer::api("logout"), {{"user_id", ann.userId}}, bearer(ended))
                    .succeeded());

    server.restart();

    EXPECT_TRUE(server.sessionWorks(ann.userId, ann.token));
    EXPECT_TRUE(server.sessionWorks(bo.userId, bo.token));
    EXPECT_FALSE(server.sessionWorks(ann.userId, ended));
    EXPECT_NO_THROW(server.login(ann.email, ann.password));
    EXPECT_NO_THROW(server.login(bo.email, "fresh-pw"));
    EXPECT_EQ(
        server.post(TestServer::api("register"), {{"email", ann.email}, {"password", "secret-2"}})
            .status,
        409);
    EXPECT_NO_THROW(server.registerAccount("cy@example.com"));
}

TEST(Lifecycle, StopReturnsPromptlyWithIdleConnectionsOpen)
{
    TestServer server;
    std::vector<std::unique_ptr<HttpClient>> idle;
    for (int i = 0; i < 4; ++i) {
        idle.push_back(std::make_unique<HttpClient>(server.endpoint()));
        ASSERT_EQ(idle.back()->get("/healthz").status, 200);
    }
    // One that is half-way through its request line also counts as idle: nothing to answer yet.
    idle.push_back(std::make_unique<HttpClient>(server.endpoint()));
    idle.back()->write("POST /app/backend/app/us");
    std::this_thread::sleep_for(50ms); // let the server take up the partial request

    const auto started = Clock::now();
    server.stop();
    const auto took = Clock::now() - started;
    EXPECT_LT(took, 2s) << std::chrono::duration_cast<std::chrono::milliseconds>(took).count()
                        << " ms";
    for (auto &client : idle)
        EXPECT_TRUE(client->closedByServer(1s));
    const auto refused = HttpClient(server.endpoint(), 1s).get("/healthz");
    EXPECT_EQ(refused.status, 0u) << refused;
}

// ---- The program -------------------------------------------------------------------------

TEST(ServerProgram, ServesOnAFreePortAndExitsCleanlyOnSigterm)
{
    TempDir dir("tailwise-program");
    const auto errorLog = dir.path() / "stderr.log";
    ServerProcess server(programArguments(dir.path() / "data"), errorLog);

    const auto endpoint = server.listeningEndpoint("backend", 10s);
    ASSERT_TRUE(endpoint) << "no backend announcement\n" << fileText(errorLog);

    HttpClient client(*endpoint);
    const auto registered = client.post(TestServer::api("register"),
                                        {{"email", "ann@example.com"}, {"password", "secret-1"}});
    EXPECT_TRUE(registered.succeeded()) << registered;
    const auto signedIn = client.post(TestServer::api("login"),
                                      {{"email", "ann@example.com"}, {"password", "secret-1"}});
    EXPECT_TRUE(signedIn.succeeded()) << signedIn;
    EXPECT_TRUE(std::filesystem::exists(dir.path() / "data" / "backend.sqlite3"));

    // The keep-alive connection stays open: stopping must not wait for it.
    server.signal(SIGTERM);
    const auto status = server.wait(5s);
    ASSERT_TRUE(status) << "still running 5 s after SIGTERM\n" << fileText(errorLog);
    EXPECT_TRUE(WIFEXITED(*status)) << "ended by signal " << WTERMSIG(*status);
    EXPECT_EQ(WEXITSTATUS(*status), 0) << fileText(errorLog);
    EXPECT_TRUE(client.closedByServer(1s));
}

// Started with the usual soft limit of 1024 open files, the program raises it: a thousand
// and more streams must not take both services down.
TEST(ServerProgram, RaisesItsOpenFilesLimitAndServesBeyondIt)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < 4096)
        GTEST_SKIP() << "the hard limit of open files here is only " << limit.rlim_max;
    const rlimit original = limit;
    limit.rlim_cur = 1024;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    TempDir dir("tailwise-program");
    const auto errorLog = dir.path() / "stderr.log";
    ServerProcess server(programArguments(dir.path() / "data"), errorLog);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const auto backend = server.listeningEndpoint("backend", 10s);
    const auto database = server.listeningEndpoint("database", 10s);
    ASSERT_TRUE(backend && database) << fileText(errorLog);

    // From two addresses: one alone may not hold that many streams.
    std::vector<std::unique_ptr<RawStream>> streams;
    for (int i = 0; i < 1100; ++i) {
        streams.push_back(std::make_unique<RawStream>(
            *database, "/s/" + std::to_string(i) + ".json", 0, i % 2 ? "127.0.0.2" : "127.0.0.3"));
        ASSERT_TRUE(streams.back()->head().starts_with("HTTP/1.1 200")) << i;
    }
    EXPECT_EQ(HttpClient(*backend).get("/healthz").status, 200u);
    tailwise::net::Request write{tailwise::net::http::verb::put, "/s/0.json", 11};
    write.body() = "1";
    EXPECT_EQ(HttpClient(*database).send(std::move(write)).status, 200u);
    EXPECT_NE(fileText(errorLog).find("open files limit"), std::string::npos);
    streams.clear();
    setrlimit(RLIMIT_NOFILE, &original);
}

} // namespace
