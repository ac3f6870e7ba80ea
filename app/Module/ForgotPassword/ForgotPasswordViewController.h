#pragma once

#include "Module/ForgotPassword/forgorPasswordManager.h"
#include "Platform/UI/ViewController.h"

// Asks the backend to mail a new password to the address typed in.
class ForgotPasswordViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY emailChanged)

public:
    explicit ForgotPasswordViewController(QObject *parent = nullptr);

    QString email() const { return email_; }
    void setEmail(const QString &email);

    Q_INVOKABLE void forgot();
    Q_INVOKABLE void back();

Q_SIGNALS:
    void emailChanged();

private:
    forgorPasswordManager dataManager_;
    QString email_;
};
