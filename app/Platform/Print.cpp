#include "Platform/Print.h"

#include <QRegularExpression>

#include <cstdio>
#include <cstdlib>

QString withoutSecrets(const QString &line)
{
    // Request and answer dumps are JSON; passwords, session tokens and sign-in tokens never
    // reach the log.
    static const QRegularExpression secret(QStringLiteral(
        R"re(("(?:password|old_password|new_password|userToken|id_token)"\s*:\s*)"(?:[^"\\]|\\.)*")re"));
    QString redacted = line;
    redacted.replace(secret, QStringLiteral(R"(\1"<hidden>")"));
    return redacted;
}

void print(const QString &line)
{
    const QByteArray text = withoutSecrets(line).toUtf8() + '\n';
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stderr);
    std::fflush(stderr);
}

void fatalError(const QString &message)
{
    print(QStringLiteral("Fatal error: ") + message);
    std::abort();
}
