#pragma once

// A real tailwise-server stack on an ephemeral loopback port with its own temporary data
// directory, and a small synchronous HTTP client with bounded waits to talk to it.

#include "ServerStack.h"
#include "backend/Clock.h"
#include "http/asio.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tailwise::test {

using namespace std::chrono_literals;

// A fresh directory under the system temp dir, removed with everything in it on destruction.
class TempDir
{
public:
    explicit TempDir(std::string_view prefix = "tailwise-test");
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

// The whole text of a file, "" when there is none.
std::string fileText(const std::filesystem::path &path);

using Headers = std::vector<std::pair<std::string, std::string>>;

Headers bearer(const std::string &token);

struct HttpReply
{
    unsigned status = 0; // 0 when no answer arrived; `error` says why
    net::http::fields headers;
    std::string body;
    nlohmann::json json; // discarded when the body is not JSON
    bool keepAlive = false;
    std::string error;

    // The envelope's fields, or "" when absent or not text.
    std::string field(std::string_view key) const;
    std::string message() const { return field("message"); }
    bool succeeded() const { return status == 200 && field("status") == "1"; }
    // A refusal as the app expects it: a 4xx, a JSON envelope with status "0" and a message.
    bool refused() const
    {
        return status >= 400 && status < 500 && field("status") == "0" && !message().empty();
    }
};

std::ostream &operator<<(std::ostream &out, const HttpReply &reply);

// One HTTP/1.1 connection, opened on first use and again after the server closed it. Every
// operation is bounded by `timeout`.
class HttpClient
{
public:
    explicit HttpClient(net::tcp::endpoint server, std::chrono::milliseconds timeout = 5s);

    HttpReply send(net::Request request);
    HttpReply post(std::string_view target, const nlohmann::json &body,
                   const Headers &headers = {});
    // An empty `contentType` sends no Content-Type header.
    HttpReply postBody(std::string_view target, std::string body, const Headers &headers = {},
                       std::string_view contentType = "application/json");
    HttpReply get(std::string_view target, const Headers &headers = {});

    // Bytes exactly as given, for requests no well-behaved client would send.
    void write(std::string_view bytes);
    // Reads the next answer on the connection.
    HttpReply receive();
    HttpReply exchange(std::string_view bytes);

    // True when the server closes the connection within `within` without sending anything.
    bool closedByServer(std::chrono::milliseconds within);

    void close();
    bool isOpen() const { return stream_.socket().is_open(); }
    int connects() const { return connects_; }

private:
    template <typename Start>
    net::beast::error_code run(std::chrono::milliseconds timeout, Start start);
    void connect();

    net::tcp::endpoint server_;
    std::chrono::milliseconds timeout_;
    net::asio::io_context io_;
    net::beast::tcp_stream stream_;
    net::beast::flat_buffer buffer_;
    int connects_ = 0;
};

struct TestServerOptions
{
    net::ServerLimits limits = {};
    backend::IdentityProviderConfigs identityProviders = {};
};

struct Account
{
    std::string email;
    std::string password;
    std::string userId;
    std::string token;
};

class TestServer
{
public:
    // 2023-11-14T22:13:20Z, so that time-dependent answers are predictable.
    static constexpr std::int64_t startMs = 1'700'000'000'000;

    explicit TestServer(TestServerOptions options = {});
    ~TestServer();
    TestServer(const TestServer &) = delete;
    TestServer &operator=(const TestServer &) = delete;

    void start();
    // Graceful stop; the data directory stays for the next start.
    void stop();
    void restart();

    net::tcp::endpoint endpoint() const { return endpoint_; }
    const std::filesystem::path &dataDir() const { return dir_.path(); }
    backend::ManualClock &clock() { return clock_; }
    ServerStack &stack() { return *stack_; }
    backend::UserStore &users() { return stack_->backend().users(); }

    // "/app/backend/app/users/<word>"
    static std::string api(std::string_view word);

    // One request on a connection of its own.
    HttpReply post(std::string_view target, const nlohmann::json &body,
                   const Headers &headers = {});
    HttpReply postBody(std::string_view target, std::string body, const Headers &headers = {},
                       std::string_view contentType = "application/json");

    // Sends `request` on `count` connections of their own, released all at once.
    std::vector<HttpReply> concurrently(int count,
                                        const std::function<HttpReply(HttpClient &)> &request);

    // Registers a manual account and returns it signed in; throws when the server refuses.
    Account registerAccount(const std::string &email, const std::string &password = "secret-1",
                            nlohmann::json extra = nlohmann::json::object());
    // Signs in by password; throws when the server refuses.
    std::string login(const std::string &email, const std::string &password);
    // True when `token` is a live session of `userId`.
    bool sessionWorks(const std::string &userId, const std::string &token);
    std::int64_t userRows();

private:
    TestServerOptions options_;
    TempDir dir_;
    backend::ManualClock clock_{startMs};
    std::FILE *accessLog_ = nullptr;
    std::unique_ptr<ServerStack> stack_;
    net::tcp::endpoint endpoint_;
};

} // namespace tailwise::test
