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

// Profile saves, online status and favourites, in the users database. The writes that a
// handler answers with user data take the connection of its transaction.
class ProfileStore
{
public:
    explicit ProfileStore(UserStore &users) : users_(users) {}

    // Writes the fields that are present, the picture when given, and marks the profile
    // finished. Returns the record as it was before; nullopt when the user does not exist.
    static std::optional<UserRecord> saveProfile(Connection &connection, std::int64_t userId,
                                                 const ProfileFields &profile,
                                                 const std::optional<std::string> &picture);
    // Whether any account still shows the picture of this name.
    static bool pictureInUse(Connection &connection, const std::string &name);
    static void setStatus(Connection &connection, std::int64_t userId, const std::string &status,
                          std::int64_t nowMs);
    FavouriteChange setFavourite(std::int64_t userId, std::int64_t favouriteId, bool favourite,
                                 std::int64_t nowMs);

private:
    UserStore &users_;
};

} // namespace tailwise::backend
