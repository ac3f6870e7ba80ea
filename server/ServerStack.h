#pragma once

#include "backend/BackendService.h"
#include "http/HttpServer.h"
#include "push/PushService.h"
#include "realtime/Database.h"
#include "realtime/RealtimeService.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace tailwise {

// The relay's requests are small (2,000 player ids and a notification are under 100 KiB).
inline net::ServerLimits pushServerLimits()
{
    net::ServerLimits limits;
    limits.maxBodyBytes = 512 * 1024;
    return limits;
}

struct StackConfig
{
    std::filesystem::path dataDir;
    std::string host = "127.0.0.1";
    unsigned short backendPort = 8080;
    unsigned threads = 0; // one per core when 0
    backend::PasswordCost passwordCost = backend::PasswordCost::interactive();
    const backend::Clock *clock = nullptr;
    net::ServerLimits backendLimits = {};
    backend::IdentityProviderConfigs identityProviders = {};
    backend::RateLimitPolicy rateLimits = {};
    // The realtime database is served only when a port is given.
    std::optional<unsigned short> databasePort;
    net::ServerLimits databaseLimits = {};
    // Its directory defaults to <dataDir>/realtime.
    realtime::DatabaseOptions database = {};
    // The administrator's secret; defaults to <dataDir>/database.secret, created when missing.
    std::filesystem::path databaseSecret;
    // The security rules; none: every request is allowed until rules are put in force.
    std::optional<std::filesystem::path> databaseRules;
    // Whether rules the administrator puts in force replace that file. The file installed
    // beside the program belongs to the installation: replacements of it last until the
    // next start.
    bool storeRulesReplacements = true;
    // The push relay likewise; its directory defaults to <dataDir>/push.
    std::optional<unsigned short> pushPort;
    net::ServerLimits pushLimits = pushServerLimits();
    push::PushOptions push = {};
    std::FILE *accessLog = stderr;
};

struct StackEndpoints
{
    net::tcp::endpoint backend;
    std::optional<net::tcp::endpoint> database;
    std::optional<net::tcp::endpoint> push;
};

// The services of tailwise-server on one io_context with a thread per core. Used by the
// executable and, in-process, by the tests.
class ServerStack
{
public:
    // Throws realtime::rules::RulesError for a faulty rules file.
    explicit ServerStack(StackConfig config);
    ~ServerStack();
    ServerStack(const ServerStack &) = delete;
    ServerStack &operator=(const ServerStack &) = delete;

    // Binds every service and starts the threads. Throws when a port cannot be bound.
    StackEndpoints start();
    // Graceful: stops accepting, lets requests in flight finish (bounded), joins threads.
    void stop();
    // Blocks until SIGINT or SIGTERM, then stops. Both must be blocked in every thread.
    void runUntilSignalled();

    backend::BackendService &backend() { return *backend_; }
    // nullptr when the database is not served.
    realtime::Database *database() { return database_.get(); }
    // nullptr when the push relay is not served.
    push::PushService *push() { return push_.get(); }

private:
    StackConfig config_;
    net::asio::io_context io_;
    net::asio::thread_pool workers_;
    // Password hashing runs apart from everything else (one thread per core).
    net::asio::thread_pool passwordWorkers_;
    net::AccessLog log_;
    std::unique_ptr<backend::BackendService> backend_;
    std::unique_ptr<net::HttpServer> backendServer_;
    // Database writes wait for the journal's fsync on a worker; a pool of its own lets many
    // of them share one fsync without holding up the backend.
    std::unique_ptr<net::asio::thread_pool> databaseWorkers_;
    // Streams ask it until the database has let go of them.
    std::unique_ptr<realtime::DatabaseAccess> access_;
    std::unique_ptr<realtime::Database> database_;
    std::unique_ptr<realtime::RealtimeService> realtime_;
    std::unique_ptr<net::HttpServer> databaseServer_;
    // Push requests wait for a shared commit on a worker, like database writes.
    std::unique_ptr<net::asio::thread_pool> pushWorkers_;
    std::unique_ptr<push::PushService> push_;
    std::unique_ptr<net::HttpServer> pushServer_;
    std::vector<std::thread> threads_;
    bool stopped_ = false;
};

} // namespace tailwise
