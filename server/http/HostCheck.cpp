#include "HostCheck.h"

#include "asio.h"

#include <boost/algorithm/string/case_conv.hpp>

#include <algorithm>

namespace tailwise::net {
bool isLoopbackName(std::string_view host)
{
    const std::string name = HostCheck::hostName(host);
    if (name == "localhost" || name.ends_with(".localhost"))
        return true;
    boost::system::error_code ec;
    const auto address = asio::ip::make_address(name, ec);
    return !ec && address.is_loopback();
}

HostCheck::HostCheck(std::string listenAddress, std::vector<std::string> publicHosts)
    : listenAddress_(hostName(listenAddress))
{
    for (const auto &host : publicHosts)
        publicHosts_.push_back(hostName(host));
}

std::string HostCheck::hostName(std::string_view header)
{
    std::string_view name = header;
    if (name.starts_with('[')) {
        const auto close = name.find(']');
        name = close == std::string_view::npos ? std::string_view() : name.substr(1, close - 1);
    } else if (const auto colon = name.find(':');
               colon != std::string_view::npos &&
               name.find(':', colon + 1) == std::string_view::npos) {
        name = name.substr(0, colon);
    }
    std::string host = boost::algorithm::to_lower_copy(std::string(name));
    // "localhost." and "localhost" are one name.
    if (host.size() > 1 && host.back() == '.')
        host.pop_back();
    return host;
}

bool HostCheck::allows(std::string_view header, unsigned httpVersion) const
{
    if (header.empty())
        return httpVersion < 11;
    const std::string host = hostName(header);
    if (host.empty())
        return false;
    if (isLoopbackName(host))
        return true;
    if (!listenAddress_.empty() && host == listenAddress_ && listenAddress_ != "0.0.0.0" &&
        listenAddress_ != "::")
        return true;
    return std::find(publicHosts_.begin(), publicHosts_.end(), host) != publicHosts_.end();
}

} // namespace tailwise::net
