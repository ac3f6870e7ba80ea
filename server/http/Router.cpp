#include "Router.h"

namespace tailwise::net {

std::string_view targetPath(std::string_view target)
{
    const auto query = target.find('?');
    return query == std::string_view::npos ? target : target.substr(0, query);
}

void Router::add(http::verb method, std::string path, Handler handler)
{
    routes_.push_back({method, std::move(path), false, std::move(handler)});
}

void Router::addPrefix(http::verb method, std::string prefix, Handler handler)
{
    routes_.push_back({method, std::move(prefix), true, std::move(handler)});
}

Response Router::operator()(const Request &request) const
{
    const std::string_view path = targetPath(request.target());
    const Route *best = nullptr;
    bool pathKnown = false;
    for (const Route &route : routes_) {
        const bool matches = route.prefix ? path.size() > route.path.size() &&
                                                path.substr(0, route.path.size()) == route.path
                                          : path == route.path;
        if (!matches)
            continue;
        pathKnown = true;
        if (route.method != request.method())
            continue;
        if (!best || (best->prefix && (!route.prefix || route.path.size() > best->path.size())))
            best = &route;
    }
    if (best) {
        const std::string_view tail = best->prefix ? path.substr(best->path.size()) : "";
        return best->handler(request, tail);
    }
    if (pathKnown)
        return errors_(request, http::status::method_not_allowed,
                       "Method " + std::string(request.method_string()) + " is not allowed here.");
    return errors_(request, http::status::not_found,
                   "Unknown endpoint: " + std::string(path) + ".");
}

} // namespace tailwise::net
