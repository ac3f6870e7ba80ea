#include "TestSupport.h"

#include "Common/Network/API.h"
#include "Common/Network/RealtimeReads.h"
#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Module/Login/LoginDataManager.h"
#include "Module/Profile/ProfileAnswer.h"
#include "Module/Profile/ProfilleDataManager.h"
#include "Module/Register/ProfileRegister/RegisterProfileDataManager.h"
#include "Module/Register/RegisterationDataManager.h"
#include "Module/Setting/Delete/DeleteDataManager.h"
#include "Platform/UserDefaults.h"

#include <QPainter>

namespace {

// A picture with enough structure that a re-encoding or a scaled copy would differ.
QImage testPicture()
{
    QImage image(64, 48, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.fillRect(4, 4, 30, 20, QColor(200, 40, 40));
    painter.fillRect(30, 20, 30, 24, QColor(20, 90, 220, 128));
    return image;
}

class ProfileAnswers : public RecordingBackend
{};

TEST_F(ProfileAnswers, FetchesStoreTheFirstProfileAndReportEachUnusableAnswer)
{
    struct Case
    {
        const char *answer;
        MessageResult fetchProfile;
        MessageResult fetchUserProfile;
    };
    const Case cases[] = {
        {R"({"data": [{"Name": "A", "id": "1", "user_id": "9"}, {"Name": "B"}]})",
         {1, true, profileFetchedMessage},
         {1, true, profileFetchedMessage}},
        {R"({"message": "gone"})", {1, false, "gone"}, {1, false, "Request failed!"}},
        {R"({})", {1, false, "User does not exist!"}, {1, false, "Request failed!"}},
        {R"({"data": []})", {1, false, "Request failed!"}, {1, false, "Request failed!"}},
        {R"({"data": ["x"], "message": "m"})",
         {1, false, "Request failed!"},
         {1, false, "Request failed!"}},
    };
    for (const Case &c : cases) {
        answer(c.answer);
        ProfilleDataManager profile;
        RegisterProfileDataManager registration;
        const auto fetched = std::make_shared<MessageResult>();
        const auto fetchedForRegistration = std::make_shared<MessageResult>();
        profile.fetchProfile(QStringLiteral("7"), into(fetched));
        registration.fetchUserProfile(QStringLiteral("7"), into(fetchedForRegistration));
        ASSERT_TRUE(waitUntil([&] { return fetched->calls && fetchedForRegistration->calls; }))
            << c.answer;
        EXPECT_EQ(*fetched, c.fetchProfile) << c.answer;
        EXPECT_EQ(*fetchedForRegistration, c.fetchUserProfile) << c.answer;
        EXPECT_EQ(profile.profile().has_value(), c.fetchProfile.success) << c.answer;
        EXPECT_EQ(registration.profile().has_value(), c.fetchUserProfile.success) << c.answer;
        if (profile.profile()) {
            EXPECT_EQ(profile.profile()->fullname, "A");
            EXPECT_EQ(profile.profile()->id, "9");
            EXPECT_EQ(registration.profile()->id, "9");
        }
    }
    EXPECT_EQ(sentTarget(), "/app/backend/app/users/get_profile");
    EXPECT_EQ(sentParameters(), (QVariantMap{{"user_id", "7"}}));
}

TEST_F(ProfileAnswers, AStatusReportReplacesTheProfileOnlyWhenItCarriesOne)
{
    ProfilleDataManager manager;
    answer(R"({"data": [{"Name": "Before", "user_id": "3"}]})");
    ASSERT_TRUE(completed([&](ResultCompletion done) { manager.fetchProfile("3", done); }).calls);

    answer(R"({"status": "1", "data": [{"Name": "Online now", "user_id": "3"}]})");
    EXPECT_TRUE(completed([&](ResultCompletion done) {
                    manager.updateOnlineOfflineStatus("3", "Online", done);
                }).success);
    EXPECT_EQ(sentParameters(), (QVariantMap{{"user_id", "3"}, {"status", "Online"}}));
    ASSERT_TRUE(manager.profile());
    EXPECT_EQ(manager.profile()->fullname, "Online now");

    answer(R"({"status": "1"})");
    EXPECT_EQ(completed([&](ResultCompletion done) {
                  manager.updateOnlineOfflineStatus("3", "away", done);
              }),
              (MessageResult{1, false, "Request failed!"}));
    EXPECT_EQ(manager.profile()->fullname, "Online now") << "a failed report keeps the profile";
}

TEST_F(ProfileAnswers, WithoutAnAnswerFetchesAndReportsStaySilentButSavesFail)
{
    server_.setReply({200, "application/json", "", true});
    ProfilleDataManager manager;
    const auto fetched = std::make_shared<MessageResult>();
    manager.fetchProfile(QStringLiteral("3"), into(fetched));
    EXPECT_TRUE(settle(fetched, false, 0));
    const auto reported = std::make_shared<MessageResult>();
    manager.updateOnlineOfflineStatus(QStringLiteral("3"), QStringLiteral("Online"),
                                      into(reported));
    EXPECT_TRUE(settle(reported, false, 1));

    EXPECT_EQ(completed([&](ResultCompletion done) {
                  manager.saveProfile({{"user_id", "3"}}, std::nullopt, done);
              }),
              (MessageResult{1, false, "Upload failed"}));
}

TEST_F(ProfileAnswers, SavesJudgeTheStatusAndLeaveOutAPictureThatCannotBeEncoded)
{
    // The picture goes out losslessly and at full size.
    const QImage picture = testPicture();
    const auto png = profilePictureData(picture);
    ASSERT_TRUE(png);
    QImage decoded;
    ASSERT_TRUE(decoded.loadFromData(*png, "PNG"));
    EXPECT_EQ(decoded.convertToFormat(QImage::Format_ARGB32), picture);

    const QVariantMap form{{"user_id", "3"}, {"Name", "Anna"}};
    answer(R"({"status": "0", "message": "too big"})");
    EXPECT_EQ(completed([&](ResultCompletion done) {
                  RegisterProfileDataManager().setUserProfile(form, std::nullopt, done);
              }),
              (MessageResult{1, false, "Upload failed"}));
    const RecordedRequest &registration = server_.requests().last();
    EXPECT_EQ(registration.target, "/app/backend/app/users/userprofile");
    EXPECT_FALSE(registration.body.contains("filename="));
    EXPECT_TRUE(registration.body.contains("name=\"Name\"\r\n\r\nAnna\r\n"));

    answer(R"({"status": "1"})");
    EXPECT_TRUE(completed([&](ResultCompletion done) {
                    ProfilleDataManager().saveProfile(form, QImage(), done);
                }).success);
    EXPECT_FALSE(server_.requests().last().body.contains("filename="));
}

using ProfileForm = FreshSettings;

TEST_F(ProfileForm, ReportsTheFirstEmptyFieldInFormOrder)
{
    UserDefaults::standard().setString(QStringLiteral("de"), Constants::userDefaults::languagecode);
    const RegisterProfileDataManager manager;
    EXPECT_EQ(manager.isUserDataValid({{"Name", "Anna"}, {"Age", "31"}}),
              (std::pair<bool, QString>{true, QString()}));
    // Only emptiness counts here: no address check, whatever the field.
    EXPECT_TRUE(manager.isUserDataValid({{"Email", "not an address"}}).first);
    EXPECT_EQ(manager.isUserDataValid({{"Name", "Anna"}, {"Age", ""}, {"About", ""}}),
              (std::pair<bool, QString>{false, "Alter ist leer"}));
}

class PartnerAnswers : public RecordingBackend
{
protected:
    MessageResult list(bool favourites, const QString &filter)
    {
        return completed([&](ResultCompletion done) {
            if (favourites)
                manager_.getFavUsers(QStringLiteral("42"), filter, done);
            else
                manager_.fetchallUsers(QStringLiteral("42"), filter, done);
        });
    }
    QStringList names() const
    {
        QStringList names;
        for (const User &user : manager_.userData())
            names.append(user.Name);
        return names;
    }

    FindDogDataManager manager_;
};

TEST_F(PartnerAnswers, UnusableAnswersEmptyTheRowsAndCarryTheirTexts)
{
    struct Case
    {
        const char *answer;
        bool favourites;
        QString message;
    };
    const Case cases[] = {
        {R"({"status": "0", "message": "No users"})", false, "No users"},
        {R"({"status": "0"})", false, "User does not exist!"},
        {R"({"status": "0"})", true, "User does not exist"},
        {R"({"data": "none", "message": "odd"})", false, "odd"},
        {R"({"data": [1, 2], "message": "odd"})", true, "Request failed!"},
    };
    for (const Case &c : cases) {
        answer(R"({"data": [{"Name": "Zed"}, {"Name": "Amy"}]})");
        ASSERT_TRUE(list(c.favourites, "All").success);
        EXPECT_EQ(names(), (QStringList{"Zed", "Amy"})) << "in the backend's order";
        answer(c.answer);
        EXPECT_EQ(list(c.favourites, "All"), (MessageResult{1, false, c.message})) << c.answer;
        EXPECT_TRUE(names().isEmpty()) << c.answer;
    }
}

TEST_F(PartnerAnswers, WithoutAnAnswerTheRowsStayAndNobodyIsCalled)
{
    answer(R"({"data": [{"Name": "Kept"}]})");
    ASSERT_TRUE(list(false, "All").success);
    server_.setReply({200, "application/json", "", true});
    const auto search = std::make_shared<MessageResult>();
    manager_.fetchallUsers(QStringLiteral("42"), QStringLiteral("All"), into(search));
    EXPECT_TRUE(settle(search, false, 1));
    const auto mark = std::make_shared<MessageResult>();
    manager_.createFavUser("42", "7", "1", into(mark));
    EXPECT_TRUE(settle(mark, false, 2));
    EXPECT_EQ(names(), QStringList{"Kept"});
}

TEST_F(PartnerAnswers, AFavouriteMarkReportsTheServersText)
{
    const std::pair<const char *, MessageResult> cases[] = {
        {R"({"status": "1", "message": "Marked"})", {1, true, "Marked"}},
        {R"({"status": "0", "message": "Nope"})", {1, false, "Nope"}},
        {R"({"status": 1})", {1, false, "Data not found!"}},
    };
    for (const auto &[reply, expected] : cases) {
        answer(reply);
        EXPECT_EQ(
            completed([&](ResultCompletion done) { manager_.createFavUser("42", "7", "0", done); }),
            expected)
            << reply;
    }

    // Only the accepted mark reaches the realtime database.
    ASSERT_TRUE(databaseServer_.waitForRequests(1));
    QTest::qWait(200);
    ASSERT_EQ(databaseServer_.requests().size(), 1);
    const RecordedRequest &mark = databaseServer_.requests().first();
    EXPECT_EQ(QString::fromUtf8(mark.method + ' ' + mark.target + ' ' + mark.body),
              R"(PUT /Favourite/42/7/Favourite.json "0")");
}

// Answers favourite reads from a fixed table, as the realtime database would.
class TableReads : public RealtimeReads
{
public:
    void readUserNode(const QString &, std::function<void(const QVariantMap &)> done) override
    {
        done({});
    }
    void readFavouriteMark(const QString &userId, const QString &otherUserId,
                           std::function<void(const std::optional<QVariant> &)> done) override
    {
        asked.append(userId + '/' + otherUserId);
        const auto found = marks.find(otherUserId);
        done(found == marks.end() ? std::nullopt : std::optional<QVariant>(*found));
    }

    QMap<QString, QVariant> marks;
    QStringList asked;
};

TEST_F(FreshSettings, OnlyTheTextOneReadsAsFavourite)
{
    TableReads reads;
    reads.marks = {{"a", "1"}, {"b", "0"}, {"c", 1}, {"d", " 1"}};
    LoginDefaults().setUserId(QStringLiteral("me"));
    QStringList favourites;
    for (const char *other : {"a", "b", "c", "d", "missing"})
        FindDogDataManager(reads).isFaveUser(QString::fromUtf8(other), [&, other](bool favourite) {
            if (favourite)
                favourites.append(QString::fromUtf8(other));
        });
    EXPECT_EQ(favourites, QStringList{"a"});
    EXPECT_EQ(reads.asked.first(), "me/a") << "read under the signed-in user";
}

// Two people signed up through the app against the real backend.
class PartnerSearchEndToEnd : public LiveBackend
{
protected:
    // Asked once the app's writes have reached the database.
    bool isFaveUser(const QString &otherUserId)
    {
        EXPECT_TRUE(appDatabase_->waitUntilWritten());
        std::optional<bool> marked;
        FindDogDataManager().isFaveUser(otherUserId, [&](bool mark) { marked = mark; });
        EXPECT_TRUE(waitUntil([&] { return marked.has_value(); }));
        return marked.value_or(false);
    }
    // The rows a search or favourites list left, as "name distance favourite", or its failure.
    QStringList list(const QString &userId, const QString &filter, bool favourites = false)
    {
        const MessageResult result = completed([&](ResultCompletion done) {
            if (favourites)
                search_.getFavUsers(userId, filter, done);
            else
                search_.fetchallUsers(userId, filter, done);
        });
        if (!result.success)
            return {QStringLiteral("failed: ") + result.message};
        QStringList rows;
        for (const User &user : search_.userData())
            rows.append(user.Name + ' ' + user.distance + ' ' + user.favourite);
        return rows;
    }
    bool mark(const QString &userId, const QString &otherUserId, const QString &favourite)
    {
        return completed([&](ResultCompletion done) {
                   search_.createFavUser(userId, otherUserId, favourite, done);
               })
            .success;
    }
    FindDogDataManager search_;
};

TEST_F(PartnerSearchEndToEnd, PartnersSeeEachOtherMarkFavouritesAndShareAPicture)
{
    // Distances by the haversine formula on a 6371 km sphere, rounded to 0.1 km:
    // Berlin to Potsdam 27.19 km, Berlin to Munich 504.29 km, Potsdam to Munich 484.60 km.
    const QString ben = signUp("Ben", "male", 52.3906, 13.0645);
    const QImage picture = testPicture();
    ProfilleDataManager benProfile;
    EXPECT_EQ(
        completed([&](ResultCompletion done) {
            benProfile.saveProfile({{"user_id", ben}, {"about", "Walks at dawn"}}, picture, done);
        }),
        (MessageResult{1, true, "Saved successfully!"}));
    ASSERT_TRUE(
        completed([&](ResultCompletion done) { benProfile.fetchProfile(ben, done); }).success);
    const QString pictureName = benProfile.profile()->profilePic;
    ASSERT_FALSE(pictureName.isEmpty());
    EXPECT_EQ(download(QUrl(API::imageBaseURL() + pictureName)), profilePictureData(picture))
        << "downloaded from " << (API::imageBaseURL() + pictureName).toStdString();

    const QString cleo = signUp("Cleo", "female", 48.1374, 11.5755);
    const QString anna = signUp("Anna", "female", 52.52, 13.405);

    EXPECT_EQ(list(anna, "All"), (QStringList{"Ben 27.2 0", "Cleo 504.3 0"}));
    EXPECT_EQ(search_.userData()[0].userId, ben);
    EXPECT_EQ(search_.userData()[0].about, "Walks at dawn");
    EXPECT_EQ(list(anna, "female"), QStringList{"Cleo 504.3 0"});

    EXPECT_TRUE(mark(anna, ben, "1"));
    EXPECT_TRUE(mark(anna, ben, "1")) << "marking twice is harmless";
    EXPECT_EQ(list(anna, "All", true), QStringList{"Ben 27.2 1"});
    EXPECT_TRUE(isFaveUser(ben)) << "the database mark follows the backend";
    EXPECT_EQ(list(anna, "male"), QStringList{"Ben 27.2 1"});

    // Ben sees Anna too, from his side, without her mark on him.
    signIn("Ben");
    EXPECT_EQ(list(ben, "female"), (QStringList{"Anna 27.2 0", "Cleo 484.6 0"}));

    signIn("Anna");
    EXPECT_TRUE(mark(anna, ben, "0"));
    list(anna, "All", true);
    EXPECT_TRUE(search_.userData().isEmpty());
    EXPECT_FALSE(isFaveUser(ben));

    signIn("Cleo");
    EXPECT_TRUE(completed([&](ResultCompletion done) {
                    DeleteDataManager().deleteUserAccopunt(cleo, "Other", "moved away", done);
                }).success);
    signIn("Anna");
    EXPECT_EQ(list(anna, "All"), QStringList{"Ben 27.2 0"}) << "a deactivated account disappears";
}

} // namespace
