#pragma once

// HTTP/1.1 over plain blocking sockets to 127.0.0.1, for bench clients that must control
// every byte and connection (attackers, thousands of event streams).

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tailwise::bench {

using Clock = std::chrono::steady_clock;

class Socket
{
public:
    Socket() = default;
    explicit Socket(int fd) : fd_(fd) {}
    Socket(Socket &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket &operator=(Socket &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Socket();
    int fd() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

// A connection to 127.0.0.1:port; an empty Socket when it fails. A small receive buffer
// makes a slow reader.
Socket connectTo(unsigned short port, int receiveBuffer = 0);
bool sendAll(const Socket &socket, std::string_view bytes);

struct Answer
{
    int status = 0;
    std::string body;
};

// Reads one answer (head and Content-Length body); nullopt past the deadline.
std::optional<Answer> readResponse(const Socket &socket, Clock::time_point deadline);
std::optional<int> readAnswer(const Socket &socket, Clock::time_point deadline);

// A request with a JSON body (or none); `extra` holds further header lines, each ending in CRLF.
std::string request(std::string_view method, std::string_view target, std::string_view body,
                    std::string_view extra = {});

// One request on a fresh connection; the status, or nullopt when none came in time.
std::optional<int> ask(unsigned short port, const std::string &bytes,
                       std::chrono::milliseconds timeout = std::chrono::seconds(30));

// p in [0, 1]; 0 for no values.
double percentile(std::vector<double> values, double p);

} // namespace tailwise::bench
