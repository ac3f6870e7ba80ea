#include "Common/Extensions/StringsTable.h"

#include "Common/Extensions/StringExtension.h"

#include <QStringDecoder>

namespace {

class Parser
{
public:
    explicit Parser(QString text) : text_(std::move(text)) {}

    bool run(QHash<QString, QString> &entries)
    {
        for (;;) {
            if (!skipSpaceAndComments())
                return false;
            if (atEnd())
                return true;
            const qsizetype entryLine = line_;
            QString key;
            QString value;
            if (!quoted(key, "a quoted key") || !skipSpaceAndComments() || !expect(u'=') ||
                !skipSpaceAndComments() || !quoted(value, "a quoted value") ||
                !skipSpaceAndComments() || !expect(u';'))
                return false;
            if (entries.contains(key))
                return fail(QStringLiteral("key \"%1\" already defined").arg(key), entryLine);
            entries.insert(key, value);
        }
    }

    QString error() const { return error_; }

private:
    bool atEnd() const { return pos_ >= text_.size(); }
    QChar peek(qsizetype ahead = 0) const
    {
        return pos_ + ahead < text_.size() ? text_.at(pos_ + ahead) : QChar();
    }
    QChar take()
    {
        const QChar c = text_.at(pos_++);
        if (c == u'\n')
            ++line_;
        return c;
    }

    bool fail(const QString &what, qsizetype line = -1)
    {
        error_ = QStringLiteral("line %1: %2").arg(line < 0 ? line_ : line).arg(what);
        return false;
    }

    bool skipSpaceAndComments()
    {
        while (!atEnd()) {
            if (peek().isSpace()) {
                take();
            } else if (peek() == u'/' && peek(1) == u'*') {
                const qsizetype start = line_;
                pos_ += 2;
                while (!atEnd() && !(peek() == u'*' && peek(1) == u'/'))
                    take();
                if (atEnd())
                    return fail(QStringLiteral("comment never closed"), start);
                pos_ += 2;
            } else if (peek() == u'/' && peek(1) == u'/') {
                while (!atEnd() && peek() != u'\n')
                    take();
            } else {
                break;
            }
        }
        return true;
    }

    bool expect(QChar wanted)
    {
        if (atEnd())
            return fail(QStringLiteral("expected '%1' but the text ends").arg(wanted));
        if (peek() != wanted)
            return fail(QStringLiteral("expected '%1', found '%2'").arg(wanted, peek()));
        take();
        return true;
    }

    bool hexUnit(QString &out)
    {
        char16_t unit = 0;
        for (int digit = 0; digit < 4; ++digit) {
            const int value = atEnd() ? -1 : hexDigitValue(peek());
            if (value < 0)
                return fail(QStringLiteral("\\U needs four hexadecimal digits"));
            unit = static_cast<char16_t>(unit * 16 + value);
            take();
        }
        out += QChar(unit);
        return true;
    }

    bool quoted(QString &out, const char *what)
    {
        if (atEnd() || peek() != u'"')
            return fail(QStringLiteral("expected %1").arg(QLatin1String(what)));
        const qsizetype start = line_;
        take();
        while (!atEnd()) {
            const QChar c = take();
            if (c == u'"')
                return true;
            if (c != u'\\') {
                out += c;
                continue;
            }
            if (atEnd())
                break;
            const QChar escaped = take();
            switch (escaped.unicode()) {
            case u'"':
            case u'\\':
            case u'\'':
                out += escaped;
                break;
            case u'n':
                out += u'\n';
                break;
            case u'r':
                out += u'\r';
                break;
            case u't':
                out += u'\t';
                break;
            case u'0':
                out += QChar(u'\0');
                break;
            case u'U':
            case u'u':
                if (!hexUnit(out))
                    return false;
                break;
            default:
                return fail(QStringLiteral("unknown escape \\%1").arg(escaped));
            }
        }
        return fail(QStringLiteral("text never closed"), start);
    }

    QString text_;
    qsizetype pos_ = 0;
    qsizetype line_ = 1;
    QString error_;
};

} // namespace

std::optional<StringsTable> StringsTable::parse(const QByteArray &utf8, QString *error)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(utf8);
    if (decoder.hasError()) {
        if (error)
            *error = QStringLiteral("not UTF-8 text");
        return std::nullopt;
    }
    Parser parser(text.startsWith(QChar(QChar::ByteOrderMark)) ? text.mid(1) : text);
    StringsTable table;
    if (!parser.run(table.entries_)) {
        if (error)
            *error = parser.error();
        return std::nullopt;
    }
    return table;
}

std::optional<QString> StringsTable::value(const QString &key) const
{
    const auto found = entries_.constFind(key);
    if (found == entries_.cend())
        return std::nullopt;
    return *found;
}
