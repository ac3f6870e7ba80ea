#include "Module/FindDog/FindDogViewController.h"

#include "AppDelegate.h"
#include "Common/Models/UserEnums.h"
#include "LoginDefaults.h"
#include "Module/Profile/ProfilleDataManager.h"
#include "Platform/UI/Lifetime.h"

#include <memory>

FindDogViewController::FindDogViewController(QObject *parent) : PartnerListViewController(parent)
{
    setTitleKey(QStringLiteral("Search"));
}

void FindDogViewController::viewDidLoad()
{
    PartnerListViewController::viewDidLoad();
    if (AppDelegate *delegate = runningAppDelegate())
        connect(delegate, &AppDelegate::locationChanged, this,
                [this, delegate] { locationChanged(delegate->locationCoordinates); });
}

void FindDogViewController::setFilterIndex(int index)
{
    if (index < 0 || index > 2 || index == filterIndex_)
        return;
    filterIndex_ = index;
    Q_EMIT
    filterChanged();
    partners()->clear();
    refresh();
}

QString FindDogViewController::filterText() const
{
    switch (filterIndex_) {
    case 1:
        return rawValue(UserFilter::male);
    case 2:
        return rawValue(UserFilter::female);
    default:
        return {};
    }
}

void FindDogViewController::fetchPage(FindDogDataManager &manager, const QString &me,
                                      FindDogDataManager::Page page, ResultCompletion completion)
{
    if (page.number == 0)
        if (AppDelegate *delegate = runningAppDelegate())
            loadedAt_ = delegate->locationCoordinates;
    manager.fetchallUsers(me, filterText(), page, std::move(completion));
}

QString FindDogViewController::noPartnersTitleKey() const
{
    return QStringLiteral("No dog owners near you yet");
}

QString FindDogViewController::noPartnersDetailKey() const
{
    return QStringLiteral("When dog owners join near you, they appear here.");
}

void FindDogViewController::locationChanged(const CLLocationCoordinate2D &coordinate)
{
    if (!loadedOnce() || !isValidCoordinate(coordinate))
        return;
    if (loadedAt_ && isValidCoordinate(*loadedAt_) &&
        distanceInMetres(*loadedAt_, coordinate) < significantMetres)
        return;
    loadedAt_ = coordinate;
    // Distances are measured from the position the backend holds: it moves first.
    auto profile = std::make_shared<ProfilleDataManager>();
    profile->saveProfile(
        {{QStringLiteral("user_id"), LoginDefaults().userId().value_or(QString())},
         {QStringLiteral("latitude"), QString::number(coordinate.latitude, 'f', 6)},
         {QStringLiteral("longitude"), QString::number(coordinate.longitude, 'f', 6)}},
        std::nullopt, whileAlive(this, [this, profile](bool, const QString &) { refresh(); }));
}
