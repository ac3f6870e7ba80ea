#include "Platform/UI/ProgressHUD.h"

#include "Platform/UI/ViewController.h"
#include "Platform/UI/Window.h"

ProgressHUD::ProgressHUD(QObject *owner) : QObject(owner), window_(Window::keyWindow())
{
    if (window_)
        window_->hudShown();
}

ProgressHUD::~ProgressHUD()
{
    if (shown_ && window_)
        window_->hudHidden();
}

ProgressHUD *ProgressHUD::showHUDAddedTo(QObject *owner, bool /*animated*/)
{
    return new ProgressHUD(owner);
}

void ProgressHUD::hide(bool /*animated*/)
{
    if (!shown_)
        return;
    shown_ = false;
    if (window_)
        window_->hudHidden();
    deleteLater();
}
