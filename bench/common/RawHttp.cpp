#include "RawHttp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace tailwise::bench {

Socket::~Socket()
{
    if (fd_ >= 0)
        ::close(fd_);
}

Socket connectTo(unsigned short port, int receiveBuffer)
{
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket)
        return socket;
    if (receiveBuffer)
        ::setsockopt(socket.fd(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket.fd(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        return {};
    return socket;
}

bool sendAll(const Socket &socket, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::optional<Answer> readResponse(const Socket &socket, Clock::time_point deadline)
{
    std::string buffer;
    std::size_t headEnd = std::string::npos;
    std::size_t wanted = 0;
    char chunk[65536];
    for (;;) {
        if (headEnd == std::string::npos) {
            headEnd = buffer.find("\r\n\r\n");
            if (headEnd != std::string::npos) {
                const auto length = buffer.find("Content-Length: ");
                wanted =
                    headEnd + 4 + (length < headEnd ? std::stoul(buffer.substr(length + 16)) : 0);
            }
        }
        if (headEnd != std::string::npos && buffer.size() >= wanted)
            return Answer{std::stoi(buffer.substr(9, 3)), buffer.substr(headEnd + 4)};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd ready{socket.fd(), POLLIN, 0};
        if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0)
            return std::nullopt;
        const ssize_t got = ::recv(socket.fd(), chunk, sizeof chunk, 0);
        if (got <= 0)
            return std::nullopt;
        buffer.append(chunk, static_cast<std::size_t>(got));
    }
}

std::optional<int> readAnswer(const Socket &socket, Clock::time_point deadline)
{
    const auto answer = readResponse(socket, deadline);
    return answer ? std::optional<int>(answer->status) : std::nullopt;
}

std::string request(std::string_view method, std::string_view target, std::string_view body,
                    std::string_view extra)
{
    std::string text(method);
    text += ' ';
    text += target;
    text += " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n";
    text += extra;
    text += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    text += body;
    return text;
}

std::optional<int> ask(unsigned short port, const std::string &bytes,
                       std::chrono::milliseconds timeout)
{
    const Socket socket = connectTo(port);
    if (!socket || !sendAll(socket, bytes))
        return std::nullopt;
    return readAnswer(socket, Clock::now() + timeout);
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1))];
}

} // namespace tailwise::bench
