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

// Resolves `Authorization: Bearer <token>` to the signed-in user and checks that the
// request's "user_id" names that same user. Throws BadRequest with 401 or 403 otherwise.
SignedIn requireSignedIn(UserStore &users, const net::Request &request, const Fields &fields);

} // namespace tailwise::backend
