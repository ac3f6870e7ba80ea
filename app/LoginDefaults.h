#pragma once

#include <QObject>
#include <QString>

#include <optional>

class UserDefaults;

// The signed-in session and a few per-user choices, read from and written to the standard
// settings store on every access (no cache), so any number of instances agree.
class LoginDefaults
{
public:
    LoginDefaults();

    std::optional<QString> userId() const;
    void setUserId(const std::optional<QString> &value);
    std::optional<QString> userName() const;
    void setUserName(const std::optional<QString> &value);
    std::optional<QString> switchState() const;
    void setSwitchState(const std::optional<QString> &value);
    std::optional<QString> userToken() const;
    void setUserToken(const std::optional<QString> &value);
    // The integer getters always hold a value: an absent key reads as 0, which callers take
    // as "nothing chosen". Setting none removes the key.
    std::optional<int> ledColour() const;
    void setLedColour(std::optional<int> value);
    std::optional<int> reason() const;
    void setReason(std::optional<int> value);

    // Clears the session and the per-user choices and signs out of the Google and Facebook
    // kits. "switchState" and "RegisterStatus" stay as they are.
    void logOut();
    // The backend refused `token` as a session that has ended. When it is still the stored
    // one, the stored user id and token are cleared and SessionEvents tells the app, once;
    // a token already replaced by a newer sign-in changes nothing.
    void endExpiredSession(const QString &token);
    void swtichOff();

private:
    std::optional<QString> text(const QString &key) const;
    void setText(const QString &key, const std::optional<QString> &value);
    void setNumber(const QString &key, std::optional<int> value);

    UserDefaults &defaults;
    static inline const QString kUserId = QStringLiteral("userId");
    static inline const QString kUserToken = QStringLiteral("userToken");
    static inline const QString kUserName = QStringLiteral("userName");
    static inline const QString kLedColor = QStringLiteral("LedColour");
    static inline const QString kSelectedReason = QStringLiteral("SelectedReason");
    static inline const QString kSwitchState = QStringLiteral("switchState");
};

// App-wide news about the stored session, for the screens.
class SessionEvents : public QObject
{
    Q_OBJECT

public:
    static SessionEvents &shared();

Q_SIGNALS:
    // The backend no longer accepts the stored session and it has been cleared: the screens
    // return to sign-in.
    void sessionExpired();
    // The stored session token has been set, replaced or cleared: whatever speaks for the
    // user (the database client's streams) changes identity with it.
    void sessionChanged();
};
