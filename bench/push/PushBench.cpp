// Push delivery against a running tailwise-server. For fleets of devices, each holding its
// event stream, the latency from POSTing a notification to all of them to each device reading
// its event; then how many notifications per second the relay commits durably, from one
// sender and from many at once. Every number is the median over the runs. Prints Markdown.
//
//   tailwise-push-bench --push PORT [--seconds N] [--runs N] [--devices 1,100,1000]
//                       [--senders N]
//
// Everything goes to 127.0.0.1.

#include "bench/common/RawHttp.h"

#include <nlohmann/json.hpp>

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

using namespace tailwise::bench;
using namespace std::chrono_literals;
using Json = nlohmann::json;

constexpr std::string_view appId = "d06f00d0-7a11-4e15-9a5e-000000000001";
constexpr auto warmup = 1s;
constexpr auto deliveryTimeout = 5s;

struct Options
{
    unsigned short port = 0;
    int seconds = 5;
    int runs = 3;
    std::vector<int> devices = {1, 100, 1000};
    int senders = 16;
};

double millis(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

double median(std::vector<double> values)
{
    return percentile(std::move(values), 0.5);
}

// One keep-alive connection for requests, opened again when the server closed it.
class Client
{
public:
    explicit Client(unsigned short port) : port_(port) {}

    std::optional<Answer> call(const std::string &bytes)
    {
        for (int attempt = 0; attempt < 2; ++attempt) {
            if (!socket_)
                socket_ = connectTo(port_);
            if (socket_ && sendAll(socket_, bytes))
                if (auto answer = readResponse(socket_, Clock::now() + 30s))
                    return answer;
            socket_ = Socket();
        }
        return std::nullopt;
    }

private:
    unsigned short port_;
    Socket socket_;
};

std::vector<std::string> registerPlayers(unsigned short port, int count, int threads)
{
    std::vector<std::string> ids(static_cast<std::size_t>(count));
    std::atomic<int> next{0};
    std::atomic<bool> failed{false};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([&] {
            Client client(port);
            const std::string body =
                Json{{"app_id", appId}, {"device_type", 0}, {"device_model", "bench"}}.dump();
            for (int i = next++; i < count && !failed; i = next++) {
                const auto answer = client.call(request("POST", "/api/v1/players", body));
                if (!answer || answer->status != 200) {
                    failed = true;
                    break;
                }
                ids[static_cast<std::size_t>(i)] = Json::parse(answer->body).at("id");
            }
        });
    for (auto &worker : workers)
        worker.join();
    if (failed)
        throw std::runtime_error("registering a player failed");
    return ids;
}

// The devices: one event stream each, all read by one thread. Each notification of a round
// carries the round's number in its data map; the reader times its arrival on every device.
class Devices
{
public:
    Devices(unsigned short port, const std::vector<std::string> &players)
    {
        epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
        for (const std::string &player : players) {
            Socket stream = connectTo(port);
            const std::string get = "GET /api/v1/players/" + player +
                                    "/notifications HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                    "Accept: text/event-stream\r\n\r\n";
            if (!stream || !sendAll(stream, get))
                throw std::runtime_error("cannot open a device stream");
            epoll_event interest{};
            interest.events = EPOLLIN;
            interest.data.fd = stream.fd();
            ::epoll_ctl(epoll_, EPOLL_CTL_ADD, stream.fd(), &interest);
            buffers_[stream.fd()];
            streams_.push_back(std::move(stream));
        }
        reader_ = std::thread([this] { read(); });
        // The head arrives once the relay has registered the stream.
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, 30s, [&] { return heads_ == streams_.size(); }))
            throw std::runtime_error("device streams did not open");
    }
    ~Devices()
    {
        running_ = false;
        reader_.join();
        ::close(epoll_);
    }

    // Call before sending the next round's notification to `expected` devices; its number.
    int expect(int expected, bool record)
    {
        const std::lock_guard lock(mutex_);
        remaining_ = expected;
        record_ = record;
        sentAt_ = Clock::now();
        return ++round_;
    }
    // Until every device has the round's event; how many did not in time.
    int wait()
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, deliveryTimeout, [&] { return remaining_ == 0; });
        return remaining_;
    }
    std::vector<double> takeLatencies()
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(latencies_, {});
    }
    bool broken() const { return broken_; }

private:
    void read()
    {
        std::vector<epoll_event> ready(256);
        char chunk[16384];
        while (running_) {
            const int count =
                ::epoll_wait(epoll_, ready.data(), static_cast<int>(ready.size()), 100);
            for (int i = 0; i < count; ++i) {
                const int fd = ready[static_cast<std::size_t>(i)].data.fd;
                const ssize_t got = ::recv(fd, chunk, sizeof chunk, 0);
                if (got <= 0) {
                    ::epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
                    broken_ = true;
                    continue;
                }
                Stream &stream = buffers_[fd];
                stream.buffer.append(chunk, static_cast<std::size_t>(got));
                take(stream);
            }
        }
    }

    struct Stream
    {
        std::string buffer;
        bool head = false;
    };

    // Takes the head, then every complete event, from the front of a stream's buffer.
    void take(Stream &stream)
    {
        const auto now = Clock::now();
        std::string &buffer = stream.buffer;
        if (!stream.head) {
            const auto end = buffer.find("\r\n\r\n");
            if (end == std::string::npos)
                return;
            stream.head = true;
            const std::lock_guard lock(mutex_);
            broken_ = broken_ || !buffer.starts_with("HTTP/1.1 200");
            ++heads_;
            changed_.notify_all();
            buffer.erase(0, end + 4);
        }
        std::size_t end;
        while ((end = buffer.find("\n\n")) != std::string::npos) {
            const std::string_view event(buffer.data(), end);
            const auto number = event.find("\"n\":");
            if (number != std::string_view::npos) {
                const int round = std::atoi(event.data() + number + 4);
                const std::lock_guard lock(mutex_);
                if (round == round_ && remaining_ > 0) {
                    if (record_)
                        latencies_.push_back(millis(now - sentAt_));
                    if (--remaining_ == 0)
                        changed_.notify_all();
                }
            }
            buffer.erase(0, end + 2);
        }
    }

    int epoll_ = -1;
    std::vector<Socket> streams_;
    std::unordered_map<int, Stream> buffers_;
    std::thread reader_;
    std::atomic<bool> running_{true};
    std::atomic<bool> broken_{false};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t heads_ = 0;
    int round_ = 0;
    int remaining_ = 0;
    bool record_ = false;
    Clock::time_point sentAt_;
    std::vector<double> latencies_;
};

std::string notificationBody(const std::vector<std::string> &players, int round)
{
    return Json{{"app_id", appId},
                {"include_player_ids", players},
                {"headings", {{"en", "Anna"}}},
                {"contents", {{"en", "Walkies at the park at five? Bring the ball."}}},
                {"data", {{"n", round}, {"postID", "12"}}},
                {"ios_badgeType", "Increase"},
                {"ios_badgeCount", 1}}
        .dump();
}

struct LatencyRun
{
    int notifications = 0;
    double p50 = 0, p99 = 0;
    int missed = 0;
};

// Closed loop: one notification to every device, wait until all have it, the next.
LatencyRun measureLatency(const Options &options, Devices &devices,
                          const std::vector<std::string> &players)
{
    Client client(options.port);
    LatencyRun run;
    const auto begin = Clock::now();
    const auto end = begin + warmup + std::chrono::seconds(options.seconds);
    while (Clock::now() < end) {
        const bool measured = Clock::now() >= begin + warmup;
        const int round = devices.expect(static_cast<int>(players.size()), measured);
        const auto answer =
            client.call(request("POST", "/api/v1/notifications", notificationBody(players, round)));
        if (!answer || answer->status != 200)
            throw std::runtime_error("a notification was refused: " +
                                     (answer ? answer->body : std::string("no answer")));
        const int missed = devices.wait();
        if (measured) {
            ++run.notifications;
            run.missed += missed;
        }
    }
    const std::vector<double> latencies = devices.takeLatencies();
    run.p50 = percentile(latencies, 0.5);
    run.p99 = percentile(latencies, 0.99);
    return run;
}

struct ThroughputRun
{
    double perSecond = 0;
    double p50 = 0, p99 = 0; // of the answers
};

// `senders` closed loops, each to a device of its own, for the measured time.
ThroughputRun measureThroughput(const Options &options, int senders,
                                const std::vector<std::string> &players)
{
    const auto begin = Clock::now() + warmup;
    const auto end = begin + std::chrono::seconds(options.seconds);
    std::mutex mutex;
    std::vector<double> answers;
    std::atomic<bool> failed{false};
    std::vector<std::thread> threads;
    for (int s = 0; s < senders; ++s)
        threads.emplace_back([&, s] {
            Client client(options.port);
            const std::string bytes = request(
                "POST", "/api/v1/notifications",
                notificationBody({players[static_cast<std::size_t>(s) % players.size()]}, -1));
            std::vector<double> mine;
            while (Clock::now() < end && !failed) {
                const auto sent = Clock::now();
                const auto answer = client.call(bytes);
                if (!answer || answer->status != 200) {
                    failed = true;
                    break;
                }
                if (sent >= begin && Clock::now() <= end)
                    mine.push_back(millis(Clock::now() - sent));
            }
            const std::lock_guard lock(mutex);
            answers.insert(answers.end(), mine.begin(), mine.end());
        });
    for (auto &thread : threads)
        thread.join();
    if (failed)
        throw std::runtime_error("a notification was refused or not answered");
    return {static_cast<double>(answers.size()) / options.seconds, percentile(answers, 0.5),
            percentile(answers, 0.99)};
}

std::vector<int> parseList(const std::string &text)
{
    std::vector<int> values;
    std::stringstream in(text);
    for (std::string item; std::getline(in, item, ',');)
        values.push_back(std::stoi(item));
    return values;
}

Options parse(int argc, char **argv)
{
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i], value = argv[i + 1];
        if (flag == "--push")
            options.port = static_cast<unsigned short>(std::stoi(value));
        else if (flag == "--seconds")
            options.seconds = std::stoi(value);
        else if (flag == "--runs")
            options.runs = std::stoi(value);
        else if (flag == "--devices")
            options.devices = parseList(value);
        else if (flag == "--senders")
            options.senders = std::stoi(value);
        else
            throw std::invalid_argument("unknown flag " + flag);
    }
    if (options.port == 0 || options.seconds < 1 || options.runs < 1 || options.devices.empty() ||
        options.senders < 1 ||
        std::any_of(options.devices.begin(), options.devices.end(),
                    [](int count) { return count < 1 || count > 2000; }))
        throw std::invalid_argument("usage: tailwise-push-bench --push PORT [--seconds N] "
                                    "[--runs N] [--devices 1,100,1000] [--senders N]");
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    try {
        options = parse(argc, argv);
    } catch (const std::exception &error) {
        std::cerr << "tailwise-push-bench: " << error.what() << "\n";
        return 2;
    }
    // A thousand device streams need more than the usual 1024 open files.
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    try {
        const int most = std::max(*std::max_element(options.devices.begin(), options.devices.end()),
                                  options.senders);
        const std::vector<std::string> players = registerPlayers(options.port, most, 8);

        std::printf("Delivery latency, from POST /api/v1/notifications to the event read on each "
                    "device; %d s per run, median of %d runs\n\n",
                    options.seconds, options.runs);
        std::printf("| devices | notifications per run | p50 ms | p99 ms | missed |\n");
        std::printf("|---:|---:|---:|---:|---:|\n");
        for (const int count : options.devices) {
            const std::vector<std::string> fleet(players.begin(), players.begin() + count);
            Devices devices(options.port, fleet);
            std::vector<double> notifications, p50, p99, missed;
            for (int run = 0; run < options.runs; ++run) {
                const LatencyRun result = measureLatency(options, devices, fleet);
                notifications.push_back(result.notifications);
                p50.push_back(result.p50);
                p99.push_back(result.p99);
                missed.push_back(result.missed);
            }
            if (devices.broken())
                throw std::runtime_error("a device stream was refused or cut off");
            std::printf("| %d | %.0f | %.2f | %.2f | %.0f |\n", count, median(notifications),
                        median(p50), median(p99), median(missed));
            std::fflush(stdout);
        }

        std::printf("\nDurable notifications per second, each sender to a device of its own "
                    "whose stream is open; %d s per run, median of %d runs\n\n",
                    options.seconds, options.runs);
        std::printf("| senders | notifications/s | answer p50 ms | answer p99 ms |\n");
        std::printf("|---:|---:|---:|---:|\n");
        const std::vector<std::string> targets(players.begin(), players.begin() + options.senders);
        Devices devices(options.port, targets);
        for (const int senders : {1, options.senders}) {
            std::vector<double> rate, p50, p99;
            for (int run = 0; run < options.runs; ++run) {
                const ThroughputRun result = measureThroughput(options, senders, targets);
                rate.push_back(result.perSecond);
                p50.push_back(result.p50);
                p99.push_back(result.p99);
            }
            std::printf("| %d | %.0f | %.2f | %.2f |\n", senders, median(rate), median(p50),
                        median(p99));
            std::fflush(stdout);
            if (senders == options.senders)
                break;
        }
    } catch (const std::exception &error) {
        std::cerr << "tailwise-push-bench: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
