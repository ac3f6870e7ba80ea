#pragma once

#include "UserStore.h"

#include <optional>
#include <string>
#include <vector>

namespace tailwise::backend {

struct Partner
{
    UserRecord user;
    std::optional<double> distanceKm; // none when either side has no stored position
    bool favourite = false;
};

struct PartnerQuery
{
    std::int64_t viewerId = 0;
    std::string gender; // "male" or "female"; anything else means no gender filter
    bool favouritesOnly = false;
};

// Great-circle distance in kilometres (haversine, mean Earth radius).
double distanceKm(double lat1, double lon1, double lat2, double lon2);

// Finds the partners nearest to a viewer. With the viewer's position known, it asks the
// R*Tree for a box around the viewer that grows until it holds enough partners or covers the
// globe, so a search reads the neighbourhood instead of every user. Results are nearest first
// (ties by id); partners without a position follow, by id.
class PartnerSearch
{
public:
    explicit PartnerSearch(UserStore &users, std::size_t limit = 200) : users_(users), limit_(limit)
    {}

    std::vector<Partner> find(const PartnerQuery &query);
    // The same answer computed by reading every user; the reference the index is held to.
    std::vector<Partner> findByFullScan(const PartnerQuery &query);

private:
    struct Viewer
    {
        std::optional<double> latitude, longitude;
    };
    std::optional<Viewer> viewer(std::int64_t id);
    std::vector<Partner> withinBox(const PartnerQuery &query, double latMin, double latMax,
                                   double lonMin, double lonMax);
    std::vector<Partner> select(const PartnerQuery &query, const std::string &from,
                                const std::string &condition, auto bind);
    void finish(std::vector<Partner> &partners) const;

    UserStore &users_;
    std::size_t limit_;
};

} // namespace tailwise::backend
