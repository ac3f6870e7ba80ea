#pragma once

#include "Module/Common/PasswordField.h"
#include "Module/Login/LoginDataManager.h"
#include "Platform/UI/ViewController.h"

#include <QElapsedTimer>
#include <QTimer>

// The e-mail sign-in screen. Three failed sign-ins in a row whose last answer says to wait
// ("try 3 times") lock the whole screen for a minute, with a countdown on display; an unknown
// address starts the count again.
class LoginViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY emailChanged)
    Q_PROPERTY(PasswordField *password READ password CONSTANT)
    Q_PROPERTY(int lockSecondsRemaining READ lockSecondsRemaining NOTIFY lockChanged)
    Q_PROPERTY(QString lockText READ lockText NOTIFY lockChanged)

public:
    static constexpr int lockSeconds = 60;

    explicit LoginViewController(QObject *parent = nullptr);

    QString email() const { return email_; }
    void setEmail(const QString &email);
    PasswordField *password() { return &password_; }
    int loginTime() const { return loginTime_; }
    bool isLocked() const { return lockTimer_.isActive(); }
    int lockSecondsRemaining() const;
    QString lockText() const;

    Q_INVOKABLE void loginwithEmail();
    Q_INVOKABLE void registerHereAction();
    Q_INVOKABLE void forgotPasswordAction();
    Q_INVOKABLE void back();
    // The minute is over: the screen takes touches again.
    Q_INVOKABLE void fireTimer();

Q_SIGNALS:
    void emailChanged();
    void lockChanged();

private:
    void loginFailed(const QString &message);

    LoginDataManager dataManager_;
    QString email_;
    PasswordField password_;
    int loginTime_ = 0;
    QTimer lockTimer_;
    QTimer countdown_;
};
