#include "Common/Models/DateMethods.h"

#include "Common/Extensions/DateExtension.h"
#include "Common/Extensions/DateFormatter.h"
#include "Common/Extensions/FoundNil.h"
#include "Platform/Print.h"

#include <QRegularExpression>

#include <cmath>

namespace {

const QString messagePattern = QStringLiteral("yyyy-MM-dd hh:mm:ss a");

} // namespace

QDateTime localToUTC()
{
    DateFormatter formatter(messagePattern);
    const std::unique_ptr<icu::TimeZone> utc(icu::TimeZone::createTimeZone("UTC"));
    formatter.setTimeZone(*utc);
    const QString text = formatter.string(current());
    const std::optional<QDateTime> date = formatter.date(text);
    if (!date)
        foundNil(QStringLiteral("\"%1\" does not read back").arg(text));
    return *date;
}

QString UTCToLocal(const QString &text)
{
    const DateFormatter formatter(messagePattern);
    const std::optional<QDateTime> date = formatter.date(text);
    if (!date)
        foundNil(QStringLiteral("\"%1\" is no message time").arg(text));
    return formatter.string(*date);
}

QString unixToLocal(double milliseconds)
{
    const double seconds = milliseconds / 1000.0;
    return DateFormatter(messagePattern).string(dateFromUDate(seconds * 1000.0));
}

QString unixToLcl(const QString &milliseconds)
{
    // Whole numbers only: no spaces, no fraction, no grouping.
    static const QRegularExpression integer(QStringLiteral("\\A[+-]?[0-9]+\\z"));
    bool ok = false;
    const qlonglong value = milliseconds.toLongLong(&ok, 10);
    if (!ok || !integer.match(milliseconds).hasMatch())
        foundNil(QStringLiteral("\"%1\" is no 64-bit integer").arg(milliseconds));
    return unixToLocal(static_cast<double>(value));
}

QDateTime TimeStampToDate(const QString &seconds)
{
    static const QRegularExpression decimal(
        QStringLiteral("\\A[+-]?(?:[0-9]+\\.?[0-9]*|\\.[0-9]+)(?:[eE][+-]?[0-9]+)?\\z"));
    bool ok = false;
    const double value = seconds.toDouble(&ok);
    // Beyond a few hundred million years no calendar can show the date.
    if (!ok || !decimal.match(seconds).hasMatch() || !std::isfinite(value) ||
        std::abs(value) > 9.0e15)
        foundNil(QStringLiteral("\"%1\" is no number of seconds").arg(seconds));
    return dateFromUDate(value * 1000.0);
}

double unixTimeStamp()
{
    return static_cast<double>(localToUTC().toSecsSinceEpoch()) * 1000.0;
}

QString TimeStampFirebase::timeStampForMessage() const
{
    return DateFormatter(messagePattern).string(current());
}

QDateTime TimeStampFirebase::date(const QString &text) const
{
    print(QStringLiteral("date String -> ") + text);
    const std::optional<QDateTime> date = DateFormatter(messagePattern).date(text);
    if (!date)
        foundNil(QStringLiteral("\"%1\" is no message time").arg(text));
    return *date;
}
