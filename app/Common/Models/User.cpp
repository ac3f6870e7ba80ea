#include "User.h"

QString stringValue(const QVariantMap &dictionary, const QString &key)
{
    const auto found = dictionary.constFind(key);
    if (found == dictionary.constEnd() || found->typeId() != QMetaType::QString)
        return {};
    return found->toString();
}

User::User(const QVariantMap &dictionary)
    : userId(stringValue(dictionary, QStringLiteral("user_id"))),
      Name(stringValue(dictionary, QStringLiteral("Name"))),
      email(stringValue(dictionary, QStringLiteral("email"))),
      gender(stringValue(dictionary, QStringLiteral("gender"))),
      age(stringValue(dictionary, QStringLiteral("age"))),
      Image(stringValue(dictionary, QStringLiteral("Image"))),
      dogInfo(stringValue(dictionary, QStringLiteral("dogInfo"))),
      dogsName(stringValue(dictionary, QStringLiteral("dog_name"))),
      numOfDogs(stringValue(dictionary, QStringLiteral("dogs_count"))),
      about(stringValue(dictionary, QStringLiteral("about"))),
      status(stringValue(dictionary, QStringLiteral("status"))),
      favourite(stringValue(dictionary, QStringLiteral("favourite"))),
      distance(stringValue(dictionary, QStringLiteral("distance"))),
      serverDistance(stringValue(dictionary, QStringLiteral("distance")))
{}

Profile::Profile(const QVariantMap &dictionary)
    : email(stringValue(dictionary, QStringLiteral("email"))),
      fullname(stringValue(dictionary, QStringLiteral("Name"))),
      profilePic(stringValue(dictionary, QStringLiteral("profilePic"))),
      age(stringValue(dictionary, QStringLiteral("age"))),
      gender(stringValue(dictionary, QStringLiteral("gender"))),
      numOfDogs(stringValue(dictionary, QStringLiteral("dogs_count"))),
      dogsName(stringValue(dictionary, QStringLiteral("dog_name"))),
      about(stringValue(dictionary, QStringLiteral("about"))),
      doginfo(stringValue(dictionary, QStringLiteral("dogInfo"))),
      dogAddress(stringValue(dictionary, QStringLiteral("dog_address")))
{
    // The identifier is taken from "user_id" only when the dictionary names an "id" at all.
    if (dictionary.contains(QStringLiteral("id")))
        id = stringValue(dictionary, QStringLiteral("user_id"));
}
