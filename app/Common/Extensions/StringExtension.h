#pragma once

#include "Common/Extensions/DateExtension.h"

#include <QDateTime>
#include <QFont>
#include <QSizeF>
#include <QString>

// Without leading and trailing whitespace and line breaks.
QString trimmed(const QString &text);
// The value of one hexadecimal digit, either case; -1 for any other character.
int hexDigitValue(QChar c);
// Whether nothing but whitespace is left.
bool isEmpty(const QString &text);
// Whether a password and its repetition differ.
bool passWordNotMatch(const QString &password, const QString &confirmation);
// The characters from position `from` up to, not including, `to`. Positions count what a
// reader sees as one character (an emoji with its modifiers is one), and are clamped to the
// text, so a range past the end gives what there is.
QString substring(const QString &text, qsizetype from, qsizetype to);
// The size the text takes on one line per line break in the font.
QSizeF textSize(const QString &text, const QFont &font);

// Whether the whole text is an e-mail address by the app's pattern (ASCII letters compared
// case-insensitively; quoted local parts and bracketed address literals allowed).
bool isValidEmail(const QString &text);

// The text read with one pattern and written with another, in the device's time zone.
QString convertDate(const QString &text, DateFormat from, DateFormat to);
// The text read with the format's pattern in the device's time zone.
QDateTime date(const QString &text, DateFormat format);
// Whether the text is a backend date, "yyyy-MM-dd HH:mm:ss".
bool isValidDate(const QString &text);
// convertDate and date stop the app on a text that is no date of the given format: callers
// check outside text with isValidDate first.
