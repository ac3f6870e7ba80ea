#include "Auth.h"

#include "Credentials.h"

#include <boost/algorithm/string/predicate.hpp>

namespace tailwise::backend {

SignedIn Sessions::require(const net::Request &request) const
{
    const std::string_view header = request[net::http::field::authorization];
    constexpr std::string_view scheme = "Bearer ";
    if (header.size() <= scheme.size() || !boost::algorithm::istarts_with(header, scheme))
        throw BadRequest("Sign-in required.", net::http::status::unauthorized);
    const std::string token = trimmed(header.substr(scheme.size()));
    if (!looksLikeSessionToken(token))
        throw BadRequest("Sign-in required.", net::http::status::unauthorized);
    const std::string digest = tokenDigest(token);
    const auto userId = users_.sessionUser(digest, clock_.nowMs(), rules_);
    if (!userId)
        throw BadRequest("Your session has ended; please sign in again.",
                         net::http::status::unauthorized);
    return {*userId, digest};
}

std::optional<std::int64_t> Sessions::userOf(std::string_view token) const
{
    if (!looksLikeSessionToken(token))
        return std::nullopt;
    return users_.sessionUser(tokenDigest(token), clock_.nowMs(), rules_);
}

SignedIn Sessions::requireAs(const net::Request &request, std::string_view claimedId) const
{
    SignedIn session = require(request);
    if (claimedId != std::to_string(session.userId))
        throw BadRequest("user_id does not belong to the signed-in account.",
                         net::http::status::forbidden);
    return session;
}

SignedIn Sessions::require(const net::Request &request, const Fields &fields) const
{
    return requireAs(request, trimmed(fields.required("user_id", 20)));
}

} // namespace tailwise::backend
