#include "Common/Extensions/DateExtension.h"

#include "Common/Extensions/StringExtension.h"
#include "Platform/Print.h"

#include <unicode/calendar.h>

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<DateFormat, const char *>, 10> patterns = {{
    {DateFormat::dateWithTime, "MMM-dd, yyy hh:mma"},
    {DateFormat::dateOnly, "MMM-dd, yyyy"},
    {DateFormat::monthName, "MMMM"},
    {DateFormat::year, "yyyy"},
    {DateFormat::dateTimeForServer, "yyyy-MM-dd HH:mm:ss"},
    {DateFormat::dateOnlyForServer, "yyyy-MM-dd"},
    {DateFormat::ddMMyyHHmm, "dd-MM-yy HH:mm"},
    {DateFormat::timeOnly, "hh:mm a"},
    {DateFormat::dateWithMonth, "MMM dd, yyyy"},
    {DateFormat::hourComponent, "hh a"},
}};

std::function<QDateTime()> &currentDateProvider()
{
    static std::function<QDateTime()> provider;
    return provider;
}

} // namespace

QString rawValue(DateFormat format)
{
    for (const auto &[candidate, pattern] : patterns) {
        if (candidate == format)
            return QString::fromLatin1(pattern);
    }
    return {};
}

template <>
std::optional<DateFormat> fromRawValue<DateFormat>(const QString &raw)
{
    for (const auto &[format, pattern] : patterns) {
        if (raw == QLatin1String(pattern))
            return format;
    }
    return std::nullopt;
}

QDateTime current()
{
    if (const auto &provider = currentDateProvider())
        return provider().toUTC();
    return QDateTime::currentDateTimeUtc();
}

std::function<QDateTime()> setCurrentDateProvider(std::function<QDateTime()> provider)
{
    return std::exchange(currentDateProvider(), std::move(provider));
}

DateFormatter dateFormater(const QString &pattern)
{
    return DateFormatter(pattern);
}

QString dateString(const QDateTime &date, DateFormat format)
{
    return dateFormater(rawValue(format)).string(date);
}

QString readableDate(const QDateTime &date)
{
    return dateFormater(QStringLiteral("dd/MM/yy")).string(date);
}

QString getRemainingTime(const QString &serverDate, const QString &type)
{
    // Through the screens' pattern on purpose: the countdown ignores seconds.
    const QDateTime end =
        date(convertDate(serverDate, DateFormat::dateTimeForServer, DateFormat::dateWithTime),
             DateFormat::dateWithTime);

    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(status));
    if (U_FAILURE(status))
        fatalError(QStringLiteral("no calendar: %1").arg(QString::fromLatin1(u_errorName(status))));
    calendar->setTime(udateFromDate(current()), status);
    // fieldDifference moves the calendar on by what it counted, so the hours are what is left
    // after the whole days, as in a days-and-hours breakdown of the interval.
    const int32_t days = calendar->fieldDifference(udateFromDate(end), UCAL_DATE, status);
    const int32_t hours = calendar->fieldDifference(udateFromDate(end), UCAL_HOUR_OF_DAY, status);
    if (U_FAILURE(status))
        fatalError(QStringLiteral("cannot count the time to %1: %2")
                       .arg(serverDate, QString::fromLatin1(u_errorName(status))));

    if (days < 0 && hours < 0)
        return type + (type == QLatin1String("Event") ? QStringLiteral(" Ended!")
                                                      : QStringLiteral(" Expired!"));
    const QString hourPart = QStringLiteral("%1 hour(s) for %2").arg(hours).arg(type);
    if (days > 0)
        return QStringLiteral("%1 day(s) and ").arg(days) + hourPart;
    return hourPart;
}
