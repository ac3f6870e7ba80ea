#include "DemoPeople.h"

#include "DemoStories.h"

#include <QRandomGenerator>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// Older people more often carry the names of their generation.
const QList<QString> classicWomen = {
    QStringLiteral("Sabine"),   QStringLiteral("Petra"),  QStringLiteral("Monika"),
    QStringLiteral("Claudia"),  QStringLiteral("Ingrid"), QStringLiteral("Ursula"),
    QStringLiteral("Heike"),    QStringLiteral("Birgit"), QStringLiteral("Karin"),
    QStringLiteral("Gabriele"), QStringLiteral("Andrea"), QStringLiteral("Renate")};
const QList<QString> modernWomen = {
    QStringLiteral("Anna"),   QStringLiteral("Lena"),      QStringLiteral("Sophie"),
    QStringLiteral("Marie"),  QStringLiteral("Laura"),     QStringLiteral("Julia"),
    QStringLiteral("Hannah"), QStringLiteral("Jana"),      QStringLiteral("Lea"),
    QStringLiteral("Clara"),  QStringLiteral("Miriam"),    QStringLiteral("Nina"),
    QStringLiteral("Svenja"), QStringLiteral("Franziska"), QStringLiteral("Johanna")};
const QList<QString> classicMen = {
    QStringLiteral("Michael"),  QStringLiteral("Thomas"), QStringLiteral("Stefan"),
    QStringLiteral("Andreas"),  QStringLiteral("Jürgen"), QStringLiteral("Klaus"),
    QStringLiteral("Wolfgang"), QStringLiteral("Uwe"),    QStringLiteral("Bernd"),
    QStringLiteral("Frank"),    QStringLiteral("Peter"),  QStringLiteral("Dieter")};
const QList<QString> modernMen = {
    QStringLiteral("Lukas"),     QStringLiteral("Jonas"),  QStringLiteral("Felix"),
    QStringLiteral("Max"),       QStringLiteral("Paul"),   QStringLiteral("Tobias"),
    QStringLiteral("Florian"),   QStringLiteral("Jan"),    QStringLiteral("Tim"),
    QStringLiteral("Niklas"),    QStringLiteral("Moritz"), QStringLiteral("Sebastian"),
    QStringLiteral("Christian"), QStringLiteral("Leon"),   QStringLiteral("Ben")};
const QList<QString> familyNames = {
    QStringLiteral("Müller"),     QStringLiteral("Schmidt"), QStringLiteral("Schneider"),
    QStringLiteral("Fischer"),    QStringLiteral("Weber"),   QStringLiteral("Meyer"),
    QStringLiteral("Wagner"),     QStringLiteral("Becker"),  QStringLiteral("Schulz"),
    QStringLiteral("Hoffmann"),   QStringLiteral("Koch"),    QStringLiteral("Richter"),
    QStringLiteral("Klein"),      QStringLiteral("Wolf"),    QStringLiteral("Schröder"),
    QStringLiteral("Neumann"),    QStringLiteral("Schwarz"), QStringLiteral("Braun"),
    QStringLiteral("Zimmermann"), QStringLiteral("Krüger"),  QStringLiteral("Hartmann"),
    QStringLiteral("Lange"),      QStringLiteral("Werner"),  QStringLiteral("Krause"),
    QStringLiteral("Lehmann"),    QStringLiteral("Köhler"),  QStringLiteral("Peters"),
    QStringLiteral("Möller"),     QStringLiteral("Vogel"),   QStringLiteral("Jansen")};

const QList<QString> bitches = {
    QStringLiteral("Luna"),  QStringLiteral("Bella"), QStringLiteral("Frieda"),
    QStringLiteral("Emma"),  QStringLiteral("Lotte"), QStringLiteral("Mila"),
    QStringLiteral("Kira"),  QStringLiteral("Paula"), QStringLiteral("Nala"),
    QStringLiteral("Ronja"), QStringLiteral("Greta"), QStringLiteral("Maja"),
    QStringLiteral("Polly"), QStringLiteral("Wilma"), QStringLiteral("Fritzi")};
const QList<QString> dogs = {
    QStringLiteral("Bello"), QStringLiteral("Balu"),    QStringLiteral("Rocky"),
    QStringLiteral("Oskar"), QStringLiteral("Charly"),  QStringLiteral("Anton"),
    QStringLiteral("Filou"), QStringLiteral("Benno"),   QStringLiteral("Emil"),
    QStringLiteral("Bruno"), QStringLiteral("Janosch"), QStringLiteral("Sammy"),
    QStringLiteral("Hugo"),  QStringLiteral("Lümmel"),  QStringLiteral("Theo")};
const QList<QString> breeds = {QStringLiteral("Mischling"),
                               QStringLiteral("Mischling"),
                               QStringLiteral("Dackel"),
                               QStringLiteral("Labrador"),
                               QStringLiteral("Golden-Retriever"),
                               QStringLiteral("Border-Collie"),
                               QStringLiteral("Beagle"),
                               QStringLiteral("Schäferhund"),
                               QStringLiteral("Boxer"),
                               QStringLiteral("Pudel"),
                               QStringLiteral("Mops"),
                               QStringLiteral("Jack-Russell"),
                               QStringLiteral("Weimaraner"),
                               QStringLiteral("Spitz"),
                               QStringLiteral("Schnauzer"),
                               QStringLiteral("Münsterländer"),
                               QStringLiteral("Hovawart"),
                               QStringLiteral("Magyar-Vizsla"),
                               QStringLiteral("Australian-Shepherd"),
                               QStringLiteral("Cocker-Spaniel"),
                               QStringLiteral("Galgo")};

QString pick(QRandomGenerator &random, const QList<QString> &choices)
{
    return choices[random.bounded(int(choices.size()))];
}

// What goes before the @: lower-case ASCII, as every mail system takes it.
QString mailName(const QString &name)
{
    QString ascii;
    for (const QChar c : name.toLower()) {
        switch (c.unicode()) {
        case u'ä':
            ascii += QStringLiteral("ae");
            break;
        case u'ö':
            ascii += QStringLiteral("oe");
            break;
        case u'ü':
            ascii += QStringLiteral("ue");
            break;
        case u'ß':
            ascii += QStringLiteral("ss");
            break;
        default:
            if ((c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9'))
                ascii += c;
        }
    }
    return ascii;
}

// Mostly open, as most people leave it; a few keep things to their favourites or to themselves.
QString visibility(QRandomGenerator &random)
{
    const int roll = random.bounded(100);
    return roll < 82   ? QStringLiteral("Anybody")
           : roll < 94 ? QStringLiteral("Only Favourite")
                       : QStringLiteral("Nobody");
}

// Neighbours cluster: distances are spread evenly on a logarithmic scale, so about half of
// the people live within two kilometres and a few at the edge of town.
CLLocationCoordinate2D placeAround(QRandomGenerator &random, CLLocationCoordinate2D centre)
{
    constexpr double nearestKm = 0.2, farthestKm = 15.0, earthRadiusKm = 6371.0;
    const double distanceKm = nearestKm * std::pow(farthestKm / nearestKm, random.generateDouble());
    const double bearing = 2 * std::numbers::pi * random.generateDouble();
    const double angle = distanceKm / earthRadiusKm;
    const double lat1 = centre.latitude * std::numbers::pi / 180;
    const double lon1 = centre.longitude * std::numbers::pi / 180;
    const double lat2 = std::asin(std::sin(lat1) * std::cos(angle) +
                                  std::cos(lat1) * std::sin(angle) * std::cos(bearing));
    const double lon2 = lon1 + std::atan2(std::sin(bearing) * std::sin(angle) * std::cos(lat1),
                                          std::cos(angle) - std::sin(lat1) * std::sin(lat2));
    double longitude = lon2 * 180 / std::numbers::pi;
    if (longitude > 180)
        longitude -= 360;
    else if (longitude < -180)
        longitude += 360;
    return {lat2 * 180 / std::numbers::pi, longitude};
}

QList<DemoDog> dogsOf(QRandomGenerator &random)
{
    const int roll = random.bounded(100);
    const int count = roll < 65 ? 1 : roll < 90 ? 2 : 3;
    QList<DemoDog> pack;
    while (pack.size() < count) {
        DemoDog dog;
        dog.female = random.bounded(2) == 0;
        dog.name = pick(random, dog.female ? bitches : dogs);
        if (std::any_of(pack.cbegin(), pack.cend(),
                        [&](const DemoDog &other) { return other.name == dog.name; }))
            continue;
        dog.breed = pick(random, breeds);
        dog.age = 1 + random.bounded(14);
        pack << dog;
    }
    return pack;
}

} // namespace

QString DemoPerson::dogNames() const
{
    QStringList names;
    for (const DemoDog &dog : dogs)
        names << dog.name;
    if (names.size() < 2)
        return names.join(QString());
    const QString last = names.takeLast();
    return names.join(QStringLiteral(", ")) + QStringLiteral(" und ") + last;
}

DemoPeople::DemoPeople(quint64 seed, CLLocationCoordinate2D centre) : seed_(seed), centre_(centre)
{}

DemoPerson DemoPeople::person(int index) const
{
    const quint32 seedWords[] = {quint32(seed_), quint32(seed_ >> 32), quint32(index)};
    QRandomGenerator random(seedWords, std::size(seedWords));

    DemoPerson person;
    person.index = index;
    person.gender = random.bounded(2) == 0 ? QStringLiteral("female") : QStringLiteral("male");
    person.age = 19 + random.bounded(72 - 19 + 1);
    const bool female = person.gender == QLatin1String("female");
    const bool classic = person.age >= 50;
    person.firstName = pick(random, female ? (classic ? classicWomen : modernWomen)
                                           : (classic ? classicMen : modernMen));
    person.lastName = pick(random, familyNames);
    person.email = index == 0 ? QString::fromLatin1(demoEmail)
                              : QStringLiteral("%1.%2.%3@%4")
                                    .arg(mailName(person.firstName), mailName(person.lastName))
                                    .arg(index)
                                    .arg(QLatin1String(domain));
    // The account people sign in with stands where they are, with the others around it.
    person.position = index == 0 ? centre_ : placeAround(random, centre_);
    person.dogs = dogsOf(random);
    DemoStories stories(random);
    person.dogInfo = stories.aboutDogs(person.dogs);
    person.about = stories.aboutOwner(person);
    person.address = stories.address();
    person.online = random.bounded(5) == 0;
    person.minutesSinceSeen = person.online ? random.bounded(5) : 5 + random.bounded(3 * 24 * 60);
    person.imgStatus = visibility(random);
    person.lastseenStatus = visibility(random);
    person.look = random.generate();
    return person;
}

QList<int> DemoPeople::favouritesOf(int index, int count) const
{
    // The demo account starts with a few, so that its favourites list is not empty.
    if (index == 0) {
        QList<int> first;
        for (int other = 1; other < qMin(count, 4); ++other)
            first << other;
        return first;
    }
    const quint32 seedWords[] = {quint32(seed_), quint32(seed_ >> 32), quint32(index), 0xfa70u};
    QRandomGenerator random(seedWords, std::size(seedWords));
    if (count < 2 || random.bounded(4) != 0)
        return {};
    int other = random.bounded(count - 1);
    if (other >= index)
        ++other;
    return {other};
}
