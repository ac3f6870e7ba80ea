#pragma once

#include "Platform/UI/ViewController.h"

#include <QList>

// A stack of screens, the newest on top; it owns them. Its view (NavigationView.qml) is a
// StackView that follows the stack through the signals below. A screen popped off the stack
// is released once its view is gone (release()), or at once when no view is attached, so
// that no binding of a leaving page ever reads a destroyed controller.
class NavigationController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(ViewController *topViewController READ topViewController NOTIFY stackChanged)
    Q_PROPERTY(int depth READ depth NOTIFY stackChanged)

public:
    explicit NavigationController(ViewController *rootViewController = nullptr,
                                  QObject *parent = nullptr);

    QList<ViewController *> viewControllers() const { return stack_; }
    ViewController *topViewController() const { return stack_.isEmpty() ? nullptr : stack_.last(); }
    int depth() const { return static_cast<int>(stack_.size()); }
    Q_INVOKABLE ViewController *viewControllerAt(int index) const;

    void pushViewController(ViewController *viewController, bool animated = true);
    // Nothing happens on the root screen. The popped screen is returned until it is released.
    Q_INVOKABLE ViewController *popViewController(bool animated = true);
    void setViewControllers(const QList<ViewController *> &viewControllers);

    // The view took its page of `viewController` off the screen; the controller goes.
    Q_INVOKABLE void release(ViewController *viewController);
    // A view shows this stack from now on (the QML view calls it when it is created).
    Q_INVOKABLE void attachView(bool attached);

Q_SIGNALS:
    void stackChanged();
    void pushed(ViewController *viewController, bool animated);
    void popped(ViewController *viewController, bool animated);
    void replaced();

protected:
    ViewController *shownChild() const override;

private:
    void adopt(ViewController *viewController);
    void retire(ViewController *viewController);

    QList<ViewController *> stack_;
    int attachedViews_ = 0;
};
