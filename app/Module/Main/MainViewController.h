#pragma once

#include "Module/Register/RegisterationDataManager.h"
#include "Platform/UI/ViewController.h"

#include <QUrl>

// The landing screen of the sign-in flow: sign in by e-mail, Google or Facebook, register,
// read the terms and the privacy policy, and switch the language.
class MainViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(bool languageSwitchOn READ languageSwitchOn NOTIFY languageSwitchOnChanged)

public:
    explicit MainViewController(QObject *parent = nullptr);

    bool languageSwitchOn() const { return languageSwitchOn_; }

    Q_INVOKABLE void loginWithEmail();
    Q_INVOKABLE void loginWithFacebook();
    Q_INVOKABLE void loginWithGoogle();
    Q_INVOKABLE void registerHereAction();
    Q_INVOKABLE void privacyAction();
    Q_INVOKABLE void termsAction();
    // On means German, although the switch is labelled "Switch to English".
    Q_INVOKABLE void didTapLanguageChange(bool isOn);

    // The Facebook profile, as the kit delivers it, becomes a sign-in on the backend.
    void fetchFbDetails();
    void registerWithFacebook(const QVariantMap &facebookProfile);

Q_SIGNALS:
    void languageSwitchOnChanged();

protected:
    void viewDidLoad() override;

private:
    void initialLanguageSetUp();
    void push(int identifier);

    RegisterationDataManager dataManager_;
    bool languageSwitchOn_ = true;
};
