#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <optional>

// A string table in the .strings format: `"key" = "value";` entries, C-style /* */ and //
// comments, the escapes \" \\ \n \r \t \0 and \UXXXX / \uXXXX (UTF-16 code units), UTF-8 text.
//
// Stricter than the format's origin on purpose: keys must be quoted, a key may appear only
// once, and anything else is an error with a line number. Our tables are compiled into the
// app, so a slip in one must fail the build's tests rather than show a raw key to a user.
class StringsTable
{
public:
    static std::optional<StringsTable> parse(const QByteArray &utf8, QString *error = nullptr);

    std::optional<QString> value(const QString &key) const;
    QList<QString> keys() const { return entries_.keys(); }
    qsizetype size() const { return entries_.size(); }

private:
    QHash<QString, QString> entries_;
};
