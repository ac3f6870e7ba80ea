#pragma once

#include <QDateTime>
#include <QString>

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <memory>
#include <optional>

// One ICU date pattern, set up the way every date helper of the app uses it: the device's
// locale, its calendar and its time zone (ICU's defaults) unless told otherwise. Parsing is
// strict: fields must be in range and the whole text must be used, so "2019-02-30" or a
// trailing word is no date at all.
//
// Dates are instants: a QDateTime in UTC with millisecond precision.
class DateFormatter
{
public:
    explicit DateFormatter(const QString &pattern,
                           const icu::Locale &locale = icu::Locale::getDefault());
    // The locale's medium date style ("Mar 5, 2019", "05.03.2019").
    static DateFormatter mediumDate(const icu::Locale &locale = icu::Locale::getDefault());

    void setTimeZone(const icu::TimeZone &zone);

    QString string(const QDateTime &date) const;
    std::optional<QDateTime> date(const QString &text) const;

private:
    explicit DateFormatter(std::unique_ptr<icu::DateFormat> format);

    std::unique_ptr<icu::DateFormat> format_;
};

// Conversions between Qt's texts and instants and ICU's.
icu::UnicodeString toUnicode(const QString &text);
QString fromUnicode(const icu::UnicodeString &text);
QDateTime dateFromUDate(UDate milliseconds);
UDate udateFromDate(const QDateTime &date);
