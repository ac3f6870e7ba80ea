#include "Module/FindDog/PartnerDetailViewController.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Network/API.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/StatusHandler.h"
#include "Module/FindDog/PartnerPrivacy.h"
#include "Module/FindDog/PartnerTexts.h"
#include "NavigationHelper.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"

PartnerDetailViewController::PartnerDetailViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Search"));
    connect(this, &ViewController::retranslate, this, [this] {
        Q_EMIT
        partnerChanged();
        Q_EMIT
        visibilityChanged();
    });
}

void PartnerDetailViewController::setPartner(const User &partner)
{
    partner_ = partner;
    favourite_ = partner.favourite == QLatin1String("1");
    visibility_ = {};
    lastSeen_.clear();
    Q_EMIT
    partnerChanged();
    Q_EMIT
    visibilityChanged();
    Q_EMIT
    favouriteChanged();
}

void PartnerDetailViewController::viewWillAppear()
{
    if (partner_.userId.isEmpty())
        return;
    const QString me = LoginDefaults().userId().value_or(QString());
    readPartnerVisibility(partner_.userId, me,
                          whileAlive(this, [this](const PartnerVisibility &seen) {
                              visibility_ = seen;
                              Q_EMIT
                              visibilityChanged();
                          }));
    StatusHandler().lastSeenOnline(partner_.userId, whileAlive(this, [this](const QString &when) {
                                       lastSeen_ = when;
                                       Q_EMIT
                                       visibilityChanged();
                                   }));
    StatusHandler().isFavUser(partner_.userId, whileAlive(this, [this](const QString &mark) {
                                  if (favouriteBusy_)
                                      return; // the toggle on its way decides
                                  favourite_ = mark == QLatin1String("1");
                                  Q_EMIT
                                  favouriteChanged();
                              }));
}

QString PartnerDetailViewController::ageLine() const
{
    return ageText(partner_.age);
}

QString PartnerDetailViewController::genderText() const
{
    if (partner_.gender == QLatin1String("male"))
        return languageSelectedStringForKey(QStringLiteral("Male"));
    if (partner_.gender == QLatin1String("female"))
        return languageSelectedStringForKey(QStringLiteral("Female"));
    return {};
}

QString PartnerDetailViewController::distanceLine() const
{
    const QString distance = distanceText(partner_.distance);
    return distance.isEmpty()
               ? QString()
               : languageSelectedStringForKey(QStringLiteral("%1 away")).arg(distance);
}

QString PartnerDetailViewController::dogsLine() const
{
    return dogsText(partner_.numOfDogs, QString());
}

QString PartnerDetailViewController::pictureUrl() const
{
    return visibility_.pictureVisible ? API::pictureAddress(partner_.Image) : QString();
}

QString PartnerDetailViewController::presenceText() const
{
    if (!visibility_.presenceVisible)
        return {};
    if (visibility_.online)
        return languageSelectedStringForKey(QStringLiteral("Online"));
    if (lastSeen_.isEmpty())
        return {};
    return languageSelectedStringForKey(QStringLiteral("Last Seen")) + QStringLiteral(": ") +
           lastSeen_;
}

void PartnerDetailViewController::toggleFavourite()
{
    if (favouriteBusy_ || partner_.userId.isEmpty())
        return;
    favourite_ = !favourite_;
    favouriteBusy_ = true;
    Q_EMIT
    favouriteChanged();
    marker_.setMark(partner_.userId, favourite_, [this](bool success, const QString &why) {
        favouriteBusy_ = false;
        if (success)
            partner_.favourite = favourite_ ? QStringLiteral("1") : QStringLiteral("0");
        else
            favourite_ = !favourite_;
        Q_EMIT
        favouriteChanged();
        if (!success)
            showAlert(QString(), languageSelectedStringForKey(why));
    });
}

void PartnerDetailViewController::openChat()
{
    NavigationController *stack = navigationController();
    if (!stack || partner_.userId.isEmpty())
        return;
    ViewController *chat =
        NavigationHelper::shared().viewController(VCIdentifier::ChatVC, StoryboardName::tabBar);
    chat->setProperty("partnerName", partner_.Name);
    chat->setProperty("partnerId", partner_.userId);
    chat->setProperty("isFavourite", favourite_);
    chat->setProperty("partnerAge", partner_.age);
    chat->setProperty("partnerDistance", partner_.distance);
    stack->pushViewController(chat);
}
