#include "ServerStack.h"

#include <algorithm>

namespace tailwise {
namespace {

unsigned threadCount(unsigned requested)
{
    return requested ? requested : std::max(1u, std::thread::hardware_concurrency());
}

} // namespace

ServerStack::ServerStack(StackConfig config)
    : config_(std::move(config)), io_(static_cast<int>(threadCount(config_.threads))),
      workers_(threadCount(config_.threads)), log_(config_.accessLog)
{
    backend_ = std::make_unique<backend::BackendService>(backend::BackendConfig{
        config_.dataDir,
        config_.passwordCost,
        config_.clock,
    });
    backendServer_ = std::make_unique<net::HttpServer>(
        io_, workers_, "backend",
        [this](const net::Request &request) { return backend_->handle(request); },
        [this](const net::Request &request, net::http::status status, const std::string &message) {
            return backend_->error(request, status, message);
        },
        log_, config_.backendLimits);
}

ServerStack::~ServerStack() { stop(); }

StackEndpoints ServerStack::start()
{
    StackEndpoints endpoints;
    endpoints.backend = backendServer_->listen(config_.host, config_.backendPort);
    backendServer_->start();
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
    // Idle connections close at once; a request in flight gets a few seconds to finish.
    net::asio::steady_timer deadline{io_, std::chrono::seconds(5)};
    deadline.async_wait([this](const net::beast::error_code &ec) {
        if (!ec)
            io_.stop();
    });
    const auto poll = std::chrono::milliseconds(10);
    for (int i = 0; i < 500 && backendServer_->openConnections() > 0; ++i)
        std::this_thread::sleep_for(poll);
    deadline.cancel();
    io_.stop();
    for (auto &thread : threads_)
        thread.join();
    threads_.clear();
    workers_.join();
}

void ServerStack::runUntilSignalled()
{
    net::asio::io_context signalContext;
    net::asio::signal_set signals{signalContext, SIGINT, SIGTERM};
    signals.async_wait([](const net::beast::error_code &, int) {});
    signalContext.run();
    log_.message("server", "stopping");
    stop();
}

} // namespace tailwise
