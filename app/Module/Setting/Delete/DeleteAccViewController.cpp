#include "Module/Setting/Delete/DeleteAccViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Common/Firebase/FirebaseNode.h"
#include "Constants.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/Connectivity.h"
#include "Module/Login/SessionHooks.h"
#include "Module/Setting/Delete/DeleteDataManager.h"
#include "NotificationAlert/DeviceToken.h"
#include "Platform/Database.h"
#include "Platform/Print.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/ProgressHUD.h"
#include "Platform/UserDefaults.h"

#include <QTimer>

#include <array>
#include <memory>
#include <utility>

namespace {

const std::array<QString, 5> reasonTexts{
    QStringLiteral("Found somebody thank you for the app"), QStringLiteral("Technical problems"),
    QStringLiteral("Idea of the app is not working"),
    QStringLiteral("Bad messages from other users"), QStringLiteral("No answer from others users")};

// How long the deletion waits for the mark to be written before it asks the backend.
constexpr int markWriteGraceMs = 3000;

} // namespace

QString rawValue(SelectedReason value)
{
    return reasonTexts[static_cast<std::size_t>(value)];
}

DeleteAccViewController::DeleteAccViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Delete Account"));
}

QStringList DeleteAccViewController::reasonKeys() const
{
    return {reasonTexts.begin(), reasonTexts.end()};
}

int DeleteAccViewController::selectedReasonIndex() const
{
    // The store keeps the reason by its position; nothing stored selects the first.
    const int stored = LoginDefaults().reason().value_or(0);
    return stored >= 0 && stored < 5 ? stored : 0;
}

void DeleteAccViewController::selectReason(int index)
{
    if (index >= 0 && index < 5)
        reasonChosen(static_cast<SelectedReason>(index));
}

void DeleteAccViewController::reasonChosen(SelectedReason reason)
{
    LoginDefaults().setReason(static_cast<int>(reason));
    Q_EMIT
    reasonChanged();
}

void DeleteAccViewController::btnTellus()
{
    tellingUs_ = true;
    Q_EMIT
    messageChanged();
}

void DeleteAccViewController::deleteAccount()
{
    auto *alert = new Alert(languageSelectedStringForKey(QStringLiteral("Delete Account")),
                            languageSelectedStringForKey(
                                QStringLiteral("Are you sure you want to delete the account?")));
    alert->addAction(languageSelectedStringForKey(QStringLiteral("YES")),
                     Alert::ActionStyle::Destructive, [this] { deletionConfirmed(); });
    alert->addAction(languageSelectedStringForKey(QStringLiteral("NO")),
                     Alert::ActionStyle::Cancel);
    present(alert);
}

void DeleteAccViewController::deletionConfirmed()
{
    if (!Connectivity::isConnectedToInternet()) {
        showAlert(QString(), languageSelectedStringForKey(
                                 QStringLiteral("Please check your internet connection")));
        return;
    }
    const QString me = LoginDefaults().userId().value_or(QString());
    const QString reason = rawValue(static_cast<SelectedReason>(selectedReasonIndex()));
    const QString message = txtViewMessage.trimmed();
    // The backend is asked once the mark is written (or has had its chance): the mark carries
    // the session the deactivation ends, and the database refuses an ended session.
    auto asked = std::make_shared<bool>(false);
    auto askBackend = whileAlive(this, [this, me, reason, message, asked] {
        if (std::exchange(*asked, true))
            return;
        DeleteDataManager().deleteUserAccopunt(
            me, reason, message, showingProgress(this, [this](bool success, const QString &answer) {
                deactivated(success, answer);
            }));
    });
    if (me.isEmpty())
        return askBackend();
    Database::database()
        .reference(FirebaseNode::users + '/' + me)
        .updateChildValues({{QStringLiteral("activate_status"), QStringLiteral("Deactivate")},
                            {FirebaseNode::deviceToken, QString()}},
                           [askBackend](const std::optional<QString> &) mutable { askBackend(); });
    QTimer::singleShot(markWriteGraceMs, this, askBackend);
}

void DeleteAccViewController::deactivated(bool success, const QString &message)
{
    print(message);
    const bool gone = message == QLatin1String("User does not exist!");
    if (!success && !gone) {
        // Still an account: it is shown as active again and reachable by pushes.
        const QString me = LoginDefaults().userId().value_or(QString());
        Database::database()
            .reference(FirebaseNode::users + '/' + me + QStringLiteral("/activate_status"))
            .setValue(QStringLiteral("activate"));
        DeviceToken::shared().updateDeviceToken();
        showAlert(QString(), languageSelectedStringForKey(message));
        return;
    }
    const auto leave = [] {
        UserDefaults::standard().removeObject(RegisterStatus::key);
        LoginDefaults().logOut();
        if (AppDelegate *app = runningAppDelegate())
            app->showRootController();
    };
    if (!gone)
        return leave();
    auto *alert = new Alert(QString(), languageSelectedStringForKey(message));
    alert->addAction(languageSelectedStringForKey(QStringLiteral("OK")),
                     Alert::ActionStyle::Default, leave);
    present(alert);
}
