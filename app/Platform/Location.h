#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// A position in degrees (WGS 84).
struct CLLocationCoordinate2D
{
    double latitude = 0;
    double longitude = 0;
    bool operator==(const CLLocationCoordinate2D &) const = default;
};

// A position the device reported, with when it was taken.
struct Location
{
    CLLocationCoordinate2D coordinate;
    QDateTime timestamp;
};

// What reverse geocoding knows about a place; parts it does not know are empty.
struct Placemark
{
    // Initialised so that designated initialisers may name only the parts they know.
    QString name = {}, thoroughfare = {}, locality = {}, postalCode = {}, administrativeArea = {},
            country = {}, isoCountryCode = {};
    bool operator==(const Placemark &) const = default;
};

// Latitude within ±90 and longitude within ±180, both finite.
bool isValidCoordinate(const CLLocationCoordinate2D &coordinate);

// "latitude,longitude" in decimal degrees with a point ("52.52,13.405"; spaces around the
// numbers allowed); none for anything else, including a decimal comma.
std::optional<CLLocationCoordinate2D> coordinateFromText(const QString &text);

// Great-circle distance in metres.
double distanceInMetres(const CLLocationCoordinate2D &from, const CLLocationCoordinate2D &to);
