#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tailwise::net {

// "localhost", a name under ".localhost" or a loopback address ("127.0.0.1", "[::1]"): a name
// that always means this machine.
bool isLoopbackName(std::string_view host);

// Which names a service answers for, by the request's Host header. A page on another site
// can point its own name at 127.0.0.1 (DNS rebinding) and then talk to a local server as if
// it were that site; refusing names the server does not serve closes that door. Loopback
// addresses, "localhost" and names under ".localhost" always resolve here, so they pass, as do
// the address the service listens on and the names configured as public.
class HostCheck
{
public:
    HostCheck() = default;
    HostCheck(std::string listenAddress, std::vector<std::string> publicHosts);

    // `header` is the Host header as sent, port included; empty when there was none, which
    // only an HTTP/1.0 request may do.
    bool allows(std::string_view header, unsigned httpVersion) const;

    // The name part of a Host header, lowercased: "[::1]:8080" -> "::1".
    static std::string hostName(std::string_view header);

private:
    std::string listenAddress_;
    std::vector<std::string> publicHosts_;
};

} // namespace tailwise::net
