#pragma once

#include <QString>

// Console diagnostics: one line on stderr, no levels, no log file. Values of password and
// session-token keys in JSON text are replaced by "<hidden>".
void print(const QString &line);
QString withoutSecrets(const QString &line);

// A programming error that must never happen at run time: prints the reason and stops.
[[noreturn]] void fatalError(const QString &message);
