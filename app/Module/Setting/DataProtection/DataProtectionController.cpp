#include "Module/Setting/DataProtection/DataProtectionController.h"

#include "Common/Firebase/FirebaseNode.h"
#include "LoginDefaults.h"
#include "Platform/Print.h"
#include "Platform/UI/Lifetime.h"

#include <array>

namespace {

// In the order of the radio buttons: anybody, nobody, only favourites.
const std::array<QString, 3> choiceTexts{QStringLiteral("Anybody"), QStringLiteral("Nobody"),
                                         QStringLiteral("Only Favourite")};

template <typename Setting>
Setting settingOf(int choice)
{
    return choice == 1 ? Setting::nobody : choice == 2 ? Setting::favourites : Setting::anybody;
}

template <typename Setting>
QString textOf(Setting value)
{
    switch (value) {
    case Setting::nobody:
        return choiceTexts[1];
    case Setting::anybody:
        return choiceTexts[0];
    case Setting::favourites:
        break;
    }
    return choiceTexts[2];
}

template <typename Setting>
std::optional<Setting> settingFromText(const QString &raw)
{
    for (int choice = 0; choice < 3; ++choice)
        if (choiceTexts[static_cast<std::size_t>(choice)] == raw)
            return settingOf<Setting>(choice);
    return std::nullopt;
}

} // namespace

QString rawValue(ImageSeenSettings value)
{
    return textOf(value);
}

QString rawValue(LastSeenSettings value)
{
    return textOf(value);
}

template <>
std::optional<ImageSeenSettings> fromRawValue<ImageSeenSettings>(const QString &raw)
{
    return settingFromText<ImageSeenSettings>(raw);
}

template <>
std::optional<LastSeenSettings> fromRawValue<LastSeenSettings>(const QString &raw)
{
    return settingFromText<LastSeenSettings>(raw);
}

DataProtectionController::DataProtectionController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Data Protection"));
}

int DataProtectionController::choiceOf(const QString &raw)
{
    for (int choice = 0; choice < 3; ++choice)
        if (choiceTexts[static_cast<std::size_t>(choice)] == raw)
            return choice;
    return -1;
}

void DataProtectionController::viewDidLoad()
{
    const QString me = LoginDefaults().userId().value_or(QString());
    if (me.isEmpty())
        return;
    dataProtectionRef = Database::database().reference(FirebaseNode::dataProtection + '/' + me);
    // What is stored shows when the screen opens; nothing stored reads as "Anybody".
    dataProtectionRef->getData(whileAlive(this, [this](const std::optional<QString> &,
                                                       const DataSnapshot &record) {
        const QVariantMap stored = record.value().toMap();
        imgeSetting = fromRawValue<ImageSeenSettings>(stored.value("img_status").toString())
                          .value_or(ImageSeenSettings::anybody);
        lastseenSetting = fromRawValue<LastSeenSettings>(stored.value("lastseen_status").toString())
                              .value_or(LastSeenSettings::anybody);
        Q_EMIT
        choicesChanged();
    }));
}

void DataProtectionController::tapImage(int choice)
{
    if (choice < 0 || choice > 2)
        return;
    if (imageSelected_ && imageChoice() == choice) {
        imageSelected_ = false;
        print(QStringLiteral("Not Selected"));
    } else {
        imageSelected_ = true;
        imgeSetting = settingOf<ImageSeenSettings>(choice);
        setImageSettings();
    }
    Q_EMIT
    choicesChanged();
}

void DataProtectionController::tapLastSeen(int choice)
{
    if (choice < 0 || choice > 2)
        return;
    if (lastSeenSelected_ && lastSeenChoice() == choice) {
        lastSeenSelected_ = false;
        print(QStringLiteral("Not Selected"));
    } else {
        lastSeenSelected_ = true;
        lastseenSetting = settingOf<LastSeenSettings>(choice);
        setImageSettings();
    }
    Q_EMIT
    choicesChanged();
}

void DataProtectionController::setImageSettings()
{
    if (!dataProtectionRef)
        return;
    dataProtectionRef->setValue(
        QVariantMap{{QStringLiteral("img_status"), rawValue(imgeSetting)},
                    {QStringLiteral("lastseen_status"), rawValue(lastseenSetting)}});
}
