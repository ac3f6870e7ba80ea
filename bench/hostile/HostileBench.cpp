// Hostile clients against a running tailwise-server, one kind at a time, while a probe keeps
// asking what an honest client would: a one-line write to the realtime database on a fresh
// connection every 100 ms, and the backend's health on a fresh connection every 500 ms. Prints
// a Markdown table: per attack, the probe's latencies and failures and the server's peak
// resident memory. With --store it measures instead what the database's memory per stored
// byte of JSON is.
//
//   tailwise-hostile-bench --backend PORT --database PORT --pid PID [--seconds N] [--store]
//
// Everything goes to 127.0.0.1.

#include "bench/common/RawHttp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace tailwise::bench;
using namespace std::chrono_literals;

struct Options
{
    unsigned short backend = 0;
    unsigned short database = 0;
    int pid = 0;
    int seconds = 10;
    bool store = false;
    std::string only; // one attack by name
};

std::size_t residentKiB(int pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line))
        if (line.starts_with("VmRSS:"))
            return std::stoul(line.substr(6));
    return 0;
}

bool alive(int pid)
{
    return ::kill(pid, 0) == 0;
}

std::vector<Socket> openStreams(unsigned short port, const std::string &target, int count,
                                int receiveBuffer)
{
    std::vector<Socket> streams;
    const std::string get =
        "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nAccept: text/event-stream\r\n\r\n";
    for (int i = 0; i < count; ++i)
        if (Socket socket = connectTo(port, receiveBuffer); socket && sendAll(socket, get))
            streams.push_back(std::move(socket));
    return streams;
}

// ---- The probe --------------------------------------------------------------------------------

struct ProbeResult
{
    std::vector<double> writeMs;
    // From sending a write to its event arriving on a stream of the location.
    std::vector<double> eventMs;
    int missedEvents = 0;
    int writeFailures = 0;
    int healthFailures = 0;
    std::size_t peakKiB = 0;
};

class Probe
{
public:
    Probe(const Options &options) : options_(options) {}

    void start()
    {
        began_ = Clock::now();
        running_ = true;
        thread_ = std::thread([this] { run(); });
    }
    ProbeResult stop()
    {
        running_ = false;
        thread_.join();
        return std::move(result_);
    }

private:
    // Waits until the stream has delivered `value` as the location's data.
    bool eventArrives(const Socket &stream, std::string &buffer, int value,
                      Clock::time_point deadline)
    {
        // Servers differ in the order of "path" and "data".
        const std::string wanted = "\"data\":" + std::to_string(value);
        const auto found = [&] {
            for (auto at = buffer.find(wanted); at != std::string::npos;
                 at = buffer.find(wanted, at + 1)) {
                const auto after = at + wanted.size();
                if (after < buffer.size() && (buffer[after] == '}' || buffer[after] == ','))
                    return after;
            }
            return std::string::npos;
        };
        char chunk[4096];
        while (found() == std::string::npos) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            pollfd ready{stream.fd(), POLLIN, 0};
            if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0)
                return false;
            const ssize_t got = ::recv(stream.fd(), chunk, sizeof chunk, 0);
            if (got <= 0)
                return false;
            buffer.append(chunk, static_cast<std::size_t>(got));
        }
        buffer.erase(0, found());
        return true;
    }

    void run()
    {
        const std::string health = "GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
        auto streams = openStreams(options_.database, "/probe.json", 1, 0);
        std::string events;
        for (int tick = 0; running_; ++tick) {
            const auto started = Clock::now();
            const std::string write =
                request("PUT", "/probe.json?print=silent", std::to_string(tick + 1));
            const auto status = ask(options_.database, write, 2s);
            const double ms =
                std::chrono::duration<double, std::milli>(Clock::now() - started).count();
            if (status == 204)
                result_.writeMs.push_back(ms);
            else
                ++result_.writeFailures;
            if (std::getenv("BENCH_TRACE") && (status != 204 || ms > 100))
                std::fprintf(stderr, "probe at %.1f s: %s after %.0f ms\n",
                             std::chrono::duration<double>(started - began_).count(),
                             status == 204 ? "answered" : "FAILED", ms);
            if (status == 204 && !streams.empty()) {
                if (eventArrives(streams.front(), events, tick + 1, started + 2s))
                    result_.eventMs.push_back(
                        std::chrono::duration<double, std::milli>(Clock::now() - started).count());
                else
                    ++result_.missedEvents;
            }
            if (tick % 5 == 0 && ask(options_.backend, health, 2s) != 200)
                ++result_.healthFailures;
            result_.peakKiB = std::max(result_.peakKiB, residentKiB(options_.pid));
            std::this_thread::sleep_until(started + 100ms);
        }
    }

    const Options &options_;
    Clock::time_point began_;
    std::atomic<bool> running_{false};
    std::thread thread_;
    ProbeResult result_;
};

// ---- Attacks -----------------------------------------------------------------------------------

struct Attack
{
    const char *name;
    const char *what;
    // Prepares (outside the measurement), then runs until `running` goes false.
    std::function<void()> prepare;
    std::function<void(const std::atomic<bool> &running)> run;
};

void untilStopped(const std::atomic<bool> &running)
{
    while (running)
        std::this_thread::sleep_for(20ms);
}

// Many connections that send a byte of a request every two seconds and never finish one.
void slowloris(const Options &options, const std::atomic<bool> &running)
{
    std::vector<Socket> sockets;
    for (const unsigned short port : {options.backend, options.database})
        for (int i = 0; i < 4200 && running; ++i)
            if (Socket socket = connectTo(port); socket && sendAll(socket, "P"))
                sockets.push_back(std::move(socket));
    while (running) {
        for (auto &socket : sockets)
            if (socket)
                sendAll(socket, "O");
        for (int i = 0; i < 100 && running; ++i)
            std::this_thread::sleep_for(20ms);
    }
}

// Streams that read nothing while large writes go to their location.
void stalledStreams(const Options &options, const std::atomic<bool> &running)
{
    const auto streams = openStreams(options.database, "/big.json", 400, 4096);
    const std::string eight = "\"" + std::string(8 * 1024 * 1024, 'x') + "\"";
    for (int i = 0; running; ++i)
        ask(options.database,
            request("PUT", "/big/" + std::to_string(i % 3) + ".json?print=silent", eight));
}

void fillLarge(const Options &options)
{
    for (int batch = 0; batch < 100; ++batch) {
        std::string body = "{";
        for (int i = 0; i < 1000; ++i) {
            if (i)
                body += ',';
            char key[32];
            std::snprintf(key, sizeof key, "\"m%06d\"", batch * 1000 + i);
            body += key;
            body +=
                R"(:{"text":"Hallo, wie geht es deinem Hund?","senderId":"12","time":1700000000000})";
        }
        body += '}';
        ask(options.database, request("PATCH", "/large.json?print=silent", body));
    }
}

// Streams opened again and again on a location of 100,000 children, beside query streams on
// it and writes into it.
void reopeningStreams(const Options &options, const std::atomic<bool> &running)
{
    const auto queries =
        openStreams(options.database, "/large.json?orderBy=%22%24key%22&limitToLast=1", 20, 0);
    std::vector<std::thread> openers;
    for (int t = 0; t < 2; ++t)
        openers.emplace_back([&] {
            while (running) {
                auto stream = openStreams(options.database, "/large.json", 1, 0);
                if (stream.empty())
                    continue;
                char chunk[65536];
                std::size_t got = 0;
                pollfd ready{stream.front().fd(), POLLIN, 0};
                while (got < 4 * 1024 * 1024 && running && ::poll(&ready, 1, 1000) > 0) {
                    const ssize_t n = ::recv(stream.front().fd(), chunk, sizeof chunk, 0);
                    if (n <= 0)
                        break;
                    got += static_cast<std::size_t>(n);
                }
            }
        });
    for (int i = 0; running; ++i) {
        ask(options.database,
            request("PUT", "/large/z" + std::to_string(i % 50) + ".json?print=silent",
                    R"({"text":"neu"})"));
        std::this_thread::sleep_for(20ms);
    }
    for (auto &opener : openers)
        opener.join();
}

// Multi-location updates of 50,000 keys each, one after another.
void bigPatches(const Options &options, const std::atomic<bool> &running)
{
    std::string body = "{";
    for (int i = 0; i < 50'000; ++i) {
        if (i)
            body += ',';
        body += "\"bulk/k" + std::to_string(i) + "\":{\"n\":" + std::to_string(i) +
                ",\"text\":\"some words of text\"}";
    }
    body += '}';
    while (running)
        ask(options.database, request("PATCH", "/.json?print=silent", body));
}

// Bodies that would exhaust the stack of a parser that recursed over them.
void crashers(const Options &options, const std::atomic<bool> &running)
{
    std::string wrapped = "1";
    std::string opening, closing;
    for (int i = 0; i < 20'000; ++i) {
        opening += R"({".value":)";
        closing += '}';
    }
    wrapped = opening + "1" + closing;
    const std::string brackets(300'000, '[');
    const std::string disconnect =
        R"({"path":"/x","op":"set","data":)" + brackets + std::string(300'000, ']') + "}";
    while (running) {
        ask(options.database, request("PUT", "/deep.json", wrapped));
        ask(options.database, request("POST", "/.ondisconnect?conn=x", disconnect));
        std::this_thread::sleep_for(50ms);
    }
}

// ---- Memory per stored byte -------------------------------------------------------------------

void measureStore(const Options &options)
{
    const std::size_t before = residentKiB(options.pid);
    std::size_t stored = 0;
    // Chat-shaped data: conversations of messages under push-id-like keys.
    for (int batch = 0; batch < 400; ++batch) {
        std::string body = "{";
        for (int i = 0; i < 500; ++i) {
            if (i)
                body += ',';
            char entry[256];
            const int n = batch * 500 + i;
            const int length = std::snprintf(
                entry, sizeof entry,
                R"json("c%03d/Messages/-N%011d":{"message":"Wie geht es Bello heute? (%d)","senderId":"%d","receiverId":"%d","time":%lld,"type":"text"})json",
                n % 200, n, n, n % 97, n % 89, 1'700'000'000'000LL + n);
            body.append(entry, static_cast<std::size_t>(length));
        }
        body += '}';
        stored += body.size();
        ask(options.database, request("PATCH", "/Tailwise_Chat.json?print=silent", body));
    }
    std::this_thread::sleep_for(1s);
    const std::size_t after = residentKiB(options.pid);
    std::printf("| stored JSON (as sent) | resident before | resident after | bytes of memory per "
                "stored byte |\n|---:|---:|---:|---:|\n");
    std::printf("| %.1f MiB | %.1f MiB | %.1f MiB | %.2f |\n", stored / 1048576.0, before / 1024.0,
                after / 1024.0, (after - before) * 1024.0 / static_cast<double>(stored));
}

Options parse(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        const auto value = [&] {
            if (i + 1 >= argc)
                throw std::runtime_error(flag + " needs a value");
            return std::stoi(argv[++i]);
        };
        if (flag == "--backend")
            options.backend = static_cast<unsigned short>(value());
        else if (flag == "--database")
            options.database = static_cast<unsigned short>(value());
        else if (flag == "--pid")
            options.pid = value();
        else if (flag == "--seconds")
            options.seconds = value();
        else if (flag == "--store")
            options.store = true;
        else if (flag == "--only" && i + 1 < argc)
            options.only = argv[++i];
        else
            throw std::runtime_error("unknown flag " + flag);
    }
    if (!options.backend || !options.database || !options.pid)
        throw std::runtime_error("--backend, --database and --pid are required");
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    try {
        options = parse(argc, argv);
    } catch (const std::exception &error) {
        std::cerr << "tailwise-hostile-bench: " << error.what() << "\n";
        return 2;
    }
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);

    if (options.store) {
        measureStore(options);
        return 0;
    }
    const std::vector<Attack> attacks = {
        {"none", "nothing but the probe", {}, untilStopped},
        {"slowloris",
         "4,200 connections per port, a byte every 2 s, never a whole request",
         {},
         [&](const auto &running) { slowloris(options, running); }},
        {"stalled streams",
         "400 streams that read nothing; 8 MB writes to their location",
         {},
         [&](const auto &running) { stalledStreams(options, running); }},
        {"reopened streams",
         "2 clients re-opening streams on 100,000 children, 20 limitToLast=1 streams, writes",
         [&] { fillLarge(options); },
         [&](const auto &running) { reopeningStreams(options, running); }},
        {"big updates",
         "multi-location updates of 50,000 keys (4 MB), back to back",
         {},
         [&](const auto &running) { bigPatches(options, running); }},
        {"crashers",
         "20,000 nested .value wrappers and 300,000 [ in a disconnect operation",
         {},
         [&](const auto &running) { crashers(options, running); }},
    };
    std::printf("| attack | what | probe writes | failed | write p50 ms | write p99 ms | write max "
                "ms | event p50 ms | event p99 ms | events missed | health failures | peak "
                "resident MiB | server up |\n"
                "|---|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---|\n");
    for (const auto &attack : attacks) {
        if (!options.only.empty() && options.only != attack.name)
            continue;
        if (attack.prepare)
            attack.prepare();
        std::atomic<bool> running{true};
        std::thread attacker([&] { attack.run(running); });
        std::this_thread::sleep_for(1s); // let the attack build up
        Probe probe(options);
        probe.start();
        std::this_thread::sleep_for(std::chrono::seconds(options.seconds));
        const ProbeResult result = probe.stop();
        running = false;
        attacker.join();
        const double maxMs = result.writeMs.empty()
                                 ? 0
                                 : *std::max_element(result.writeMs.begin(), result.writeMs.end());
        std::printf("| %s | %s | %zu | %d | %.2f | %.2f | %.2f | %.2f | %.2f | %d | %d | %.0f | %s "
                    "|\n",
                    attack.name, attack.what,
                    result.writeMs.size() + static_cast<std::size_t>(result.writeFailures),
                    result.writeFailures, percentile(result.writeMs, 0.5),
                    percentile(result.writeMs, 0.99), maxMs, percentile(result.eventMs, 0.5),
                    percentile(result.eventMs, 0.99), result.missedEvents, result.healthFailures,
                    result.peakKiB / 1024.0, alive(options.pid) ? "yes" : "NO");
        std::fflush(stdout);
        if (!alive(options.pid))
            return 1;
        std::this_thread::sleep_for(2s); // let the server let go of the attack
    }
    return 0;
}
