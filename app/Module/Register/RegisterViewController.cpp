#include "Module/Register/RegisterViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Constants.h"
#include "Module/Common/Share.h"
#include "NavigationHelper.h"
#include "Platform/UI/Alert.h"
#include "Platform/UI/DispatchQueue.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/ProgressHUD.h"
#include "Platform/UserDefaults.h"

RegisterViewController::RegisterViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Register"));
}

void RegisterViewController::setEmail(const QString &email)
{
    if (email == email_)
        return;
    email_ = email;
    Q_EMIT
    emailChanged();
}

QVariantMap RegisterViewController::registrationParameters() const
{
    const AppDelegate &app = appDelegate();
    return {
        {QStringLiteral("email"), email_.trimmed()},
        {QStringLiteral("password"), password_.text()},
        {QStringLiteral("register_type"), QStringLiteral("manual")},
        {QStringLiteral("username"), QString()},
        {QStringLiteral("phone"), QString()},
        {QStringLiteral("dogInfo"), QString()},
        {QStringLiteral("dog_address"), app.stringAddress},
        {QStringLiteral("gender"), QString()},
        {QStringLiteral("dog_name"), QString()},
        {QStringLiteral("dogs_count"), QString()},
        {QStringLiteral("longitude"), QString::number(app.locationCoordinates.longitude, 'f', 6)},
        {QStringLiteral("latitude"), QString::number(app.locationCoordinates.latitude, 'f', 6)},
        {QStringLiteral("about"), QString()},
        {QStringLiteral("user_age"), QString()},
        {QStringLiteral("activate_status"), QStringLiteral("activate")},
        {QStringLiteral("verify_status"), QStringLiteral("0")},
    };
}

void RegisterViewController::registerAction()
{
    const auto [valid, message] =
        dataManager_.isDataValid({{QStringLiteral("Email"), email_},
                                  {QStringLiteral("Password"), password_.text()},
                                  {QStringLiteral("Confirm Password"), confirmPassword_.text()}});
    if (!valid) {
        showAlert(languageSelectedStringForKey(QStringLiteral("Register")), message);
        return;
    }
    dataManager_.register_(
        registrationParameters(), std::nullopt,
        showingProgress(this, [this](bool success, const std::optional<QString> &message,
                                     std::optional<int>) {
            if (success)
                UserDefaults::standard().setString(RegisterStatus::inProgress, RegisterStatus::key);
            auto *alert = new Alert(languageSelectedStringForKey(QStringLiteral("Registeration")),
                                    languageSelectedStringForKey(message.value_or(QString())));
            alert->addAction(languageSelectedStringForKey(QStringLiteral("OK")),
                             Alert::ActionStyle::Cancel, whileAlive(this, [this, success] {
                                 if (success)
                                     registered();
                             }));
            present(alert);
        }));
}

void RegisterViewController::registered()
{
    if (NavigationController *stack = navigationController())
        stack->pushViewController(NavigationHelper::shared().viewController(
            VCIdentifier::RegisterProfile, StoryboardName::main));
}

void RegisterViewController::signIn()
{
    NavigationController *stack = navigationController();
    if (!stack)
        return;
    // Coming from the sign-in screen, going back is signing in; otherwise it comes next.
    const QList<ViewController *> screens = stack->viewControllers();
    if (screens.size() >= 2 &&
        screens[screens.size() - 2]->identifier() == rawValue(VCIdentifier::LoginVC))
        stack->popViewController();
    else
        stack->pushViewController(
            NavigationHelper::shared().viewController(VCIdentifier::LoginVC, StoryboardName::main));
}

void RegisterViewController::CancelAction()
{
    if (NavigationController *stack = navigationController())
        stack->popViewController();
}

void RegisterViewController::shareAction()
{
    shareAppLink(*this);
}
