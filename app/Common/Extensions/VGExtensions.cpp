#include "Common/Extensions/VGExtensions.h"

#include "Common/Extensions/DateExtension.h"
#include "Common/Extensions/FoundNil.h"
#include "Common/Extensions/Localizable.h"
#include "Common/Extensions/StringExtension.h"
#include "Constants.h"
#include "Platform/Print.h"
#include "Platform/UserDefaults.h"

#include <QTextBoundaryFinder>

#include <unicode/calendar.h>
#include <unicode/reldatefmt.h>

#include <limits>

namespace {

const QString messagePattern = QStringLiteral("yyyy-MM-dd hh:mm:ss a");

// Message texts are written in the writer's locale; one from an English-speaking device must
// still read on a device whose day-period markers differ.
QDateTime messageDate(const QString &timestamp)
{
    std::optional<QDateTime> parsed = DateFormatter(messagePattern).date(timestamp);
    if (!parsed)
        parsed = DateFormatter(messagePattern, icu::Locale("en_US_POSIX")).date(timestamp);
    if (!parsed)
        foundNil(QStringLiteral("\"%1\" is no message time").arg(timestamp));
    return *parsed;
}

// Older messages are dated in the language the app shows, in the device's region.
icu::Locale interfaceLocale()
{
    const std::optional<QString> code =
        UserDefaults::standard().string(Constants::userDefaults::languagecode);
    if (!code)
        return icu::Locale::getDefault();
    return icu::Locale(code->toLatin1().constData(), icu::Locale::getDefault().getCountry());
}

// Characters as a reader counts them, the way the digits were typed.
qsizetype characterCount(const QString &text)
{
    qsizetype count = 0;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    while (finder.toNextBoundary() > 0)
        ++count;
    return count;
}

// The day of `date` in the medium date style, or the locale's word for it when it lies within
// two calendar days of `now` ("gestern", "vorgestern"; English has none beyond "yesterday").
// ICU's own relative style would measure from the system clock rather than from current().
QString relativeMediumDate(const QDateTime &date, const QDateTime &now, const icu::Locale &locale)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(locale, status));
    if (!calendar || U_FAILURE(status))
        return DateFormatter::mediumDate(locale).string(date);
    calendar->setTime(udateFromDate(now), status);
    const int32_t today = calendar->get(UCAL_JULIAN_DAY, status);
    calendar->setTime(udateFromDate(date), status);
    const int32_t days = today - calendar->get(UCAL_JULIAN_DAY, status);
    const UDateDirection directions[] = {UDAT_DIRECTION_NEXT_2, UDAT_DIRECTION_NEXT,
                                         UDAT_DIRECTION_THIS, UDAT_DIRECTION_LAST,
                                         UDAT_DIRECTION_LAST_2};
    if (U_SUCCESS(status) && days >= -2 && days <= 2) {
        const icu::RelativeDateTimeFormatter words(locale, status);
        icu::UnicodeString word;
        words.format(directions[days + 2], UDAT_ABSOLUTE_DAY, word, status);
        if (U_SUCCESS(status) && !word.isBogus() && !word.isEmpty())
            return fromUnicode(word);
    }
    return DateFormatter::mediumDate(locale).string(date);
}

} // namespace

QString messageTime(const QString &timestamp)
{
    const QDateTime date = messageDate(timestamp);

    // "Now" goes through text too, which drops its milliseconds like the message's.
    const DateFormatter nowFormatter(QStringLiteral("MM-dd-yyyy hh:mm:ss a"));
    const QString nowText = nowFormatter.string(current());
    print(QStringLiteral("currentDate ") + nowText);
    const QDateTime now = nowFormatter.date(nowText).value_or(current());

    const qint64 elapsed = (now.toMSecsSinceEpoch() - date.toMSecsSinceEpoch()) / 1000;
    if (elapsed < 60)
        return QStringLiteral("Just Now");
    if (elapsed < 3600) {
        const qint64 minutes = elapsed / 60;
        if (UserDefaults::standard().string(Constants::userDefaults::languagecode) ==
            QLatin1String("en"))
            return QString::number(minutes) + QStringLiteral(" min(s) ago");
        return QStringLiteral("Vor ") + QString::number(minutes) + QStringLiteral(" min");
    }
    if (elapsed < 86400)
        return languageSelectedStringForKey(QStringLiteral("Today")) + u' ' +
               dateFormater(QStringLiteral("hh:mm a")).string(date);
    if (elapsed < 172800)
        return languageSelectedStringForKey(QStringLiteral("Yesterday")) + u' ' +
               dateFormater(QStringLiteral("hh:mm a")).string(date);
    const icu::Locale locale = interfaceLocale();
    return relativeMediumDate(date, now, locale) + QStringLiteral(", ") +
           DateFormatter(QStringLiteral("h:mm a"), locale).string(date);
}

QColor colorFromHexString(const QString &hexString)
{
    qsizetype start = 0;
    qsizetype end = hexString.size();
    while (start < end && !hexString.at(start).isLetterOrNumber())
        ++start;
    while (end > start && !hexString.at(end - 1).isLetterOrNumber())
        --end;
    const QString hex = hexString.mid(start, end - start);

    // Read like a hex scanner: an optional 0x, then as many hex digits as there are, the value
    // held at the largest 32-bit number when there are too many; no digits leave 0.
    quint32 v = 0;
    qsizetype at = 0;
    auto digit = [&hex](qsizetype index) {
        if (index >= hex.size())
            return -1;
        return hexDigitValue(hex.at(index));
    };
    if (hex.size() > 2 && hex.at(0) == u'0' && (hex.at(1) == u'x' || hex.at(1) == u'X') &&
        digit(2) >= 0)
        at = 2;
    for (; digit(at) >= 0; ++at) {
        const quint64 next = quint64(v) * 16 + quint64(digit(at));
        v = next > std::numeric_limits<quint32>::max() ? std::numeric_limits<quint32>::max()
                                                       : quint32(next);
    }

    int alpha = 255;
    int red = 0;
    int green = 0;
    int blue = 0;
    switch (characterCount(hex)) {
    case 3:
        red = int((v >> 8) & 0xF) * 17;
        green = int((v >> 4) & 0xF) * 17;
        blue = int(v & 0xF) * 17;
        break;
    case 6:
        red = int((v >> 16) & 0xFF);
        green = int((v >> 8) & 0xFF);
        blue = int(v & 0xFF);
        break;
    case 8:
        alpha = int(v >> 24);
        red = int((v >> 16) & 0xFF);
        green = int((v >> 8) & 0xFF);
        blue = int(v & 0xFF);
        break;
    default:
        break;
    }
    return QColor::fromRgb(red, green, blue, alpha);
}
