#pragma once

#include "../http/asio.h"
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

    ProfileService(UserStore &users, ProfileStore &profiles, PictureStore &pictures,
                   const Clock &clock)
        : users_(users), profiles_(profiles), pictures_(pictures), clock_(clock)
    {}

    net::Response getProfile(const net::Request &request);
    // "userprofile" (first profile after sign-up) and "update" behave alike.
    net::Response saveProfile(const net::Request &request);
    net::Response statusUpdate(const net::Request &request);
    net::Response picture(const net::Request &request, std::string_view name);

private:
    net::Response profileAnswer(const net::Request &request, std::int64_t userId,
                                const std::string &message);

    UserStore &users_;
    ProfileStore &profiles_;
    PictureStore &pictures_;
    const Clock &clock_;
};

} // namespace tailwise::backend
