#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tailwise::loadgen {

// A command line we refuse; the message is meant for the person who typed it.
struct UsageError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

struct Url
{
    std::string host; // without brackets for IPv6 literals
    std::uint16_t port = 80;
    std::string target = "/";
};

// Plain http:// URLs only. Throws UsageError for anything else, including hosts that are not
// on this machine's loopback interface.
Url parseUrl(std::string_view url);

// 127.0.0.0/8, ::1 (also IPv4-mapped) and the name "localhost". The generator is meant to load
// our own server on this machine; refusing other hosts keeps it from being aimed elsewhere.
bool isLoopbackHost(std::string_view host);

struct Options
{
    Url url;
    std::string method = "GET";
    std::string body;
    std::string contentType;
    std::vector<std::pair<std::string, std::string>> headers;
    int connections = 1;
    std::chrono::milliseconds duration{5000};
    std::optional<std::uint64_t> requests;
    std::chrono::milliseconds warmup{1000};
    std::chrono::milliseconds timeout{10000};
    int threads = 1;
    bool help = false;
};

// Arguments without the program name. Throws UsageError.
Options parseOptions(const std::vector<std::string> &args);

std::string usage();

} // namespace tailwise::loadgen
