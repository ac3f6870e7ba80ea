#include "Module/FindDog/FindDogViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Common/Firebase/FirebaseNode.h"
#include "Common/Models/UserEnums.h"
#include "Deployment.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/Connectivity.h"
#include "Module/FindDog/PartnerDetailViewController.h"
#include "Module/FindDog/PartnerPrivacy.h"
#include "NavigationHelper.h"
#include "Platform/Database.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"

#include <memory>

FindDogViewController::FindDogViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Search"));
    answerDeadline_.setSingleShot(true);
    // The request layer gives up after its timeout without telling the list calls.
    answerDeadline_.setInterval(Deployment::requestTimeout() + std::chrono::seconds(1));
    connect(&answerDeadline_, &QTimer::timeout, this, [this] { pageTimedOut(generation_); });
    connect(this, &ViewController::retranslate, this, &FindDogViewController::stateChanged);
}

void FindDogViewController::viewDidLoad()
{
    const QString me = LoginDefaults().userId().value_or(QString());
    connect(&partners_, &PartnerListModel::visibilityWanted, this, [this, me](const QString &id) {
        readPartnerVisibility(id, me, whileAlive(this, [this, id](const PartnerVisibility &seen) {
                                  partners_.setVisibility(id, seen);
                              }));
    });
    if (AppDelegate *delegate = runningAppDelegate())
        connect(delegate, &AppDelegate::locationChanged, this,
                [this, delegate] { locationChanged(delegate->locationCoordinates); });
    followFavourites(me);
}

void FindDogViewController::followFavourites(const QString &me)
{
    if (me.isEmpty())
        return;
    // Marks made on any screen (or device) reach the rows through the database.
    favourites_ = Database::database().reference(FirebaseNode::favourite + '/' + me);
    favouritesHandle_ = favourites_->observe(
        DataEventType::value, whileAlive(this, [this](const DataSnapshot &marks) {
            const QVariantMap byUser = marks.value().toMap();
            for (int row = 0; row < partners_.count(); ++row) {
                const QString id = partners_.partner(row)->userId;
                if (byUser.contains(id))
                    partners_.setFavourite(
                        id,
                        byUser.value(id).toMap().value(QStringLiteral("Favourite")).toString() ==
                            QLatin1String("1"));
            }
        }));
}

FindDogViewController::~FindDogViewController()
{
    if (favourites_)
        favourites_->removeObserver(favouritesHandle_);
}

void FindDogViewController::viewWillAppear()
{
    if (!loadedOnce_)
        refresh();
}

void FindDogViewController::setFilterIndex(int index)
{
    if (index < 0 || index > 2 || index == filterIndex_)
        return;
    filterIndex_ = index;
    Q_EMIT
    filterChanged();
    partners_.clear();
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

QString FindDogViewController::emptyTitle() const
{
    switch (empty_) {
    case Empty::NoPartners:
        return languageSelectedStringForKey(QStringLiteral("No dog owners near you yet"));
    case Empty::Offline:
        return languageSelectedStringForKey(QStringLiteral("You are offline"));
    case Empty::Failed:
        return languageSelectedStringForKey(QStringLiteral("The search did not work"));
    case Empty::None:
    case Empty::Loading:
        break;
    }
    return {};
}

QString FindDogViewController::emptyDetail() const
{
    switch (empty_) {
    case Empty::NoPartners:
        return languageSelectedStringForKey(
            QStringLiteral("When dog owners join near you, they appear here."));
    case Empty::Offline:
        return languageSelectedStringForKey(
            QStringLiteral("Please check your internet connection"));
    case Empty::Failed:
        return languageSelectedStringForKey(failure_);
    case Empty::None:
    case Empty::Loading:
        break;
    }
    return {};
}

QString FindDogViewController::emptyIcon() const
{
    switch (empty_) {
    case Empty::Offline:
        return QStringLiteral("cloud_off");
    case Empty::Failed:
        return QStringLiteral("error_outline");
    default:
        return QStringLiteral("pets");
    }
}

void FindDogViewController::refresh()
{
    loadedOnce_ = true;
    if (!Connectivity::isConnectedToInternet()) {
        ++generation_; // whatever is on its way is out of date
        answerDeadline_.stop();
        if (partners_.count() == 0)
            setState(false, false, Empty::Offline);
        else {
            setState(false, false, Empty::None);
            showAlert(QString(), languageSelectedStringForKey(
                                     QStringLiteral("Please check your internet connection")));
        }
        return;
    }
    if (AppDelegate *delegate = runningAppDelegate())
        loadedAt_ = delegate->locationCoordinates;
    load(0);
}

void FindDogViewController::loadMore()
{
    if (loading_ || loadingMore_ || !morePages_)
        return;
    load(nextPage_);
}

void FindDogViewController::load(int page)
{
    const int generation = page == 0 ? ++generation_ : generation_;
    setState(page == 0, page > 0, partners_.count() == 0 ? Empty::Loading : Empty::None);
    answerDeadline_.start();
    // A manager per request: an answer that comes after a newer request cannot mix its rows in.
    auto manager = std::make_shared<FindDogDataManager>();
    manager->fetchallUsers(
        LoginDefaults().userId().value_or(QString()), filterText(), {pageSize, page},
        whileAlive(this, [this, manager, generation, page](bool success, const QString &message) {
            pageArrived(generation, page, success, message, manager->userData());
        }));
}

void FindDogViewController::pageArrived(int generation, int page, bool success,
                                        const QString &message, const QList<User> &rows)
{
    if (generation != generation_)
        return;
    answerDeadline_.stop();
    if (!success) {
        failure_ = message;
        morePages_ = false;
        if (partners_.count() == 0)
            setState(false, false, Empty::Failed);
        else {
            setState(false, false, Empty::None);
            showAlert(QString(), languageSelectedStringForKey(message));
        }
        return;
    }
    if (page == 0)
        partners_.setPartners(rows);
    else
        partners_.appendPartners(rows);
    morePages_ = rows.size() == pageSize && page < lastPage;
    nextPage_ = page + 1;
    setState(false, false, partners_.count() == 0 ? Empty::NoPartners : Empty::None);
}

void FindDogViewController::pageTimedOut(int generation)
{
    if (generation != generation_ || (!loading_ && !loadingMore_))
        return;
    ++generation_;
    if (partners_.count() == 0)
        setState(false, false, Empty::Offline);
    else {
        setState(false, false, Empty::None);
        showAlert(QString(), languageSelectedStringForKey(
                                 QStringLiteral("Please check your internet connection")));
    }
}

void FindDogViewController::setState(bool loading, bool loadingMore, Empty empty)
{
    if (loading == loading_ && loadingMore == loadingMore_ && empty == empty_)
        return;
    loading_ = loading;
    loadingMore_ = loadingMore;
    empty_ = empty;
    Q_EMIT
    stateChanged();
}

void FindDogViewController::openPartner(int row)
{
    const User *partner = partners_.partner(row);
    NavigationController *stack = navigationController();
    if (!partner || !stack)
        return;
    auto *detail = qobject_cast<PartnerDetailViewController *>(
        NavigationHelper::shared().viewController(VCIdentifier::DogDetail, StoryboardName::tabBar));
    if (!detail)
        return;
    detail->setPartner(*partner);
    stack->pushViewController(detail);
}

void FindDogViewController::locationChanged(const CLLocationCoordinate2D &coordinate)
{
    if (!loadedOnce_ || !isValidCoordinate(coordinate))
        return;
    if (loadedAt_ && isValidCoordinate(*loadedAt_) &&
        distanceInMetres(*loadedAt_, coordinate) < significantMetres)
        return;
    refresh();
}

void FindDogViewController::toggleFavourite(int row)
{
    const User *partner = partners_.partner(row);
    if (!partner)
        return;
    const QString id = partner->userId;
    const bool marked = partner->favourite != QLatin1String("1");
    partners_.setFavourite(id, marked);
    marker_.setMark(id, marked, [this, id, marked](bool success, const QString &why) {
        if (success)
            return;
        partners_.setFavourite(id, !marked);
        showAlert(QString(), languageSelectedStringForKey(why));
    });
}
