#include "Common/Models/User.h"
#include "Common/Models/UserEnums.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

QVariantMap json(const char *text)
{
    return QJsonDocument::fromJson(text).toVariant().toMap();
}

TEST(UserRecords, TakeOnlyStringsAndLeaveEverythingElseEmpty)
{
    // Numbers, booleans, null and objects are not converted to text.
    const User typed(json(R"({"user_id": 5, "Name": true, "age": null, "about": {"a": "b"},
                             "gender": ["male"], "email": "a@b.de"})"));
    EXPECT_EQ(typed.userId, "");
    EXPECT_EQ(typed.Name, "");
    EXPECT_EQ(typed.age, "");
    EXPECT_EQ(typed.about, "");
    EXPECT_EQ(typed.gender, "");
    EXPECT_EQ(typed.email, "a@b.de");

    // Texts are taken as they are, untrimmed.
    EXPECT_EQ(User(json(R"({"Name": "  Anna "})")).Name, "  Anna ");
}

TEST(UserRecords, ReadFieldsWhoseKeysDifferFromTheirNames)
{
    const char *row = R"({"user_id": "7", "Name": "Anna", "phone": "0171", "Image": "a.png",
        "profilePic": "b.png", "dogInfo": "calm", "dog_name": "Rex", "dogs_count": "pack",
        "distance": "2.3", "dog_address": "Berlin"})";
    const User user(json(row));
    EXPECT_EQ(user.Image, "a.png");
    EXPECT_EQ(user.dogsName, "Rex");
    EXPECT_EQ(user.numOfDogs, "pack");
    EXPECT_EQ(user.phone, "") << "the phone number is never taken from the backend";
    EXPECT_EQ(user.serverDistance, "2.3");

    const Profile profile(json(row));
    EXPECT_EQ(profile.fullname, "Anna");
    EXPECT_EQ(profile.doginfo, "calm");
    EXPECT_EQ(profile.dogAddress, "Berlin");
}

TEST(UserRecords, ProfileIdComesFromUserIdOnlyWhenAnIdKeyIsPresent)
{
    EXPECT_EQ(Profile(json(R"({"user_id": "9"})")).id, "");
    EXPECT_EQ(Profile(json(R"({"id": null, "user_id": "9"})")).id, "9");
    EXPECT_EQ(Profile(json(R"({"id": "9"})")).id, "");
    EXPECT_EQ(Profile(json(R"({"id": "9", "user_id": 9})")).id, "");
}

TEST(UserRecords, DogCountsAreStoredByPositionNotByNumber)
{
    EXPECT_EQ(fromRawValue<NumberOfDogs>("2"), NumberOfDogs::three);
    EXPECT_EQ(fromRawValue<NumberOfDogs>("3"), std::nullopt);
}

} // namespace
