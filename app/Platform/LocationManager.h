#pragma once

#include "Platform/Geocoder.h"
#include "Platform/Location.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

class QGeoPositionInfoSource;
class LocationManager;

// The location manager's delegate role, which the application delegate takes.
class LocationManagerDelegate
{
public:
    virtual ~LocationManagerDelegate() = default;
    // New positions, oldest first; the last is the newest.
    virtual void locationManager(LocationManager &manager,
                                 const QList<Location> &didUpdateLocations) = 0;
    virtual void locationManager(LocationManager &manager, const QString &didFailWithError) = 0;
};

// The phone's location manager. Positions come from, in this order:
//  1. TAILWISE_LOCATION=lat,lon, when set: whoever sets it wants the app to be there (two
//     app instances on one desktop can be in two towns). Text that is not a position is
//     logged and ignored; TAILWISE_LOCATION=off stands for location services switched off.
//  2. The platform's positioning source (Qt Positioning), when there is one. When it fails
//     for good, the failure goes to the delegate and the default position takes over. Until
//     its first position, which may never come (a desktop's geoclue without its service
//     waits for ever), the default position stands in after firstFixTimeout().
//  3. The default position, Berlin-Mitte (52.5200, 13.4050), so that distances and the
//     address line always have something to work from.
// A fixed position (1 or 3) is reported once each time updates start. Delegate calls come
// from the event loop, never inside the call that started updates.
class LocationManager : public QObject
{
    Q_OBJECT

public:
    // Makes the positioning source of step 2; nullptr when there is none. Tests stand in
    // for the phone's hardware through it.
    using DeviceSource = std::function<QGeoPositionInfoSource *(QObject *parent)>;

    static constexpr CLLocationCoordinate2D defaultCoordinate{52.5200, 13.4050};
    // How far the device must move before significant-change monitoring reports it.
    static constexpr double significantChangeMetres = 500;

    explicit LocationManager(QObject *parent = nullptr);
    explicit LocationManager(DeviceSource deviceSource, QObject *parent = nullptr);
    ~LocationManager() override;

    // False only when TAILWISE_LOCATION=off; starting updates then reports a failure.
    static bool locationServicesEnabled();

    // A desktop asks nobody: granted at once, and logged the first time.
    void requestWhenInUseAuthorization();

    // Not owned.
    void setDelegate(LocationManagerDelegate *delegate) { delegate_ = delegate; }
    LocationManagerDelegate *delegate() const { return delegate_; }

    // Reports the first position, then each one at least significantChangeMetres from the
    // last reported.
    void startMonitoringSignificantLocationChanges();
    void stopMonitoringSignificantLocationChanges();

    // Finer than a kilometre lets the source use satellites; coarser asks it not to.
    void setDesiredAccuracy(double metres);
    double desiredAccuracy() const { return desiredAccuracy_; }

    // Reports every position.
    void startUpdatingLocation();
    void stopUpdatingLocation();

    // How long the positioning source may take for its first position; 10 s by default.
    void setFirstFixTimeout(std::chrono::milliseconds timeout) { firstFix_.setInterval(timeout); }
    std::chrono::milliseconds firstFixTimeout() const { return firstFix_.intervalAsDuration(); }

    // The newest position known, reported or not.
    std::optional<Location> location() const { return location_; }

private:
    void chooseSource();
    void updateRunning();
    void fixedPositionDue();
    void received(const Location &location);
    void deviceFailed(const QString &error, bool forGood);
    void noFirstFix();
    bool isRunning() const { return updating_ || monitoring_; }

    DeviceSource deviceSource_;
    LocationManagerDelegate *delegate_ = nullptr;
    bool sourceChosen_ = false;
    QPointer<QGeoPositionInfoSource> device_;
    bool deviceAnswered_ = false;
    QTimer firstFix_;
    std::optional<CLLocationCoordinate2D> fixed_;
    bool fixedReported_ = false;
    bool fixedDue_ = false;
    bool offReportDue_ = false;
    bool authorized_ = false;
    bool updating_ = false;
    bool monitoring_ = false;
    double desiredAccuracy_ = 100;
    std::optional<Location> location_;
    std::optional<CLLocationCoordinate2D> lastReported_;
};
