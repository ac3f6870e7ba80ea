#include "Common/Extensions/StringExtension.h"

#include "Common/Extensions/FoundNil.h"
#include "Platform/Print.h"

#include <QFontMetricsF>
#include <QTextBoundaryFinder>

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>

namespace {

// Where each user-perceived character starts, plus the end of the text.
QList<qsizetype> characterBoundaries(const QString &text)
{
    QList<qsizetype> boundaries{0};
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    while (finder.toNextBoundary() > 0)
        boundaries << finder.position();
    if (boundaries.last() != text.size())
        boundaries << text.size();
    return boundaries;
}

// Kept character for character, including the class \x21-\x5a\x53-\x7f in the last
// alternative, so that exactly the addresses the app has always accepted pass.
constexpr char16_t emailPattern[] =
    uR"((?:[a-z0-9!#$%\&'*+/=?\^_`{|}~-]+(?:\.[a-z0-9!#$%\&'*+/=?\^_`{|}~-]+)*|"(?:[\x01-\x08\x0b\x0c\x0e-\x1f\x21\x23-\x5b\x5d-\x7f]|\\[\x01-\x09\x0b\x0c\x0e-\x7f])*")@(?:(?:[a-z0-9](?:[a-z0-9-]*[a-z0-9])?\.)+[a-z0-9](?:[a-z0-9-]*[a-z0-9])?|\[(?:(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\.){3}(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?|[a-z0-9-]*[a-z0-9]:(?:[\x01-\x08\x0b\x0c\x0e-\x1f\x21-\x5a\x53-\x7f]|\\[\x01-\x09\x0b\x0c\x0e-\x7f])+)\]))";

const icu::RegexPattern &compiledEmailPattern()
{
    static const std::unique_ptr<icu::RegexPattern> pattern = [] {
        UErrorCode status = U_ZERO_ERROR;
        UParseError where{};
        std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(
            icu::UnicodeString(emailPattern), UREGEX_CASE_INSENSITIVE, where, status));
        if (U_FAILURE(status))
            fatalError(QStringLiteral("e-mail pattern does not compile: %1")
                           .arg(QString::fromUtf8(u_errorName(status))));
        return compiled;
    }();
    return *pattern;
}

} // namespace

bool isValidEmail(const QString &text)
{
    const icu::UnicodeString subject(reinterpret_cast<const char16_t *>(text.utf16()),
                                     static_cast<int32_t>(text.size()));
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> matcher(
        compiledEmailPattern().matcher(subject, status));
    if (U_FAILURE(status))
        return false;
    const bool whole = matcher->matches(status);
    return U_SUCCESS(status) && whole;
}

int hexDigitValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

QString trimmed(const QString &text)
{
    return text.trimmed();
}

bool isEmpty(const QString &text)
{
    return trimmed(text).isEmpty();
}

bool passWordNotMatch(const QString &password, const QString &confirmation)
{
    return password != confirmation;
}

QString substring(const QString &text, qsizetype from, qsizetype to)
{
    const QList<qsizetype> boundaries = characterBoundaries(text);
    const qsizetype count = boundaries.size() - 1;
    from = std::clamp<qsizetype>(from, 0, count);
    to = std::clamp<qsizetype>(to, 0, count);
    if (from >= to)
        return {};
    return text.mid(boundaries[from], boundaries[to] - boundaries[from]);
}

QSizeF textSize(const QString &text, const QFont &font)
{
    return QFontMetricsF(font).size(0, text);
}

QString convertDate(const QString &text, DateFormat from, DateFormat to)
{
    const QDateTime parsed = date(text, from);
    print(QStringLiteral("Date String : ") +
          parsed.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000")));
    return dateString(parsed, to);
}

QDateTime date(const QString &text, DateFormat format)
{
    const std::optional<QDateTime> parsed = dateFormater(rawValue(format)).date(text);
    if (!parsed)
        foundNil(QStringLiteral("\"%1\" is no date like \"%2\"").arg(text, rawValue(format)));
    return *parsed;
}

bool isValidDate(const QString &text)
{
    return dateFormater(rawValue(DateFormat::dateTimeForServer)).date(text).has_value();
}
