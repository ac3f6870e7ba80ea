#include "Platform/LocationManager.h"
#include "TestSupport.h"

#include <QGeoPositionInfoSource>

#include <cmath>

// Found by argument-dependent lookup, so beside the type rather than in the test's namespace.
inline void PrintTo(const CLLocationCoordinate2D &coordinate, std::ostream *out)
{
    *out << coordinate.latitude << ',' << coordinate.longitude;
}

namespace {

struct RecordingLocationDelegate : LocationManagerDelegate
{
    void locationManager(LocationManager &, const QList<Location> &didUpdateLocations) override
    {
        updates += didUpdateLocations;
    }
    void locationManager(LocationManager &, const QString &didFailWithError) override
    {
        errors.append(didFailWithError);
    }

    QList<Location> updates;
    QStringList errors;
};

// The phone's positioning hardware: the test says where it is and when it fails.
class FakePositionSource : public QGeoPositionInfoSource
{
public:
    explicit FakePositionSource(QObject *parent) : QGeoPositionInfoSource(parent) {}

    void moveTo(double latitude, double longitude)
    {
        Q_EMIT
        positionUpdated(
            QGeoPositionInfo(QGeoCoordinate(latitude, longitude), QDateTime::currentDateTimeUtc()));
    }
    void fail(Error error)
    {
        error_ = error;
        Q_EMIT
        errorOccurred(error);
    }

    QGeoPositionInfo lastKnownPosition(bool) const override { return {}; }
    PositioningMethods supportedPositioningMethods() const override
    {
        return AllPositioningMethods;
    }
    int minimumUpdateInterval() const override { return 0; }
    Error error() const override { return error_; }
    void startUpdates() override { running = true; }
    void stopUpdates() override { running = false; }
    void requestUpdate(int) override {}

    bool running = false;

private:
    Error error_ = NoError;
};

QList<CLLocationCoordinate2D> coordinates(const QList<Location> &locations)
{
    QList<CLLocationCoordinate2D> result;
    for (const Location &location : locations)
        result.append(location.coordinate);
    return result;
}

LocationManager::DeviceSource noDevice()
{
    return [](QObject *) { return nullptr; };
}

TEST(Location, AConfiguredPositionIsDecimalDegreesWithAPoint)
{
    const QList<std::pair<QString, std::optional<CLLocationCoordinate2D>>> cases{
        {"52.52,13.405", CLLocationCoordinate2D{52.52, 13.405}},
        {" -33.8688 , 151.2093 ", CLLocationCoordinate2D{-33.8688, 151.2093}},
        {"90,-180", CLLocationCoordinate2D{90, -180}},
        {"52,52,13,40", std::nullopt}, // decimal commas
        {"52.52;13.405", std::nullopt},
        {"52.52", std::nullopt},
        {"52.52,13.405,30", std::nullopt},
        {"north,east", std::nullopt},
        {"90.1,0", std::nullopt},
        {"0,180.5", std::nullopt},
        {"nan,0", std::nullopt},
        {"0,inf", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(coordinateFromText(text), expected) << text.toStdString();
}

TEST(Location, TheConfiguredPositionWinsAndIsReportedOnceEachTimeUpdatesStart)
{
    const ScopedEnvironment configured("TAILWISE_LOCATION", "48.1374, 11.5755");
    int devicesMade = 0;
    LocationManager manager([&](QObject *parent) {
        ++devicesMade;
        return new FakePositionSource(parent);
    });
    RecordingLocationDelegate delegate;
    manager.setDelegate(&delegate);

    manager.startMonitoringSignificantLocationChanges();
    manager.startUpdatingLocation();
    EXPECT_TRUE(delegate.updates.isEmpty()) << "not inside the call that started updates";
    ASSERT_TRUE(waitUntil([&] { return !delegate.updates.isEmpty(); }));
    QTest::qWait(50);
    EXPECT_EQ(coordinates(delegate.updates), (QList<CLLocationCoordinate2D>{{48.1374, 11.5755}}));
    EXPECT_EQ(devicesMade, 0);
    ASSERT_TRUE(manager.location());
    EXPECT_EQ(manager.location()->coordinate, (CLLocationCoordinate2D{48.1374, 11.5755}));

    manager.stopUpdatingLocation();
    manager.stopMonitoringSignificantLocationChanges();
    manager.startUpdatingLocation();
    ASSERT_TRUE(waitUntil([&] { return delegate.updates.size() == 2; }));
    manager.stopUpdatingLocation();
    QTest::qWait(50);
    EXPECT_EQ(delegate.updates.size(), 2);
    EXPECT_TRUE(delegate.errors.isEmpty());
}

TEST(Location, WithoutASourceOrAUsableSettingTheDeviceIsInBerlinMitteUnlessSwitchedOff)
{
    for (const QByteArray setting : {"", "52,52,13,40"}) {
        const ScopedEnvironment configured("TAILWISE_LOCATION", setting);
        EXPECT_TRUE(LocationManager::locationServicesEnabled());
        LocationManager manager(noDevice());
        RecordingLocationDelegate delegate;
        manager.setDelegate(&delegate);
        manager.startUpdatingLocation();
        ASSERT_TRUE(waitUntil([&] { return !delegate.updates.isEmpty(); })) << setting.data();
        EXPECT_EQ(delegate.updates[0].coordinate, (CLLocationCoordinate2D{52.5200, 13.4050}));
    }
    const ScopedEnvironment off("TAILWISE_LOCATION", "off");
    EXPECT_FALSE(LocationManager::locationServicesEnabled());
    LocationManager manager(noDevice());
    RecordingLocationDelegate delegate;
    manager.setDelegate(&delegate);
    manager.startMonitoringSignificantLocationChanges();
    manager.startUpdatingLocation();
    ASSERT_TRUE(waitUntil([&] { return !delegate.errors.isEmpty(); }));
    QTest::qWait(50);
    EXPECT_EQ(delegate.errors, QStringList{"location services are off"});
    EXPECT_TRUE(delegate.updates.isEmpty());
}

TEST(Location, SignificantChangesCountFromTheLastReportAndAFailedSourceGivesWayToTheDefault)
{
    const ScopedEnvironment configured("TAILWISE_LOCATION", "");
    FakePositionSource *device = nullptr;
    LocationManager manager(
        [&](QObject *parent) { return device = new FakePositionSource(parent); });
    RecordingLocationDelegate delegate;
    manager.setDelegate(&delegate);

    manager.startMonitoringSignificantLocationChanges();
    ASSERT_TRUE(device);
    EXPECT_TRUE(device->running);
    // A metre of latitude is 1/111,195 of a degree.
    device->moveTo(50.0, 8.0);
    device->moveTo(50.004, 8.0); // 445 m: not yet
    device->moveTo(50.006, 8.0); // 667 m from the last report, 222 m from the last position
    ASSERT_TRUE(waitUntil([&] { return delegate.updates.size() == 2; }));
    EXPECT_EQ(coordinates(delegate.updates),
              (QList<CLLocationCoordinate2D>{{50.0, 8.0}, {50.006, 8.0}}));

    manager.startUpdatingLocation();
    device->moveTo(50.00601, 8.0);
    ASSERT_TRUE(waitUntil([&] { return delegate.updates.size() == 3; })) << "every position";
    manager.stopUpdatingLocation();
    EXPECT_TRUE(device->running) << "still monitoring";
    manager.stopMonitoringSignificantLocationChanges();
    EXPECT_FALSE(device->running);

    manager.startUpdatingLocation();
    device->fail(QGeoPositionInfoSource::AccessError);
    ASSERT_TRUE(waitUntil([&] { return delegate.updates.size() == 4; }));
    EXPECT_EQ(delegate.errors, QStringList{"access to the device's position was denied"});
    EXPECT_EQ(delegate.updates.last().coordinate, LocationManager::defaultCoordinate);
    EXPECT_EQ(manager.location()->coordinate, LocationManager::defaultCoordinate);
}

TEST(Location, ASilentSourceLeavesTheDefaultPositionUntilItsFirstFix)
{
    const ScopedEnvironment configured("TAILWISE_LOCATION", "");
    FakePositionSource *device = nullptr;
    LocationManager manager(
        [&](QObject *parent) { return device = new FakePositionSource(parent); });
    manager.setFirstFixTimeout(std::chrono::milliseconds(50));
    RecordingLocationDelegate delegate;
    manager.setDelegate(&delegate);

    manager.startMonitoringSignificantLocationChanges();
    ASSERT_TRUE(waitUntil([&] { return !delegate.updates.isEmpty(); }));
    EXPECT_EQ(delegate.updates[0].coordinate, LocationManager::defaultCoordinate);
    device->moveTo(53.5511, 9.9937);
    ASSERT_TRUE(waitUntil([&] { return delegate.updates.size() == 2; }));
    EXPECT_EQ(delegate.updates[1].coordinate, (CLLocationCoordinate2D{53.5511, 9.9937}));
    EXPECT_TRUE(delegate.errors.isEmpty());
}

TEST(Geocoder, NamesTheNearestTownWithin50KmAndOtherwiseOnlyTheCoordinates)
{
    Geocoder geocoder;
    std::optional<std::pair<QList<Placemark>, std::optional<QString>>> answer;
    geocoder.reverseGeocodeLocation(
        Location{{52.3950, 13.0600}, {}},
        [&](const QList<Placemark> &placemarks, const std::optional<QString> &error) {
            answer = {placemarks, error};
        });
    EXPECT_FALSE(answer) << "answers from the event loop";
    ASSERT_TRUE(waitUntil([&] { return answer.has_value(); }));
    ASSERT_EQ(answer->first.size(), 1);
    EXPECT_EQ(answer->first[0].locality, "Potsdam") << "nearer than Berlin";
    EXPECT_FALSE(answer->second);

    const Placemark berlin = Geocoder::placemark(LocationManager::defaultCoordinate);
    EXPECT_EQ(berlin, (Placemark{.name = "Berlin",
                                 .thoroughfare = {},
                                 .locality = "Berlin",
                                 .postalCode = {},
                                 .administrativeArea = "Berlin",
                                 .country = "Germany",
                                 .isoCountryCode = "DE"}));
    EXPECT_EQ(displayLocationInfo(berlin), "Berlin, Germany");

    // Strasbourg: Freiburg and Karlsruhe, the nearest towns of the table, are over 60 km away.
    EXPECT_EQ(Geocoder::placemark({48.5734, 7.7521}), Placemark{.name = "48.5734, 7.7521"});
    EXPECT_EQ(displayLocationInfo(Geocoder::placemark({-33.8688, 151.2093})), "-33.8688, 151.2093");
    EXPECT_EQ(Geocoder::placemark({48.2, 16.37}).isoCountryCode, "AT");

    answer.reset();
    geocoder.reverseGeocodeLocation(
        Location{{std::nan(""), 0}, {}},
        [&](const QList<Placemark> &placemarks, const std::optional<QString> &error) {
            answer = {placemarks, error};
        });
    ASSERT_TRUE(waitUntil([&] { return answer.has_value(); }));
    EXPECT_TRUE(answer->first.isEmpty());
    EXPECT_TRUE(answer->second);
}

TEST(Geocoder, TheAddressLineLeavesOutWhatIsUnknown)
{
    const Placemark full{.name = "Brandenburger Tor",
                         .thoroughfare = "Pariser Platz",
                         .locality = "Berlin",
                         .postalCode = "10117",
                         .administrativeArea = "Berlin",
                         .country = "Germany",
                         .isoCountryCode = "DE"};
    const auto without = [&](QString Placemark::*part) {
        Placemark placemark = full;
        placemark.*part = QString();
        return placemark;
    };
    EXPECT_EQ(displayLocationInfo(full), "Pariser Platz, 10117 Berlin, Germany");
    EXPECT_EQ(displayLocationInfo(without(&Placemark::thoroughfare)), "10117 Berlin, Germany");
    EXPECT_EQ(displayLocationInfo(without(&Placemark::postalCode)),
              "Pariser Platz, Berlin, Germany");
    EXPECT_EQ(displayLocationInfo(without(&Placemark::locality)),
              "Pariser Platz, 10117, Berlin, Germany");
    EXPECT_EQ(displayLocationInfo(without(&Placemark::country)), "Pariser Platz, 10117 Berlin");
    EXPECT_EQ(displayLocationInfo(
                  Placemark{.locality = "München", .administrativeArea = "Bayern", .country = " "}),
              "München, Bayern");
    EXPECT_EQ(displayLocationInfo(Placemark{.name = "Brandenburger Tor"}), "Brandenburger Tor");
    EXPECT_EQ(displayLocationInfo(Placemark{}), "");
}

} // namespace
