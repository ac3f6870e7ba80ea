#include "PartnerService.h"

#include "Auth.h"
#include "Envelope.h"

#include <cmath>

namespace tailwise::backend {

using net::http::status;

namespace {

std::optional<std::size_t> wholeNumber(const Fields &fields, std::string_view key, std::size_t min,
                                       std::size_t max)
{
    const auto value = fields.number(key, static_cast<double>(min), static_cast<double>(max));
    if (value && std::floor(*value) != *value)
        throw BadRequest("Field \"" + std::string(key) + "\" must be a whole number.");
    return value ? std::optional(static_cast<std::size_t>(*value)) : std::nullopt;
}

} // namespace

net::Response PartnerService::list(const net::Request &request, std::string_view viewerId,
                                   bool favouritesOnly)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.requireAs(request, viewerId);
    PartnerQuery query;
    query.viewerId = session.userId;
    query.gender = fields.text("filter", 64).value_or("");
    query.favouritesOnly = favouritesOnly;
    query.pageSize = wholeNumber(fields, "page_size", 1, PartnerQuery::maxPageSize)
                         .value_or(PartnerQuery::defaultPageSize);
    query.page = wholeNumber(fields, "page", 0, PartnerQuery::maxPages - 1).value_or(0);
    auto rows = nlohmann::json::array();
    for (const Partner &partner : search_.find(query))
        rows.push_back(
            userDictionary(partner.user, UserView::partner, partner.distanceKm, partner.favourite));
    const std::string message = rows.empty()     ? "No users found."
                                : favouritesOnly ? "Favourite users found."
                                                 : "Users found.";
    return success(request, message, {{"data", std::move(rows)}});
}

net::Response PartnerService::allUsers(const net::Request &request, std::string_view viewerId)
{
    return list(request, viewerId, false);
}

net::Response PartnerService::favourites(const net::Request &request, std::string_view viewerId)
{
    return list(request, viewerId, true);
}

net::Response PartnerService::createFavourite(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.require(request, fields);
    const std::string other = trimmed(fields.required("favouriteId", 20));
    const std::string mark = trimmed(fields.required("favourite_status", 8));
    if (mark != "1" && mark != "0")
        throw BadRequest("Field \"favourite_status\" must be \"1\" or \"0\".");
    const auto otherId = parseId(other);
    if (!otherId)
        throw BadRequest("Data not found!", status::not_found);

    switch (profiles_.setFavourite(session.userId, *otherId, mark == "1", clock_.nowMs())) {
    case FavouriteChange::done:
        break;
    case FavouriteChange::unknownUser:
        throw BadRequest("Data not found!", status::not_found);
    case FavouriteChange::self:
        throw BadRequest("You cannot mark yourself as a favourite.");
    }
    return success(request, mark == "1" ? "Added to favourites." : "Removed from favourites.");
}

} // namespace tailwise::backend
