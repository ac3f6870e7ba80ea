#include "backend/PartnerSearch.h"
#include "backend/PictureStore.h"
#include "backend/ProfileStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <unistd.h>

using namespace tailwise::backend;

namespace {

class PartnerSearchTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dir_ = std::filesystem::temp_directory_path() /
               ("tailwise-search-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
        users_ = std::make_unique<UserStore>((dir_ / "users.sqlite3").string());
    }
    void TearDown() override
    {
        users_.reset();
        std::filesystem::remove_all(dir_);
    }

    std::int64_t add(const std::string &name, std::optional<double> lat, std::optional<double> lon,
                     const std::string &gender = "female")
    {
        NewUser user;
        user.email = name + "@example.com";
        user.registerType = "manual";
        user.name = name;
        user.gender = gender;
        user.latitude = lat;
        user.longitude = lon;
        return *users_->insert(user, 0);
    }

    static std::vector<std::int64_t> ids(const std::vector<Partner> &partners)
    {
        std::vector<std::int64_t> out;
        for (const auto &partner : partners)
            out.push_back(partner.user.id);
        return out;
    }

    std::filesystem::path dir_;
    std::unique_ptr<UserStore> users_;
};

TEST(Distance, MatchesHandComputedGreatCircleDistances)
{
    struct Case
    {
        double lat1, lon1, lat2, lon2, km;
    };
    for (const Case &c : {
             Case{52.52, 13.405, 48.137, 11.575, 504.338}, // Berlin - Munich
             Case{52.52, 13.405, 53.551, 9.993, 255.287},  // Berlin - Hamburg
             Case{52.52, 13.405, 52.52, 13.405, 0.0},      // same place
             Case{0.0, 179.9, 0.0, -179.9, 22.239},        // across the antimeridian
             Case{89.9, 0.0, 89.9, 180.0, 22.239},         // across the pole
         })
        EXPECT_NEAR(distanceKm(c.lat1, c.lon1, c.lat2, c.lon2), c.km, 0.001)
            << c.lat1 << "," << c.lon1 << " -> " << c.lat2 << "," << c.lon2;
}

TEST_F(PartnerSearchTest, OrdersByDistanceFiltersByGenderAndSkipsTheViewerAndDeactivated)
{
    const auto berlin = add("berlin", 52.52, 13.405);
    const auto munich = add("munich", 48.137, 11.575, "male");
    const auto hamburg = add("hamburg", 53.551, 9.993);
    const auto nowhere = add("nowhere", std::nullopt, std::nullopt, "male");
    const auto gone = add("gone", 52.50, 13.40);
    users_->deactivate(gone, "moved", "", 0);

    PartnerSearch search(*users_);
    auto all = search.find({berlin, "anything else means everyone"});
    EXPECT_EQ(ids(all), (std::vector<std::int64_t>{hamburg, munich, nowhere}));
    ASSERT_TRUE(all[0].distanceKm);
    EXPECT_NEAR(*all[0].distanceKm, 255.287, 0.001);
    EXPECT_FALSE(all[2].distanceKm);

    EXPECT_EQ(ids(search.find({berlin, "male"})), (std::vector<std::int64_t>{munich, nowhere}));
    EXPECT_EQ(ids(search.find({berlin, "female"})), (std::vector<std::int64_t>{hamburg}));

    // A viewer without a position sees everyone by id, without distances, a page at a time.
    const auto lost = search.find({nowhere, ""});
    EXPECT_EQ(ids(lost), (std::vector<std::int64_t>{berlin, munich, hamburg}));
    EXPECT_FALSE(lost[0].distanceKm);
    EXPECT_EQ(ids(search.find({nowhere, "", false, 1, 2})), (std::vector<std::int64_t>{hamburg}));
    EXPECT_EQ(ids(search.find({nowhere, "female", false, 0, 1})),
              (std::vector<std::int64_t>{berlin}));
    EXPECT_TRUE(search.find({nowhere, "", false, 2, 2}).empty());
}

TEST_F(PartnerSearchTest, FavouritesArePerPairIdempotentAndMarkedInResults)
{
    ProfileStore profiles(*users_);
    const auto a = add("a", 50.0, 8.0);
    const auto b = add("b", 50.1, 8.0);
    const auto c = add("c", 50.2, 8.0);
    EXPECT_EQ(profiles.setFavourite(a, b, true, 1), FavouriteChange::done);
    EXPECT_EQ(profiles.setFavourite(a, b, true, 2), FavouriteChange::done);
    EXPECT_EQ(profiles.setFavourite(a, a, true, 3), FavouriteChange::self);
    EXPECT_EQ(profiles.setFavourite(a, 999, true, 3), FavouriteChange::unknownUser);

    PartnerSearch search(*users_);
    const auto seenByA = search.find({a, ""});
    ASSERT_EQ(ids(seenByA), (std::vector<std::int64_t>{b, c}));
    EXPECT_TRUE(seenByA[0].favourite);
    EXPECT_FALSE(seenByA[1].favourite);
    EXPECT_EQ(ids(search.find({a, "", true})), (std::vector<std::int64_t>{b}));
    // Marks are one-way: b has not marked a.
    EXPECT_TRUE(search.find({b, "", true}).empty());

    EXPECT_EQ(profiles.setFavourite(a, b, false, 4), FavouriteChange::done);
    EXPECT_TRUE(search.find({a, "", true}).empty());
}

TEST_F(PartnerSearchTest, IndexedSearchAgreesWithAFullScanEverywhere)
{
    // Clusters in a city, spread over a country, near a pole and on both sides of the
    // antimeridian, plus users without a position: the growing box must find exactly the
    // nearest partners a full scan finds.
    std::mt19937 random(7);
    std::vector<std::pair<double, double>> centres = {
        {52.5, 13.4}, {48.1, 11.6}, {89.5, 20.0}, {-10.0, 179.95}, {-10.0, -179.95}, {0, 0}};
    std::vector<std::int64_t> all;
    int n = 0;
    for (const auto &[lat, lon] : centres) {
        std::normal_distribution<double> dLat(0, 0.5), dLon(0, 0.5);
        for (int i = 0; i < 60; ++i) {
            const double la = std::clamp(lat + dLat(random), -90.0, 90.0);
            double lo = lon + dLon(random);
            lo = lo > 180 ? lo - 360 : lo < -180 ? lo + 360 : lo;
            all.push_back(add("u" + std::to_string(n++), la, lo, i % 2 ? "male" : "female"));
        }
    }
    for (int i = 0; i < 5; ++i)
        all.push_back(add("u" + std::to_string(n++), std::nullopt, std::nullopt));

    // Pages of 25 deep into the clusters, and of 100 far enough that the unplaced users
    // (and, past them, nobody) fill the end.
    PartnerSearch search(*users_);
    for (std::size_t i = 0; i < all.size(); i += 7) {
        for (const char *gender : {"", "male"}) {
            for (const auto &[page, size] :
                 {std::pair<std::size_t, std::size_t>{0, 25}, {5, 25}, {1, 100}, {3, 100}}) {
                const PartnerQuery query{all[i], gender, false, page, size};
                EXPECT_EQ(ids(search.find(query)), ids(search.findByFullScan(query)))
                    << "viewer " << all[i] << " gender '" << gender << "' page " << page << "x"
                    << size;
            }
        }
    }
}

TEST(PictureStore, AcceptsPngAndJpegByContentOnlyAndNeverServesOtherPaths)
{
    const auto dir = std::filesystem::temp_directory_path() /
                     ("tailwise-pictures-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    PictureStore pictures(dir);
    const std::string png = std::string("\x89PNG\r\n\x1a\n", 8) + "rest-of-png";
    const std::string jpeg = std::string("\xff\xd8\xff\xe0", 4) + "rest-of-jpeg";

    const std::string pngName = pictures.store(png);
    const std::string jpegName = pictures.store(jpeg);
    EXPECT_TRUE(pngName.ends_with(".png"));
    EXPECT_TRUE(jpegName.ends_with(".jpg"));
    EXPECT_NE(pngName, pictures.store(png)) << "names are never reused";
    ASSERT_TRUE(pictures.load(pngName));
    EXPECT_EQ(pictures.load(pngName)->bytes, png);
    EXPECT_EQ(pictures.load(jpegName)->contentType, "image/jpeg");

    for (const std::string &bad :
         std::vector<std::string>{std::string("GIF89a..."), std::string("<svg/>"),
                                  std::string("\x89PNG", 4), std::string()})
        EXPECT_THROW(pictures.store(bad), BadRequest) << bad;
    EXPECT_THROW(pictures.store(png + std::string(PictureStore::maxBytes, 'x')), BadRequest);

    std::ofstream(dir / "secret.txt") << "not a picture";
    for (const std::string &name : std::vector<std::string>{
             "secret.txt", "../backend.sqlite3", "/etc/passwd", "", pngName + "/", "." + pngName})
        EXPECT_FALSE(pictures.load(name)) << name;
    std::filesystem::remove_all(dir);
}

} // namespace
