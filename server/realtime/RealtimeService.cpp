#include "RealtimeService.h"

#include <boost/algorithm/string/case_conv.hpp>

#include "Query.h"
#include "http/Json.h"
#include "http/Responses.h"
#include "http/Router.h"

#include <algorithm>
#include <chrono>

namespace tailwise::realtime {
namespace {

namespace http = net::http;
using http::status;
using http::verb;

bool wantsEventStream(const net::Request &request)
{
    const std::string_view accept = request[http::field::accept];
    return accept.find("text/event-stream") != std::string_view::npos;
}

// The method the request stands for: a POST may carry another one in a header, for clients
// that can send only GET and POST.
verb effectiveMethod(const net::Request &request)
{
    if (request.method() != verb::post)
        return request.method();
    const auto header = request.find("X-HTTP-Method-Override");
    if (header == request.end())
        return verb::post;
    const std::string name = boost::algorithm::to_upper_copy(std::string(header->value()));
    if (name == "PATCH")
        return verb::patch;
    if (name == "DELETE")
        return verb::delete_;
    if (name == "PUT")
        return verb::put;
    if (name == "POST")
        return verb::post;
    throw Refusal(status::bad_request,
                  "X-HTTP-Method-Override must be PATCH, DELETE, PUT or POST, not '" +
                      net::printable(header->value()) + "'");
}

// parseJson checks the nesting before anything recursive sees the body.
Json parseBody(const net::Request &request)
{
    auto body = net::parseJson(request.body(), maxJsonNesting);
    if (!body)
        throw Refusal(status::bad_request,
                      net::nestingWithin(request.body(), maxJsonNesting)
                          ? "Invalid data; couldn't parse JSON object, array, or value."
                          : "Data is nested too deeply");
    return std::move(*body);
}

bool wantsEtag(const net::Request &request)
{
    const auto header = request.find("X-Firebase-ETag");
    return header != request.end() && header->value() == "true";
}

std::optional<std::string> ifMatch(const net::Request &request)
{
    const auto header = request.find(http::field::if_match);
    if (header == request.end())
        return std::nullopt;
    std::string etag(header->value());
    if (etag.size() >= 2 && etag.front() == '"' && etag.back() == '"')
        etag = etag.substr(1, etag.size() - 2);
    return etag;
}

// `body` is JSON text.
net::Response jsonAnswer(const net::Request &request, std::string body, Print print,
                         status code = status::ok)
{
    if (print == Print::silent) {
        net::Response response{status::no_content, request.version()};
        response.set(http::field::server, "tailwise-server");
        response.keep_alive(request.keep_alive());
        response.prepare_payload();
        return response;
    }
    if (print == Print::pretty)
        body = Json::parse(body).dump(2);
    return net::makeResponse(request, code, std::move(body), "application/json; charset=utf-8");
}

// POST /.ondisconnect?conn=<id> with {"path": "/a/b", "op": "remove"|"set", "data": ...}.
DisconnectOperation disconnectOperation(const Json &body)
{
    if (!body.is_object())
        throw Refusal(status::bad_request, "Invalid data; expected an object with path and op");
    const auto path = body.find("path");
    if (path == body.end() || !path->is_string())
        throw Refusal(status::bad_request, "path must be a text such as \"/a/b\"");
    const auto op = body.find("op");
    if (op == body.end() || !op->is_string() || (*op != "remove" && *op != "set"))
        throw Refusal(status::bad_request, "op must be \"remove\" or \"set\"");
    DisconnectOperation operation{parseRelativePath(path->get_ref<const std::string &>()), {}};
    if (*op == "set") {
        const auto data = body.find("data");
        if (data == body.end())
            throw Refusal(status::bad_request, "op \"set\" needs data");
        operation.data = *data;
    }
    return operation;
}

Refusal permissionDenied()
{
    return Refusal(status::unauthorized, "Permission denied");
}

} // namespace

Requester RealtimeService::identify(const std::map<std::string, std::string> &parameters) const
{
    return access_ ? access_->identify(parameters) : Requester{};
}

void RealtimeService::requireRead(const Requester &requester, const Path &path)
{
    if (!access_ || requester.administrator)
        return;
    const auto loaded = access_->rules();
    if (loaded && !loaded->rules.canRead(path, database_.read({}), requester.auth))
        throw permissionDenied();
}

WriteCheck RealtimeService::writeCheck(const Requester &requester) const
{
    if (!access_ || requester.administrator)
        return {};
    auto loaded = access_->rules();
    if (!loaded)
        return {};
    // A single location is the same check as canWrite.
    return [loaded = std::move(loaded), auth = requester.auth](
               const std::vector<Path> &locations, const NodePtr &before, const NodePtr &after) {
        return loaded->rules.canUpdate(locations, before, after, auth);
    };
}

net::Response RealtimeService::answerRules(const net::Request &request, const Requester &requester)
{
    if (!access_ || !requester.administrator)
        throw permissionDenied();
    const verb method = effectiveMethod(request);
    if (method == verb::get) {
        const auto loaded = access_->rules();
        if (!loaded)
            throw Refusal(status::not_found, "no rules are in force");
        return net::makeResponse(request, status::ok, loaded->text,
                                 "application/json; charset=utf-8");
    }
    if (method != verb::put)
        return error(request, status::method_not_allowed,
                     std::string(rulesPath) + " takes GET and PUT only");
    try {
        access_->setRules(request.body());
    } catch (const rules::RulesError &fault) {
        throw Refusal(status::bad_request, fault.what());
    }
    return net::makeJson(request, status::ok, {{"status", "ok"}});
}

net::Response RealtimeService::error(const net::Request &request, status code,
                                     const std::string &message)
{
    net::Response response = net::makeJson(request, code, {{"error", message}});
    response.set(http::field::content_type, "application/json; charset=utf-8");
    return response;
}

net::Response RealtimeService::error(unsigned version, status code, const std::string &message)
{
    return net::makeJson(version, code, {{"error", message}});
}

net::Reply RealtimeService::handle(const net::Request &request)
{
    try {
        return answer(request);
    } catch (const Refusal &refusal) {
        return error(request, refusal.status(), refusal.what());
    } catch (const EtagMismatch &mismatch) {
        net::Response response = jsonAnswer(request, jsonText(mismatch.current), Print::normal,
                                            status::precondition_failed);
        response.set(http::field::etag, mismatch.etag);
        return response;
    }
}

net::Reply RealtimeService::answer(const net::Request &request)
{
    const auto started = std::chrono::steady_clock::now();
    const auto parameters = queryParameters(request.target());
    const Requester requester = identify(parameters);
    if (net::targetPath(request.target()) == disconnectPath)
        return registerOnDisconnect(request, requester);
    if (net::targetPath(request.target()) == rulesPath)
        return answerRules(request, requester);
    const Path path = parseUrlPath(net::targetPath(request.target()));
    const RequestOptions options = parseRequestOptions(parameters);
    const Query &query = options.query;
    const verb method = effectiveMethod(request);
    const WriteCheck check = method == verb::get ? WriteCheck{} : writeCheck(requester);

    switch (method) {
    case verb::get: {
        if (wantsEventStream(request)) {
            if (query.shallow)
                throw Refusal(status::bad_request, "shallow cannot be used on a stream");
            requireRead(requester, path);
            std::optional<Query> streamQuery;
            if (query.selects())
                streamQuery = query;
            const auto listener = database_.listen(path, std::move(streamQuery));
            if (requester.auth && access_) {
                listener->watchAccess(requester.auth->uid, [access = access_, requester] {
                    // Without rules a session's end takes nothing away.
                    return !access->rules() || access->stillSignedIn(requester);
                });
                // A session that ended since the requester was identified was told to no one
                // watching this stream yet.
                listener->recheckAccess();
            }
            net::StreamingResponse stream{net::Response{status::ok, request.version()}, listener};
            stream.head.set(http::field::server, "tailwise-server");
            stream.head.set(http::field::content_type, "text/event-stream");
            stream.head.set(http::field::cache_control, "no-cache");
            return stream;
        }
        requireRead(requester, path);
        const NodePtr value = database_.read(path);
        const NodePtr result = applyQuery(value, query);
        // A query over an object that nothing matches reads as an empty object.
        const bool emptyMatch = !result && query.filters() && value && value->isObject();
        std::string body = emptyMatch ? "{}" : jsonText(result);
        if (options.timeout && std::chrono::steady_clock::now() - started > *options.timeout)
            throw Refusal(status::bad_request, "the read took longer than its timeout");
        net::Response response = jsonAnswer(request, std::move(body), options.print);
        if (wantsEtag(request))
            response.set(http::field::etag, etagOf(value));
        return response;
    }
    case verb::put: {
        const NodePtr written =
            replace(request, requester, path, parseBody(request), options.writeSizeLimit);
        net::Response response = jsonAnswer(request, jsonText(written), options.print);
        if (wantsEtag(request))
            response.set(http::field::etag, etagOf(written));
        return response;
    }
    case verb::post:
        return jsonAnswer(
            request,
            Json{{"name", database_.push(path, parseBody(request), options.writeSizeLimit, check)}}
                .dump(),
            options.print);
    case verb::patch: {
        const Json body = parseBody(request);
        // A null update removes the location (the command-line tools delete this way).
        if (body.is_null()) {
            database_.set(path, nullptr, std::nullopt, options.writeSizeLimit, check);
            return jsonAnswer(request, "null", options.print);
        }
        std::string written = "{";
        for (const auto &[key, value] :
             database_.update(path, body, options.writeSizeLimit, check)) {
            if (written.size() > 1)
                written += ',';
            written += Json(key).dump();
            written += ':';
            appendJson(written, value, Form::read);
        }
        written += '}';
        return jsonAnswer(request, std::move(written), options.print);
    }
    case verb::delete_: {
        replace(request, requester, path, nullptr, options.writeSizeLimit);
        return jsonAnswer(request, "null", options.print);
    }
    default:
        return error(request, status::method_not_allowed,
                     "Method " + net::printable(request.method_string()) + " is not supported");
    }
}

NodePtr RealtimeService::replace(const net::Request &request, const Requester &requester,
                                 const Path &path, const Json &value, WriteSizeLimit sizeLimit)
{
    try {
        return database_.set(path, value, ifMatch(request), sizeLimit, writeCheck(requester));
    } catch (const EtagMismatch &) {
        // The mismatch answer carries the current value: only for those who may read it.
        requireRead(requester, path);
        throw;
    }
}

net::Response RealtimeService::registerOnDisconnect(const net::Request &request,
                                                    const Requester &requester)
{
    if (request.method() != verb::post)
        return error(request, status::method_not_allowed,
                     std::string(disconnectPath) + " takes POST only");
    auto parameters = queryParameters(request.target());
    const auto connection = parameters.extract("conn");
    if (connection.empty() || connection.mapped().empty())
        throw Refusal(status::bad_request, "conn must name the stream's connection id");
    const Print print = parseRequestOptions(parameters).print;
    DisconnectOperation operation = disconnectOperation(parseBody(request));
    // It runs later on nobody's behalf, so it is checked now, as if written now.
    if (const WriteCheck check = writeCheck(requester)) {
        const NodePtr before = database_.read({});
        const NodePtr after =
            setAt(before, operation.path,
                  prepareValue(operation.data, operation.path.size(), database_.now()).value);
        if (!check({operation.path}, before, after))
            throw permissionDenied();
    }
    database_.onDisconnect(connection.mapped(), std::move(operation));
    return jsonAnswer(request, "null", print);
}

} // namespace tailwise::realtime
