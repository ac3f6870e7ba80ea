#pragma once

#include "Platform/Location.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <optional>

class NotificationCenter;

// The distance warning of the settings: while its switch is on, a favourite partner who comes
// within warningKilometres of the device is announced once with a local notification; tapping
// it opens the conversation. Checked on significant moves of the device.
class DistanceWarning : public QObject
{
    Q_OBJECT

public:
    static constexpr double warningKilometres = 2.0;
    // Moves shorter than this are not worth a check.
    static constexpr double significantMetres = 500.0;

    explicit DistanceWarning(NotificationCenter &center, QObject *parent = nullptr);

    // The device is at `position`: when the switch is on and the move is significant, the
    // backend learns the position and the favourites' distances are checked.
    void locationChanged(const CLLocationCoordinate2D &position);

Q_SIGNALS:
    // A favourite was announced (for tests and the log).
    void announced(const QString &partnerId);

private:
    void checkFavourites();

    NotificationCenter &center_;
    std::optional<CLLocationCoordinate2D> checkedAt_;
    // Favourites announced and still near: each is announced again only after leaving.
    QSet<QString> near_;
};
