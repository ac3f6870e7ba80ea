#include "Platform/LocationManager.h"

#include "Deployment.h"
#include "Platform/Print.h"

#include <QGeoPositionInfoSource>
#include <QTimer>

namespace {

QString errorText(QGeoPositionInfoSource::Error error)
{
    switch (error) {
    case QGeoPositionInfoSource::AccessError:
        return QStringLiteral("access to the device's position was denied");
    case QGeoPositionInfoSource::ClosedError:
        return QStringLiteral("the positioning source closed");
    case QGeoPositionInfoSource::UpdateTimeoutError:
        return QStringLiteral("no position came in time");
    case QGeoPositionInfoSource::UnknownSourceError:
    case QGeoPositionInfoSource::NoError:
        break;
    }
    return QStringLiteral("the positioning source failed");
}

QString coordinateText(const CLLocationCoordinate2D &coordinate)
{
    return QStringLiteral("%1,%2")
        .arg(coordinate.latitude, 0, 'f', 4)
        .arg(coordinate.longitude, 0, 'f', 4);
}

} // namespace

LocationManager::LocationManager(QObject *parent)
    : LocationManager(
          [](QObject *owner) { return QGeoPositionInfoSource::createDefaultSource(owner); }, parent)
{}

LocationManager::LocationManager(DeviceSource deviceSource, QObject *parent)
    : QObject(parent), deviceSource_(std::move(deviceSource))
{
    firstFix_.setSingleShot(true);
    firstFix_.setInterval(std::chrono::seconds(10));
    connect(&firstFix_, &QTimer::timeout, this, &LocationManager::noFirstFix);
}

LocationManager::~LocationManager() = default;

bool LocationManager::locationServicesEnabled()
{
    return Deployment::locationServicesEnabled();
}

void LocationManager::requestWhenInUseAuthorization()
{
    if (authorized_)
        return;
    authorized_ = true;
    print(QStringLiteral("Location: when-in-use authorisation granted (a desktop asks nobody)"));
}

void LocationManager::startMonitoringSignificantLocationChanges()
{
    if (monitoring_)
        return;
    monitoring_ = true;
    // A fresh start reports where the device is now, not only where it goes next.
    lastReported_.reset();
    updateRunning();
}

void LocationManager::stopMonitoringSignificantLocationChanges()
{
    monitoring_ = false;
    updateRunning();
}

void LocationManager::setDesiredAccuracy(double metres)
{
    desiredAccuracy_ = metres;
    if (device_)
        device_->setPreferredPositioningMethods(
            metres < 1000 ? QGeoPositionInfoSource::AllPositioningMethods
                          : QGeoPositionInfoSource::NonSatellitePositioningMethods);
}

void LocationManager::startUpdatingLocation()
{
    if (updating_)
        return;
    updating_ = true;
    updateRunning();
}

void LocationManager::stopUpdatingLocation()
{
    updating_ = false;
    updateRunning();
}

void LocationManager::chooseSource()
{
    if (sourceChosen_)
        return;
    sourceChosen_ = true;
    const QString configured = Deployment::configuredLocation();
    if (!configured.isEmpty()) {
        if (const auto coordinate = coordinateFromText(configured)) {
            fixed_ = *coordinate;
            print(QStringLiteral("Location: at %1 (TAILWISE_LOCATION)")
                      .arg(coordinateText(*coordinate)));
            return;
        }
        print(QStringLiteral("Location: TAILWISE_LOCATION=\"%1\" is not \"latitude,longitude\" in "
                             "decimal degrees (for example 52.52,13.405); ignoring it")
                  .arg(configured));
    }
    if (QGeoPositionInfoSource *device = deviceSource_ ? deviceSource_(this) : nullptr) {
        device_ = device;
        print(QStringLiteral("Location: from the positioning source \"%1\"")
                  .arg(device->sourceName()));
        // Sources may answer inside startUpdates(); the delegate hears of it from the event
        // loop all the same.
        connect(device, &QGeoPositionInfoSource::positionUpdated, this,
                [this](const QGeoPositionInfo &info) {
                    if (!info.coordinate().isValid())
                        return;
                    deviceAnswered_ = true;
                    firstFix_.stop();
                    const Location location{
                        {info.coordinate().latitude(), info.coordinate().longitude()},
                        info.timestamp()};
                    QMetaObject::invokeMethod(
                        this, [this, location] { received(location); }, Qt::QueuedConnection);
                });
        connect(device, &QGeoPositionInfoSource::errorOccurred, this,
                [this](QGeoPositionInfoSource::Error error) {
                    // A timeout is a slow fix, which may still come; anything else ends the
                    // source.
                    const bool forGood = error != QGeoPositionInfoSource::UpdateTimeoutError;
                    QMetaObject::invokeMethod(
                        this, [this, error, forGood] { deviceFailed(errorText(error), forGood); },
                        Qt::QueuedConnection);
                });
        setDesiredAccuracy(desiredAccuracy_);
        return;
    }
    fixed_ = defaultCoordinate;
    print(QStringLiteral("Location: no positioning source; at the default position %1 "
                         "(Berlin-Mitte)")
              .arg(coordinateText(defaultCoordinate)));
}

void LocationManager::updateRunning()
{
    if (!isRunning()) {
        firstFix_.stop();
        if (device_)
            device_->stopUpdates();
        return;
    }
    if (!locationServicesEnabled()) {
        // As the phone does: starting is allowed, and answered with why nothing will come.
        if (!offReportDue_) {
            offReportDue_ = true;
            QMetaObject::invokeMethod(
                this,
                [this] {
                    offReportDue_ = false;
                    if (delegate_ && isRunning())
                        delegate_->locationManager(*this,
                                                   QStringLiteral("location services are off"));
                },
                Qt::QueuedConnection);
        }
        return;
    }
    chooseSource();
    if (device_) {
        device_->startUpdates();
        if (!deviceAnswered_ && !firstFix_.isActive())
            firstFix_.start();
    } else if (!fixedDue_) {
        fixedDue_ = true;
        QTimer::singleShot(0, this, &LocationManager::fixedPositionDue);
    }
}

void LocationManager::fixedPositionDue()
{
    fixedDue_ = false;
    if (isRunning() && fixed_)
        received(Location{*fixed_, QDateTime::currentDateTimeUtc()});
}

void LocationManager::received(const Location &location)
{
    if (!isRunning() || !isValidCoordinate(location.coordinate))
        return;
    location_ = location;
    const bool significant =
        !lastReported_ ||
        distanceInMetres(*lastReported_, location.coordinate) >= significantChangeMetres;
    if (!updating_ && !significant)
        return;
    lastReported_ = location.coordinate;
    if (delegate_)
        delegate_->locationManager(*this, QList<Location>{location});
}

void LocationManager::noFirstFix()
{
    if (!isRunning() || !device_ || deviceAnswered_)
        return;
    print(QStringLiteral("Location: no position from \"%1\" within %2 s; at the default "
                         "position %3 (Berlin-Mitte) until it gives one")
              .arg(device_->sourceName())
              .arg(firstFix_.interval() / 1000.0)
              .arg(coordinateText(defaultCoordinate)));
    received(Location{defaultCoordinate, QDateTime::currentDateTimeUtc()});
}

void LocationManager::deviceFailed(const QString &error, bool forGood)
{
    if (!device_)
        return; // a source already given up on may have had more to say
    print(QStringLiteral("Location: %1").arg(error));
    if (forGood) {
        firstFix_.stop();
        device_->stopUpdates();
        device_->deleteLater();
        device_ = nullptr;
        fixed_ = defaultCoordinate;
        print(QStringLiteral("Location: at the default position %1 (Berlin-Mitte) from now on")
                  .arg(coordinateText(defaultCoordinate)));
    }
    if (delegate_)
        delegate_->locationManager(*this, error);
    if (forGood)
        updateRunning();
}
