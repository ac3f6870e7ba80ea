#include "Module/Tabs/TabsController.h"

#include "AppDelegate.h"
#include "Common/Firebase/FirebaseUserHandler.h"
#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/ChatModels.h"
#include "Module/Chat/Model/Connectivity.h"
#include "Module/Common/Share.h"
#include "NavigationHelper.h"
#include "Platform/Reachability.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"

#include <QClipboard>
#include <QGuiApplication>

TabsController::TabsController(QObject *parent) : ViewController(parent)
{
    connect(&Reachability::shared(), &Reachability::reachabilityChanged, this,
            &TabsController::checkConnection);
}

void TabsController::viewDidLoad()
{
    checkConnection();
    prepareItemsForPresentation();
    fetchProfileInfo();
}

void TabsController::checkConnection()
{
    const bool offline = !Connectivity::isConnectedToInternet();
    if (offline != offline_) {
        offline_ = offline;
        Q_EMIT
        offlineChanged();
    }
}

void TabsController::prepareItemsForPresentation()
{
    // A push opened the chat: the chat section is the one to come back to.
    if (isFromNotification)
        openChatVC(chats);
    else
        openSearchVC(search);
}

ViewController *TabsController::sectionScreen() const
{
    return section_ ? section_->viewControllerAt(0) : nullptr;
}

void TabsController::highlightTab(int index)
{
    selectedIndex_ = index;
}

void TabsController::showSection(int tag, int identifier)
{
    highlightTab(tag);
    auto *stack = qobject_cast<NavigationController *>(NavigationHelper::shared().viewController(
        static_cast<VCIdentifier>(identifier), StoryboardName::tabBar));
    NavigationController *previous = section_;
    const bool onScreen = isVisible();
    if (previous && onScreen)
        previous->beginDisappearance();
    stack->setParent(this);
    if (onScreen)
        stack->beginAppearance();
    section_ = stack;
    // The view drops the previous section's page here, before the section is destroyed.
    Q_EMIT
    sectionChanged();
    if (previous) {
        if (onScreen)
            previous->endDisappearance();
        previous->deleteLater();
    }
    if (onScreen)
        stack->endAppearance();
}

void TabsController::openSearchVC(int tag)
{
    showSection(tag, static_cast<int>(isFromNotification ? VCIdentifier::navChat
                                                         : VCIdentifier::NavFindDog));
}

void TabsController::openFavouriteVC(int tag)
{
    showSection(tag, static_cast<int>(VCIdentifier::navFavVC));
}

void TabsController::openChatVC(int tag)
{
    showSection(tag, static_cast<int>(VCIdentifier::navChat));
}

void TabsController::openInfo(int tag)
{
    showSection(tag, static_cast<int>(VCIdentifier::navInfo));
}

void TabsController::openProfile(int tag)
{
    showSection(tag, static_cast<int>(VCIdentifier::navProfile));
}

void TabsController::openSettings(int tag)
{
    showSection(tag, static_cast<int>(VCIdentifier::navSetting));
}

QString TabsController::shareText() const
{
    return ::shareText();
}

void TabsController::shareAction()
{
    if (!sharePanelVisible_) {
        sharePanelVisible_ = true;
        Q_EMIT
        sharePanelChanged();
    }
}

void TabsController::shareCancelction()
{
    if (sharePanelVisible_) {
        sharePanelVisible_ = false;
        Q_EMIT
        sharePanelChanged();
    }
}

void TabsController::copyShareLink()
{
    shareCancelction();
    shareAppLink(*this);
}

void TabsController::increaseContentSize(bool flag)
{
    if (flag != contentIncreased_) {
        contentIncreased_ = flag;
        Q_EMIT
        contentIncreasedChanged();
    }
}

void TabsController::onlyImage(const QString &imageUrl)
{
    userData_.insert(QStringLiteral("profilePic"), imageUrl);
    saveUserData();
}

void TabsController::updateParam(const QVariantMap &Dict)
{
    for (auto entry = Dict.begin(); entry != Dict.end(); ++entry)
        userData_.insert(entry.key(), entry.value());
    saveUserData();
}

void TabsController::saveUserData()
{
    if (!userData_.contains(QStringLiteral("user_id")))
        return;
    FirebaseUserHandler().mirror(DSUser(userData_).firebaseInfo());
}

void TabsController::fetchProfileInfo()
{
    const std::optional<QString> userId = LoginDefaults().userId();
    if (!userId)
        return;
    profileManager_.fetchProfile(*userId, whileAlive(this, [this, manager = &profileManager_](
                                                               bool success, const QString &) {
        if (!success || !manager->profile())
            return;
        const Profile &profile = *manager->profile();
        userData_ = {
            {QStringLiteral("user_id"), profile.id},
            {QStringLiteral("Name"), profile.fullname},
            {QStringLiteral("email"), profile.email},
            {QStringLiteral("profilePic"), profile.profilePic},
            {QStringLiteral("gender"), profile.gender},
            {QStringLiteral("age"), profile.age},
            {QStringLiteral("dogs_count"), profile.numOfDogs},
            {QStringLiteral("dog_name"), profile.dogsName},
            {QStringLiteral("about"), profile.about},
        };
    }));
}

ViewController *TabsController::shownChild() const
{
    return section_;
}
