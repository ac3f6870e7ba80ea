#pragma once

#include "asio.h"

#include <nlohmann/json.hpp>

#include <string>

namespace tailwise::net {

// A response that echoes the request's HTTP version and keep-alive wish.
Response makeResponse(const Request &request, http::status status, std::string body,
                      std::string_view contentType);

Response makeJson(const Request &request, http::status status, const nlohmann::json &body);

// The same for answers produced before a request could be parsed (oversize, malformed).
Response makeJson(unsigned version, http::status status, const nlohmann::json &body);

} // namespace tailwise::net
