#pragma once

#include <QString>

class UserDefaults;

// Keys of the tutorial flags and the feed badge count.
struct UDKeys
{
    static inline const QString kShowTaskTutorial = QStringLiteral("showTaskTutorial");
    static inline const QString kShowEventTutorial = QStringLiteral("showEventTutorial");
    static inline const QString kShownEventImageTutorial =
        QStringLiteral("shownEventImageTutorial");
    static inline const QString kShowCalenderImage = QStringLiteral("showCalenderImage");
    static inline const QString kFeedBadgeCount = QStringLiteral("feedBadgeCount");
};

// Tutorial flags and a badge count. No screen uses them yet; they are kept so the stored
// format stays complete.
class UserPreferences
{
public:
    static UserPreferences &shared();

    int feedsBadgeCount() const;
    void setFeedsBadgeCount(int value);
    bool taskTutorialShown() const;
    void setTaskTutorialShown(bool value);
    bool eventTutorialShown() const;
    void setEventTutorialShown(bool value);
    bool eventImageTutorialShown() const;
    void setEventImageTutorialShown(bool value);
    bool showCalenderImage() const;
    void setShowCalenderImage(bool value);

private:
    UserPreferences();
    UserDefaults &defaults;
};
