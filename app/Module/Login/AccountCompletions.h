#pragma once

#include <QList>
#include <QMap>
#include <QString>

#include <functional>
#include <optional>
#include <utility>

// Sign-in, registration and password reset: success, the text to show, and whether the
// account is new (sign-in: 0 or 1; registration: -1 when the backend does not say).
using AccountCompletion =
    std::function<void(bool success, std::optional<QString> message, std::optional<int> isNew)>;
// Success and a text: deactivation, logout, password change, profile and partner calls.
using ResultCompletion = std::function<void(bool success, const QString &message)>;
using DeletionCompletion = ResultCompletion;

// A form as the screens hand it over: each field's display name with the entered text, in
// the order the fields appear, so that the first empty one on screen is the one reported.
using FormFields = QList<std::pair<QString, QString>>;

// The field checks shared by the account screens: no empty field, a valid "Email", and for
// registration matching "Password" and "Confirm Password". Messages are localised.
std::pair<bool, QString> validateAccountFields(const FormFields &fields, bool passwordsMustMatch);
// "<field> is empty" for the first empty field, localised; none when every field is filled.
std::optional<QString> emptyFieldMessage(const FormFields &fields);

// The text for answers that carry no "message" of their own.
inline const QString temporaryErrorMessage = QStringLiteral("Temporary error occured");

// The value under `key` when it is a JSON text, else none (numbers are not converted).
std::optional<QString> textField(const QVariantMap &answer, const QString &key);
// Whether the answer's "status" is the text "1".
bool isSuccessAnswer(const QVariantMap &answer);
// The answer as one log line.
QString describeAnswer(const QVariantMap &answer);
// The log line of a call the REST layer could not complete; such calls answer nobody.
void logProfileFailure(const QMap<QString, QString> &failure);
