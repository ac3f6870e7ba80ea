#pragma once

#include "Common/Models/User.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Module/Profile/ProfilleDataManager.h"
#include "Module/Register/RegisterationDataManager.h"
#include "Module/Setting/DistanceWarning.h"
#include "Platform/LocationManager.h"
#include "Platform/NotificationCenter.h"
#include "Platform/SignInKits.h"
#include "Platform/UI/Window.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

class Database;
class OneSignal;
class ProgressHUD;
class ViewController;

// Set when the chat screen was opened from a push, so that closing it rebuilds the tabs.
extern bool isFromNotification;

// The application's delegate and the one owner of start-up: it wires the service kits in
// order, chooses the first screen from the stored registration status, keeps the signed-in
// user's presence as the app comes and goes, routes an opened push to the chat, and finishes
// a Google sign-in. Screens reach it through appDelegate().
class AppDelegate : public QObject,
                    public NotificationCenterDelegate,
                    public GIDSignInDelegate,
                    public LocationManagerDelegate
{
    Q_OBJECT

public:
    // Presence goes to `database`; pushes arrive through `center`, the push kit is `oneSignal`.
    // None of them is owned. The delegate registers itself as appDelegate().
    AppDelegate(Database &database, NotificationCenter &center, OneSignal &oneSignal,
                QObject *parent = nullptr);
    ~AppDelegate() override;

    // Stored properties, as the screens read them.
    Window *window() const { return window_; }
    RegisterationDataManager dataManager;
    CLLocationCoordinate2D locationCoordinates;
    LocationManager &locationManager() { return locationManager_; }
    QString stringAddress;
    std::optional<QImage> selctedImage;
    ProfilleDataManager dataManageProfile;
    std::optional<QList<User>> userProfileDetail;
    QString recevierId;

    // Lifecycle, called by the platform (main.cpp follows Qt's application state).
    bool application(const QVariantMap &didFinishLaunchingWithOptions);
    void applicationWillResignActive();
    void applicationDidEnterBackground() {}
    void applicationWillEnterForeground() {}
    void applicationDidBecomeActive();
    void applicationWillTerminate();
    void didRegisterForRemoteNotificationsWithDeviceToken(const QByteArray &deviceToken);
    void didFailToRegisterForRemoteNotificationsWithError(const QString &error);
    bool open(const QUrl &url, const QVariantMap &options);
    // Backend requests not yet answered, so that quitting can give them a moment.
    static qsizetype requestsInFlight();

    void showRootController();
    void homeScreen();
    void loginScreen();
    // Shown over the root screen, owned by `owner` (the root screen when none), so that an
    // indicator goes with the screen that waits for it.
    ProgressHUD *showHUD(QObject *owner = nullptr);
    void userLocationEnable();
    void loginWithGoogle(const QVariantMap &userDict, const std::optional<QImage> &image);
    QVariantMap paramsFromGoogleUser(const GIDGoogleUser &googleUser) const;

    // Notification centre delegate.
    void userNotificationCenter(NotificationCenter &center, const PushNotification &willPresent,
                                WillPresentCompletion completionHandler) override;
    void userNotificationCenter(NotificationCenter &center, const NotificationResponse &didReceive,
                                DidReceiveCompletion completionHandler) override;
    // Google sign-in delegate.
    void sign(GIDSignIn &signIn, std::optional<GIDGoogleUser> didSignInFor,
              std::optional<QString> withError) override;
    void sign(GIDSignIn &signIn, const GIDGoogleUser &didDisconnectWith,
              std::optional<QString> withError) override;
    // Location manager delegate.
    void locationManager(LocationManager &manager,
                         const QList<Location> &didUpdateLocations) override;
    void locationManager(LocationManager &manager, const QString &didFailWithError) override;

Q_SIGNALS:
    // A new position and its address are known.
    void locationChanged();

private:
    void applicationStateChanged(Qt::ApplicationState state);
    void goOffline();
    void getAllUsers();
    void openChatFromNotification(const User &partner);
    void fetchProfileInfo();
    void installRoot(ViewController *root);

    Database &database_;
    NotificationCenter &center_;
    OneSignal &oneSignal_;
    QPointer<Window> window_;
    Qt::ApplicationState state_ = Qt::ApplicationInactive;
    LocationManager locationManager_;
    Geocoder geocoder_;
    FindDogDataManager dataManagerChat_;
    DistanceWarning distanceWarning_{center_};
};

// The running application's delegate; calling it before one exists is a programming error.
AppDelegate &appDelegate();
// The delegate when one runs; none in headless tests of single screens.
AppDelegate *runningAppDelegate();
