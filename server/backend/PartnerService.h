#pragma once

#include "../http/asio.h"
#include "Auth.h"
#include "Clock.h"
#include "PartnerSearch.h"
#include "ProfileStore.h"

namespace tailwise::backend {

// Partner search by distance and the favourites list and mark.
class PartnerService
{
public:
    PartnerService(const Sessions &sessions, ProfileStore &profiles, PartnerSearch &search,
                   const Clock &clock)
        : sessions_(sessions), profiles_(profiles), search_(search), clock_(clock)
    {}

    // "all_users/{id}" and "get_user_favourite/{id}"; the id is the signed-in user's.
    net::Response allUsers(const net::Request &request, std::string_view viewerId);
    net::Response favourites(const net::Request &request, std::string_view viewerId);
    net::Response createFavourite(const net::Request &request);

private:
    net::Response list(const net::Request &request, std::string_view viewerId, bool favouritesOnly);

    const Sessions &sessions_;
    ProfileStore &profiles_;
    PartnerSearch &search_;
    const Clock &clock_;
};

} // namespace tailwise::backend
