#include "PartnerSearch.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tailwise::backend {
namespace {

constexpr double earthRadiusKm = 6371.0;
constexpr double firstRadiusKm = 25.0;
// The R*Tree keeps 32-bit coordinates; a small margin keeps rounding from dropping a point
// on the edge of a box. Candidates are checked against exact distances afterwards.
constexpr double boxMarginDeg = 1e-4;

double radians(double degrees)
{
    return degrees * std::numbers::pi / 180.0;
}
double degrees(double radians)
{
    return radians * 180.0 / std::numbers::pi;
}

std::string genderFilter(const std::string &gender)
{
    return gender == "male" || gender == "female" ? gender : std::string();
}

bool nearerFirst(const Partner &a, const Partner &b)
{
    if (a.distanceKm.has_value() != b.distanceKm.has_value())
        return a.distanceKm.has_value();
    if (a.distanceKm && *a.distanceKm != *b.distanceKm)
        return *a.distanceKm < *b.distanceKm;
    return a.user.id < b.user.id;
}

} // namespace

double distanceKm(double lat1, double lon1, double lat2, double lon2)
{
    const double dLat = radians(lat2 - lat1);
    const double dLon = radians(lon2 - lon1);
    const double a =
        std::sin(dLat / 2) * std::sin(dLat / 2) +
        std::cos(radians(lat1)) * std::cos(radians(lat2)) * std::sin(dLon / 2) * std::sin(dLon / 2);
    return 2 * earthRadiusKm * std::asin(std::min(1.0, std::sqrt(a)));
}

std::optional<PartnerSearch::Viewer> PartnerSearch::viewer(Connection &connection, std::int64_t id)
{
    const auto user = UserStore::findById(connection, id);
    if (!user)
        return std::nullopt;
    return Viewer{user->latitude, user->longitude};
}

std::vector<Partner> PartnerSearch::select(Connection &connection, const PartnerQuery &query,
                                           const std::string &from, const std::string &condition,
                                           const std::string &rest, auto bind)
{
    // The gender test is written out only when it filters, so that the (gender, id) indexes
    // can serve it.
    std::string sql = "SELECT " + UserStore::columns("u") + ", f.user_id IS NOT NULL FROM " + from +
                      " LEFT JOIN favourites f ON f.user_id = ?1 AND f.favourite_id = u.id "
                      "WHERE u.id <> ?1 AND u.deactivated = 0 AND " +
                      (genderFilter(query.gender).empty() ? "?2 = ''" : "u.gender = ?2");
    if (query.favouritesOnly)
        sql += " AND f.user_id IS NOT NULL";
    if (!condition.empty())
        sql += " AND " + condition;
    sql += " " + rest;
    auto statement = connection.prepare(sql);
    statement.bind(1, query.viewerId).bind(2, genderFilter(query.gender));
    bind(statement);
    std::vector<Partner> partners;
    while (statement.step()) {
        Partner partner;
        partner.user = UserStore::fromRow(statement);
        partner.favourite = statement.integer(UserStore::columnCount) != 0;
        partners.push_back(std::move(partner));
    }
    return partners;
}

void PartnerSearch::placeAndSort(std::vector<Partner> &partners, const std::optional<Viewer> &me)
{
    if (me && me->latitude && me->longitude) {
        for (auto &partner : partners) {
            if (partner.user.latitude && partner.user.longitude)
                partner.distanceKm = distanceKm(*me->latitude, *me->longitude,
                                                *partner.user.latitude, *partner.user.longitude);
        }
    }
    std::sort(partners.begin(), partners.end(), nearerFirst);
}

std::vector<Partner> PartnerSearch::pageOf(std::vector<Partner> partners, const PartnerQuery &query)
{
    const std::size_t first = std::min(partners.size(), query.page * query.pageSize);
    const std::size_t last = std::min(partners.size(), first + query.pageSize);
    return {std::make_move_iterator(partners.begin() + static_cast<std::ptrdiff_t>(first)),
            std::make_move_iterator(partners.begin() + static_cast<std::ptrdiff_t>(last))};
}

std::vector<Partner> PartnerSearch::find(const PartnerQuery &query)
{
    return users_.read([&](Connection &connection) {
        const auto me = viewer(connection, query.viewerId);
        if (query.favouritesOnly) {
            // Driven by the viewer's own marks.
            auto partners = select(connection, query,
                                   "favourites mark JOIN users u ON u.id = mark.favourite_id",
                                   "mark.user_id = ?1", "", [](Statement &) {});
            placeAndSort(partners, me);
            return pageOf(std::move(partners), query);
        }
        if (!me || !me->latitude || !me->longitude) {
            // Without a position there is no nearest: a page of everyone, by id.
            return select(connection, query, "users u", "", "ORDER BY u.id LIMIT ?3 OFFSET ?4",
                          [&](Statement &statement) {
                              statement.bind(3, static_cast<std::int64_t>(query.pageSize))
                                  .bind(4, static_cast<std::int64_t>(query.page * query.pageSize));
                          });
        }
        return pageOf(nearest(connection, query, *me->latitude, *me->longitude), query);
    });
}

std::vector<Partner> PartnerSearch::nearest(Connection &connection, const PartnerQuery &query,
                                            double lat, double lon)
{
    const std::size_t reach = (query.page + 1) * query.pageSize;
    std::vector<Partner> found;
    bool coversGlobe = false;
    for (double radius = firstRadiusKm; !coversGlobe; radius *= 4) {
        // Bounding coordinates of a circle on the sphere; a box that reaches a pole or the
        // antimeridian takes every longitude, which is still correct, only less selective.
        const double angular = radius / earthRadiusKm;
        coversGlobe = angular >= std::numbers::pi;
        double latMin = lat - degrees(angular);
        double latMax = lat + degrees(angular);
        double lonMin = -180;
        double lonMax = 180;
        if (latMin > -90 && latMax < 90) {
            const double spread = std::sin(angular) / std::cos(radians(lat));
            if (spread < 1) {
                const double dLon = degrees(std::asin(spread));
                if (lon - dLon > -180 && lon + dLon < 180) {
                    lonMin = lon - dLon;
                    lonMax = lon + dLon;
                }
            }
        }
        latMin = std::max(latMin, -90.0);
        latMax = std::min(latMax, 90.0);

        found.clear();
        auto inBox =
            select(connection, query, "user_positions p JOIN users u ON u.id = p.id",
                   "p.max_lat >= ?3 AND p.min_lat <= ?4 AND p.max_lon >= ?5 AND p.min_lon <= ?6",
                   "", [&](Statement &statement) {
                       statement.bind(3, latMin - boxMarginDeg)
                           .bind(4, latMax + boxMarginDeg)
                           .bind(5, lonMin - boxMarginDeg)
                           .bind(6, lonMax + boxMarginDeg);
                   });
        for (auto &partner : inBox) {
            const double d = distanceKm(lat, lon, *partner.user.latitude, *partner.user.longitude);
            if (d <= radius || coversGlobe) {
                partner.distanceKm = d;
                found.push_back(std::move(partner));
            }
        }
        if (found.size() >= reach)
            break;
    }
    if (found.size() < reach) {
        // Everyone with a position is in; as many without one as the page still needs follow.
        auto unplaced =
            select(connection, query, "users u", "(u.latitude IS NULL OR u.longitude IS NULL)",
                   "ORDER BY u.id LIMIT ?3", [&](Statement &statement) {
                       statement.bind(3, static_cast<std::int64_t>(reach - found.size()));
                   });
        std::move(unplaced.begin(), unplaced.end(), std::back_inserter(found));
    }
    std::sort(found.begin(), found.end(), nearerFirst);
    return found;
}

std::vector<Partner> PartnerSearch::findByFullScan(const PartnerQuery &query)
{
    return users_.read([&](Connection &connection) {
        const auto me = viewer(connection, query.viewerId);
        auto partners = select(connection, query, "users u", "", "", [](Statement &) {});
        placeAndSort(partners, me);
        return pageOf(std::move(partners), query);
    });
}

} // namespace tailwise::backend
