#include "LoginDefaults.h"

#include "Platform/SignInKits.h"
#include "Platform/UserDefaults.h"

LoginDefaults::LoginDefaults() : defaults(UserDefaults::standard()) {}

std::optional<QString> LoginDefaults::text(const QString &key) const
{
    return defaults.string(key);
}

void LoginDefaults::setText(const QString &key, const std::optional<QString> &value)
{
    if (value)
        defaults.setString(*value, key);
    else
        defaults.removeObject(key);
}

void LoginDefaults::setNumber(const QString &key, std::optional<int> value)
{
    if (value)
        defaults.setInteger(*value, key);
    else
        defaults.removeObject(key);
}

std::optional<QString> LoginDefaults::userId() const
{
    return text(kUserId);
}

void LoginDefaults::setUserId(const std::optional<QString> &value)
{
    setText(kUserId, value);
}

std::optional<QString> LoginDefaults::userName() const
{
    return text(kUserName);
}

void LoginDefaults::setUserName(const std::optional<QString> &value)
{
    setText(kUserName, value);
}

std::optional<QString> LoginDefaults::switchState() const
{
    return text(kSwitchState);
}

void LoginDefaults::setSwitchState(const std::optional<QString> &value)
{
    setText(kSwitchState, value);
}

std::optional<QString> LoginDefaults::userToken() const
{
    return text(kUserToken);
}

void LoginDefaults::setUserToken(const std::optional<QString> &value)
{
    const bool changed = userToken() != value;
    setText(kUserToken, value);
    if (changed)
        Q_EMIT
    SessionEvents::shared().sessionChanged();
}

std::optional<int> LoginDefaults::ledColour() const
{
    return static_cast<int>(defaults.integer(kLedColor));
}

void LoginDefaults::setLedColour(std::optional<int> value)
{
    setNumber(kLedColor, value);
}

std::optional<int> LoginDefaults::reason() const
{
    return static_cast<int>(defaults.integer(kSelectedReason));
}

void LoginDefaults::setReason(std::optional<int> value)
{
    setNumber(kSelectedReason, value);
}

void LoginDefaults::logOut()
{
    setUserId(std::nullopt);
    setUserName(std::nullopt);
    setUserToken(std::nullopt);
    setLedColour(std::nullopt);
    setReason(std::nullopt);
    GIDSignIn::sharedInstance().signOut();
    LoginManager().logOut();
}

void LoginDefaults::endExpiredSession(const QString &token)
{
    if (token.isEmpty() || userToken() != token)
        return;
    setUserId(std::nullopt);
    setUserToken(std::nullopt);
    Q_EMIT
    SessionEvents::shared().sessionExpired();
}

SessionEvents &SessionEvents::shared()
{
    static SessionEvents events;
    return events;
}

void LoginDefaults::swtichOff()
{
    setSwitchState(std::nullopt);
}
