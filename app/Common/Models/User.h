#pragma once

#include <QString>
#include <QVariantMap>

// A person as others see them: one row of a partner search or of the favourites list.
// Every field is text; a key that is missing or not a string leaves its field empty.
struct User
{
    User() = default;
    explicit User(const QVariantMap &dictionary);

    QString userId;
    QString Name;
    QString email; // never sent for other people: it stays empty in partner rows
    QString phone; // never sent by the backend
    QString gender;
    QString age;
    QString Image;
    QString dogInfo;
    QString dogsName;
    QString numOfDogs;
    QString about;
    QString status;
    QString favourite;
    QString distance;
    // The server's distance text, kept as sent while screens may reformat `distance`.
    QString serverDistance;
};

// One person's own full profile as the profile endpoints return it.
struct Profile
{
    Profile() = default;
    explicit Profile(const QVariantMap &dictionary);

    QString email;
    QString fullname;
    QString id;
    QString profilePic;
    QString age;
    QString gender;
    QString numOfDogs;
    QString dogsName;
    QString about;
    QString doginfo;
    QString dogAddress;
};

// The text under `key` when it is a string, else the empty text: numbers are not converted.
QString stringValue(const QVariantMap &dictionary, const QString &key);
