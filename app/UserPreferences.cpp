#include "UserPreferences.h"

#include "Platform/UserDefaults.h"

UserPreferences::UserPreferences() : defaults(UserDefaults::standard()) {}

UserPreferences &UserPreferences::shared()
{
    static UserPreferences instance;
    return instance;
}

int UserPreferences::feedsBadgeCount() const
{
    return static_cast<int>(defaults.integer(UDKeys::kFeedBadgeCount));
}

void UserPreferences::setFeedsBadgeCount(int value)
{
    defaults.setInteger(value, UDKeys::kFeedBadgeCount);
}

bool UserPreferences::taskTutorialShown() const
{
    return defaults.boolValue(UDKeys::kShowTaskTutorial);
}

void UserPreferences::setTaskTutorialShown(bool value)
{
    defaults.setBool(value, UDKeys::kShowTaskTutorial);
}

bool UserPreferences::eventTutorialShown() const
{
    return defaults.boolValue(UDKeys::kShowEventTutorial);
}

void UserPreferences::setEventTutorialShown(bool value)
{
    defaults.setBool(value, UDKeys::kShowEventTutorial);
}

bool UserPreferences::eventImageTutorialShown() const
{
    return defaults.boolValue(UDKeys::kShownEventImageTutorial);
}

void UserPreferences::setEventImageTutorialShown(bool value)
{
    defaults.setBool(value, UDKeys::kShownEventImageTutorial);
}

bool UserPreferences::showCalenderImage() const
{
    return defaults.boolValue(UDKeys::kShowCalenderImage);
}

void UserPreferences::setShowCalenderImage(bool value)
{
    defaults.setBool(value, UDKeys::kShowCalenderImage);
}
