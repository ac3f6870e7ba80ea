#include "Responses.h"

#include "Json.h"

namespace tailwise::net {

Response makeResponse(const Request &request, http::status status, std::string body,
                      std::string_view contentType)
{
    Response response{status, request.version()};
    response.set(http::field::server, "tailwise-server");
    response.set(http::field::content_type, contentType);
    response.keep_alive(request.keep_alive());
    response.body() = std::move(body);
    response.prepare_payload();
    return response;
}

Response makeJson(const Request &request, http::status status, const nlohmann::json &body)
{
    return makeResponse(request, status, dumpJson(body), "application/json");
}

Response makeJson(unsigned version, http::status status, const nlohmann::json &body)
{
    Response response{status, version};
    response.set(http::field::server, "tailwise-server");
    response.set(http::field::content_type, "application/json");
    response.keep_alive(false);
    response.body() = dumpJson(body);
    response.prepare_payload();
    return response;
}

} // namespace tailwise::net
