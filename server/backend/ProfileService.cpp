#include "ProfileService.h"

#include "Auth.h"
#include "Envelope.h"

#include "../http/Responses.h"

namespace tailwise::backend {

using net::http::status;

net::Response ProfileService::profileAnswer(Connection &connection, const net::Request &request,
                                            std::int64_t userId, const std::string &message)
{
    const auto user = UserStore::findById(connection, userId);
    if (!user || user->deactivated)
        throw BadRequest("User does not exist!", status::not_found);
    return success(request, message,
                   {{"data", nlohmann::json::array({userDictionary(*user, UserView::own)})}});
}

net::Response ProfileService::getProfile(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.require(request, fields);
    return users_.read([&](Connection &connection) {
        return profileAnswer(connection, request, session.userId, "Profile found.");
    });
}

net::Response ProfileService::saveProfile(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.require(request, fields);
    const ProfileFields profile = ProfileFields::read(fields);

    std::optional<std::string> picture;
    if (const UploadedFile *file = fields.file("profilePic"))
        picture = pictures_.store(file->data);
    // A picture file goes only when no account shows it any more, which after this save is
    // true only of the one this user just replaced.
    std::optional<std::string> replaced;
    net::Response answer;
    try {
        answer = users_.write([&](Connection &connection) {
            const auto before =
                ProfileStore::saveProfile(connection, session.userId, profile, picture);
            if (picture && before && before->profilePic != *picture &&
                !ProfileStore::pictureInUse(connection, before->profilePic))
                replaced = before->profilePic;
            return profileAnswer(connection, request, session.userId, "Profile saved.");
        });
    } catch (...) {
        if (picture)
            pictures_.remove(*picture);
        throw;
    }
    if (replaced)
        pictures_.remove(*replaced);
    return answer;
}

net::Response ProfileService::statusUpdate(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.require(request, fields);
    const std::string state = trimmed(fields.required("status", 32));
    return users_.write([&](Connection &connection) {
        ProfileStore::setStatus(connection, session.userId, state, clock_.nowMs());
        return profileAnswer(connection, request, session.userId, "Status updated.");
    });
}

net::Response ProfileService::picture(const net::Request &request, std::string_view name)
{
    const auto stored = pictures_.load(name);
    if (!stored)
        return failure(request, status::not_found, "No such picture.");
    auto response = net::makeResponse(request, status::ok, stored->bytes, stored->contentType);
    // Names are never reused, so a picture never changes under its name.
    response.set(net::http::field::cache_control, "public, max-age=31536000, immutable");
    response.set(net::http::field::etag, "\"" + std::string(name) + "\"");
    response.set("X-Content-Type-Options", "nosniff");
    if (request[net::http::field::if_none_match] == response[net::http::field::etag]) {
        response.result(status::not_modified);
        response.body().clear();
        response.prepare_payload();
    }
    return response;
}

} // namespace tailwise::backend
