#include "Module/Register/ProfileRegister/RegisterProfileViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Constants.h"
#include "Platform/UI/ProgressHUD.h"
#include "Platform/UserDefaults.h"

RegisterProfileViewController::RegisterProfileViewController(QObject *parent)
    : ProfileFormViewController(parent)
{
    setTitleKey(QStringLiteral("Create your profile"));
}

void RegisterProfileViewController::save()
{
    if (const std::optional<QString> problem = formProblem()) {
        showAlert(languageSelectedStringForKey(QStringLiteral("Create your profile")), *problem);
        return;
    }
    dataManager_.setUserProfile(
        profileParameters(), chosenPicture(),
        showingProgress(this, [this](bool success, const QString &message) {
            if (!success)
                return showAlert(
                    languageSelectedStringForKey(QStringLiteral("Create your profile")),
                    languageSelectedStringForKey(message));
            UserDefaults::standard().setString(RegisterStatus::success, RegisterStatus::key);
            appDelegate().homeScreen();
        }));
}
