#pragma once

// Boost 1.74's awaitable.hpp uses std::exchange without including <utility>; every server
// file includes Asio through this header so the include order is right once and for all.
#include <utility>

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

namespace tailwise::net {
namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = boost::asio::ip::tcp;

using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;
} // namespace tailwise::net
