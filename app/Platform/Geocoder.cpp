#include "Platform/Geocoder.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTimer>

#include <array>

namespace {

struct Town
{
    const char16_t *locality;
    const char16_t *administrativeArea;
    const char16_t *country;
    const char16_t *isoCountryCode;
    CLLocationCoordinate2D centre;
};

// Towns by the names they use themselves; countries in English, as the address line shows
// them. Enough for a phone on the move in Germany to see its region, and for a few
// neighbouring capitals; anywhere else the coordinates speak for themselves.
constexpr std::array towns{
    Town{u"Berlin", u"Berlin", u"Germany", u"DE", {52.5200, 13.4050}},
    Town{u"Hamburg", u"Hamburg", u"Germany", u"DE", {53.5511, 9.9937}},
    Town{u"München", u"Bayern", u"Germany", u"DE", {48.1374, 11.5755}},
    Town{u"Köln", u"Nordrhein-Westfalen", u"Germany", u"DE", {50.9375, 6.9603}},
    Town{u"Frankfurt am Main", u"Hessen", u"Germany", u"DE", {50.1109, 8.6821}},
    Town{u"Stuttgart", u"Baden-Württemberg", u"Germany", u"DE", {48.7758, 9.1829}},
    Town{u"Düsseldorf", u"Nordrhein-Westfalen", u"Germany", u"DE", {51.2277, 6.7735}},
    Town{u"Leipzig", u"Sachsen", u"Germany", u"DE", {51.3397, 12.3731}},
    Town{u"Dortmund", u"Nordrhein-Westfalen", u"Germany", u"DE", {51.5136, 7.4653}},
    Town{u"Essen", u"Nordrhein-Westfalen", u"Germany", u"DE", {51.4556, 7.0116}},
    Town{u"Bremen", u"Bremen", u"Germany", u"DE", {53.0793, 8.8017}},
    Town{u"Dresden", u"Sachsen", u"Germany", u"DE", {51.0504, 13.7373}},
    Town{u"Hannover", u"Niedersachsen", u"Germany", u"DE", {52.3759, 9.7320}},
    Town{u"Nürnberg", u"Bayern", u"Germany", u"DE", {49.4521, 11.0767}},
    Town{u"Duisburg", u"Nordrhein-Westfalen", u"Germany", u"DE", {51.4344, 6.7623}},
    Town{u"Bochum", u"Nordrhein-Westfalen", u"Germany", u"DE", {51.4818, 7.2162}},
    Town{u"Bielefeld", u"Nordrhein-Westfalen", u"Germany", u"DE", {52.0302, 8.5325}},
    Town{u"Bonn", u"Nordrhein-Westfalen", u"Germany", u"DE", {50.7374, 7.0982}},
    Town{u"Münster", u"Nordrhein-Westfalen", u"Germany", u"DE", {51.9607, 7.6261}},
    Town{u"Aachen", u"Nordrhein-Westfalen", u"Germany", u"DE", {50.7753, 6.0839}},
    Town{u"Mannheim", u"Baden-Württemberg", u"Germany", u"DE", {49.4875, 8.4660}},
    Town{u"Karlsruhe", u"Baden-Württemberg", u"Germany", u"DE", {49.0069, 8.4037}},
    Town{u"Freiburg im Breisgau", u"Baden-Württemberg", u"Germany", u"DE", {47.9990, 7.8421}},
    Town{u"Ulm", u"Baden-Württemberg", u"Germany", u"DE", {48.4011, 9.9876}},
    Town{u"Konstanz", u"Baden-Württemberg", u"Germany", u"DE", {47.6603, 9.1758}},
    Town{u"Augsburg", u"Bayern", u"Germany", u"DE", {48.3705, 10.8978}},
    Town{u"Regensburg", u"Bayern", u"Germany", u"DE", {49.0134, 12.1016}},
    Town{u"Würzburg", u"Bayern", u"Germany", u"DE", {49.7913, 9.9534}},
    Town{u"Passau", u"Bayern", u"Germany", u"DE", {48.5667, 13.4319}},
    Town{u"Wiesbaden", u"Hessen", u"Germany", u"DE", {50.0782, 8.2398}},
    Town{u"Kassel", u"Hessen", u"Germany", u"DE", {51.3127, 9.4797}},
    Town{u"Mainz", u"Rheinland-Pfalz", u"Germany", u"DE", {49.9929, 8.2473}},
    Town{u"Koblenz", u"Rheinland-Pfalz", u"Germany", u"DE", {50.3569, 7.5890}},
    Town{u"Trier", u"Rheinland-Pfalz", u"Germany", u"DE", {49.7499, 6.6371}},
    Town{u"Saarbrücken", u"Saarland", u"Germany", u"DE", {49.2402, 6.9969}},
    Town{u"Braunschweig", u"Niedersachsen", u"Germany", u"DE", {52.2689, 10.5268}},
    Town{u"Osnabrück", u"Niedersachsen", u"Germany", u"DE", {52.2799, 8.0472}},
    Town{u"Oldenburg", u"Niedersachsen", u"Germany", u"DE", {53.1435, 8.2146}},
    Town{u"Göttingen", u"Niedersachsen", u"Germany", u"DE", {51.5413, 9.9158}},
    Town{u"Kiel", u"Schleswig-Holstein", u"Germany", u"DE", {54.3233, 10.1228}},
    Town{u"Lübeck", u"Schleswig-Holstein", u"Germany", u"DE", {53.8655, 10.6866}},
    Town{u"Flensburg", u"Schleswig-Holstein", u"Germany", u"DE", {54.7937, 9.4469}},
    Town{u"Rostock", u"Mecklenburg-Vorpommern", u"Germany", u"DE", {54.0924, 12.0991}},
    Town{u"Schwerin", u"Mecklenburg-Vorpommern", u"Germany", u"DE", {53.6355, 11.4012}},
    Town{u"Potsdam", u"Brandenburg", u"Germany", u"DE", {52.3906, 13.0645}},
    Town{u"Cottbus", u"Brandenburg", u"Germany", u"DE", {51.7563, 14.3329}},
    Town{u"Magdeburg", u"Sachsen-Anhalt", u"Germany", u"DE", {52.1205, 11.6276}},
    Town{u"Halle (Saale)", u"Sachsen-Anhalt", u"Germany", u"DE", {51.4970, 11.9688}},
    Town{u"Chemnitz", u"Sachsen", u"Germany", u"DE", {50.8278, 12.9214}},
    Town{u"Erfurt", u"Thüringen", u"Germany", u"DE", {50.9848, 11.0299}},
    Town{u"Wien", u"Wien", u"Austria", u"AT", {48.2082, 16.3738}},
    Town{u"Bern", u"Bern", u"Switzerland", u"CH", {46.9480, 7.4474}},
    Town{u"Paris", u"Île-de-France", u"France", u"FR", {48.8566, 2.3522}},
    Town{u"Amsterdam", u"Noord-Holland", u"Netherlands", u"NL", {52.3676, 4.9041}},
    Town{u"Bruxelles", u"Bruxelles-Capitale", u"Belgium", u"BE", {50.8503, 4.3517}},
    Town{u"Luxembourg", u"Luxembourg", u"Luxembourg", u"LU", {49.6116, 6.1319}},
    Town{u"København", u"Hovedstaden", u"Denmark", u"DK", {55.6761, 12.5683}},
    Town{u"Warszawa", u"Mazowieckie", u"Poland", u"PL", {52.2297, 21.0122}},
    Town{u"Praha", u"Praha", u"Czechia", u"CZ", {50.0755, 14.4378}},
    Town{u"London", u"England", u"United Kingdom", u"GB", {51.5074, -0.1278}},
    Town{u"Roma", u"Lazio", u"Italy", u"IT", {41.9028, 12.4964}},
    Town{u"Madrid", u"Comunidad de Madrid", u"Spain", u"ES", {40.4168, -3.7038}},
};

QString coordinateText(const CLLocationCoordinate2D &coordinate)
{
    return QStringLiteral("%1, %2")
        .arg(coordinate.latitude, 0, 'f', 4)
        .arg(coordinate.longitude, 0, 'f', 4);
}

} // namespace

Placemark Geocoder::placemark(const CLLocationCoordinate2D &coordinate)
{
    const Town *nearest = nullptr;
    double nearestDistance = townRadiusMetres;
    for (const Town &town : towns) {
        const double distance = distanceInMetres(coordinate, town.centre);
        if (distance <= nearestDistance) {
            nearest = &town;
            nearestDistance = distance;
        }
    }
    if (!nearest)
        return Placemark{.name = coordinateText(coordinate)};
    const auto text = [](const char16_t *value) { return QString::fromUtf16(value); };
    return Placemark{.name = text(nearest->locality),
                     .locality = text(nearest->locality),
                     .administrativeArea = text(nearest->administrativeArea),
                     .country = text(nearest->country),
                     .isoCountryCode = text(nearest->isoCountryCode)};
}

void Geocoder::reverseGeocodeLocation(const Location &location, CompletionHandler completionHandler)
{
    QList<Placemark> placemarks;
    std::optional<QString> error;
    if (isValidCoordinate(location.coordinate))
        placemarks.append(placemark(location.coordinate));
    else
        error = QStringLiteral("Geocoder: %1 is not a position on Earth")
                    .arg(coordinateText(location.coordinate));
    QTimer::singleShot(0, QCoreApplication::instance(),
                       [completionHandler = std::move(completionHandler),
                        placemarks = std::move(placemarks),
                        error = std::move(error)] { completionHandler(placemarks, error); });
}

QString displayLocationInfo(const Placemark &placemark)
{
    const QString locality = placemark.locality.trimmed();
    const QString area = placemark.administrativeArea.trimmed();
    const QStringList candidates{
        placemark.thoroughfare.trimmed(),
        QStringList{placemark.postalCode.trimmed(), locality}.join(QLatin1Char(' ')).trimmed(),
        area == locality ? QString() : area,
        placemark.country.trimmed(),
    };
    QStringList parts;
    for (const QString &part : candidates)
        if (!part.isEmpty())
            parts.append(part);
    return parts.isEmpty() ? placemark.name.trimmed() : parts.join(QStringLiteral(", "));
}
