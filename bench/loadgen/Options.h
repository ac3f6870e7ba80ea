#pragma once

#include <charconv>
#include <chrono>
#include <cstdint>
#include <initializer_list>
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

// Command-line values shared by the generators; both throw UsageError naming the flag.
template <typename Int>
Int parseInteger(const std::string &flag, const std::string &text, Int min, Int max)
{
    Int value{};
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc{} || end != text.data() + text.size() || value < min || value > max)
        throw UsageError(flag + " needs a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not '" + text + "'");
    return value;
}
std::chrono::milliseconds parseSeconds(const std::string &flag, const std::string &text,
                                       bool allowZero, double max);

// The command line as (flag, value) pairs, from "--flag value" and "--flag=value"; every flag
// must be one of `known`. std::nullopt once --help or -h comes. Throws UsageError.
std::optional<std::vector<std::pair<std::string, std::string>>>
splitFlags(const std::vector<std::string> &args, std::initializer_list<std::string_view> known);

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
