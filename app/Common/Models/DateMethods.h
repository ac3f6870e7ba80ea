#pragma once

#include <QDateTime>
#include <QString>

// Instants and the two text forms the app stores them in. Message and presence times are text
// "yyyy-MM-dd hh:mm:ss a" in the device's time zone; numeric times are milliseconds since 1970
// UTC, except TimeStampToDate, which reads seconds. Helpers given text that is no time stop
// the app: callers check outside text first.

// Now, truncated to whole seconds (by a round trip through text in UTC).
QDateTime localToUTC();
// The message time text read and written again in the device's time zone: the wall-clock
// time comes back as it was, only normalised.
QString UTCToLocal(const QString &text);
// Milliseconds since 1970 as a message time text in the device's locale and time zone.
QString unixToLocal(double milliseconds);
// The same for decimal text, which must be a whole signed 64-bit number.
QString unixToLcl(const QString &milliseconds);
// Decimal text of *seconds* since 1970 as an instant.
QDateTime TimeStampToDate(const QString &seconds);
// Now in milliseconds since 1970, always a whole number of seconds.
double unixTimeStamp();

class TimeStampFirebase
{
public:
    // Now as a message time text; stored with every chat message and presence change.
    QString timeStampForMessage() const;
    // A message time text as an instant.
    QDateTime date(const QString &text) const;
};
