#include "Platform/Location.h"

#include <QStringList>

#include <cmath>
#include <numbers>

bool isValidCoordinate(const CLLocationCoordinate2D &coordinate)
{
    return std::isfinite(coordinate.latitude) && std::isfinite(coordinate.longitude) &&
           std::abs(coordinate.latitude) <= 90 && std::abs(coordinate.longitude) <= 180;
}

std::optional<CLLocationCoordinate2D> coordinateFromText(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 2)
        return std::nullopt;
    bool latitudeOk = false;
    bool longitudeOk = false;
    // QString::toDouble reads the C locale whatever the user's, so "52,5" never parses as 52.5.
    const CLLocationCoordinate2D coordinate{parts[0].trimmed().toDouble(&latitudeOk),
                                            parts[1].trimmed().toDouble(&longitudeOk)};
    if (!latitudeOk || !longitudeOk || !isValidCoordinate(coordinate))
        return std::nullopt;
    return coordinate;
}

double distanceInMetres(const CLLocationCoordinate2D &from, const CLLocationCoordinate2D &to)
{
    // Haversine on the mean Earth radius: within half a percent of the ellipsoid, which is
    // far finer than anything the app decides by distance.
    constexpr double earthRadius = 6'371'008.8;
    constexpr double radians = std::numbers::pi / 180;
    const double dLatitude = (to.latitude - from.latitude) * radians;
    const double dLongitude = (to.longitude - from.longitude) * radians;
    const double a = std::pow(std::sin(dLatitude / 2), 2) +
                     std::cos(from.latitude * radians) * std::cos(to.latitude * radians) *
                         std::pow(std::sin(dLongitude / 2), 2);
    return 2 * earthRadius * std::asin(std::min(1.0, std::sqrt(a)));
}
