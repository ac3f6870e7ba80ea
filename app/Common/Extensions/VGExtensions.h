#pragma once

#include <QColor>
#include <QString>

// How long ago a message timestamp text ("yyyy-MM-dd hh:mm:ss a", device time zone) was, for
// the chat list and the chat header:
//   under a minute          "Just Now"
//   under an hour           "5 min(s) ago" in English, "Vor 5 min" in German
//   under a day             "Today 01:02 PM" (looked-up word, then the time)
//   under two days          "Yesterday 01:02 PM"
//   later                   the relative medium date, ", " and the time: "Mar 5, 2019, 1:02 PM"
// The limits are on elapsed seconds, not on calendar days, so a message from 23:50 read at
// 00:10 still says "Today". An unparsable text stops the app.
QString messageTime(const QString &timestamp);

// A colour from hex text, "#" and other non-alphanumeric characters around it ignored:
// 3 digits RGB (each doubled), 6 digits RRGGBB, 8 digits AARRGGBB, all opaque but the last;
// any other length is opaque black.
QColor colorFromHexString(const QString &hexString);
