#pragma once

#include "Platform/UI/ViewController.h"

// Invites other dog owners: the invitation with both store links, which the desktop build
// copies to the clipboard, and the store pages themselves.
class ShareViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString shareText READ shareText NOTIFY shareTextChanged)
    Q_PROPERTY(QString iPhoneLink READ iPhoneLink CONSTANT)
    Q_PROPERTY(QString androidLink READ androidLink CONSTANT)

public:
    // Its scene in the tab storyboard.
    static inline const QString storyboardIdentifier = QStringLiteral("ShareVC");

    explicit ShareViewController(QObject *parent = nullptr);

    QString shareText() const;
    QString iPhoneLink() const;
    QString androidLink() const;

    Q_INVOKABLE void copyLink();
    Q_INVOKABLE void openLink(const QString &address);

Q_SIGNALS:
    void shareTextChanged();
};
