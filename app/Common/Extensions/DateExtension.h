#pragma once

#include "Common/Extensions/DateFormatter.h"
#include "Common/Extensions/RawValue.h"

#include <QDateTime>
#include <QString>

#include <functional>

// The date patterns the screens and the backend use. The three-letter year of dateWithTime
// formats like a four-letter one and is kept as the app has always written it.
enum class DateFormat
{
    dateWithTime,      // "MMM-dd, yyy hh:mma"
    dateOnly,          // "MMM-dd, yyyy"
    monthName,         // "MMMM"
    year,              // "yyyy"
    dateTimeForServer, // "yyyy-MM-dd HH:mm:ss", how the backend hands dates over
    dateOnlyForServer, // "yyyy-MM-dd"
    ddMMyyHHmm,        // "dd-MM-yy HH:mm"
    timeOnly,          // "hh:mm a"
    dateWithMonth,     // "MMM dd, yyyy"
    hourComponent      // "hh a"
};

QString rawValue(DateFormat format);
template <>
std::optional<DateFormat> fromRawValue<DateFormat>(const QString &raw);

// The current instant. Everything in the app that asks for "now" asks here.
QDateTime current();
// Replaces the clock behind current(), so that a test can pin "now"; an empty function puts the
// system clock back. Answers the clock it replaces, so that a scoped guard can put it back.
std::function<QDateTime()> setCurrentDateProvider(std::function<QDateTime()> provider);

// A new formatter for the pattern, in the device's locale, calendar and time zone.
DateFormatter dateFormater(const QString &pattern);

// The date in the device's time zone with the format's pattern.
QString dateString(const QDateTime &date, DateFormat format);
// "dd/MM/yy" in the device's time zone.
QString readableDate(const QDateTime &date);

// A countdown to a backend date ("yyyy-MM-dd HH:mm:ss") in days and hours, for an event or
// another kind of item named by `type`:
//   "2 day(s) and 3 hour(s) for Event", "5 hour(s) for Task", "Event Ended!", "Task Expired!"
// An unparsable date stops the app; check it with isValidDate first.
QString getRemainingTime(const QString &serverDate, const QString &type);
