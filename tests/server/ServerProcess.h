#pragma once

#include "http/asio.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace tailwise::test {

// The tailwise-server program in a process of its own, killed if a test leaves it running.
// Its standard output is read line by line; standard error is appended to `errorLog`. With
// `openDatabase`, the database serves without rules unless `args` name some with
// --database-rules; without it, the program chooses as it does for anybody.
class ServerProcess
{
public:
    ServerProcess(const std::vector<std::string> &args, const std::filesystem::path &errorLog,
                  bool openDatabase = true);
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    // One line of standard output; empty when none arrives in time.
    std::string readLine(std::chrono::milliseconds timeout);
    // The endpoint from the "<service> listening on http://127.0.0.1:<port>" line, skipping
    // other lines; nullopt when none comes in time.
    std::optional<net::tcp::endpoint> listeningEndpoint(const std::string &service,
                                                        std::chrono::milliseconds timeout);

    void signal(int number);
    // SIGKILL, as a crash or power cut would end it.
    void kill();
    // The wait status, or nullopt when the process is still running after `timeout`.
    std::optional<int> wait(std::chrono::milliseconds timeout);

private:
    pid_t pid_ = -1;
    int stdout_ = -1;
};

// tailwise-server on ephemeral ports over `dataDir`, followed by `extra`.
std::vector<std::string> programArguments(const std::filesystem::path &dataDir,
                                          const std::vector<std::string> &extra = {});

} // namespace tailwise::test
