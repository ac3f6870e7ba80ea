#pragma once

#include "Common/Models/User.h"
#include "Module/Common/ProfileFormViewController.h"

#include <optional>

// The signed-in user's own profile: shown as others see it, edited with the registration's
// fields and a new picture, saved through the profile managers and handed to the tab screen
// so that the user's mirror in the realtime database follows.
class UserProfileViewController : public ProfileFormViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(bool editing READ editing NOTIFY editingChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    Q_PROPERTY(QString ageText READ ageLine NOTIFY formChanged)
    Q_PROPERTY(QString genderText READ genderText NOTIFY formChanged)
    Q_PROPERTY(QString dogsText READ dogsLine NOTIFY formChanged)

public:
    explicit UserProfileViewController(QObject *parent = nullptr);

    bool editing() const { return editing_; }
    bool loading() const { return loading_; }
    QString ageLine() const;
    QString genderText() const;
    QString dogsLine() const;

    QUrl pictureUrl() const override;
    bool hasPicture() const override;

    Q_INVOKABLE void edit();
    Q_INVOKABLE void openChangePassword();
    // Leaves editing; the fields go back to the saved profile.
    Q_INVOKABLE void cancelEditing();
    Q_INVOKABLE void save() override;

Q_SIGNALS:
    void editingChanged();
    void loadingChanged();

protected:
    void viewWillAppear() override;

private:
    void fetch(std::function<void()> then = {});
    void show(const Profile &profile);
    void handOver(const Profile &before, bool pictureChanged);
    void setEditing(bool editing);

    std::optional<Profile> saved_;
    bool editing_ = false;
    bool loading_ = false;
};
