#pragma once

#include "Module/Common/PasswordField.h"
#include "Module/Register/RegisterationDataManager.h"
#include "Platform/UI/ViewController.h"

// The registration screen: e-mail and a password typed twice. The new account is described
// on the profile registration screen that follows.
class RegisterViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY emailChanged)
    Q_PROPERTY(PasswordField *password READ password CONSTANT)
    Q_PROPERTY(PasswordField *confirmPassword READ confirmPassword CONSTANT)

public:
    explicit RegisterViewController(QObject *parent = nullptr);

    QString email() const { return email_; }
    void setEmail(const QString &email);
    PasswordField *password() { return &password_; }
    PasswordField *confirmPassword() { return &confirmPassword_; }

    // The request as it goes to the backend, with the device's current position and address.
    QVariantMap registrationParameters() const;

    Q_INVOKABLE void registerAction();
    Q_INVOKABLE void signIn();
    Q_INVOKABLE void CancelAction();
    Q_INVOKABLE void shareAction();

Q_SIGNALS:
    void emailChanged();

private:
    void registered();

    RegisterationDataManager dataManager_;
    QString email_;
    PasswordField password_;
    PasswordField confirmPassword_;
};
