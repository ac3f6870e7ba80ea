#pragma once

#include "backend/BackendService.h"
#include "http/HttpServer.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

namespace tailwise {

struct StackConfig
{
    std::filesystem::path dataDir;
    std::string host = "127.0.0.1";
    unsigned short backendPort = 8080;
    unsigned threads = 0; // one per core when 0
    backend::PasswordCost passwordCost = backend::PasswordCost::interactive();
    const backend::Clock *clock = nullptr;
    net::ServerLimits backendLimits = {};
    std::FILE *accessLog = stderr;
};

struct StackEndpoints
{
    net::tcp::endpoint backend;
};

// The services of tailwise-server on one io_context with a thread per core. Used by the
// executable and, in-process, by the tests.
class ServerStack
{
public:
    explicit ServerStack(StackConfig config);
    ~ServerStack();
    ServerStack(const ServerStack &) = delete;
    ServerStack &operator=(const ServerStack &) = delete;

    // Binds every service and starts the threads. Throws when a port cannot be bound.
    StackEndpoints start();
    // Graceful: stops accepting, lets requests in flight finish (bounded), joins threads.
    void stop();
    // Blocks until SIGINT or SIGTERM, then stops.
    void runUntilSignalled();

    backend::BackendService &backend() { return *backend_; }

private:
    StackConfig config_;
    net::asio::io_context io_;
    net::asio::thread_pool workers_;
    net::AccessLog log_;
    std::unique_ptr<backend::BackendService> backend_;
    std::unique_ptr<net::HttpServer> backendServer_;
    std::vector<std::thread> threads_;
    bool stopped_ = false;
};

} // namespace tailwise
