#pragma once

#include "Platform/Location.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

// Reverse geocoding without a network service: a position within 50 km of a town of a small
// built-in table (German cities and a handful of European capitals) is named after the
// nearest one, with its region, country and ISO country code; farther away only the
// coordinates are known, and the placemark's name is the coordinates as text. Street-level
// parts (thoroughfare, postal code) stay empty: a town's centre says nothing about them.
class Geocoder
{
public:
    using CompletionHandler = std::function<void(const QList<Placemark> &placemarks,
                                                 const std::optional<QString> &error)>;

    static constexpr double townRadiusMetres = 50'000;

    // Answers from the event loop, never inside this call. The answer does not depend on this
    // object living on: like the phone's geocoder, a temporary one may be asked. An invalid
    // coordinate answers no placemark and an error.
    void reverseGeocodeLocation(const Location &location, CompletionHandler completionHandler);

    // The same answer at once, for callers that need no event loop.
    static Placemark placemark(const CLLocationCoordinate2D &coordinate);
};

// The one-line address of a placemark: street, postal code with town, region (when it is not
// the town), country ("Unter den Linden, 10117 Berlin, Germany"). Unknown parts are left out
// with their separators; with none known, the placemark's name.
QString displayLocationInfo(const Placemark &placemark);
