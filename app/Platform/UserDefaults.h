#pragma once

#include <QMutex>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// The device's key-value settings store. Values keep their type (text, integer, Boolean)
// across restarts; the whole store is one JSON object in a file that is replaced atomically
// on every write, so a crash leaves either the old or the new store, never a torn one.
//
// One instance per file: two instances on the same file would each write their own view.
// The application only ever uses standard(). Safe to use from any thread.
class UserDefaults
{
public:
    explicit UserDefaults(QString filePath);
    UserDefaults(const UserDefaults &) = delete;
    UserDefaults &operator=(const UserDefaults &) = delete;

    // The store under $TAILWISE_HOME (Deployment::homeDirectory()).
    static UserDefaults &standard();
    // Drops what standard() holds in memory and reads its file again, from the home directory
    // as it is configured now. References to standard() stay valid.
    static void resetStandardUserDefaults();
    static QString standardFilePath();

    QString filePath() const;

    std::optional<QVariant> object(const QString &key) const;
    // Text values as they are, numbers in their decimal form; none for anything else.
    std::optional<QString> string(const QString &key) const;
    // 0 when absent or not convertible.
    qlonglong integer(const QString &key) const;
    // false when absent; numbers are true when non-zero, texts when "true", "yes" or a
    // non-zero number.
    bool boolValue(const QString &key) const;

    // Separate names rather than overloads: a string literal would otherwise pick bool.
    void setString(const QString &value, const QString &key);
    void setInteger(qlonglong value, const QString &key);
    void setBool(bool value, const QString &key);
    void removeObject(const QString &key);

    // Whether the *standard* store holds anything under `key`, whichever instance is asked;
    // an empty text or false counts as present.
    bool exists(const QString &key) const;

    QVariantMap dictionaryRepresentation() const;

private:
    void setValue(const QString &key, const QVariant &value);
    void load();
    void save() const;

    mutable QMutex mutex_;
    QString filePath_;
    QVariantMap values_;
};
