#pragma once

#include "Platform/UI/ViewController.h"

#include <QStringList>

// The settings tab: data protection, notifications, help, account deletion, logout, the
// distance warning switch and the language switch, in that order.
class SetingViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QStringList rowKeys READ rowKeys CONSTANT)
    Q_PROPERTY(bool pushesOn READ pushesOn NOTIFY notificationStateChanged)
    Q_PROPERTY(bool distanceWarning READ distanceWarning WRITE setDistanceWarning NOTIFY
                   distanceWarningChanged)
    Q_PROPERTY(bool german READ german NOTIFY languageChanged)

public:
    static inline const QString cellIdentifier = QStringLiteral("SettingCellid");
    // How long the logout waits for the user's record to be written before it goes on.
    static constexpr int recordWriteGraceMs = 3000;

    explicit SetingViewController(QObject *parent = nullptr);

    QStringList rowKeys() const;
    // The signed-in user's "noti_status", read when the list appears ("offline" means off).
    bool pushesOn() const { return pushesOn_; }
    bool distanceWarning() const;
    void setDistanceWarning(bool on);
    bool german() const;

    Q_INVOKABLE void selectRow(int row);
    Q_INVOKABLE void setGerman(bool on);
    // Asks first; then the backend's logout, after the user's record has been told (its
    // writes need the session, which the logout ends), and back to the first screen.
    Q_INVOKABLE void logout();

Q_SIGNALS:
    void notificationStateChanged();
    void distanceWarningChanged();
    void languageChanged();

protected:
    void viewWillAppear() override;

private:
    void push(int identifier);
    void logoutConfirmed();
    void loggedOut();

    bool pushesOn_ = true;
};
