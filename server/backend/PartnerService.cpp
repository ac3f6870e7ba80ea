#include "PartnerService.h"

#include "Auth.h"
#include "Envelope.h"

namespace tailwise::backend {

using net::http::status;

net::Response PartnerService::list(const net::Request &request, std::string_view viewerId,
                                   bool favouritesOnly)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = requireSignedInAs(users_, request, viewerId);
    PartnerQuery query;
    query.viewerId = session.userId;
    query.gender = fields.text("filter", 64).value_or("");
    query.favouritesOnly = favouritesOnly;
    auto rows = nlohmann::json::array();
    for (const Partner &partner : search_.find(query))
        rows.push_back(userDictionary(partner.user, partner.distanceKm, partner.favourite));
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
    const SignedIn session = requireSignedIn(users_, request, fields);
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
