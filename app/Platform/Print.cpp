#include "Platform/Print.h"

#include <cstdio>
#include <cstdlib>

void print(const QString &line)
{
    const QByteArray text = line.toUtf8() + '\n';
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stderr);
    std::fflush(stderr);
}

void fatalError(const QString &message)
{
    print(QStringLiteral("Fatal error: ") + message);
    std::abort();
}
