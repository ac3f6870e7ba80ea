// Starting, stopping and restarting the stack, in-process and as the tailwise-server program.

#include "TestServer.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <thread>

extern char **environ;

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

// The spawned server, killed if a test leaves it running.
class ServerProcess
{
public:
    ServerProcess(const std::vector<std::string> &args, const std::filesystem::path &errorLog)
    {
        int out[2];
        if (::pipe2(out, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe failed");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorLog.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        std::vector<char *> argv;
        for (const auto &arg : args)
            argv.push_back(const_cast<char *>(arg.c_str()));
        argv.push_back(nullptr);
        const int spawned = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        stdout_ = out[0];
        if (spawned != 0) {
            ::close(stdout_);
            throw std::runtime_error(std::string("cannot start ") + argv[0]);
        }
    }
    ~ServerProcess()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::close(stdout_);
    }

    // One line of standard output; empty when none arrives in time.
    std::string readLine(std::chrono::milliseconds timeout)
    {
        const auto deadline = Clock::now() + timeout;
        std::string line;
        while (Clock::now() < deadline) {
            pollfd ready{stdout_, POLLIN, 0};
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (::poll(&ready, 1, static_cast<int>(std::max<long>(left.count(), 1))) <= 0)
                break;
            char c = 0;
            if (::read(stdout_, &c, 1) != 1)
                break;
            if (c == '\n')
                return line;
            line += c;
        }
        return {};
    }

    void signal(int number) { ::kill(pid_, number); }

    // The wait status, or nullopt when the process is still running after `timeout`.
    std::optional<int> wait(std::chrono::milliseconds timeout)
    {
        const auto deadline = Clock::now() + timeout;
        do {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return status;
            }
            std::this_thread::sleep_for(10ms);
        } while (Clock::now() < deadline);
        return std::nullopt;
    }

private:
    pid_t pid_ = -1;
    int stdout_ = -1;
};

std::string fileText(const std::filesystem::path &path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ServerProgram, ServesOnAFreePortAndExitsCleanlyOnSigterm)
{
    TempDir dir("tailwise-program");
    const auto errorLog = dir.path() / "stderr.log";
    ServerProcess server({TAILWISE_SERVER_BINARY, "--backend-port", "0", "--database-port", "0",
                          "--push-port", "0", "--data-dir", (dir.path() / "data").string()},
                         errorLog);

    const std::string line = server.readLine(10s);
    std::smatch port;
    ASSERT_TRUE(std::regex_match(line, port,
                                 std::regex(R"(backend listening on http://127\.0\.0\.1:(\d+))")))
        << "first line: '" << line << "'\n"
        << fileText(errorLog);
    const tailwise::net::tcp::endpoint endpoint{tailwise::net::asio::ip::make_address("127.0.0.1"),
                                                static_cast<unsigned short>(std::stoi(port[1]))};

    HttpClient client(endpoint);
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

} // namespace
