#pragma once

#include "TestServer.h"

#include <cstdio>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace tailwise::test {

// A real stack on ephemeral loopback ports with a data directory of its own, configured by
// `configure`; what it logs is kept beside its data.
class StackUnderTest
{
public:
    explicit StackUnderTest(std::function<void(StackConfig &)> configure)
        : configure_(std::move(configure))
    {
        start();
    }
    ~StackUnderTest() { stop(); }
    StackUnderTest(const StackUnderTest &) = delete;
    StackUnderTest &operator=(const StackUnderTest &) = delete;

    void start()
    {
        StackConfig config;
        config.dataDir = dir_.path();
        config.backendPort = 0;
        config.threads = 2;
        log_.reset(std::fopen((dir_.path() / "server.log").c_str(), "a"));
        config.accessLog = log_.get();
        configure_(config);
        stack_ = std::make_unique<ServerStack>(std::move(config));
        endpoints_ = stack_->start();
    }
    void stop()
    {
        stack_.reset();
        log_.reset();
    }

    const std::filesystem::path &dataDir() const { return dir_.path(); }
    // What the server wrote to its log so far.
    std::string log()
    {
        std::fflush(log_.get());
        return fileText(dir_.path() / "server.log");
    }

protected:
    ServerStack &stack() { return *stack_; }
    const StackEndpoints &endpoints() const { return endpoints_; }
    static HttpReply send(net::tcp::endpoint at, net::http::verb method, std::string_view target,
                          std::string body, const Headers &headers)
    {
        net::Request request{method, target, 11};
        for (const auto &[name, value] : headers)
            request.set(name, value);
        request.body() = std::move(body);
        return HttpClient(at).send(std::move(request));
    }

private:
    struct Closer
    {
        void operator()(std::FILE *file) const
        {
            if (file)
                std::fclose(file);
        }
    };

    std::function<void(StackConfig &)> configure_;
    TempDir dir_{"tailwise-stack"};
    std::unique_ptr<std::FILE, Closer> log_;
    std::unique_ptr<ServerStack> stack_;
    StackEndpoints endpoints_;
};

struct RealtimeStackOptions
{
    std::chrono::milliseconds keepAlive = 30s;
    std::size_t maxQueuedBytes = 16 * 1024 * 1024;
    std::size_t maxBodyBytes = 10 * 1024 * 1024;
    // Anything else, before the stack is built.
    std::function<void(StackConfig &)> configure = {};
};

// The realtime database served by a real stack.
class RealtimeStack : public StackUnderTest
{
public:
    explicit RealtimeStack(RealtimeStackOptions options = {})
        : StackUnderTest([options](StackConfig &config) {
              config.databasePort = 0;
              config.database.listeners.keepAlive = options.keepAlive;
              config.database.listeners.maxQueuedBytes = options.maxQueuedBytes;
              config.databaseLimits.maxBodyBytes = options.maxBodyBytes;
              if (options.configure)
                  options.configure(config);
          })
    {}

    net::tcp::endpoint endpoint() const { return *endpoints().database; }
    net::tcp::endpoint backendEndpoint() const { return endpoints().backend; }
    realtime::Database &database() { return *stack().database(); }

    HttpReply call(net::http::verb method, std::string_view target, std::string body = {},
                   const Headers &headers = {})
    {
        return send(endpoint(), method, target, std::move(body), headers);
    }
};

// A user of the backend beside the database, and the token the database knows them by.
struct DatabaseUser
{
    std::string id;
    std::string token;
};

// Registers through the backend's REST endpoint, as the app does.
inline DatabaseUser signUp(const RealtimeStack &stack, const std::string &email)
{
    const HttpReply reply =
        HttpClient(stack.backendEndpoint())
            .post(TestServer::api("register"),
                  {{"email", email}, {"password", "secret-1"}, {"register_type", "manual"}});
    if (!reply.succeeded())
        throw std::runtime_error("registering " + email + " failed");
    return {reply.field("user_id"), reply.field("userToken")};
}

inline void logOut(const RealtimeStack &stack, const DatabaseUser &user)
{
    if (!HttpClient(stack.backendEndpoint())
             .post(TestServer::api("logout"), {{"user_id", user.id}}, bearer(user.token))
             .succeeded())
        throw std::runtime_error("logging out " + user.id + " failed");
}

// The administrator's secret the stack made at its first start.
inline std::string databaseSecret(const RealtimeStack &stack)
{
    std::ifstream in(stack.dataDir() / "database.secret");
    std::string secret;
    in >> secret;
    return secret;
}

// `target` as `token`'s holder asks for it; as it is for an empty token (anonymous).
inline std::string as(const std::string &target, const std::string &token)
{
    if (token.empty())
        return target;
    return target + (target.find('?') == std::string::npos ? "?" : "&") + "auth=" + token;
}

} // namespace tailwise::test
