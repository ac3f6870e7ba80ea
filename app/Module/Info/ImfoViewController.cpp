#include "Module/Info/ImfoViewController.h"

#include "Common/Network/Link.h"
#include "Deployment.h"
#include "Module/Info/ShareViewController.h"
#include "NavigationHelper.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/Storyboard.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QUrl>

namespace {

// The help address is kept without a scheme; the browser gets a full address.
void openLink(Link link)
{
    QDesktopServices::openUrl(QUrl::fromUserInput(rawValue(link)));
}

} // namespace

ImfoViewController::ImfoViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Information"));
}

QStringList ImfoViewController::sectionKeys() const
{
    return {QStringLiteral("What is Tailwise?"),
            QStringLiteral("Tailwise brings dog owners together: find people with dogs near you, "
                           "mark the ones you like and arrange walks in the chat."),
            QStringLiteral("Your data"),
            QStringLiteral("Who sees your picture and when you were last online is yours to "
                           "choose under Settings, Data Protection. Your conversations are "
                           "readable by the two people in them only."),
            QStringLiteral("Safety"),
            QStringLiteral("Meet new people in public places first. Report bad messages to us "
                           "through the help pages.")};
}

QString ImfoViewController::version() const
{
    return QCoreApplication::applicationVersion();
}

void ImfoViewController::openHelp()
{
    openLink(Link::helpUrl);
}

void ImfoViewController::openTerms()
{
    QDesktopServices::openUrl(Deployment::termsOfUseUrl());
}

void ImfoViewController::openPrivacy()
{
    QDesktopServices::openUrl(Deployment::privacyPolicyUrl());
}

void ImfoViewController::share()
{
    if (NavigationController *stack = navigationController())
        stack->pushViewController(
            Storyboard(rawValue(StoryboardName::tabBar))
                .instantiateViewController(ShareViewController::storyboardIdentifier));
}
