#pragma once

#include "../http/asio.h"
#include "Auth.h"
#include "Clock.h"
#include "PictureStore.h"
#include "ProfileStore.h"

namespace tailwise::backend {

// A user's own profile: reading it, saving it with a picture, the online status, and serving
// the stored pictures.
class ProfileService
{
public:
    static constexpr std::string_view uploadsPath = "/projects/tailapp/uploads/";

    ProfileService(UserStore &users, const Sessions &sessions, PictureStore &pictures,
                   const Clock &clock)
        : users_(users), sessions_(sessions), pictures_(pictures), clock_(clock)
    {}

    // The signed-in user's own profile; the app has no other use for it, and other people's
    // rows come from partner search without their private fields.
    net::Response getProfile(const net::Request &request);
    // "userprofile" (first profile after sign-up) and "update" behave alike.
    net::Response saveProfile(const net::Request &request);
    net::Response statusUpdate(const net::Request &request);
    net::Response picture(const net::Request &request, std::string_view name);

private:
    static net::Response profileAnswer(Connection &connection, const net::Request &request,
                                       std::int64_t userId, const std::string &message);

    UserStore &users_;
    const Sessions &sessions_;
    PictureStore &pictures_;
    const Clock &clock_;
};

} // namespace tailwise::backend
