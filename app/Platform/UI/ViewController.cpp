#include "Platform/UI/ViewController.h"

#include "Common/Extensions/Localizable.h"
#include "Platform/UI/Alert.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/Window.h"

ViewController::ViewController(QObject *parent) : QObject(parent)
{
    connect(&LanguageChange::shared(), &LanguageChange::languageChanged, this, [this] {
        if (!titleKey_.isEmpty())
            Q_EMIT
        titleChanged();
        Q_EMIT
        retranslate();
    });
}

ViewController::~ViewController() = default;

QString ViewController::title() const
{
    return titleKey_.isEmpty() ? QString() : languageSelectedStringForKey(titleKey_);
}

void ViewController::setTitleKey(const QString &key)
{
    if (key == titleKey_)
        return;
    titleKey_ = key;
    Q_EMIT
    titleChanged();
}

void ViewController::setUserInteractionEnabled(bool enabled)
{
    if (enabled == userInteractionEnabled_)
        return;
    userInteractionEnabled_ = enabled;
    Q_EMIT
    userInteractionEnabledChanged();
}

NavigationController *ViewController::navigationController() const
{
    return navigationController_;
}

void ViewController::setNavigationController(NavigationController *navigationController)
{
    if (navigationController_ == navigationController)
        return;
    navigationController_ = navigationController;
    Q_EMIT
    navigationControllerChanged();
}

void ViewController::present(Alert *alert)
{
    alert->setParent(this);
    presentedAlert_ = alert;
    connect(alert, &Alert::dismissed, this, [this, alert] {
        if (presentedAlert_ == alert) {
            presentedAlert_ = nullptr;
            Q_EMIT
            presentedAlertChanged();
        }
        alert->deleteLater();
    });
    connect(alert, &QObject::destroyed, this, [this] {
        Q_EMIT
        presentedAlertChanged();
    });
    Q_EMIT
    presentedAlertChanged();
    if (Window *window = Window::keyWindow())
        window->show(alert);
}

void ViewController::loadViewIfNeeded()
{
    if (viewLoaded_)
        return;
    viewLoaded_ = true;
    viewDidLoad();
}

void ViewController::beginAppearance()
{
    if (visible_ || appearing_)
        return;
    loadViewIfNeeded();
    appearing_ = true;
    viewWillAppear();
    if (ViewController *child = shownChild())
        child->beginAppearance();
}

void ViewController::endAppearance()
{
    if (!appearing_)
        return;
    appearing_ = false;
    visible_ = true;
    viewDidAppear();
    if (ViewController *child = shownChild())
        child->endAppearance();
}

void ViewController::beginDisappearance()
{
    if (!visible_ && !appearing_)
        return;
    viewWillDisappear();
    if (ViewController *child = shownChild())
        child->beginDisappearance();
}

void ViewController::endDisappearance()
{
    if (!visible_ && !appearing_)
        return;
    appearing_ = false;
    visible_ = false;
    viewDidDisappear();
    if (ViewController *child = shownChild())
        child->endDisappearance();
}

void ViewController::showAlert(const QString &title, const QString &message)
{
    auto *alert = new Alert(title, message);
    alert->addAction(languageSelectedStringForKey(QStringLiteral("OK")),
                     Alert::ActionStyle::Cancel);
    present(alert);
}
