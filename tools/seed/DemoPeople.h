#pragma once

#include "Platform/Location.h"

#include <QList>
#include <QString>

#include <QtGlobal>

struct DemoDog
{
    QString name;
    bool female = false;
    QString breed;
    int age = 1;
};

// One invented dog owner, everything the backend and the realtime database get about them.
struct DemoPerson
{
    int index = 0;
    QString email;
    QString firstName;
    QString lastName;
    QString gender; // "male" or "female", the only texts the backend takes
    int age = 0;
    QList<DemoDog> dogs;
    QString dogInfo;
    QString about;
    QString address;
    CLLocationCoordinate2D position;
    bool online = false;
    int minutesSinceSeen = 0;
    QString imgStatus;      // who may see the picture
    QString lastseenStatus; // who may see the last-seen time
    quint32 look = 0;       // picks the avatar's colours and motif

    QString name() const { return firstName + QLatin1Char(' ') + lastName; }
    // The backend's count texts run one behind the number of dogs: "0" is one dog.
    QString dogsCount() const { return QString::number(dogs.size() - 1); }
    // "Luna", "Luna und Bello", "Luna, Bello und Frieda".
    QString dogNames() const;
};

// Invents the demo neighbourhood. Person `index` depends only on the seed and the index, so a
// second run with the same seed meets the same people, whatever the count.
class DemoPeople
{
public:
    static constexpr auto domain = "demo.tailwise.example";
    // Person 0 is the account a person signs in with to look around.
    static constexpr auto demoEmail = "demo@demo.tailwise.example";
    static constexpr auto password = "tailwise-demo";

    DemoPeople(quint64 seed, CLLocationCoordinate2D centre);

    DemoPerson person(int index) const;
    // Whom person `index` marks as favourites, among the first `count` people.
    QList<int> favouritesOf(int index, int count) const;

private:
    quint64 seed_;
    CLLocationCoordinate2D centre_;
};
