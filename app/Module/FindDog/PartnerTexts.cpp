#include "Module/FindDog/PartnerTexts.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Models/UserEnums.h"

#include <QLocale>
#include <QStringList>

namespace {

QLocale interfaceLocale()
{
    return QLocale(languageSwitchIsOn() ? QLocale::German : QLocale::English);
}

QString dogCount(const QString &numberOfDogs)
{
    switch (fromRawValue<NumberOfDogs>(numberOfDogs).value_or(NumberOfDogs::one)) {
    case NumberOfDogs::one:
        return languageSelectedStringForKey(QStringLiteral("1 dog"));
    case NumberOfDogs::two:
        return languageSelectedStringForKey(QStringLiteral("%1 dogs")).arg(2);
    case NumberOfDogs::three:
        return languageSelectedStringForKey(QStringLiteral("%1 dogs")).arg(3);
    case NumberOfDogs::pack:
        break;
    }
    return languageSelectedStringForKey(QStringLiteral("A pack of dogs"));
}

} // namespace

QString ageText(const QString &age)
{
    const QString trimmed = age.trimmed();
    return trimmed.isEmpty()
               ? QString()
               : languageSelectedStringForKey(QStringLiteral("%1 years")).arg(trimmed);
}

QString dogsText(const QString &numberOfDogs, const QString &dogName)
{
    QStringList parts;
    if (!dogName.trimmed().isEmpty())
        parts << dogName.trimmed();
    if (!numberOfDogs.isEmpty())
        parts << dogCount(numberOfDogs);
    return parts.join(QStringLiteral(" · "));
}

QString distanceText(const QString &kilometres)
{
    bool number = false;
    const double value = kilometres.toDouble(&number);
    if (!number || value < 0)
        return {};
    return languageSelectedStringForKey(QStringLiteral("%1 km"))
        .arg(interfaceLocale().toString(value, 'f', 1));
}
