#include "ProfileStore.h"

#include <vector>

namespace tailwise::backend {

std::optional<UserRecord> ProfileStore::saveProfile(Connection &connection, std::int64_t userId,
                                                    const ProfileFields &profile,
                                                    const std::optional<std::string> &picture)
{
    const auto before = UserStore::findById(connection, userId);
    if (!before)
        return std::nullopt;

    std::vector<std::pair<const char *, const std::optional<std::string> *>> texts = {
        {"name", &profile.name},
        {"phone", &profile.phone},
        {"gender", &profile.gender},
        {"age", &profile.age},
        {"dog_info", &profile.dogInfo},
        {"dog_name", &profile.dogName},
        {"dogs_count", &profile.dogsCount},
        {"about", &profile.about},
        {"dog_address", &profile.dogAddress},
        {"profile_pic", &picture},
    };
    std::string assignments = "profile_complete = 1";
    for (const auto &[column, value] : texts) {
        if (value->has_value())
            assignments += std::string(", ") + column + " = ?";
    }
    if (profile.latitude)
        assignments += ", latitude = ?, longitude = ?";

    auto update =
        connection.prepare("UPDATE users SET " + assignments + " WHERE id = ? AND deactivated = 0");
    int index = 1;
    for (const auto &[column, value] : texts) {
        if (value->has_value())
            update.bind(index++, **value);
    }
    if (profile.latitude) {
        update.bind(index++, *profile.latitude);
        update.bind(index++, *profile.longitude);
    }
    update.bind(index, userId).run();
    return before;
}

bool ProfileStore::pictureInUse(Connection &connection, const std::string &name)
{
    auto query = connection.prepare(
        "SELECT 1 FROM users WHERE profile_pic = ?1 AND profile_pic <> '' LIMIT 1");
    query.bind(1, name);
    return query.step();
}

void ProfileStore::setStatus(Connection &connection, std::int64_t userId, const std::string &status,
                             std::int64_t nowMs)
{
    connection.prepare("UPDATE users SET status = ?2, last_seen = ?3 WHERE id = ?1")
        .bind(1, userId)
        .bind(2, status)
        .bind(3, nowMs)
        .run();
}

FavouriteChange ProfileStore::setFavourite(std::int64_t userId, std::int64_t favouriteId,
                                           bool favourite, std::int64_t nowMs)
{
    if (userId == favouriteId)
        return FavouriteChange::self;
    return users_.write([&](Connection &connection) {
        auto target = connection.prepare("SELECT 1 FROM users WHERE id = ?1 AND deactivated = 0");
        target.bind(1, favouriteId);
        if (!target.step())
            return FavouriteChange::unknownUser;
        if (favourite) {
            connection
                .prepare("INSERT OR IGNORE INTO favourites (user_id, favourite_id, created_at) "
                         "VALUES (?1, ?2, ?3)")
                .bind(1, userId)
                .bind(2, favouriteId)
                .bind(3, nowMs)
                .run();
        } else {
            connection.prepare("DELETE FROM favourites WHERE user_id = ?1 AND favourite_id = ?2")
                .bind(1, userId)
                .bind(2, favouriteId)
                .run();
        }
        return FavouriteChange::done;
    });
}

} // namespace tailwise::backend
