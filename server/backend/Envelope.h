#pragma once

#include "../http/asio.h"
#include "UserStore.h"

#include <nlohmann/json.hpp>

namespace tailwise::backend {

// Every backend answer is {"status": "1"|"0", "message": ..., ...}.
net::Response success(const net::Request &request, const std::string &message,
                      nlohmann::json extra = nlohmann::json::object());
net::Response failure(const net::Request &request, net::http::status status,
                      const std::string &message);

// Who is looking: the account itself, or another user (partner and favourite rows), who
// does not see the e-mail address or the push device token.
enum class UserView
{
    own,
    partner
};

// The user dictionary the app reads: every field as text, the last-seen time as a number.
// The distance is text with one decimal, empty when unknown; "favourite" is "1" or "0".
nlohmann::json userDictionary(const UserRecord &user, UserView view,
                              std::optional<double> distanceKm = {}, bool favourite = false);

} // namespace tailwise::backend
