#include "ServerStack.h"

#include <algorithm>
#include <csignal>

namespace tailwise {
namespace {

unsigned threadCount(unsigned requested)
{
    return requested ? requested : std::max(1u, std::thread::hardware_concurrency());
}

} // namespace

ServerStack::ServerStack(StackConfig config)
    : config_(std::move(config)), io_(static_cast<int>(threadCount(config_.threads))),
      workers_(threadCount(config_.threads)), passwordWorkers_(threadCount(config_.threads)),
      log_(config_.accessLog)
{
    backend_ = std::make_unique<backend::BackendService>(backend::BackendConfig{
        config_.dataDir,
        config_.passwordCost,
        config_.clock,
        config_.identityProviders,
        config_.rateLimits,
    });
    backendServer_ = std::make_unique<net::HttpServer>(
        io_, workers_, "backend",
        [this](const net::Request &request) { return backend_->handle(request); },
        [this](const net::Request &request, net::http::status status, const std::string &message) {
            return backend_->error(request, status, message);
        },
        log_, config_.backendLimits);
    backendServer_->setSlowLane(passwordWorkers_, &backend::BackendService::hashesPasswords);

    if (config_.databasePort) {
        realtime::DatabaseOptions options = config_.database;
        if (options.dir.empty())
            options.dir = config_.dataDir / "realtime";
        database_ = std::make_unique<realtime::Database>(std::move(options));
        std::filesystem::create_directories(config_.dataDir);
        const auto secretFile = config_.databaseSecret.empty() ? config_.dataDir / "database.secret"
                                                               : config_.databaseSecret;
        // Sessions end in the backend's store: a token is looked up on every request, so a
        // logout takes effect on the database's requests at once.
        const backend::Sessions &sessions = backend_->sessions();
        access_ = std::make_unique<realtime::DatabaseAccess>(
            [&sessions](std::string_view token) -> std::optional<std::string> {
                if (const auto userId = sessions.userOf(token))
                    return std::to_string(*userId);
                return std::nullopt;
            },
            realtime::DatabaseSecret::loadOrCreate(secretFile), config_.databaseRules,
            [database = database_.get()] { return database->now(); },
            config_.storeRulesReplacements);
        realtime_ = std::make_unique<realtime::RealtimeService>(*database_, access_.get());
        // One process: a logout reaches the streams of its token at once.
        backend_->onSessionsEnded([realtime = realtime_.get()](std::int64_t userId) {
            realtime->sessionsEnded(std::to_string(userId));
        });
        databaseWorkers_ = std::make_unique<net::asio::thread_pool>(
            std::max(16u, 4 * threadCount(config_.threads)));
        databaseServer_ = std::make_unique<net::HttpServer>(
            io_, *databaseWorkers_, "database",
            net::StreamingHandler{
                [this](const net::Request &request) { return realtime_->handle(request); }},
            [](const net::Request &request, net::http::status status, const std::string &message) {
                return realtime::RealtimeService::error(request, status, message);
            },
            log_, config_.databaseLimits);
    }

    if (config_.pushPort) {
        push::PushOptions options = config_.push;
        if (options.dir.empty())
            options.dir = config_.dataDir / "push";
        push_ = std::make_unique<push::PushService>(std::move(options), log_);
        pushWorkers_ = std::make_unique<net::asio::thread_pool>(
            std::max(16u, 4 * threadCount(config_.threads)));
        pushServer_ = std::make_unique<net::HttpServer>(
            io_, *pushWorkers_, "push", net::StreamingHandler{[this](const net::Request &request) {
                return push_->handle(request);
            }},
            &push::PushService::error, log_, config_.pushLimits);
    }
}

ServerStack::~ServerStack()
{
    stop();
}

StackEndpoints ServerStack::start()
{
    StackEndpoints endpoints;
    endpoints.backend = backendServer_->listen(config_.host, config_.backendPort);
    backendServer_->start();
    if (databaseServer_) {
        endpoints.database = databaseServer_->listen(config_.host, *config_.databasePort);
        databaseServer_->start();
    }
    if (pushServer_) {
        endpoints.push = pushServer_->listen(config_.host, *config_.pushPort);
        pushServer_->start();
    }
    const unsigned count = threadCount(config_.threads);
    for (unsigned i = 0; i < count; ++i)
        threads_.emplace_back([this] { io_.run(); });
    return endpoints;
}

void ServerStack::stop()
{
    if (stopped_)
        return;
    stopped_ = true;
    backendServer_->stop();
    if (databaseServer_) {
        // The streams about to close are not clients leaving: their onDisconnect operations
        // must not run (see Database::dropDisconnectOperations).
        database_->dropDisconnectOperations();
        databaseServer_->stop();
    }
    if (pushServer_)
        pushServer_->stop();
    // Idle connections close at once; a request in flight gets a few seconds to finish.
    net::asio::steady_timer deadline{io_, std::chrono::seconds(5)};
    deadline.async_wait([this](const net::beast::error_code &ec) {
        if (!ec)
            io_.stop();
    });
    const auto poll = std::chrono::milliseconds(10);
    const auto open = [this] {
        return backendServer_->openConnections() +
               (databaseServer_ ? databaseServer_->openConnections() : 0) +
               (pushServer_ ? pushServer_->openConnections() : 0);
    };
    for (int i = 0; i < 500 && open() > 0; ++i)
        std::this_thread::sleep_for(poll);
    deadline.cancel();
    io_.stop();
    for (auto &thread : threads_)
        thread.join();
    threads_.clear();
    workers_.join();
    passwordWorkers_.join();
    if (databaseWorkers_)
        databaseWorkers_->join();
    if (pushWorkers_)
        pushWorkers_->join();
}

void ServerStack::runUntilSignalled()
{
    // The caller blocks SIGINT and SIGTERM before any thread starts, so a signal that arrives
    // early stays pending until it is collected here instead of killing the process.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    int received = 0;
    while (sigwait(&stopSignals, &received) != 0) {
    }
    log_.message("server", "stopping");
    stop();
}

} // namespace tailwise
