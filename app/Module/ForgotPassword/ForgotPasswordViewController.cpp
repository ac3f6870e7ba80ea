#include "Module/ForgotPassword/ForgotPasswordViewController.h"

#include "Common/Extensions/Localizable.h"
#include "Platform/Print.h"
#include "Platform/UI/Alert.h"
#include "Platform/UI/DispatchQueue.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/ProgressHUD.h"

ForgotPasswordViewController::ForgotPasswordViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Forgot Password"));
}

void ForgotPasswordViewController::setEmail(const QString &email)
{
    if (email == email_)
        return;
    email_ = email;
    Q_EMIT
    emailChanged();
}

void ForgotPasswordViewController::forgot()
{
    const auto [valid, message] = dataManager_.isDataValid({{QStringLiteral("Email"), email_}});
    if (!valid) {
        showAlert(languageSelectedStringForKey(QStringLiteral("Forgot Password")), message);
        return;
    }
    dataManager_.forgot(
        email_.trimmed(),
        showingProgress(
            this, [this](bool success, const std::optional<QString> &message, std::optional<int>) {
                print(QStringLiteral(" forgotPassword Result : ") + message.value_or(QString()));
                if (!success) {
                    showAlert(languageSelectedStringForKey(QStringLiteral("Forgot Password")),
                              languageSelectedStringForKey(message.value_or(QString())));
                    return;
                }
                auto *alert = new Alert(
                    languageSelectedStringForKey(QStringLiteral("New Password sent")), QString());
                alert->addAction(QStringLiteral("OK"), Alert::ActionStyle::Cancel,
                                 whileAlive(this, [this] { back(); }));
                present(alert);
            }));
}

void ForgotPasswordViewController::back()
{
    if (NavigationController *stack = navigationController())
        stack->popViewController();
}
