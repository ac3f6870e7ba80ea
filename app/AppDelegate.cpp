#include "AppDelegate.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Network/APIManager.h"
#include "Platform/ApplicationState.h"
#include <QJsonDocument>

#include "Common/Firebase/FirebaseNode.h"
#include "Constants.h"
#include "LoginDefaults.h"
#include "NavigationHelper.h"
#include "NotificationAlert/NotificationAlert.h"
#include "NotificationAlert/OneSignalLaunch.h"
#include "Platform/Database.h"
#include "Platform/Print.h"
#include "Platform/ServerValue.h"
#include "Platform/ServiceKitLog.h"
#include "Platform/ServiceKits.h"
#include "Platform/UI/DispatchQueue.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/ProgressHUD.h"
#include "Platform/UI/Storyboard.h"
#include "Platform/UI/ViewController.h"
#include "Platform/UI/Window.h"
#include "Platform/UserDefaults.h"

bool isFromNotification = false;

namespace {
QPointer<AppDelegate> &theAppDelegate()
{
    static QPointer<AppDelegate> delegate;
    return delegate;
}

const QString offline = QStringLiteral("Offline");
const QString online = QStringLiteral("Online");
// What the location manager is asked for: the partner list shows distances to 0.1 km.
constexpr double desiredAccuracyMetres = 100.0;
} // namespace

AppDelegate &appDelegate()
{
    if (!theAppDelegate())
        fatalError(QStringLiteral("Unexpectedly found nil while implicitly unwrapping an Optional "
                                  "value"));
    return *theAppDelegate();
}

AppDelegate *runningAppDelegate()
{
    return theAppDelegate();
}

AppDelegate::AppDelegate(Database &database, NotificationCenter &center, OneSignal &oneSignal,
                         QObject *parent)
    : QObject(parent), database_(database), center_(center), oneSignal_(oneSignal),
      window_(new Window(this))
{
    theAppDelegate() = this;
    connect(&ApplicationState::shared(), &ApplicationState::stateChanged, this,
            &AppDelegate::applicationStateChanged);
    // An ended session leaves nothing to show but the way back in.
    connect(&SessionEvents::shared(), &SessionEvents::sessionExpired, this, [this] {
        UserDefaults::standard().removeObject(RegisterStatus::key);
        loginScreen();
    });
}

void AppDelegate::applicationStateChanged(Qt::ApplicationState state)
{
    const Qt::ApplicationState previous = state_;
    state_ = state;
    if (state == previous)
        return;
    if (state == Qt::ApplicationActive) {
        if (previous == Qt::ApplicationHidden || previous == Qt::ApplicationSuspended)
            applicationWillEnterForeground();
        applicationDidBecomeActive();
        return;
    }
    if (previous == Qt::ApplicationActive)
        applicationWillResignActive();
    if (state == Qt::ApplicationHidden || state == Qt::ApplicationSuspended)
        applicationDidEnterBackground();
}

qsizetype AppDelegate::requestsInFlight()
{
    return APIManager::requestsInFlight();
}

AppDelegate::~AppDelegate()
{
    if (&center_.delegate() == static_cast<NotificationCenterDelegate *>(this)) {
        center_.setDelegate(nullptr);
        center_.setPresentationFilter({});
    }
    if (GIDSignIn::sharedInstance().delegate() == this)
        GIDSignIn::sharedInstance().setDelegate(nullptr);
}

bool AppDelegate::application(const QVariantMap &didFinishLaunchingWithOptions)
{
    AdmobManager().AdmobInit(adMobAppID);
    IQKeyboardManager::shared().setEnable(true);
    center_.setDelegate(this);
    center_.setPresentationFilter(presentedAsSettingsAllow);
    FirebaseApp::configure();
    FBSDKApplicationDelegate::sharedInstance().application(didFinishLaunchingWithOptions);
    GMSPlacesClient::provideAPIKey(GMSPlacesKey);
    GIDSignIn::sharedInstance().setClientID(ClientID);
    GIDSignIn::sharedInstance().setDelegate(this);
    userLocationEnable();
    // The first screen is in place before the push kit can hand over any push.
    showRootController();
    startOneSignal(oneSignal_, didFinishLaunchingWithOptions);
    ServiceKitLog::shared().add(QStringLiteral("OneSignal: started with %1").arg(oneSignalID));
    Fabric::with({QStringLiteral("Crashlytics")});
    UserDefaults &defaults = UserDefaults::standard();
    if (!defaults.object(Constants::userDefaults::languagecode) ||
        defaults.object(Constants::userDefaults::languagecode)->typeId() != QMetaType::QString)
        defaults.setString(QStringLiteral("de"), Constants::userDefaults::languagecode);
    return true;
}

void AppDelegate::goOffline()
{
    const std::optional<QString> userId = LoginDefaults().userId();
    if (!userId)
        return;
    const DatabaseReference node = database_.reference().child(FirebaseNode::users).child(*userId);
    node.child(QStringLiteral("status")).setValue(offline);
    node.setValue(QVariantMap{{QStringLiteral(".sv"), QStringLiteral("time_stamp")}});
    // The database refuses the write above ("time_stamp" is no server value it knows), so
    // partners would see the sign-in time as last seen; this one gives them the time of leaving.
    node.child(QStringLiteral("time_stamp")).setValue(ServerValue::timestamp());
    dataManageProfile.updateOnlineOfflineStatus(
        *userId, offline, [](bool, const QString &) { DispatchQueue::main().async([] {}); });
}

void AppDelegate::applicationWillResignActive()
{
    print(QStringLiteral("applicationWillResignActive"));
    goOffline();
}

void AppDelegate::applicationWillTerminate()
{
    goOffline();
}

void AppDelegate::applicationDidBecomeActive()
{
    const std::optional<QString> userId = LoginDefaults().userId();
    if (!userId)
        return;
    database_.reference()
        .child(FirebaseNode::users)
        .child(*userId)
        .child(QStringLiteral("status"))
        .setValue(online);
    dataManageProfile.updateOnlineOfflineStatus(*userId, online, [](bool, const QString &) {});
}

void AppDelegate::didRegisterForRemoteNotificationsWithDeviceToken(const QByteArray &deviceToken)
{
    print(QStringLiteral("Successfully registered for notifications!"));
    print(QString::fromLatin1(deviceToken.toHex()));
}

void AppDelegate::didFailToRegisterForRemoteNotificationsWithError(const QString &error)
{
    print(error);
}

bool AppDelegate::open(const QUrl &url, const QVariantMap &options)
{
    const bool facebook = FBSDKApplicationDelegate::sharedInstance().application(url, options);
    const bool google = GIDSignIn::sharedInstance().handle(url);
    return facebook || google;
}

void AppDelegate::installRoot(ViewController *root)
{
    window_->setRootViewController(root);
    window_->makeKeyAndVisible();
}

void AppDelegate::showRootController()
{
    const std::optional<QVariant> status = UserDefaults::standard().object(RegisterStatus::key);
    const QString text =
        status && status->typeId() == QMetaType::QString ? status->toString() : QString();
    if (text == RegisterStatus::success) {
        homeScreen();
    } else if (text == RegisterStatus::inProgress) {
        installRoot(NavigationHelper::shared().viewController(VCIdentifier::RegisterProfile,
                                                              StoryboardName::main));
    } else {
        loginScreen();
    }
}

void AppDelegate::homeScreen()
{
    ViewController *tabs = NavigationHelper::shared().viewController(VCIdentifier::TabsController,
                                                                     StoryboardName::main);
    NotificationAlert::sharedInstance();
    installRoot(tabs);
}

void AppDelegate::loginScreen()
{
    installRoot(Storyboard(rawValue(StoryboardName::main)).instantiateInitialViewController());
}

ProgressHUD *AppDelegate::showHUD(QObject *owner)
{
    QObject *holder = owner ? owner : static_cast<QObject *>(window_->rootViewController());
    return ProgressHUD::showHUDAddedTo(holder ? holder : window_.data(), true);
}

void AppDelegate::userLocationEnable()
{
    locationManager_.requestWhenInUseAuthorization();
    if (!LocationManager::locationServicesEnabled())
        return;
    locationManager_.setDelegate(this);
    locationManager_.startMonitoringSignificantLocationChanges();
    locationManager_.requestWhenInUseAuthorization();
    locationManager_.setDesiredAccuracy(desiredAccuracyMetres);
    locationManager_.startUpdatingLocation();
}

void AppDelegate::locationManager(LocationManager &, const QList<Location> &didUpdateLocations)
{
    if (didUpdateLocations.isEmpty())
        return;
    const Location newest = didUpdateLocations.last();
    locationCoordinates = newest.coordinate;
    Q_EMIT
    locationChanged();
    distanceWarning_.locationChanged(newest.coordinate);
    geocoder_.reverseGeocodeLocation(newest,
                                     whileAlive(this, [this](const QList<Placemark> &placemarks,
                                                             const std::optional<QString> &error) {
                                         if (error || placemarks.isEmpty())
                                             return;
                                         stringAddress = displayLocationInfo(placemarks.first());
                                         Q_EMIT
                                         locationChanged();
                                     }));
}

void AppDelegate::locationManager(LocationManager &, const QString &didFailWithError)
{
    print(QStringLiteral("Error while updating location ") + didFailWithError);
}

void AppDelegate::userNotificationCenter(NotificationCenter &, const PushNotification &willPresent,
                                         WillPresentCompletion)
{
    // The completion is deliberately never called: a push that arrives while the app is in
    // the foreground is not shown.
    print(QStringLiteral("willPresent notification : ") + willPresent.body);
}

void AppDelegate::userNotificationCenter(NotificationCenter &,
                                         const NotificationResponse &didReceive,
                                         DidReceiveCompletion completionHandler)
{
    const QVariantMap &userInfo = didReceive.notification.userInfo;
    print(QStringLiteral("didReceive Response : ") +
          QString::fromUtf8(QJsonDocument::fromVariant(userInfo).toJson(QJsonDocument::Compact)));
    const QVariantMap aps = userInfo.value(QStringLiteral("aps")).toMap();
    const QVariantMap custom = userInfo.value(QStringLiteral("custom")).toMap();
    const QVariantMap data = custom.value(QStringLiteral("a")).toMap();
    recevierId = data.value(QStringLiteral("postID")).toString();
    const QVariant alert = aps.value(QStringLiteral("alert"));
    Q_UNUSED(alert)
    getAllUsers();
    if (completionHandler)
        completionHandler();
}

void AppDelegate::getAllUsers()
{
    const std::optional<QString> userId = LoginDefaults().userId();
    if (!userId)
        return;
    dataManagerChat_.fetchallUsers(
        *userId, QString(), showingProgress(this, [this](bool success, const QString &) {
            if (!success)
                return;
            userProfileDetail = dataManagerChat_.userData();
            for (const User &user : *userProfileDetail)
                if (user.userId == recevierId)
                    return openChatFromNotification(user);
            print(QStringLiteral("The sender of the push is not among the users: ") + recevierId);
        }));
}

void AppDelegate::openChatFromNotification(const User &partner)
{
    auto *navigation =
        qobject_cast<NavigationController *>(NavigationHelper::shared().viewController(
            VCIdentifier::NavAppChat, StoryboardName::tabBar));
    ViewController *chat =
        NavigationHelper::shared().viewController(VCIdentifier::ChatVC, StoryboardName::tabBar);
    chat->setProperty("partnerName", partner.Name);
    chat->setProperty("partnerId", partner.userId);
    navigation->setViewControllers({chat});
    isFromNotification = true;
    const QString userId = LoginDefaults().userId().value_or(QString());
    QPointer<NavigationController> pending = navigation;
    database_.reference()
        .child(FirebaseNode::favourite)
        .child(userId)
        .child(QStringLiteral("Favourite"))
        .observeSingleEvent(DataEventType::value, [this, pending,
                                                   chat](const DataSnapshot &snapshot) {
            if (!pending)
                return;
            chat->setProperty("isFavourite", snapshot.value().toString() == QStringLiteral("1"));
            installRoot(pending);
        });
    // Until the read answers, the stack belongs to the delegate.
    navigation->setParent(this);
}

QVariantMap AppDelegate::paramsFromGoogleUser(const GIDGoogleUser &googleUser) const
{
    return {
        {QStringLiteral("username"), googleUser.name},
        {QStringLiteral("email"), googleUser.email},
        {QStringLiteral("password"), QString()},
        {QStringLiteral("register_type"), QStringLiteral("gmail")},
        {QStringLiteral("phone"), QString()},
        {QStringLiteral("dogInfo"), QString()},
        {QStringLiteral("dog_address"), stringAddress},
        {QStringLiteral("gender"), QString()},
        {QStringLiteral("dog_name"), QString()},
        {QStringLiteral("dogs_count"), QString()},
        {QStringLiteral("longitude"), QString::number(locationCoordinates.longitude, 'f', 6)},
        {QStringLiteral("latitude"), QString::number(locationCoordinates.latitude, 'f', 6)},
        {QStringLiteral("about"), QString()},
        {QStringLiteral("user_age"), QString()},
        {QStringLiteral("activate_status"), QStringLiteral("activate")},
        {QStringLiteral("verify_status"), QStringLiteral("1")},
        {QStringLiteral("profilePic"), googleUser.imageURL},
    };
}

void AppDelegate::sign(GIDSignIn &, std::optional<GIDGoogleUser> didSignInFor,
                       std::optional<QString> withError)
{
    if (withError || !didSignInFor) {
        print(QStringLiteral("Google sign-in failed: ") + withError.value_or(QString()));
        return;
    }
    loginWithGoogle(paramsFromGoogleUser(*didSignInFor), selctedImage);
}

void AppDelegate::sign(GIDSignIn &, const GIDGoogleUser &didDisconnectWith,
                       std::optional<QString> withError)
{
    print(QStringLiteral("Google sign-in disconnected ") + didDisconnectWith.email + ' ' +
          withError.value_or(QString()));
}

void AppDelegate::loginWithGoogle(const QVariantMap &userDict, const std::optional<QImage> &image)
{
    dataManager.register_(
        userDict, image,
        showingProgress(this, [this](bool success, const std::optional<QString> &message,
                                     std::optional<int> isNew) {
            if (!success) {
                if (ViewController *root = window_->rootViewController())
                    root->showAlert(languageSelectedStringForKey(QStringLiteral("Login")),
                                    message.value_or(QString()));
                return;
            }
            fetchProfileInfo();
            NotificationAlert::sharedInstance().notificationExist();
            if (isNew == 0) {
                UserDefaults::standard().setString(RegisterStatus::success, RegisterStatus::key);
                installRoot(Storyboard(rawValue(StoryboardName::tabBar))
                                .instantiateInitialViewController());
                return;
            }
            UserDefaults::standard().setString(RegisterStatus::inProgress, RegisterStatus::key);
            ViewController *profile = NavigationHelper::shared().viewController(
                VCIdentifier::RegisterProfile, StoryboardName::main);
            if (auto *stack = qobject_cast<NavigationController *>(window_->rootViewController()))
                stack->pushViewController(profile);
            else
                installRoot(profile);
        }));
}

void AppDelegate::fetchProfileInfo()
{
    const std::optional<QString> userId = LoginDefaults().userId();
    if (userId)
        dataManageProfile.fetchProfile(*userId, [](bool, const QString &) {});
}
