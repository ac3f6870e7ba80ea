#include "ProfileService.h"

#include "Auth.h"
#include "Envelope.h"

#include "../http/Responses.h"

namespace tailwise::backend {

using net::http::status;

net::Response ProfileService::profileAnswer(const net::Request &request, std::int64_t userId,
                                            const std::string &message)
{
    const auto user = users_.findById(userId);
    if (!user || user->deactivated)
        throw BadRequest("User does not exist!", status::not_found);
    return success(request, message, {{"data", nlohmann::json::array({userDictionary(*user)})}});
}

net::Response ProfileService::getProfile(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    requireSession(users_, request);
    const auto userId = parseId(trimmed(fields.required("user_id", 20)));
    if (!userId)
        throw BadRequest("User does not exist!", status::not_found);
    return profileAnswer(request, *userId, "Profile found.");
}

net::Response ProfileService::saveProfile(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = requireSignedIn(users_, request, fields);
    const ProfileFields profile = ProfileFields::read(fields);

    std::optional<std::string> picture;
    if (const UploadedFile *file = fields.file("profilePic"))
        picture = pictures_.store(file->data);
    std::optional<UserRecord> before;
    try {
        before = profiles_.saveProfile(session.userId, profile, picture);
    } catch (...) {
        if (picture)
            pictures_.remove(*picture);
        throw;
    }
    if (picture && before && before->profilePic != *picture)
        pictures_.remove(before->profilePic);
    return profileAnswer(request, session.userId, "Profile saved.");
}

net::Response ProfileService::statusUpdate(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = requireSignedIn(users_, request, fields);
    const std::string state = trimmed(fields.required("status", 32));
    profiles_.setStatus(session.userId, state, clock_.nowMs());
    return profileAnswer(request, session.userId, "Status updated.");
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
