#pragma once

#include "Database.h"
#include "http/HttpServer.h"

namespace tailwise::realtime {

// The database's REST and streaming protocol: GET/PUT/POST/PATCH/DELETE on /<path>.json, GET
// with `Accept: text/event-stream` for a stream (with or without a query), and
// POST /.ondisconnect?conn=<id> to leave a write for when that stream closes. A plain function
// of the request.
class RealtimeService
{
public:
    explicit RealtimeService(Database &database) : database_(database) {}

    net::Reply handle(const net::Request &request);
    // Answers as the protocol does: {"error": message}.
    static net::Response error(const net::Request &request, net::http::status status,
                               const std::string &message);
    static net::Response error(unsigned version, net::http::status status,
                               const std::string &message);

    static constexpr std::string_view disconnectPath = "/.ondisconnect";

private:
    net::Reply answer(const net::Request &request);
    net::Response registerOnDisconnect(const net::Request &request);

    Database &database_;
};

} // namespace tailwise::realtime
