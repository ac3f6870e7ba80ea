#pragma once

#include "Platform/UI/ViewController.h"

#include <QStringList>

// What Tailwise is and how it treats people's data, in the language on display, with the way
// to the help pages, the legal pages and the invitation to share.
class ImfoViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    // Pairs of keys: a heading, then its text.
    Q_PROPERTY(QStringList sectionKeys READ sectionKeys CONSTANT)
    Q_PROPERTY(QString version READ version CONSTANT)

public:
    explicit ImfoViewController(QObject *parent = nullptr);

    QStringList sectionKeys() const;
    QString version() const;

    Q_INVOKABLE void openHelp();
    Q_INVOKABLE void openTerms();
    Q_INVOKABLE void openPrivacy();
    Q_INVOKABLE void share();
};
