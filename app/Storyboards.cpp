#include "Storyboards.h"

#include "Module/Chat/ChatList/ChatListVC.h"
#include "Module/Chat/ChatVc/ChatViewController.h"
#include "Module/FindDog/FavouritesViewController.h"
#include "Module/FindDog/FindDogViewController.h"
#include "Module/FindDog/PartnerDetailViewController.h"
#include "Module/ForgotPassword/ForgotPasswordViewController.h"
#include "Module/Info/ImfoViewController.h"
#include "Module/Info/ShareViewController.h"
#include "Module/Login/LoginViewController.h"
#include "Module/Main/MainViewController.h"
#include "Module/Profile/UserProfileViewController.h"
#include "Module/Register/ProfileRegister/RegisterProfileViewController.h"
#include "Module/Register/RegisterViewController.h"
#include "Module/Setting/ChangePassword/ChangePasswordViewController.h"
#include "Module/Setting/DataProtection/DataProtectionController.h"
#include "Module/Setting/Delete/DeleteAccViewController.h"
#include "Module/Setting/Notification/NotificationSettingsController.h"
#include "Module/Setting/SetingViewController.h"
#include "Module/Tabs/PlaceholderViewController.h"
#include "Module/Tabs/TabsController.h"
#include "NavigationHelper.h"
#include "Platform/UI/NavigationController.h"

namespace {

QUrl view(const char *module, const char *file)
{
    return QUrl(
        QStringLiteral("qrc:/Tailwise/%1/%2.qml").arg(QLatin1String(module), QLatin1String(file)));
}

template <typename Controller>
Storyboard::Factory screen(const char *module, const char *file)
{
    return [url = view(module, file)] {
        auto *controller = new Controller;
        controller->setViewUrl(url);
        return controller;
    };
}

NavigationController *stack(ViewController *root)
{
    auto *navigation = new NavigationController(root);
    navigation->setViewUrl(view("UI", "NavigationView"));
    return navigation;
}

// A screen of a later release: its title and what it will offer.
Storyboard::Factory placeholder(const char *titleKey, const char *icon, const char *detailKey)
{
    return [=] {
        auto *controller = new PlaceholderViewController(
            QString::fromUtf8(titleKey), QString::fromUtf8(icon), QString::fromUtf8(detailKey));
        controller->setViewUrl(view("Tabs", "PlaceholderView"));
        return controller;
    };
}

Storyboard::Factory stackOf(Storyboard::Factory root)
{
    return [root = std::move(root)] { return stack(root()); };
}

QString id(VCIdentifier identifier)
{
    return rawValue(identifier);
}

} // namespace

Storyboard::Catalogue appStoryboards()
{
    const Storyboard::Factory tabs = screen<TabsController>("Tabs", "TabsView");

    Storyboard::Definition main;
    main.initialIdentifier = QStringLiteral("SignIn");
    main.scenes = {
        {QStringLiteral("SignIn"), stackOf(screen<MainViewController>("Main", "MainView"))},
        {id(VCIdentifier::TabsController), tabs},
        {id(VCIdentifier::Register), screen<RegisterViewController>("Register", "RegisterView")},
        {id(VCIdentifier::LoginVC), screen<LoginViewController>("Login", "LoginView")},
        {id(VCIdentifier::ForgotPassword),
         screen<ForgotPasswordViewController>("ForgotPassword", "ForgotPasswordView")},
        {id(VCIdentifier::RegisterProfile),
         screen<RegisterProfileViewController>("Register", "RegisterProfileView")},
    };

    const auto findDog = screen<FindDogViewController>("FindDog", "FindDogView");
    const auto favourites = screen<FavouritesViewController>("FindDog", "FavouritesView");
    const auto chats = screen<ChatListVC>("Chat", "ChatListView");
    const auto info = screen<ImfoViewController>("Info", "InfoView");
    const auto profile = screen<UserProfileViewController>("Profile", "UserProfileView");
    const auto settings = screen<SetingViewController>("Setting", "SettingsView");
    const auto chat = screen<ChatViewController>("Chat", "ChatView");

    Storyboard::Definition tabBar;
    // The tab screen is what a finished sign-in opens.
    tabBar.initialIdentifier = id(VCIdentifier::TabsController);
    tabBar.scenes = {
        {id(VCIdentifier::TabsController), tabs},
        {id(VCIdentifier::FindDog), findDog},
        {id(VCIdentifier::NavFindDog), stackOf(findDog)},
        {id(VCIdentifier::DogDetail),
         screen<PartnerDetailViewController>("FindDog", "PartnerDetailView")},
        {id(VCIdentifier::navFavVC), stackOf(favourites)},
        {id(VCIdentifier::Profile), profile},
        {id(VCIdentifier::navProfile), stackOf(profile)},
        {id(VCIdentifier::navChat), stackOf(chats)},
        {id(VCIdentifier::ChatVC), chat},
        {id(VCIdentifier::NavAppChat), [] { return stack(nullptr); }},
        {id(VCIdentifier::navInfo), stackOf(info)},
        {id(VCIdentifier::navSetting), stackOf(settings)},
        {id(VCIdentifier::ChangePassword),
         screen<ChangePasswordViewController>("Setting", "ChangePasswordView")},
        {id(VCIdentifier::DataProtection),
         screen<DataProtectionController>("Setting", "DataProtectionView")},
        {id(VCIdentifier::Notification),
         screen<NotificationSettingsController>("Setting", "NotificationSettingsView")},
        {id(VCIdentifier::DeleteVC),
         screen<DeleteAccViewController>("Setting", "DeleteAccountView")},
        {ShareViewController::storyboardIdentifier,
         screen<ShareViewController>("Info", "ShareView")},
        {id(VCIdentifier::AdmobBannerVC),
         placeholder("Information", "campaign", "Advertisements are not shown in this version.")},
    };
    return {{rawValue(StoryboardName::main), main}, {rawValue(StoryboardName::tabBar), tabBar}};
}
