#pragma once

// The realtime database served by a real stack on an ephemeral loopback port.

#include "TestServer.h"

#include <fstream>
#include <functional>
#include <stdexcept>

namespace tailwise::test {

struct RealtimeStackOptions
{
    std::chrono::milliseconds keepAlive = 30s;
    std::size_t maxQueuedBytes = 16 * 1024 * 1024;
    std::size_t maxBodyBytes = 10 * 1024 * 1024;
    // Anything else, before the stack is built.
    std::function<void(StackConfig &)> configure = {};
};

class RealtimeStack
{
public:
    explicit RealtimeStack(RealtimeStackOptions options = {}) : options_(options) { start(); }
    ~RealtimeStack() { stop(); }

    void start()
    {
        StackConfig config;
        config.dataDir = dir_.path();
        config.backendPort = 0;
        config.databasePort = 0;
        config.threads = 2;
        config.accessLog = log_.get();
        config.database.listeners.keepAlive = options_.keepAlive;
        config.database.listeners.maxQueuedBytes = options_.maxQueuedBytes;
        config.databaseLimits.maxBodyBytes = options_.maxBodyBytes;
        if (options_.configure)
            options_.configure(config);
        stack_ = std::make_unique<ServerStack>(std::move(config));
        const auto endpoints = stack_->start();
        endpoint_ = *endpoints.database;
        backendEndpoint_ = endpoints.backend;
    }
    void stop() { stack_.reset(); }

    net::tcp::endpoint endpoint() const { return endpoint_; }
    net::tcp::endpoint backendEndpoint() const { return backendEndpoint_; }
    const std::filesystem::path &dataDir() const { return dir_.path(); }
    realtime::Database &database() { return *stack_->database(); }

    HttpReply call(net::http::verb method, std::string_view target, std::string body = {},
                   const Headers &headers = {})
    {
        net::Request request{method, target, 11};
        for (const auto &[name, value] : headers)
            request.set(name, value);
        request.body() = std::move(body);
        return HttpClient(endpoint_).send(std::move(request));
    }

private:
    struct Closer
    {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };

    RealtimeStackOptions options_;
    TempDir dir_{"tailwise-realtime"};
    std::unique_ptr<std::FILE, Closer> log_{std::fopen("/dev/null", "w")};
    std::unique_ptr<ServerStack> stack_;
    net::tcp::endpoint endpoint_;
    net::tcp::endpoint backendEndpoint_;
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
