#include "Module/Profile/UserProfileViewController.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Network/API.h"
#include "LoginDefaults.h"
#include "Module/FindDog/PartnerTexts.h"
#include "Module/Profile/ProfilleDataManager.h"
#include "Module/Tabs/TabsController.h"
#include "NavigationHelper.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"
#include "Platform/UI/ProgressHUD.h"

#include <memory>

namespace {

// The tab screen this screen's section belongs to, if any.
updateUserData *tabScreenOf(QObject *screen)
{
    for (QObject *up = screen ? screen->parent() : nullptr; up; up = up->parent())
        if (auto *tabs = dynamic_cast<updateUserData *>(up))
            return tabs;
    return nullptr;
}

} // namespace

UserProfileViewController::UserProfileViewController(QObject *parent)
    : ProfileFormViewController(parent)
{
    setTitleKey(QStringLiteral("Profile"));
    connect(this, &ViewController::retranslate, this, &ProfileFormViewController::formChanged);
}

void UserProfileViewController::viewWillAppear()
{
    if (!editing_)
        fetch();
}

void UserProfileViewController::fetch(std::function<void()> then)
{
    const QString me = LoginDefaults().userId().value_or(QString());
    if (me.isEmpty())
        return;
    loading_ = true;
    Q_EMIT
    loadingChanged();
    auto manager = std::make_shared<ProfilleDataManager>();
    manager->fetchProfile(me,
                          whileAlive(this, [this, manager, then](bool success, const QString &) {
                              loading_ = false;
                              Q_EMIT
                              loadingChanged();
                              if (success && manager->profile())
                                  show(*manager->profile());
                              if (then)
                                  then();
                          }));
}

void UserProfileViewController::show(const Profile &profile)
{
    saved_ = profile;
    name = profile.fullname;
    gender = profile.gender;
    age = profile.age;
    numberOfDogs = profile.numOfDogs;
    dogName = profile.dogsName;
    aboutDog = profile.doginfo;
    aboutMe = profile.about;
    address = profile.dogAddress;
    Q_EMIT
    formChanged();
    Q_EMIT
    pictureChanged();
}

QString UserProfileViewController::ageLine() const
{
    return ageText(age);
}

QString UserProfileViewController::genderText() const
{
    if (gender == QLatin1String("male"))
        return languageSelectedStringForKey(QStringLiteral("Male"));
    if (gender == QLatin1String("female"))
        return languageSelectedStringForKey(QStringLiteral("Female"));
    return {};
}

QString UserProfileViewController::dogsLine() const
{
    return dogsText(numberOfDogs, QString());
}

QUrl UserProfileViewController::pictureUrl() const
{
    if (chosenPicture())
        return ProfileFormViewController::pictureUrl();
    return saved_ ? QUrl(API::pictureAddress(saved_->profilePic)) : QUrl();
}

bool UserProfileViewController::hasPicture() const
{
    return chosenPicture().has_value() || (saved_ && !saved_->profilePic.isEmpty());
}

void UserProfileViewController::edit()
{
    setEditing(true);
}

void UserProfileViewController::openChangePassword()
{
    if (NavigationController *stack = navigationController())
        stack->pushViewController(NavigationHelper::shared().viewController(
            VCIdentifier::ChangePassword, StoryboardName::tabBar));
}

void UserProfileViewController::cancelEditing()
{
    if (saved_)
        show(*saved_);
    forgetChosenPicture();
    setEditing(false);
}

void UserProfileViewController::setEditing(bool editing)
{
    if (editing == editing_)
        return;
    editing_ = editing;
    Q_EMIT
    editingChanged();
}

void UserProfileViewController::save()
{
    if (const std::optional<QString> problem = formProblem()) {
        showAlert(languageSelectedStringForKey(QStringLiteral("Profile")), *problem);
        return;
    }
    const Profile before = saved_.value_or(Profile());
    const bool pictureChanged = chosenPicture().has_value();
    auto manager = std::make_shared<ProfilleDataManager>();
    manager->saveProfile(
        profileParameters(), chosenPicture(),
        showingProgress(
            this, [this, manager, before, pictureChanged](bool success, const QString &message) {
                if (!success)
                    return showAlert(languageSelectedStringForKey(QStringLiteral("Profile")),
                                     languageSelectedStringForKey(message));
                forgetChosenPicture();
                setEditing(false);
                fetch([this, before, pictureChanged] { handOver(before, pictureChanged); });
            }));
}

void UserProfileViewController::handOver(const Profile &before, bool pictureChanged)
{
    updateUserData *tabs = tabScreenOf(navigationController());
    if (!tabs || !saved_)
        return;
    const Profile &now = *saved_;
    const bool fieldsChanged = now.fullname != before.fullname || now.gender != before.gender ||
                               now.age != before.age || now.numOfDogs != before.numOfDogs ||
                               now.dogsName != before.dogsName || now.about != before.about;
    if (pictureChanged && !fieldsChanged) {
        tabs->onlyImage(now.profilePic);
        return;
    }
    tabs->updateParam({{QStringLiteral("Name"), now.fullname},
                       {QStringLiteral("gender"), now.gender},
                       {QStringLiteral("age"), now.age},
                       {QStringLiteral("dogs_count"), now.numOfDogs},
                       {QStringLiteral("dog_name"), now.dogsName},
                       {QStringLiteral("about"), now.about},
                       {QStringLiteral("profilePic"), now.profilePic}});
}
