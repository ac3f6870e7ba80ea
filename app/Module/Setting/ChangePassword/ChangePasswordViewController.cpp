#include "Module/Setting/ChangePassword/ChangePasswordViewController.h"

#include "Common/Extensions/Localizable.h"
#include "LoginDefaults.h"
#include "Module/Setting/ChangePasswordManager.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/ProgressHUD.h"

ChangePasswordViewController::ChangePasswordViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Change Password"));
}

std::optional<QString> ChangePasswordViewController::formProblem() const
{
    if (old_.text().isEmpty() || new_.text().isEmpty())
        return languageSelectedStringForKey(QStringLiteral("Password is required"));
    if (new_.text().size() < minimumLength)
        return languageSelectedStringForKey(
            QStringLiteral("The new password needs at least 6 characters."));
    if (new_.text() != confirm_.text())
        return languageSelectedStringForKey(QStringLiteral("Password does not match"));
    if (new_.text() == old_.text())
        return languageSelectedStringForKey(
            QStringLiteral("The new password is the same as the old one."));
    return std::nullopt;
}

void ChangePasswordViewController::save()
{
    const QString title = languageSelectedStringForKey(QStringLiteral("Change Password"));
    if (const std::optional<QString> problem = formProblem())
        return showAlert(title, *problem);
    ChangePasswordManager().changePassword(
        LoginDefaults().userId().value_or(QString()), old_.text(), new_.text(),
        showingProgress(this, [this, title](bool success, const QString &message) {
            auto *alert = new Alert(title, languageSelectedStringForKey(message));
            alert->addAction(languageSelectedStringForKey(QStringLiteral("OK")),
                             Alert::ActionStyle::Default, whileAlive(this, [this, success] {
                                 if (success)
                                     if (NavigationController *stack = navigationController())
                                         stack->popViewController(true);
                             }));
            present(alert);
        }));
}
