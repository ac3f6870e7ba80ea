#pragma once

#include "Platform/UI/ViewController.h"

// Stands for a screen of a section that is not built yet: its title, an icon and a line that
// says what will be here.
class PlaceholderViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString icon READ icon CONSTANT)
    Q_PROPERTY(QString detail READ detail NOTIFY retranslate)

public:
    PlaceholderViewController(const QString &titleKey, QString icon, QString detailKey,
                              QObject *parent = nullptr);

    QString icon() const { return icon_; }
    QString detail() const;

private:
    QString icon_;
    QString detailKey_;
};
