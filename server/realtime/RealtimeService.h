#pragma once

#include "Access.h"
#include "Database.h"
#include "http/HttpServer.h"

namespace tailwise::realtime {

// The database's REST and streaming protocol: GET/PUT/POST/PATCH/DELETE on /<path>.json, GET
// with `Accept: text/event-stream` for a stream (with or without a query), and
// POST /.ondisconnect?conn=<id> to leave a write for when that stream closes, and
// GET/PUT /.settings/rules.json for the administrator. A plain function of the request.
//
// Requests are checked against the rules in force, if any, as the requester their `auth=` or
// `access_token=` names: a refusal is 401 "Permission denied" and changes nothing.
class RealtimeService
{
public:
    // Without `access`, every request is allowed.
    explicit RealtimeService(Database &database, DatabaseAccess *access = nullptr)
        : database_(database), access_(access)
    {}

    net::Reply handle(const net::Request &request);
    // Sessions of this user have ended: that user's streams are cancelled now, not at their
    // next keep-alive, if their session was one of them.
    void sessionsEnded(const std::string &userId) { database_.recheckStreams(userId); }
    // Answers as the protocol does: {"error": message}.
    static net::Response error(const net::Request &request, net::http::status status,
                               const std::string &message);
    static net::Response error(unsigned version, net::http::status status,
                               const std::string &message);

    static constexpr std::string_view disconnectPath = "/.ondisconnect";
    static constexpr std::string_view rulesPath = "/.settings/rules.json";

private:
    net::Reply answer(const net::Request &request);
    net::Response registerOnDisconnect(const net::Request &request, const Requester &requester);
    // A PUT or DELETE.
    NodePtr replace(const net::Request &request, const Requester &requester, const Path &path,
                    const Json &value, WriteSizeLimit sizeLimit);
    net::Response answerRules(const net::Request &request, const Requester &requester);

    Requester identify(const std::map<std::string, std::string> &parameters) const;
    // Throws Refusal 401 unless the requester may read at `path`.
    void requireRead(const Requester &requester, const Path &path);
    // None when the requester's writes need no check.
    WriteCheck writeCheck(const Requester &requester) const;

    Database &database_;
    DatabaseAccess *access_;
};

} // namespace tailwise::realtime
