#pragma once

#include "../http/asio.h"
#include "Fields.h"
#include "UserStore.h"

namespace tailwise::backend {

struct SignedIn
{
    std::int64_t userId;
    std::string tokenDigest;
};

// Resolves `Authorization: Bearer <token>` to the signed-in user; throws BadRequest with 401
// when there is no valid session.
SignedIn requireSession(UserStore &users, const net::Request &request);

// The same, and checks that `claimedId` (the request's "user_id", or the id in its address)
// names that same user; 403 otherwise.
SignedIn requireSignedInAs(UserStore &users, const net::Request &request,
                           std::string_view claimedId);
SignedIn requireSignedIn(UserStore &users, const net::Request &request, const Fields &fields);

} // namespace tailwise::backend
