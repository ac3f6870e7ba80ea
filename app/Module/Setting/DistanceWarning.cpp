#include "Module/Setting/DistanceWarning.h"

#include "Common/Extensions/Localizable.h"
#include "LoginDefaults.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Module/FindDog/PartnerTexts.h"
#include "Module/Profile/ProfilleDataManager.h"
#include "Platform/ApplicationState.h"
#include "Platform/NotificationCenter.h"
#include "Platform/UI/Lifetime.h"

#include <memory>

DistanceWarning::DistanceWarning(NotificationCenter &center, QObject *parent)
    : QObject(parent), center_(center)
{}

void DistanceWarning::locationChanged(const CLLocationCoordinate2D &position)
{
    LoginDefaults session;
    const std::optional<QString> me = session.userId();
    if (session.switchState() != QLatin1String("on") || !me || !isValidCoordinate(position))
        return;
    if (checkedAt_ && distanceInMetres(*checkedAt_, position) < significantMetres)
        return;
    checkedAt_ = position;
    // Distances are measured from the position the backend holds: it moves first.
    auto profile = std::make_shared<ProfilleDataManager>();
    profile->saveProfile(
        {{QStringLiteral("user_id"), *me},
         {QStringLiteral("latitude"), QString::number(position.latitude, 'f', 6)},
         {QStringLiteral("longitude"), QString::number(position.longitude, 'f', 6)}},
        std::nullopt,
        whileAlive(this, [this, profile](bool, const QString &) { checkFavourites(); }));
}

void DistanceWarning::checkFavourites()
{
    auto favourites = std::make_shared<FindDogDataManager>();
    favourites->getFavUsers(
        LoginDefaults().userId().value_or(QString()), QString(), {100, 0},
        whileAlive(this, [this, favourites](bool success, const QString &) {
            if (!success)
                return;
            for (const User &partner : favourites->userData()) {
                bool known = false;
                const double km = partner.distance.toDouble(&known);
                if (!known || km > warningKilometres) {
                    near_.remove(partner.userId);
                    continue;
                }
                if (near_.contains(partner.userId))
                    continue;
                near_.insert(partner.userId);
                PushNotification notice;
                notice.identifier = QStringLiteral("distance-") + partner.userId;
                notice.title = languageSelectedStringForKey(QStringLiteral("Distance Warning"));
                notice.body = languageSelectedStringForKey(QStringLiteral("%1 is %2 from you"))
                                  .arg(partner.Name, distanceText(partner.distance));
                // Opening it opens the conversation, as a chat push does.
                notice.userInfo = {
                    {QStringLiteral("custom"),
                     QVariantMap{{QStringLiteral("a"),
                                  QVariantMap{{QStringLiteral("postID"), partner.userId}}}}}};
                // A phone shows its own app's local notification in the foreground too.
                if (ApplicationState::shared().isActive())
                    center_.banner().show(notice);
                else
                    center_.deliver(notice);
                Q_EMIT
                announced(partner.userId);
            }
        }));
}
