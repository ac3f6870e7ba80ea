#include "Module/FindDog/PartnerListViewController.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Firebase/FirebaseNode.h"
#include "Deployment.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/Connectivity.h"
#include "Module/FindDog/PartnerDetailViewController.h"
#include "Module/FindDog/PartnerPrivacy.h"
#include "NavigationHelper.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"

#include <memory>

namespace {
const QString connectionMessage = QStringLiteral("Please check your internet connection");
} // namespace

PartnerListViewController::PartnerListViewController(QObject *parent) : ViewController(parent)
{
    answerDeadline_.setSingleShot(true);
    // The request layer gives up after its timeout without telling the list calls.
    answerDeadline_.setInterval(Deployment::requestTimeout() + std::chrono::seconds(1));
    connect(&answerDeadline_, &QTimer::timeout, this, [this] { answerMissing(generation_); });
    connect(this, &ViewController::retranslate, this, &PartnerListViewController::stateChanged);
}

PartnerListViewController::~PartnerListViewController() = default;

void PartnerListViewController::viewDidLoad()
{
    const QString me = LoginDefaults().userId().value_or(QString());
    connect(&partners_, &PartnerListModel::visibilityWanted, this, [this, me](const QString &id) {
        readPartnerVisibility(id, me, whileAlive(this, [this, id](const PartnerVisibility &seen) {
                                  partners_.setVisibility(id, seen);
                              }));
    });
    followFavourites(me);
}

void PartnerListViewController::viewWillAppear()
{
    if (!loadedOnce_)
        refresh();
}

void PartnerListViewController::followFavourites(const QString &me)
{
    if (me.isEmpty())
        return;
    // Marks made on any screen (or device) reach the rows through the database.
    favourites_.follow(Database::database().reference(FirebaseNode::favourite + '/' + me),
                       DataEventType::value, whileAlive(this, [this](const DataSnapshot &marks) {
                           QVariantMap byUser;
                           const QVariantMap stored = marks.value().toMap();
                           for (auto it = stored.begin(); it != stored.end(); ++it)
                               byUser.insert(it.key(),
                                             it.value().toMap().value(QStringLiteral("Favourite")));
                           marksChanged(byUser);
                       }));
}

void PartnerListViewController::marksChanged(const QVariantMap &markByUser)
{
    for (auto it = markByUser.begin(); it != markByUser.end(); ++it)
        partners_.setFavourite(it.key(), it.value().toString() == QLatin1String("1"));
}

QString PartnerListViewController::emptyTitle() const
{
    switch (empty_) {
    case Empty::NoPartners:
        return languageSelectedStringForKey(noPartnersTitleKey());
    case Empty::Offline:
        return languageSelectedStringForKey(QStringLiteral("You are offline"));
    case Empty::Failed:
        return languageSelectedStringForKey(QStringLiteral("The list could not be loaded"));
    case Empty::None:
    case Empty::Loading:
        break;
    }
    return {};
}

QString PartnerListViewController::emptyDetail() const
{
    switch (empty_) {
    case Empty::NoPartners:
        return languageSelectedStringForKey(noPartnersDetailKey());
    case Empty::Offline:
        return languageSelectedStringForKey(connectionMessage);
    case Empty::Failed:
        return languageSelectedStringForKey(failure_);
    case Empty::None:
    case Empty::Loading:
        break;
    }
    return {};
}

QString PartnerListViewController::emptyIcon() const
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

void PartnerListViewController::refresh()
{
    loadedOnce_ = true;
    if (!Connectivity::isConnectedToInternet()) {
        ++generation_; // whatever is on its way is out of date
        answerDeadline_.stop();
        failed(Empty::Offline, connectionMessage);
        return;
    }
    load(0);
}

void PartnerListViewController::loadMore()
{
    if (loading_ || loadingMore_ || !morePages_)
        return;
    load(nextPage_);
}

void PartnerListViewController::load(int page)
{
    const int generation = page == 0 ? ++generation_ : generation_;
    setState(page == 0, page > 0, partners_.count() == 0 ? Empty::Loading : Empty::None);
    answerDeadline_.start();
    // A manager per request: an answer that comes after a newer request cannot mix its rows in.
    auto manager = std::make_shared<FindDogDataManager>();
    fetchPage(
        *manager, LoginDefaults().userId().value_or(QString()), {pageSize, page},
        whileAlive(this, [this, manager, generation, page](bool success, const QString &message) {
            pageArrived(generation, page, success, message, manager->userData());
        }));
}

void PartnerListViewController::pageArrived(int generation, int page, bool success,
                                            const QString &message, const QList<User> &rows)
{
    if (generation != generation_)
        return;
    answerDeadline_.stop();
    if (!success) {
        failure_ = message;
        morePages_ = false;
        failed(Empty::Failed, message);
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

void PartnerListViewController::answerMissing(int generation)
{
    if (generation != generation_ || (!loading_ && !loadingMore_))
        return;
    ++generation_;
    failed(Empty::Offline, connectionMessage);
}

void PartnerListViewController::failed(Empty emptyState, const QString &messageKey)
{
    if (partners_.count() == 0) {
        setState(false, false, emptyState);
        return;
    }
    setState(false, false, Empty::None);
    showAlert(QString(), languageSelectedStringForKey(messageKey));
}

void PartnerListViewController::setState(bool loading, bool loadingMore, Empty empty)
{
    if (loading == loading_ && loadingMore == loadingMore_ && empty == empty_)
        return;
    loading_ = loading;
    loadingMore_ = loadingMore;
    empty_ = empty;
    Q_EMIT
    stateChanged();
}

void PartnerListViewController::openPartner(int row)
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

void PartnerListViewController::toggleFavourite(int row)
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
