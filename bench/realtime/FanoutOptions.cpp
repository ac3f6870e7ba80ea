#include "Fanout.h"

#include "bench/loadgen/Options.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iterator>

namespace tailwise::fanout {

namespace {

using loadgen::parseInteger;
using loadgen::parseSeconds;
using loadgen::UsageError;

constexpr int maxListeners = 10000;
constexpr int maxWriters = 256;
constexpr int maxThreads = 2;
constexpr std::size_t maxTextBytes = 64 * 1024;
constexpr std::size_t maxLocationBytes = 200;

constexpr std::pair<std::string_view, System> systems[] = {
    {"tailwise", System::tailwise},
    {"pouchdb", System::pouchdb},
    {"node-sse", System::nodeSse},
    {"redis", System::redis},
};

// One name serves as a database path, a CouchDB database name and a Redis channel, so it
// keeps to what all three accept.
bool acceptableLocation(std::string_view name)
{
    if (name.empty() || name.size() > maxLocationBytes || name.front() < 'a' || name.front() > 'z')
        return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
}

bool tokenLike(std::string_view text)
{
    return !text.empty() && text.size() <= 256 && std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_';
    });
}

bool userId(std::string_view text)
{
    return !text.empty() && text.size() <= 20 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::string_view systemName(System system)
{
    for (const auto &[name, value] : systems)
        if (value == system)
            return name;
    return "?";
}

Options parseOptions(const std::vector<std::string> &args)
{
    Options options;
    bool havePort = false;
    const auto flags = loadgen::splitFlags(args, {"--system", "--host", "--port", "--location",
                                                  "--listeners", "--writers", "--duration",
                                                  "--warmup", "--timeout", "--delivery-timeout",
                                                  "--text-bytes", "--threads", "--auth", "--chat"});
    if (!flags) {
        options.help = true;
        return options;
    }
    for (const auto &[flag, value] : *flags) {
        if (flag == "--system") {
            const auto found =
                std::find_if(std::begin(systems), std::end(systems),
                             [&name = value](const auto &entry) { return entry.first == name; });
            if (found == std::end(systems))
                throw UsageError("--system must be tailwise, pouchdb, node-sse or redis, not '" +
                                 value + "'");
            options.system = found->second;
        } else if (flag == "--host") {
            if (!loadgen::isLoopbackHost(value))
                throw UsageError("--host '" + value +
                                 "' is not loopback; only 127.0.0.0/8, ::1 and localhost are "
                                 "allowed");
            options.host = value;
        } else if (flag == "--port") {
            options.port = parseInteger<std::uint16_t>(flag, value, 1, 65535);
            havePort = true;
        } else if (flag == "--location") {
            if (!acceptableLocation(value))
                throw UsageError("--location must start with a-z and hold only a-z, 0-9, '-' "
                                 "and '_' (at most 200 characters), not '" +
                                 value + "'");
            options.location = value;
        } else if (flag == "--listeners") {
            options.listeners = parseInteger(flag, value, 1, maxListeners);
        } else if (flag == "--writers") {
            options.writers = parseInteger(flag, value, 1, maxWriters);
        } else if (flag == "--duration") {
            options.duration = parseSeconds(flag, value, false, 3600);
        } else if (flag == "--warmup") {
            options.warmup = parseSeconds(flag, value, true, 600);
        } else if (flag == "--timeout") {
            options.timeout = parseSeconds(flag, value, false, 600);
        } else if (flag == "--delivery-timeout") {
            options.deliveryTimeout = parseSeconds(flag, value, false, 600);
        } else if (flag == "--text-bytes") {
            options.textBytes = parseInteger<std::size_t>(flag, value, 0, maxTextBytes);
        } else if (flag == "--threads") {
            options.threads = parseInteger(flag, value, 1, maxThreads);
        } else if (flag == "--auth") {
            if (!tokenLike(value))
                throw UsageError("--auth takes a token of letters, digits, '-' and '_'");
            options.auth = value;
        } else if (flag == "--chat") {
            const auto colon = value.find(':');
            options.chatSender = value.substr(0, colon);
            options.chatReceiver = colon == value.npos ? "" : value.substr(colon + 1);
            if (!userId(options.chatSender) || !userId(options.chatReceiver))
                throw UsageError("--chat takes SENDER:RECEIVER, two user ids, not '" + value + "'");
        }
    }
    if (!havePort)
        throw UsageError("--port is required");
    if ((options.chat() || !options.auth.empty()) && options.system != System::tailwise)
        throw UsageError("--auth and --chat are for --system tailwise only");
    if (options.chat() && !options.location.empty())
        throw UsageError("--chat writes to the conversation's messages; leave out --location");
    return options;
}

std::string usage()
{
    return "usage: tailwise-fanout-bench --system SYSTEM --port PORT [options]\n"
           "  --system tailwise|pouchdb|node-sse|redis   what listens on PORT (tailwise)\n"
           "  --host ADDR                  loopback address of the system (127.0.0.1)\n"
           "  --location NAME              path, database or channel (a fresh one per run)\n"
           "  --listeners N                streams held open, 1-10000 (1)\n"
           "  --writers N                  closed-loop writers, 1-256 (4)\n"
           "  --duration SECONDS           measured time, up to 3600 (5)\n"
           "  --warmup SECONDS             unmeasured writing before it, up to 600 (1)\n"
           "  --timeout SECONDS            limit for connecting, priming and one write (30)\n"
           "  --delivery-timeout SECONDS   wait for a write to reach every listener (5)\n"
           "  --text-bytes N               length of each message's text, 0-65536 (64)\n"
           "  --threads N                  generator threads, 1-2 (1)\n"
           "  --auth TOKEN                 tailwise: every request as this token's holder\n"
           "  --chat SENDER:RECEIVER       tailwise: write chat messages between these user ids\n"
           "                               to Tailwise_Chat/SENDER_RECEIVER/Messages\n"
           "Each writer sends a message, waits for its acknowledgement and for the message to\n"
           "reach every listener, then sends the next. Prints one JSON line with the results;\n"
           "exits 1 when the run could not be carried out, 2 on a usage error.\n";
}

std::string toJson(const Summary &summary)
{
    const auto ms = [](std::uint64_t micros) { return static_cast<double>(micros) / 1000.0; };
    // The error text is ours or a system's error message; keep the line valid JSON.
    std::string error;
    for (const char c : summary.firstError.substr(0, 200))
        error += c == '"' || c == '\\' ? '\'' : (static_cast<unsigned char>(c) < 0x20 ? ' ' : c);
    char line[1024];
    std::snprintf(line, sizeof line,
                  "{\"system\":\"%s\",\"listeners\":%d,\"writers\":%d,\"writes\":%llu,"
                  "\"write_errors\":%llu,\"events\":%llu,\"missed\":%llu,\"seconds\":%.3f,"
                  "\"wps\":%.1f,\"p50_ms\":%.3f,\"p99_ms\":%.3f,\"max_ms\":%.3f,"
                  "\"first_error\":\"%s\"}",
                  std::string(systemName(summary.system)).c_str(), summary.listeners,
                  summary.writers, static_cast<unsigned long long>(summary.writes),
                  static_cast<unsigned long long>(summary.writeErrors),
                  static_cast<unsigned long long>(summary.events),
                  static_cast<unsigned long long>(summary.missed), summary.seconds,
                  summary.writesPerSecond(), ms(summary.latency.percentileMicros(50)),
                  ms(summary.latency.percentileMicros(99)), ms(summary.latency.maxMicros()),
                  error.c_str());
    return line;
}

} // namespace tailwise::fanout
