#pragma once

#include "Platform/UI/ViewController.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

// The application's window: the root screen, the alerts screens present and the progress
// indicator over everything. The one QML ApplicationWindow (AppWindow.qml) shows what this
// holds; without it, everything here still works, which is how screens are tested.
class Window : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application delegate owns the window")
    Q_PROPERTY(
        ViewController *rootViewController READ rootViewController NOTIFY rootViewControllerChanged)
    Q_PROPERTY(bool keyAndVisible READ isKeyAndVisible NOTIFY keyAndVisibleChanged)
    Q_PROPERTY(Alert *alert READ alert NOTIFY alertChanged)
    Q_PROPERTY(bool hudVisible READ isHUDVisible NOTIFY hudVisibleChanged)

public:
    explicit Window(QObject *parent = nullptr);
    ~Window() override;

    // The window made key last; none before makeKeyAndVisible or after it is destroyed.
    static Window *keyWindow();

    ViewController *rootViewController() const { return root_; }
    // Takes ownership. The previous root leaves the screen and is destroyed after its view.
    void setRootViewController(ViewController *viewController);
    void makeKeyAndVisible();
    bool isKeyAndVisible() const { return keyAndVisible_; }

    // The alert on display: the oldest presented one that is still open.
    Alert *alert() const;
    void show(Alert *alert);

    bool isHUDVisible() const { return hudCount_ > 0; }
    void hudShown();
    void hudHidden();

Q_SIGNALS:
    void rootViewControllerChanged();
    void keyAndVisibleChanged();
    void alertChanged();
    void hudVisibleChanged();

private:
    // Drops `alert` (and alerts already destroyed) from those waiting to be seen.
    void forget(const Alert *alert);

    QPointer<ViewController> root_;
    bool keyAndVisible_ = false;
    QList<QPointer<Alert>> alerts_;
    int hudCount_ = 0;
};
