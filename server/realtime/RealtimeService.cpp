#include "RealtimeService.h"

#include "Query.h"
#include "http/Responses.h"
#include "http/Router.h"

#include <algorithm>

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

std::string upper(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return result;
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
    const std::string name = upper(header->value());
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
                      std::string(header->value()) + "'");
}

Json parseBody(const net::Request &request)
{
    Json body = Json::parse(request.body(), nullptr, false);
    if (body.is_discarded())
        throw Refusal(status::bad_request,
                      "Invalid data; couldn't parse JSON object, array, or value.");
    return body;
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

net::Response jsonAnswer(const net::Request &request, const Json &body, Print print,
                         status code = status::ok)
{
    if (print == Print::silent) {
        net::Response response{status::no_content, request.version()};
        response.set(http::field::server, "tailwise-server");
        response.keep_alive(request.keep_alive());
        response.prepare_payload();
        return response;
    }
    return net::makeResponse(request, code, print == Print::pretty ? body.dump(2) : body.dump(),
                             "application/json; charset=utf-8");
}

} // namespace

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
        net::Response response =
            jsonAnswer(request, mismatch.current, Print::normal, status::precondition_failed);
        response.set(http::field::etag, mismatch.etag);
        return response;
    }
}

net::Reply RealtimeService::answer(const net::Request &request)
{
    const Path path = parseUrlPath(net::targetPath(request.target()));
    const Query query = parseQuery(queryParameters(request.target()));
    const verb method = effectiveMethod(request);

    switch (method) {
    case verb::get: {
        if (wantsEventStream(request)) {
            if (query.filters() || query.shallow)
                throw Refusal(status::bad_request,
                              "queries are not supported on streams by this server yet");
            net::StreamingResponse stream{net::Response{status::ok, request.version()},
                                          database_.listen(path)};
            stream.head.set(http::field::server, "tailwise-server");
            stream.head.set(http::field::content_type, "text/event-stream");
            stream.head.set(http::field::cache_control, "no-cache");
            return stream;
        }
        const Json value = database_.read(path);
        const Json result = render(applyQuery(value, query));
        net::Response response = jsonAnswer(request, result, query.print);
        if (wantsEtag(request))
            response.set(http::field::etag, etagOf(render(value)));
        return response;
    }
    case verb::put: {
        const Json written = render(database_.set(path, parseBody(request), ifMatch(request)));
        net::Response response = jsonAnswer(request, written, query.print);
        if (wantsEtag(request))
            response.set(http::field::etag, etagOf(written));
        return response;
    }
    case verb::post:
        return jsonAnswer(request, {{"name", database_.push(path, parseBody(request))}},
                          query.print);
    case verb::patch: {
        Json written = database_.update(path, parseBody(request));
        for (auto &[key, value] : written.items())
            value = render(value);
        return jsonAnswer(request, written, query.print);
    }
    case verb::delete_: {
        database_.set(path, nullptr, ifMatch(request));
        return jsonAnswer(request, nullptr, query.print);
    }
    default:
        return error(request, status::method_not_allowed,
                     "Method " + std::string(request.method_string()) + " is not supported");
    }
}

} // namespace tailwise::realtime
