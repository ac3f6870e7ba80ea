#include "ServerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <regex>
#include <stdexcept>
#include <thread>

extern char **environ;

namespace tailwise::test {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

ServerProcess::ServerProcess(const std::vector<std::string> &args,
                             const std::filesystem::path &errorLog, bool openDatabase)
{
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorLog.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0644);
    std::vector<std::string> words = args;
    // These tests write wherever they like; the rules themselves are tested apart.
    if (openDatabase && std::find(words.begin(), words.end(), "--database-rules") == words.end())
        words.insert(words.end(), {"--database-rules", "open"});
    std::vector<char *> argv;
    for (const auto &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    const int spawned = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    stdout_ = out[0];
    if (spawned != 0) {
        pid_ = -1;
        ::close(stdout_);
        throw std::runtime_error("cannot start " + args.at(0));
    }
}

ServerProcess::~ServerProcess()
{
    kill();
    ::close(stdout_);
}

std::string ServerProcess::readLine(std::chrono::milliseconds timeout)
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

std::optional<net::tcp::endpoint>
ServerProcess::listeningEndpoint(const std::string &service, std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    const std::regex announcement(service + R"( listening on http://127\.0\.0\.1:(\d+))");
    while (Clock::now() < deadline) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        const std::string line = readLine(left);
        std::smatch port;
        if (std::regex_match(line, port, announcement))
            return net::tcp::endpoint{net::asio::ip::make_address("127.0.0.1"),
                                      static_cast<unsigned short>(std::stoi(port[1]))};
    }
    return std::nullopt;
}

void ServerProcess::signal(int number)
{
    if (pid_ > 0)
        ::kill(pid_, number);
}

void ServerProcess::kill()
{
    if (pid_ <= 0)
        return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::optional<int> ServerProcess::wait(std::chrono::milliseconds timeout)
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

std::vector<std::string> programArguments(const std::filesystem::path &dataDir,
                                          const std::vector<std::string> &extra)
{
    std::vector<std::string> args = {
        TAILWISE_SERVER_BINARY, "--backend-port", "0", "--database-port", "0", "--push-port", "0",
        "--data-dir",           dataDir.string()};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
}

} // namespace tailwise::test
