// The partner search and detail screens' rules, headless, against a real server.

#include "Module/FindDog/FavouritesViewController.h"
#include "Module/FindDog/FindDogViewController.h"
#include "Module/FindDog/PartnerDetailViewController.h"
#include "Module/Profile/ProfilleDataManager.h"
#include "Platform/UI/Alert.h"

#include "TestSupport.h"

#include <QAbstractItemModelTester>

#include <gtest/gtest.h>

namespace {

void show(ViewController &screen)
{
    screen.loadViewIfNeeded();
    screen.beginAppearance();
    screen.endAppearance();
}

User partnerRow(const QString &id, const QString &distance = QStringLiteral("1.0"))
{
    User user;
    user.userId = id;
    user.Name = QStringLiteral("Owner ") + id;
    user.distance = distance;
    return user;
}

} // namespace

// New lists merge in by row changes: views keep their place and redraw only what changed.
TEST(PartnerListModelRows, MergeByInsertRemoveMoveAndChangeNeverByAReset)
{
    PartnerListModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    int resets = 0;
    int changed = 0;
    QObject::connect(&model, &QAbstractItemModel::modelReset, [&] { ++resets; });
    QObject::connect(&model, &QAbstractItemModel::dataChanged, [&] { ++changed; });
    const auto ids = [&] { return column(model, PartnerListModel::UserIdRole); };
    const auto rows = [](const QStringList &list) {
        QList<User> users;
        for (const QString &id : list)
            users << partnerRow(id);
        return users;
    };

    model.setPartners(rows({"1", "2", "3", "4"}));
    EXPECT_EQ(ids(), (QStringList{"1", "2", "3", "4"}));
    model.setPartners(rows({"4", "2", "5", "1", "1"})); // moved, removed, new, a duplicate
    EXPECT_EQ(ids(), (QStringList{"4", "2", "5", "1"}));
    EXPECT_EQ(changed, 0) << "unchanged rows are not redrawn";
    QList<User> moved = rows({"4", "2", "5", "1"});
    moved[2].distance = QStringLiteral("2.5");
    model.setPartners(moved);
    EXPECT_EQ(changed, 1);
    model.appendPartners(rows({"1", "6", "7"}));
    EXPECT_EQ(ids(), (QStringList{"4", "2", "5", "1", "6", "7"}));
    model.setFavourite("6", true);
    EXPECT_TRUE(model.index(4).data(PartnerListModel::FavouriteRole).toBool());
    model.clear();
    EXPECT_EQ(model.count(), 0);
    EXPECT_EQ(resets, 0);
}

class PartnerScreens : public EnglishLiveBackend
{
protected:
    // Signed up with a picture, which leaves them signed in.
    Person person(const QString &name, const QString &gender, double latitude, double longitude)
    {
        const Person signedUp = signUpPerson(name, gender, latitude, longitude);
        QImage picture(48, 48, QImage::Format_RGB32);
        picture.fill(Qt::darkYellow);
        std::optional<bool> saved;
        ProfilleDataManager().saveProfile({{"user_id", signedUp.id}}, picture,
                                          [&](bool success, const QString &) { saved = success; });
        EXPECT_TRUE(waitUntil([&] { return saved.has_value(); }, 10000) && *saved)
            << name.toStdString();
        return signedUp;
    }

    bool settled(PartnerListViewController &search)
    {
        return waitUntil([&] { return !search.loading() && !search.loadingMore(); }, 10000);
    }
};

TEST_F(PartnerScreens, SearchListsNearestFirstFiltersAndShowsOnlyWhatPrivacyAllows)
{
    // About 0.7, 1.3 and 11 km from the viewer.
    const Person ada = person("Ada", "female", 52.5260, 13.4050);
    const Person ben = person("Ben", "male", 52.5300, 13.4150);
    const Person cleo = person("Cleo", "female", 52.6000, 13.5000);
    const Person viewer = person("Vic", "male", 52.5200, 13.4050);
    writeAs(ada.token, "DataProtection/" + ada.id,
            QVariantMap{{"img_status", "Nobody"}, {"lastseen_status", "Nobody"}});
    writeAs(ada.token, "Users/" + ada.id + "/status", "Online");
    writeAs(ben.token, "DataProtection/" + ben.id,
            QVariantMap{{"img_status", "Only Favourite"}, {"lastseen_status", "Anybody"}});
    writeAs(ben.token, "Users/" + ben.id + "/status", "Online");
    writeAs(cleo.token, "DataProtection/" + cleo.id,
            QVariantMap{{"img_status", "Only Favourite"}, {"lastseen_status", "Only Favourite"}});
    writeAs(cleo.token, "Users/" + cleo.id + "/status", "Online");
    writeAs(cleo.token, "Favourite/" + cleo.id + "/" + viewer.id + "/Favourite", "1");

    FindDogViewController search;
    QAbstractItemModelTester tester(search.partners(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    show(search);
    ASSERT_TRUE(settled(search));
    EXPECT_EQ(column(*search.partners(), PartnerListModel::NameRole),
              (QStringList{"Ada", "Ben", "Cleo"}));
    EXPECT_EQ(search.empty(), FindDogViewController::Empty::None);

    for (int row = 0; row < 3; ++row)
        search.partners()->rowShown(row);
    ASSERT_TRUE(waitUntil([&] {
        return search.partners()->hasVisibility(ada.id) &&
               search.partners()->hasVisibility(ben.id) &&
               search.partners()->hasVisibility(cleo.id);
    }));
    // Ada hides everything; Ben shows his presence but keeps his picture for those he marked;
    // Cleo has marked the viewer, so "Only Favourite" lets him see both.
    EXPECT_EQ(column(*search.partners(), PartnerListModel::OnlineRole),
              (QStringList{"false", "true", "true"}));
    const QStringList pictures = column(*search.partners(), PartnerListModel::PictureRole);
    EXPECT_EQ(pictures[0], "");
    EXPECT_EQ(pictures[1], "");
    EXPECT_TRUE(pictures[2].startsWith("http://127.0.0.1:")) << pictures[2].toStdString();

    search.setFilterIndex(2);
    EXPECT_EQ(search.filterText(), "female");
    ASSERT_TRUE(settled(search));
    EXPECT_EQ(column(*search.partners(), PartnerListModel::NameRole), (QStringList{"Ada", "Cleo"}));
    search.setFilterIndex(1);
    EXPECT_EQ(search.filterText(), "male");
    ASSERT_TRUE(settled(search));
    EXPECT_EQ(column(*search.partners(), PartnerListModel::NameRole), QStringList{"Ben"});

    // Moving next to Cleo moves the viewer on the backend too, and she comes first.
    search.setFilterIndex(0);
    ASSERT_TRUE(settled(search));
    search.locationChanged({52.6000, 13.5000});
    EXPECT_TRUE(waitUntil([&] {
        return !search.loading() &&
               column(*search.partners(), PartnerListModel::NameRole).value(0) == "Cleo";
    })) << column(*search.partners(), PartnerListModel::NameRole).join(", ").toStdString();
}

TEST_F(PartnerScreens, AFavouriteShowsAtOnceReachesTheListAndComesBackWhenRefused)
{
    const Person ada = person("Ada", "female", 52.5260, 13.4050);
    const Person viewer = person("Vic", "male", 52.5200, 13.4050);
    FindDogViewController search;
    show(search);
    ASSERT_TRUE(settled(search));
    ASSERT_EQ(search.partners()->count(), 1);

    FavouritesViewController favourites;
    QAbstractItemModelTester tester(favourites.partners(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    show(favourites);
    ASSERT_TRUE(settled(favourites));
    EXPECT_EQ(favourites.empty(), PartnerListViewController::Empty::NoPartners);

    PartnerDetailViewController detail;
    detail.setPartner(*search.partners()->partner(0));
    show(detail);
    detail.toggleFavourite();
    EXPECT_TRUE(detail.favourite()) << "shown before the backend answers";
    ASSERT_TRUE(waitUntil([&] { return !detail.favouriteBusy(); }, 10000));
    EXPECT_TRUE(detail.favourite());
    EXPECT_EQ(detail.presentedAlert(), nullptr);
    EXPECT_EQ(
        storedValue(appDatabase_->client(), "Favourite/" + viewer.id + "/" + ada.id + "/Favourite"),
        QVariant("1"));
    EXPECT_TRUE(waitUntil([&] {
        return search.partners()->index(0).data(PartnerListModel::FavouriteRole).toBool();
    })) << "the list follows a mark made on another screen";
    EXPECT_TRUE(waitUntil([&] { return favourites.partners()->count() == 1; }))
        << "so do the favourites";

    // Unmarked from the favourites: it leaves them, and the search row follows.
    favourites.toggleFavourite(0);
    EXPECT_TRUE(waitUntil([&] { return favourites.partners()->count() == 0; }));
    EXPECT_TRUE(waitUntil([&] {
        return !search.partners()->index(0).data(PartnerListModel::FavouriteRole).toBool();
    }));
    // The row goes at once; the database hears of it once the backend has agreed.
    EXPECT_TRUE(waitUntil([&] {
        return storedValue(appDatabase_->client(),
                           "Favourite/" + viewer.id + "/" + ada.id + "/Favourite") == "0";
    }));
    ASSERT_TRUE(waitUntil([&] { return !favourites.loading(); }));
    detail.setPartner(*search.partners()->partner(0));

    // The backend cannot be reached: the mark goes back and the screen says why.
    ScopedEnvironment quick("TAILWISE_REQUEST_TIMEOUT_MS", "800");
    server_.stop();
    detail.toggleFavourite();
    EXPECT_TRUE(detail.favourite());
    ASSERT_TRUE(waitUntil([&] { return !detail.favouriteBusy(); }, 10000));
    EXPECT_FALSE(detail.favourite());
    ASSERT_NE(detail.presentedAlert(), nullptr);
}
