#include "Common/Extensions/DateFormatter.h"

#include "Platform/Print.h"

#include <unicode/smpdtfmt.h>

#include <cmath>

icu::UnicodeString toUnicode(const QString &text)
{
    return {reinterpret_cast<const char16_t *>(text.utf16()), static_cast<int32_t>(text.size())};
}

QString fromUnicode(const icu::UnicodeString &text)
{
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}

QDateTime dateFromUDate(UDate milliseconds)
{
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::floor(milliseconds)), Qt::UTC);
}

UDate udateFromDate(const QDateTime &date)
{
    return static_cast<UDate>(date.toMSecsSinceEpoch());
}

DateFormatter::DateFormatter(std::unique_ptr<icu::DateFormat> format) : format_(std::move(format))
{
    // Non-lenient also stops ICU from taking numbers for month names and from skipping
    // whitespace the pattern does not have.
    format_->setLenient(false);
}

DateFormatter::DateFormatter(const QString &pattern, const icu::Locale &locale)
{
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(toUnicode(pattern), locale, status);
    if (U_FAILURE(status))
        fatalError(QStringLiteral("date pattern \"%1\" rejected: %2")
                       .arg(pattern, QString::fromLatin1(u_errorName(status))));
    format_ = std::move(format);
    format_->setLenient(false);
}

DateFormatter DateFormatter::mediumDate(const icu::Locale &locale)
{
    std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateInstance(icu::DateFormat::kMedium, locale));
    if (!format)
        fatalError(QStringLiteral("no medium date format for %1")
                       .arg(QString::fromLatin1(locale.getName())));
    return DateFormatter(std::move(format));
}

void DateFormatter::setTimeZone(const icu::TimeZone &zone)
{
    format_->setTimeZone(zone);
}

QString DateFormatter::string(const QDateTime &date) const
{
    icu::UnicodeString text;
    format_->format(udateFromDate(date), text);
    return fromUnicode(text);
}

std::optional<QDateTime> DateFormatter::date(const QString &text) const
{
    const icu::UnicodeString unicode = toUnicode(text);
    icu::ParsePosition position(0);
    const UDate parsed = format_->parse(unicode, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() != unicode.length())
        return std::nullopt;
    return dateFromUDate(parsed);
}
