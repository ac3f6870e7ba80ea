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
    // A page is at most this long, and only so many pages are served, so no request makes
    // the server read more than maxPages * maxPageSize partners.
    static constexpr std::size_t defaultPageSize = 50;
    static constexpr std::size_t maxPageSize = 100;
    static constexpr std::size_t maxPages = 20;

    std::int64_t viewerId = 0;
    std::string gender; // "male" or "female"; anything else means no gender filter
    bool favouritesOnly = false;
    std::size_t page = 0; // 0-based
    std::size_t pageSize = defaultPageSize;
};

// Great-circle distance in kilometres (haversine, mean Earth radius).
double distanceKm(double lat1, double lon1, double lat2, double lon2);

// Finds the partners nearest to a viewer, one page at a time. With the viewer's position
// known, it asks the R*Tree for a box around the viewer that grows until it holds every
// partner up to the end of the page or covers the globe, so a search reads the neighbourhood
// instead of every user. Results are nearest first (ties by id); partners without a position
// follow, by id. A viewer without a position gets everyone by id; a favourites list starts
// from the viewer's marks. Every read is bounded by the page asked for.
class PartnerSearch
{
public:
    explicit PartnerSearch(UserStore &users) : users_(users) {}

    std::vector<Partner> find(const PartnerQuery &query);
    // The same answer computed by reading every user; the reference the index is held to.
    std::vector<Partner> findByFullScan(const PartnerQuery &query);

private:
    struct Viewer
    {
        std::optional<double> latitude, longitude;
    };
    std::optional<Viewer> viewer(Connection &connection, std::int64_t id);
    std::vector<Partner> nearest(Connection &connection, const PartnerQuery &query, double lat,
                                 double lon);
    std::vector<Partner> select(Connection &connection, const PartnerQuery &query,
                                const std::string &from, const std::string &condition,
                                const std::string &rest, auto bind);
    static void placeAndSort(std::vector<Partner> &partners, const std::optional<Viewer> &me);
    static std::vector<Partner> pageOf(std::vector<Partner> partners, const PartnerQuery &query);

    UserStore &users_;
};

} // namespace tailwise::backend
