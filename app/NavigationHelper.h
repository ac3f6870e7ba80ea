#pragma once

#include "Common/Extensions/RawValue.h"

#include <QString>

class ViewController;

// The two storyboards of the app.
enum class StoryboardName
{
    main,
    tabBar
};

// Every screen the storyboards can make, by its storyboard identifier (spelled as the
// storyboards spell them, mixed capitalisation included).
enum class VCIdentifier
{
    TabsController,
    Register,
    LoginVC,
    ForgotPassword,
    ChangePassword,
    RegisterProfile,
    FindDog,
    NavFindDog,
    DogDetail,
    navFavVC,
    navProfile,
    Profile,
    navChat,
    NavAppChat,
    navInfo,
    navSetting,
    DataProtection,
    Notification,
    DeleteVC,
    ChatVC,
    AdmobBannerVC
};

QString rawValue(StoryboardName value);
QString rawValue(VCIdentifier value);
template <>
std::optional<StoryboardName> fromRawValue<StoryboardName>(const QString &raw);
template <>
std::optional<VCIdentifier> fromRawValue<VCIdentifier>(const QString &raw);

// Fetches screens by identifier from the storyboards.
class NavigationHelper
{
public:
    static NavigationHelper &shared();

    // A new controller, owned by the caller.
    ViewController *viewController(VCIdentifier identifier, StoryboardName storyboard) const;

private:
    NavigationHelper() = default;
};

// The screen's size in points, for layout decisions.
struct ScreenSize
{
    static double SCREEN_WIDTH();
    static double SCREEN_HEIGHT();
    static double SCREEN_MAX_LENGTH();
    static double SCREEN_MIN_LENGTH();
};

// The phone family a screen size belongs to, by the longer side in points.
struct DeviceType
{
    static bool IS_IPHONE_4_OR_LESS();
    static bool IS_IPHONE_5();
    static bool IS_IPHONE_6();
    static bool IS_IPHONE_6P();
    static bool IS_IPAD();
};
