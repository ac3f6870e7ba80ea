#pragma once

#include "Platform/UI/Alert.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class NavigationController;
Q_MOC_INCLUDE("Platform/UI/NavigationController.h")

// A screen's controller: it holds the screen's rules and state, and its QML view (viewUrl)
// binds to it. Containers (the window, navigation stacks, the tab screen) drive the lifecycle:
// viewDidLoad once before the screen is first shown, then viewWillAppear / viewDidAppear and
// viewWillDisappear / viewDidDisappear around every time it comes and goes. Everything works
// without a view, so controllers are tested headless.
class ViewController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString identifier READ identifier CONSTANT)
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)
    Q_PROPERTY(bool userInteractionEnabled READ isUserInteractionEnabled NOTIFY
                   userInteractionEnabledChanged)
    Q_PROPERTY(QUrl viewUrl READ viewUrl CONSTANT)
    Q_PROPERTY(NavigationController *navigationController READ navigationController NOTIFY
                   navigationControllerChanged)
    Q_PROPERTY(Alert *presentedAlert READ presentedAlert NOTIFY presentedAlertChanged)

public:
    explicit ViewController(QObject *parent = nullptr);
    ~ViewController() override;

    QString identifier() const { return identifier_; }
    void setIdentifier(const QString &identifier) { identifier_ = identifier; }
    QUrl viewUrl() const { return viewUrl_; }
    void setViewUrl(const QUrl &url) { viewUrl_ = url; }

    // The title in the current language; set by key and looked up again after a switch.
    QString title() const;
    void setTitleKey(const QString &key);

    // The view's isUserInteractionEnabled: false makes the whole screen refuse touches.
    bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool enabled);

    // The stack this screen is on, if any.
    NavigationController *navigationController() const;
    void setNavigationController(NavigationController *navigationController);

    // Shows `alert` over the screen; the screen owns it until it is dismissed.
    void present(Alert *alert);
    // The alert on display, if any.
    Alert *presentedAlert() const { return presentedAlert_; }
    // The screens' one way to tell the user something: an alert with the title and message
    // as given and a single "OK" button.
    void showAlert(const QString &title, const QString &message);

    bool isViewLoaded() const { return viewLoaded_; }
    bool isVisible() const { return visible_; }
    void loadViewIfNeeded();

    // Called by containers; each reaches the screen only when it changes its visibility.
    void beginAppearance();
    void endAppearance();
    void beginDisappearance();
    void endDisappearance();

Q_SIGNALS:
    void titleChanged();
    void userInteractionEnabledChanged();
    void navigationControllerChanged();
    void presentedAlertChanged();
    // The interface language changed: texts the controller composes are to be read again.
    void retranslate();

protected:
    virtual void viewDidLoad() {}
    virtual void viewWillAppear() {}
    virtual void viewDidAppear() {}
    virtual void viewWillDisappear() {}
    virtual void viewDidDisappear() {}
    // A container's screen on display, which comes and goes with the container.
    virtual ViewController *shownChild() const { return nullptr; }

private:
    QString identifier_;
    QUrl viewUrl_;
    QString titleKey_;
    bool userInteractionEnabled_ = true;
    bool viewLoaded_ = false;
    bool visible_ = false;
    bool appearing_ = false;
    QPointer<NavigationController> navigationController_;
    QPointer<Alert> presentedAlert_;
};
