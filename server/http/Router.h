#pragma once

#include "asio.h"

#include <functional>
#include <string>
#include <vector>

namespace tailwise::net {

// Maps method + path to a handler. Exact routes win over prefix routes; among prefix
// routes the longest prefix wins. A prefix route receives the rest of the path, which
// carries an identifier for routes such as ".../all_users/{id}".
class Router
{
public:
    using Handler = std::function<Response(const Request &, std::string_view pathTail)>;
    // Builds the service's error answer, so each service keeps its own error envelope.
    using ErrorResponder =
        std::function<Response(const Request &, http::status, const std::string &message)>;

    explicit Router(ErrorResponder errors) : errors_(std::move(errors)) {}

    void add(http::verb method, std::string path, Handler handler);
    void addPrefix(http::verb method, std::string prefix, Handler handler);

    Response operator()(const Request &request) const;

    const ErrorResponder &errors() const { return errors_; }

private:
    struct Route
    {
        http::verb method;
        std::string path;
        bool prefix;
        Handler handler;
    };

    ErrorResponder errors_;
    std::vector<Route> routes_;
};

// The path part of a request target, without the query string.
std::string_view targetPath(std::string_view target);

} // namespace tailwise::net
