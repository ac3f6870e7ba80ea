#include "Platform/UI/Window.h"

#include "Platform/UI/Alert.h"
#include "Platform/UI/DispatchQueue.h"
#include "Platform/UI/ViewController.h"

namespace {
QPointer<Window> &theKeyWindow()
{
    static QPointer<Window> window;
    return window;
}
} // namespace

Window::Window(QObject *parent) : QObject(parent) {}

Window::~Window()
{
    if (theKeyWindow() == this)
        theKeyWindow() = nullptr;
}

Window *Window::keyWindow()
{
    return theKeyWindow();
}

void Window::setRootViewController(ViewController *viewController)
{
    if (viewController == root_)
        return;
    ViewController *previous = root_;
    if (previous && keyAndVisible_)
        previous->beginDisappearance();
    if (viewController) {
        viewController->setParent(this);
        if (keyAndVisible_)
            viewController->beginAppearance();
    }
    root_ = viewController;
    // The view lets go of the previous root's page in this signal, before the controller is
    // scheduled for destruction below.
    Q_EMIT
    rootViewControllerChanged();
    if (previous) {
        previous->endDisappearance();
        previous->deleteLater();
    }
    if (viewController && keyAndVisible_)
        viewController->endAppearance();
}

void Window::makeKeyAndVisible()
{
    theKeyWindow() = this;
    if (!keyAndVisible_) {
        keyAndVisible_ = true;
        Q_EMIT
        keyAndVisibleChanged();
    }
    // The first screen appears once the launch that made the window key has finished, as on
    // the phone, so that everything the launch stores (the language) is there for it.
    DispatchQueue::main().async(
        [this] {
            if (root_ && !root_->isVisible()) {
                root_->beginAppearance();
                root_->endAppearance();
            }
        },
        this);
}

Alert *Window::alert() const
{
    for (const QPointer<Alert> &alert : alerts_)
        if (alert)
            return alert;
    return nullptr;
}

void Window::show(Alert *alert)
{
    const Alert *before = this->alert();
    alerts_.append(alert);
    connect(alert, &Alert::dismissed, this, [this, alert] { forget(alert); });
    connect(alert, &QObject::destroyed, this, [this] { forget(nullptr); });
    if (this->alert() != before)
        Q_EMIT
    alertChanged();
}

void Window::forget(const Alert *alert)
{
    const Alert *before = this->alert();
    alerts_.removeIf(
        [alert](const QPointer<Alert> &shown) { return shown.isNull() || shown.data() == alert; });
    if (this->alert() != before)
        Q_EMIT
    alertChanged();
}

void Window::hudShown()
{
    if (++hudCount_ == 1)
        Q_EMIT
    hudVisibleChanged();
}

void Window::hudHidden()
{
    if (hudCount_ > 0 && --hudCount_ == 0)
        Q_EMIT
    hudVisibleChanged();
}
