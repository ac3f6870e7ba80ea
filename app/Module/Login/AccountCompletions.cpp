#include "Module/Login/AccountCompletions.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Extensions/StringExtension.h"
#include "Platform/Print.h"

#include <QJsonDocument>
#include <QJsonObject>

std::pair<bool, QString> validateAccountFields(const FormFields &fields, bool passwordsMustMatch)
{
    if (auto empty = emptyFieldMessage(fields))
        return {false, *empty};

    std::optional<QString> password;
    std::optional<QString> confirmation;
    for (const auto &[name, text] : fields) {
        if (name == QLatin1String("Email") && !isValidEmail(text))
            return {false, languageSelectedStringForKey(QStringLiteral("Email is not valid"))};
        if (name == QLatin1String("Password"))
            password = text;
        if (name == QLatin1String("Confirm Password"))
            confirmation = text;
    }
    if (passwordsMustMatch && password.value_or(QString()) != confirmation.value_or(QString()))
        return {false, languageSelectedStringForKey(QStringLiteral("Password does not match"))};
    return {true, QString()};
}

std::optional<QString> emptyFieldMessage(const FormFields &fields)
{
    for (const auto &[name, text] : fields)
        if (text.isEmpty())
            return languageSelectedStringForKey(name) +
                   languageSelectedStringForKey(QStringLiteral(" is empty"));
    return std::nullopt;
}

std::optional<QString> textField(const QVariantMap &answer, const QString &key)
{
    const auto found = answer.constFind(key);
    if (found == answer.constEnd() || found->typeId() != QMetaType::QString)
        return std::nullopt;
    return found->toString();
}

bool isSuccessAnswer(const QVariantMap &answer)
{
    return textField(answer, QStringLiteral("status")) == QStringLiteral("1");
}

QString describeAnswer(const QVariantMap &answer)
{
    return QString::fromUtf8(
        QJsonDocument(QJsonObject::fromVariantMap(answer)).toJson(QJsonDocument::Compact));
}

void logProfileFailure(const QMap<QString, QString> &failure)
{
    QJsonObject dictionary;
    for (auto entry = failure.constBegin(); entry != failure.constEnd(); ++entry)
        dictionary.insert(entry.key(), entry.value());
    print(QStringLiteral("profile failure : ") +
          QString::fromUtf8(QJsonDocument(dictionary).toJson(QJsonDocument::Compact)));
}
