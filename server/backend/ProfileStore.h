#pragma once

#include "ProfileFields.h"
#include "UserStore.h"

namespace tailwise::backend {

enum class FavouriteChange
{
    done,
    unknownUser,
    self
};

// Profile saves, online status and favourites, in the users database.
class ProfileStore
{
public:
    explicit ProfileStore(UserStore &users) : users_(users) {}

    // Writes the fields that are present, the picture when given, and marks the profile
    // finished. Returns the record as it was before, so the caller can drop a replaced
    // picture; nullopt when the user does not exist.
    std::optional<UserRecord> saveProfile(std::int64_t userId, const ProfileFields &profile,
                                          const std::optional<std::string> &picture);
    void setStatus(std::int64_t userId, const std::string &status, std::int64_t nowMs);
    FavouriteChange setFavourite(std::int64_t userId, std::int64_t favouriteId, bool favourite,
                                 std::int64_t nowMs);

private:
    UserStore &users_;
};

} // namespace tailwise::backend
