#include "Module/Setting/SetingViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Common/Firebase/FirebaseNode.h"
#include "Common/Network/Link.h"
#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/Setting/Delete/DeleteDataManager.h"
#include "NavigationHelper.h"
#include "NotificationAlert/NotificationAlert.h"
#include "Platform/Database.h"
#include "Platform/Print.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/ProgressHUD.h"
#include "Platform/UserDefaults.h"

#include <QDesktopServices>
#include <QTimer>
#include <QUrl>

#include <memory>
#include <utility>

namespace {

enum Row
{
    dataProtection,
    notification,
    help,
    deleteAccount,
    logoutRow,
    distanceWarningRow,
    language
};

// The switch of the distance warning keeps its state under "switchState".
const QString switchOn = QStringLiteral("on");

} // namespace

SetingViewController::SetingViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("SETTINGS"));
    connect(&LanguageChange::shared(), &LanguageChange::languageChanged, this,
            &SetingViewController::languageChanged);
}

QStringList SetingViewController::rowKeys() const
{
    return {QStringLiteral("Data Protection"),
            QStringLiteral("Notification"),
            QStringLiteral("Help"),
            QStringLiteral("Delete Account"),
            QStringLiteral("Logout"),
            QStringLiteral("Distance Warning"),
            QStringLiteral("Switch to English")};
}

void SetingViewController::viewWillAppear()
{
    const QString me = LoginDefaults().userId().value_or(QString());
    if (me.isEmpty())
        return;
    Database::database()
        .reference(FirebaseNode::notification + '/' + me + QStringLiteral("/noti_status"))
        .getData(whileAlive(this, [this](const std::optional<QString> &, const DataSnapshot &node) {
            // An unknown status counts as on; only "offline" is off.
            const QVariant status = node.value();
            pushesOn_ = status.typeId() != QMetaType::QString ||
                        status.toString() != QLatin1String("offline");
            Q_EMIT
            notificationStateChanged();
        }));
}

bool SetingViewController::distanceWarning() const
{
    return LoginDefaults().switchState() == switchOn;
}

void SetingViewController::setDistanceWarning(bool on)
{
    if (on == distanceWarning())
        return;
    LoginDefaults session;
    if (on)
        session.setSwitchState(switchOn);
    else
        session.swtichOff();
    Q_EMIT
    distanceWarningChanged();
}

bool SetingViewController::german() const
{
    return languageSwitchIsOn();
}

void SetingViewController::setGerman(bool on)
{
    storeLanguageForSwitch(on);
}

void SetingViewController::push(int identifier)
{
    if (NavigationController *stack = navigationController())
        stack->pushViewController(NavigationHelper::shared().viewController(
            static_cast<VCIdentifier>(identifier), StoryboardName::tabBar));
}

void SetingViewController::selectRow(int row)
{
    switch (row) {
    case dataProtection:
        return push(static_cast<int>(VCIdentifier::DataProtection));
    case notification:
        return push(static_cast<int>(VCIdentifier::Notification));
    case help: {
        // The address is kept without a scheme.
        const QString address = rawValue(Link::helpUrl);
        QDesktopServices::openUrl(QUrl::fromUserInput(address));
        return;
    }
    case deleteAccount:
        return push(static_cast<int>(VCIdentifier::DeleteVC));
    case logoutRow:
        return logout();
    default:
        return;
    }
}

void SetingViewController::logout()
{
    auto *alert =
        new Alert(languageSelectedStringForKey(QStringLiteral("Logout")),
                  languageSelectedStringForKey(QStringLiteral("Are you sure you want to logout?")));
    alert->addAction(languageSelectedStringForKey(QStringLiteral("YES")),
                     Alert::ActionStyle::Destructive, [this] { logoutConfirmed(); });
    alert->addAction(languageSelectedStringForKey(QStringLiteral("NO")),
                     Alert::ActionStyle::Cancel);
    present(alert);
}

void SetingViewController::logoutConfirmed()
{
    const QString me = LoginDefaults().userId().value_or(QString());
    // The backend is asked once the record is written (or has had its chance): the writes
    // carry the session the logout ends, and the database refuses an ended session.
    auto asked = std::make_shared<bool>(false);
    auto askBackend = whileAlive(this, [this, me, asked] {
        if (std::exchange(*asked, true))
            return;
        DeleteDataManager().logoutUserAccopunt(
            me, showingProgress(this, [this](bool success, const QString &message) {
                if (success || message == QLatin1String("User does not exist"))
                    return loggedOut();
                showAlert(QString(), languageSelectedStringForKey(message));
            }));
    });
    if (me.isEmpty())
        return askBackend();
    // Nobody pushes to this device any more, and the user is away.
    Database::database()
        .reference(FirebaseNode::users + '/' + me)
        .updateChildValues({{FirebaseNode::deviceToken, QString()},
                            {FirebaseNode::status, QStringLiteral("Offline")}},
                           [askBackend](const std::optional<QString> &) mutable { askBackend(); });
    // A database out of reach keeps the write for later and does not hold up the logout.
    QTimer::singleShot(recordWriteGraceMs, this, askBackend);
}

void SetingViewController::loggedOut()
{
    UserDefaults::standard().removeObject(RegisterStatus::key);
    LoginDefaults().logOut();
    if (AppDelegate *app = runningAppDelegate())
        app->showRootController();
}
