#pragma once

#include "Common/Extensions/RawValue.h"
#include "Platform/UI/ViewController.h"

#include <QStringList>

// Why an account is deleted; the raw values are the texts the backend is sent.
enum class SelectedReason
{
    firstReason,
    secondReason,
    thirdReason,
    fourthReason,
    fifthReason
};
QString rawValue(SelectedReason value);

// The reasons panel: five buttons (btnFirst … btnFive), one selected, kept in the settings
// store under "SelectedReason".
class ReasonsDelegate
{
public:
    virtual ~ReasonsDelegate() = default;
    virtual void reasonChosen(SelectedReason reason) = 0;
};

// Account deletion: a reason, an optional message behind "tell us more", a confirmation, and
// then the account is deactivated and the app returns to its first screen.
class DeleteAccViewController : public ViewController, public ReasonsDelegate
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QStringList reasonKeys READ reasonKeys CONSTANT)
    Q_PROPERTY(
        int selectedReasonIndex READ selectedReasonIndex WRITE selectReason NOTIFY reasonChanged)
    Q_PROPERTY(QString txtViewMessage MEMBER txtViewMessage NOTIFY messageChanged)
    Q_PROPERTY(bool tellingUs READ tellingUs NOTIFY messageChanged)

public:
    explicit DeleteAccViewController(QObject *parent = nullptr);

    QString txtViewMessage;

    QStringList reasonKeys() const;
    int selectedReasonIndex() const;
    Q_INVOKABLE void selectReason(int index);
    void reasonChosen(SelectedReason reason) override;
    bool tellingUs() const { return tellingUs_; }
    // btnTellus: shows the message field.
    Q_INVOKABLE void btnTellus();
    // Asks first; refuses when offline; then marks the account deactivated where others see
    // it (while the session still holds) and deactivates it at the backend.
    Q_INVOKABLE void deleteAccount();

Q_SIGNALS:
    void reasonChanged();
    void messageChanged();

private:
    void deletionConfirmed();
    void deactivated(bool success, const QString &message);

    bool tellingUs_ = false;
};
