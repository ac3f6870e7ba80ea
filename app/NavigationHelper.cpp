#include "NavigationHelper.h"

#include "Platform/UI/Storyboard.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>

namespace {
constexpr std::array<std::pair<StoryboardName, const char *>, 2> storyboardNames = {{
    {StoryboardName::main, "Main"},
    {StoryboardName::tabBar, "TabBar"},
}};

constexpr std::array<std::pair<VCIdentifier, const char *>, 21> identifiers = {{
    {VCIdentifier::TabsController, "TabsController"},
    {VCIdentifier::Register, "Register"},
    {VCIdentifier::LoginVC, "LoginVC"},
    {VCIdentifier::ForgotPassword, "ForgotPassword"},
    {VCIdentifier::ChangePassword, "ChangePassword"},
    {VCIdentifier::RegisterProfile, "RegisterProfile"},
    {VCIdentifier::FindDog, "FindDog"},
    {VCIdentifier::NavFindDog, "NavFindDog"},
    {VCIdentifier::DogDetail, "DogDetail"},
    {VCIdentifier::navFavVC, "navFavVC"},
    {VCIdentifier::navProfile, "navProfile"},
    {VCIdentifier::Profile, "Profile"},
    {VCIdentifier::navChat, "navChat"},
    {VCIdentifier::NavAppChat, "NavAppChat"},
    {VCIdentifier::navInfo, "navInfo"},
    {VCIdentifier::navSetting, "navSetting"},
    {VCIdentifier::DataProtection, "DataProtection"},
    {VCIdentifier::Notification, "Notification"},
    {VCIdentifier::DeleteVC, "DeleteVC"},
    {VCIdentifier::ChatVC, "ChatVC"},
    {VCIdentifier::AdmobBannerVC, "AdmobBannerVC"},
}};

// On a phone the app fills the screen; on a desktop its window is the phone's screen. Before
// any window exists, the phone size the window opens with.
QSizeF screenSize()
{
    for (const QWindow *window : QGuiApplication::topLevelWindows())
        if (window->isVisible())
            return window->size();
    return {390, 844};
}
} // namespace

QString rawValue(StoryboardName value)
{
    return rawValueText(storyboardNames, value);
}

QString rawValue(VCIdentifier value)
{
    return rawValueText(identifiers, value);
}

template <>
std::optional<StoryboardName> fromRawValue<StoryboardName>(const QString &raw)
{
    return rawValueLookUp(storyboardNames, raw);
}

template <>
std::optional<VCIdentifier> fromRawValue<VCIdentifier>(const QString &raw)
{
    return rawValueLookUp(identifiers, raw);
}

NavigationHelper &NavigationHelper::shared()
{
    static NavigationHelper helper;
    return helper;
}

ViewController *NavigationHelper::viewController(VCIdentifier identifier,
                                                 StoryboardName storyboard) const
{
    return Storyboard(rawValue(storyboard)).instantiateViewController(rawValue(identifier));
}

double ScreenSize::SCREEN_WIDTH()
{
    return screenSize().width();
}

double ScreenSize::SCREEN_HEIGHT()
{
    return screenSize().height();
}

double ScreenSize::SCREEN_MAX_LENGTH()
{
    return std::max(SCREEN_WIDTH(), SCREEN_HEIGHT());
}

double ScreenSize::SCREEN_MIN_LENGTH()
{
    return std::min(SCREEN_WIDTH(), SCREEN_HEIGHT());
}

// The longer sides of the phone families: 480 and less (4s and older), 568 (5), 667 (6, 7,
// 8), 736 (the Plus models); 1024 is the iPad.
bool DeviceType::IS_IPHONE_4_OR_LESS()
{
    return ScreenSize::SCREEN_MAX_LENGTH() < 568.0;
}

bool DeviceType::IS_IPHONE_5()
{
    return ScreenSize::SCREEN_MAX_LENGTH() == 568.0;
}

bool DeviceType::IS_IPHONE_6()
{
    return ScreenSize::SCREEN_MAX_LENGTH() == 667.0;
}

bool DeviceType::IS_IPHONE_6P()
{
    return ScreenSize::SCREEN_MAX_LENGTH() == 736.0;
}

bool DeviceType::IS_IPAD()
{
    return ScreenSize::SCREEN_MAX_LENGTH() == 1024.0;
}
