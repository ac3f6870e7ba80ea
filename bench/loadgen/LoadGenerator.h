#pragma once

#include "Histogram.h"
#include "Options.h"
#include "server/http/asio.h"

#include <cstdint>
#include <string>

namespace tailwise::loadgen {

struct Summary
{
    int connections = 0;
    // Measured requests that got a complete response, whatever its status.
    std::uint64_t requests = 0;
    // Measured requests that got no response: refused connects, resets, timeouts, bad HTTP.
    std::uint64_t errors = 0;
    std::uint64_t non2xx = 0;
    double seconds = 0;
    LatencyHistogram latency;

    std::uint64_t succeeded() const { return requests - non2xx; }
    double rps() const { return seconds > 0 ? static_cast<double>(requests) / seconds : 0; }
};

// The addresses of url's host and port; throws std::runtime_error when the host cannot be
// resolved or any address it resolves to is not loopback.
net::tcp::resolver::results_type resolveLoopback(net::asio::io_context &io, const Url &url);

// The request exactly as it goes on the wire, serialised once for the whole run.
std::string serializeRequest(const Options &options);

// Runs the load and blocks until it is over. Throws std::runtime_error when the host cannot be
// resolved to a loopback address.
Summary runLoad(const Options &options);

std::string toJson(const Summary &summary);

} // namespace tailwise::loadgen
