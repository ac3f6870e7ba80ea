#include "Platform/UI/NavigationController.h"

NavigationController::NavigationController(ViewController *rootViewController, QObject *parent)
    : ViewController(parent)
{
    if (rootViewController) {
        adopt(rootViewController);
        stack_.append(rootViewController);
    }
}

ViewController *NavigationController::viewControllerAt(int index) const
{
    return index >= 0 && index < stack_.size() ? stack_[index] : nullptr;
}

void NavigationController::adopt(ViewController *viewController)
{
    viewController->setParent(this);
    viewController->setNavigationController(this);
}

void NavigationController::retire(ViewController *viewController)
{
    viewController->setNavigationController(nullptr);
    if (attachedViews_ == 0)
        viewController->deleteLater();
}

void NavigationController::pushViewController(ViewController *viewController, bool animated)
{
    ViewController *previous = topViewController();
    adopt(viewController);
    const bool onScreen = isVisible();
    if (onScreen) {
        if (previous)
            previous->beginDisappearance();
        viewController->beginAppearance();
    } else {
        viewController->loadViewIfNeeded();
    }
    stack_.append(viewController);
    Q_EMIT
    pushed(viewController, animated);
    Q_EMIT
    stackChanged();
    if (onScreen) {
        if (previous)
            previous->endDisappearance();
        viewController->endAppearance();
    }
}

ViewController *NavigationController::popViewController(bool animated)
{
    if (stack_.size() < 2)
        return nullptr;
    ViewController *leaving = stack_.last();
    ViewController *showing = stack_[stack_.size() - 2];
    const bool onScreen = isVisible();
    if (onScreen) {
        leaving->beginDisappearance();
        showing->beginAppearance();
    }
    stack_.removeLast();
    Q_EMIT
    popped(leaving, animated);
    Q_EMIT
    stackChanged();
    if (onScreen) {
        leaving->endDisappearance();
        showing->endAppearance();
    }
    retire(leaving);
    return leaving;
}

void NavigationController::setViewControllers(const QList<ViewController *> &viewControllers)
{
    const QList<ViewController *> previous = stack_;
    const bool onScreen = isVisible();
    if (onScreen && !previous.isEmpty())
        previous.last()->beginDisappearance();
    for (ViewController *viewController : viewControllers)
        adopt(viewController);
    if (onScreen && !viewControllers.isEmpty())
        viewControllers.last()->beginAppearance();
    stack_ = viewControllers;
    Q_EMIT
    replaced();
    Q_EMIT
    stackChanged();
    if (onScreen && !previous.isEmpty())
        previous.last()->endDisappearance();
    if (onScreen && !viewControllers.isEmpty())
        viewControllers.last()->endAppearance();
    for (ViewController *viewController : previous)
        if (!stack_.contains(viewController))
            retire(viewController);
}

void NavigationController::release(ViewController *viewController)
{
    if (viewController && viewController->parent() == this && !stack_.contains(viewController))
        viewController->deleteLater();
}

void NavigationController::attachView(bool attached)
{
    attachedViews_ += attached ? 1 : -1;
    if (attachedViews_ < 0)
        attachedViews_ = 0;
}

ViewController *NavigationController::shownChild() const
{
    return topViewController();
}
