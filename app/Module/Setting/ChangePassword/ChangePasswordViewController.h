#pragma once

#include "Module/Common/PasswordField.h"
#include "Platform/UI/ViewController.h"

#include <optional>

// The old password, the new one twice; checked here, changed at the backend, and an alert
// that says how it went. Other sessions of the account end; this one stays.
class ChangePasswordViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(PasswordField *oldPassword READ oldPassword CONSTANT)
    Q_PROPERTY(PasswordField *newPassword READ newPassword CONSTANT)
    Q_PROPERTY(PasswordField *confirmPassword READ confirmPassword CONSTANT)

public:
    static constexpr int minimumLength = 6;

    explicit ChangePasswordViewController(QObject *parent = nullptr);

    PasswordField *oldPassword() { return &old_; }
    PasswordField *newPassword() { return &new_; }
    PasswordField *confirmPassword() { return &confirm_; }

    // The first problem of the form, localised; none when it can be sent.
    std::optional<QString> formProblem() const;
    Q_INVOKABLE void save();

private:
    PasswordField old_;
    PasswordField new_;
    PasswordField confirm_;
};
