#include "Module/Main/MainViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Deployment.h"
#include "NavigationHelper.h"
#include "Platform/Print.h"
#include "Platform/SignInKits.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"

#include <QDesktopServices>

MainViewController::MainViewController(QObject *parent) : ViewController(parent)
{
    connect(this, &ViewController::retranslate, this, &MainViewController::initialLanguageSetUp);
}

void MainViewController::viewDidLoad()
{
    initialLanguageSetUp();
}

void MainViewController::initialLanguageSetUp()
{
    const bool on = languageSwitchIsOn();
    if (on != languageSwitchOn_) {
        languageSwitchOn_ = on;
        Q_EMIT
        languageSwitchOnChanged();
    }
}

void MainViewController::push(int identifier)
{
    if (NavigationController *stack = navigationController())
        stack->pushViewController(NavigationHelper::shared().viewController(
            static_cast<VCIdentifier>(identifier), StoryboardName::main));
}

void MainViewController::loginWithEmail()
{
    push(static_cast<int>(VCIdentifier::LoginVC));
}

void MainViewController::registerHereAction()
{
    push(static_cast<int>(VCIdentifier::Register));
}

void MainViewController::loginWithGoogle()
{
    // The answer arrives in the application delegate, which finishes the sign-in.
    if (!GIDSignIn::sharedInstance().signIn())
        showAlert(languageSelectedStringForKey(QStringLiteral("Gmail Login")),
                  languageSelectedStringForKey(
                      QStringLiteral("Google sign-in is not available in this version.")));
}

void MainViewController::loginWithFacebook()
{
    const bool started = LoginManager().logIn(
        whileAlive(this, [this](bool granted, const std::optional<QString> &error) {
            if (error)
                return showAlert(languageSelectedStringForKey(QStringLiteral("FB Login")), *error);
            if (granted)
                fetchFbDetails();
        }));
    if (!started)
        showAlert(languageSelectedStringForKey(QStringLiteral("FB Login")),
                  languageSelectedStringForKey(
                      QStringLiteral("Facebook sign-in is not available in this version.")));
}

void MainViewController::fetchFbDetails()
{
    GraphRequest::me(whileAlive(this, [this](const std::optional<QVariantMap> &profile,
                                             const std::optional<QString> &error) {
        if (error || !profile) {
            print(QStringLiteral("Facebook profile could not be read: ") +
                  error.value_or(QString()));
            return showAlert(languageSelectedStringForKey(QStringLiteral("FB Login")),
                             error.value_or(QStringLiteral("Temporary error occured")));
        }
        registerWithFacebook(*profile);
    }));
}

void MainViewController::registerWithFacebook(const QVariantMap &facebookProfile)
{
    AppDelegate &app = appDelegate();
    QVariantMap parameters = app.paramsFromGoogleUser(
        {facebookProfile.value(QStringLiteral("email")).toString(),
         facebookProfile.value(QStringLiteral("name")).toString(), QString(),
         facebookProfile.value(QStringLiteral("picture")).toString()});
    parameters.insert(QStringLiteral("register_type"), QStringLiteral("facebook"));
    app.loginWithGoogle(parameters, std::nullopt);
}

void MainViewController::privacyAction()
{
    QDesktopServices::openUrl(Deployment::privacyPolicyUrl());
}

void MainViewController::termsAction()
{
    QDesktopServices::openUrl(Deployment::termsOfUseUrl());
}

void MainViewController::didTapLanguageChange(bool isOn)
{
    storeLanguageForSwitch(isOn);
    initialLanguageSetUp();
}
