#pragma once

#include "bench/loadgen/Histogram.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::fanout {

// What the generator talks to, and how:
//   tailwise  the realtime database: POST <location>.json, streams with Accept: text/event-stream
//   pouchdb   a CouchDB-style server: POST /<db>, streams on /<db>/_changes?feed=continuous
//   node-sse  bench/realtime/sse-broadcaster.js: POST /<location>, streams on the same path
//   redis     PUBLISH <channel>, listeners SUBSCRIBE, in RESP over plain TCP
enum class System
{
    tailwise,
    pouchdb,
    nodeSse,
    redis,
};

std::string_view systemName(System system);

struct Options
{
    System system = System::tailwise;
    std::string host = "127.0.0.1";
    std::uint16_t port = 0;
    // The database location, database name or channel; empty: a fresh one for this run, so
    // a stream's first answer never carries an earlier run's messages.
    std::string location;
    int listeners = 1;
    int writers = 4;
    std::chrono::milliseconds duration{5000};
    std::chrono::milliseconds warmup{1000};
    // Bounds connecting the listeners, getting every one of them its first message, and each
    // write's answer.
    std::chrono::milliseconds timeout{30000};
    // How long a writer waits for its message to reach every listener; those that have not
    // by then count as missed.
    std::chrono::milliseconds deliveryTimeout{5000};
    std::size_t textBytes = 64;
    int threads = 1;
    // tailwise only: the `auth=` every request carries, so that rules in force apply to it.
    std::string auth;
    // tailwise only: writes are chat messages from `chatSender` to `chatReceiver` (user ids)
    // in their conversation's message list, shaped as the app writes them, so that the rules
    // check every one of them the way they check the app's.
    std::string chatSender, chatReceiver;
    bool chat() const { return !chatSender.empty(); }
    bool help = false;
};

// Arguments without the program name. Throws loadgen::UsageError.
Options parseOptions(const std::vector<std::string> &args);
std::string usage();

struct Summary
{
    System system = System::tailwise;
    int listeners = 0;
    int writers = 0;
    // Writes sent in the measured window and acknowledged before it closed.
    std::uint64_t writes = 0;
    // Writes that failed or were refused, in the measured window.
    std::uint64_t writeErrors = 0;
    // Events of measured writes that reached a listener, and those that never did.
    std::uint64_t events = 0;
    std::uint64_t missed = 0;
    double seconds = 0;
    std::string firstError;
    // From sending a write to a listener reading its event, one sample per listener and write.
    loadgen::LatencyHistogram latency;

    double writesPerSecond() const
    {
        return seconds > 0 ? static_cast<double>(writes) / seconds : 0;
    }
};

// Connects the listeners, waits until every one of them receives messages, then runs the
// writers for warm-up plus duration and blocks until the run is over. Throws
// std::runtime_error when the run cannot be carried out (a listener refused or cut off, no
// message reaching every listener within the timeout).
Summary run(const Options &options);

std::string toJson(const Summary &summary);

} // namespace tailwise::fanout
