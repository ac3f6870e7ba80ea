#include "Module/Login/LoginViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Constants.h"
#include "NavigationHelper.h"
#include "Platform/Print.h"
#include "Platform/UI/DispatchQueue.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/ProgressHUD.h"
#include "Platform/UserDefaults.h"

#include <algorithm>

LoginViewController::LoginViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Login"));
    lockTimer_.setSingleShot(true);
    lockTimer_.setInterval(lockSeconds * 1000);
    connect(&lockTimer_, &QTimer::timeout, this, &LoginViewController::fireTimer);
    countdown_.setInterval(1000);
    connect(&countdown_, &QTimer::timeout, this, &LoginViewController::lockChanged);
    connect(this, &ViewController::retranslate, this, &LoginViewController::lockChanged);
}

void LoginViewController::setEmail(const QString &email)
{
    if (email == email_)
        return;
    email_ = email;
    Q_EMIT
    emailChanged();
}

int LoginViewController::lockSecondsRemaining() const
{
    if (!lockTimer_.isActive())
        return 0;
    return std::min(lockSeconds, (lockTimer_.remainingTime() + 999) / 1000);
}

QString LoginViewController::lockText() const
{
    if (!lockTimer_.isActive())
        return {};
    return languageSelectedStringForKey(QStringLiteral("Too many attempts. Try again in %1 s"))
        .arg(lockSecondsRemaining());
}

void LoginViewController::loginwithEmail()
{
    const auto [valid, message] = dataManager_.isDataValid(
        {{QStringLiteral("Email"), email_}, {QStringLiteral("Password"), password_.text()}});
    if (!valid) {
        showAlert(languageSelectedStringForKey(QStringLiteral("Login")), message);
        return;
    }
    dataManager_.login(
        email_, password_.text(),
        showingProgress(this, [this](bool success, const std::optional<QString> &message,
                                     std::optional<int> isNew) {
            if (!success)
                return loginFailed(message.value_or(QString()));
            if (isNew == 0) {
                UserDefaults::standard().setString(RegisterStatus::success, RegisterStatus::key);
                appDelegate().homeScreen();
                return;
            }
            UserDefaults::standard().setString(RegisterStatus::inProgress, RegisterStatus::key);
            if (NavigationController *stack = navigationController())
                stack->pushViewController(NavigationHelper::shared().viewController(
                    VCIdentifier::RegisterProfile, StoryboardName::main));
        }));
}

void LoginViewController::loginFailed(const QString &message)
{
    loginTime_ += 1;
    print(QStringLiteral("loginTime+++"));
    if (loginTime_ == 3 && message.contains(QStringLiteral("try 3 times"))) {
        print(QStringLiteral("try 3 times"));
        setUserInteractionEnabled(false);
        lockTimer_.start();
        countdown_.start();
        Q_EMIT
        lockChanged();
    }
    if (message.contains(QStringLiteral("Email does not exist.")))
        loginTime_ = 0;
    // The backend's fixed answers have translations; the others are shown as they come.
    showAlert(languageSelectedStringForKey(QStringLiteral("Login")),
              languageSelectedStringForKey(message));
}

void LoginViewController::fireTimer()
{
    print(QStringLiteral("Timer fired!"));
    setUserInteractionEnabled(true);
    lockTimer_.stop();
    countdown_.stop();
    Q_EMIT
    lockChanged();
}

void LoginViewController::registerHereAction()
{
    if (NavigationController *stack = navigationController())
        stack->pushViewController(NavigationHelper::shared().viewController(VCIdentifier::Register,
                                                                            StoryboardName::main));
}

void LoginViewController::forgotPasswordAction()
{
    if (NavigationController *stack = navigationController())
        stack->pushViewController(NavigationHelper::shared().viewController(
            VCIdentifier::ForgotPassword, StoryboardName::main));
}

void LoginViewController::back()
{
    if (NavigationController *stack = navigationController())
        stack->popViewController();
}
