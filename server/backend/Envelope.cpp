#include "Envelope.h"

#include "../http/Responses.h"

#include <cstdio>

namespace tailwise::backend {

net::Response success(const net::Request &request, const std::string &message, nlohmann::json extra)
{
    extra["status"] = "1";
    extra["message"] = message;
    return net::makeJson(request, net::http::status::ok, extra);
}

net::Response failure(const net::Request &request, net::http::status status,
                      const std::string &message)
{
    auto response = net::makeJson(request, status, {{"status", "0"}, {"message", message}});
    if (status == net::http::status::unauthorized)
        response.set(net::http::field::www_authenticate, "Bearer");
    return response;
}

nlohmann::json userDictionary(const UserRecord &user, UserView view,
                              std::optional<double> distanceKm, bool favourite)
{
    std::string distance;
    if (distanceKm) {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f", *distanceKm);
        distance = text;
    }
    const std::string id = std::to_string(user.id);
    nlohmann::json dictionary = {
        {"user_id", id},
        {"id", id},
        {"Name", user.name},
        {"email", user.email},
        {"profilePic", user.profilePic},
        {"Image", user.profilePic},
        {"gender", user.gender},
        {"age", user.age},
        {"dogInfo", user.dogInfo},
        {"dog_name", user.dogName},
        {"dogs_count", user.dogsCount},
        {"about", user.about},
        {"dog_address", user.dogAddress},
        {"status", user.status},
        {"verify_status", user.verifyStatus},
        {"device_token", user.deviceToken},
        {"activate_status", user.activateStatus},
        {"distance", distance},
        {"favourite", favourite ? "1" : "0"},
        {"time_stamp", user.lastSeen},
    };
    if (view == UserView::partner) {
        dictionary.erase("email");
        dictionary.erase("device_token");
    }
    return dictionary;
}

} // namespace tailwise::backend
