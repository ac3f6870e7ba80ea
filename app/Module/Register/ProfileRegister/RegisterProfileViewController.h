#pragma once

#include "Module/Common/ProfileFormViewController.h"

// The profile that follows sign-up. Saving it finishes the registration and opens the tabs;
// a picture is required.
class RegisterProfileViewController : public ProfileFormViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")

public:
    explicit RegisterProfileViewController(QObject *parent = nullptr);

    Q_INVOKABLE void save() override;
};
