#pragma once

#include "Common/Extensions/RawValue.h"
#include "Platform/Database.h"
#include "Platform/UI/ViewController.h"

#include <optional>

// Who may see the user's picture, and who the time the user was last online.
enum class ImageSeenSettings
{
    nobody,
    anybody,
    favourites
};
enum class LastSeenSettings
{
    nobody,
    anybody,
    favourites
};
QString rawValue(ImageSeenSettings value);
QString rawValue(LastSeenSettings value);
template <>
std::optional<ImageSeenSettings> fromRawValue<ImageSeenSettings>(const QString &raw);
template <>
std::optional<LastSeenSettings> fromRawValue<LastSeenSettings>(const QString &raw);

// The privacy screen: three radio buttons for the picture and three for the last-seen time.
// Both choices are written together to DataProtection/{me}, so changing one rewrites the
// other with its current value.
class DataProtectionController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    // The selected radio button of each group: 0 anybody, 1 nobody, 2 only favourites, -1 none.
    Q_PROPERTY(int imageChoice READ imageChoice NOTIFY choicesChanged)
    Q_PROPERTY(int lastSeenChoice READ lastSeenChoice NOTIFY choicesChanged)

public:
    explicit DataProtectionController(QObject *parent = nullptr);

    ImageSeenSettings imgeSetting = ImageSeenSettings::anybody;
    LastSeenSettings lastseenSetting = LastSeenSettings::anybody;
    std::optional<DatabaseReference> dataProtectionRef;

    int imageChoice() const { return imageSelected_ ? choiceOf(rawValue(imgeSetting)) : -1; }
    int lastSeenChoice() const
    {
        return lastSeenSelected_ ? choiceOf(rawValue(lastseenSetting)) : -1;
    }

    // The radio buttons: btnAnybody, btnNobody, btnFav and btnLastAny, btnLastNo, btnLastFav.
    // Tapping the selected button again leaves its group with none selected, which writes
    // nothing.
    Q_INVOKABLE void tapImage(int choice);
    Q_INVOKABLE void tapLastSeen(int choice);
    // Writes both choices with a plain set.
    void setImageSettings();

Q_SIGNALS:
    void choicesChanged();

protected:
    void viewDidLoad() override;

private:
    static int choiceOf(const QString &raw);

    bool imageSelected_ = true;
    bool lastSeenSelected_ = true;
};
