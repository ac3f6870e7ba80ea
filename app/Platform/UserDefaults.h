#pragma once

#include <QMutex>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <memory>
#include <optional>

class QCoreApplication;
class QObject;

// The device's key-value settings store. Values keep their type (text, integer, Boolean)
// across restarts; the whole store is one JSON object in a file that is replaced atomically,
// so a crash leaves either the old or the new store, never a torn one.
//
// A change is in memory at once and reaches the file once per turn of the event loop of the
// thread that created the store (for standard(), the application's thread), however many keys
// change in that turn (signing out clears a
// handful of keys in one write, not one each). The file is also written when the application
// is about to quit or its object goes away, when the store is destroyed and on synchronize();
// without a Qt application object every change is written at once. A crash between a change
// and the end of its turn loses that turn's changes.
//
// One instance per file: two instances on the same file would each write their own view.
// The application only ever uses standard(). Safe to use from any thread.
class UserDefaults
{
public:
    explicit UserDefaults(QString filePath);
    ~UserDefaults();
    UserDefaults(const UserDefaults &) = delete;
    UserDefaults &operator=(const UserDefaults &) = delete;

    // The store under $TAILWISE_HOME (Deployment::homeDirectory()).
    static UserDefaults &standard();
    // Writes what standard() has pending to its file, then reads the store again from the home
    // directory as it is configured now. References to standard() stay valid.
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

    // Writes the changes not yet in the file now; false when they could not be written (they
    // stay pending and go with the next write).
    bool synchronize();
    // How often this store has replaced its file.
    quint64 fileWrites() const;

private:
    void setValue(const QString &key, const QVariant &value);
    void watchApplication(QCoreApplication &app);
    void changed();
    void flushScheduled();
    bool writeIfDirty();
    void load();
    bool save();

    mutable QMutex mutex_;
    QString filePath_;
    QVariantMap values_;
    bool dirty_ = false;
    bool flushPending_ = false;
    bool quitWatched_ = false;
    bool quitting_ = false;
    quint64 fileWrites_ = 0;
    // Receives the scheduled flush on the creating thread's event loop; with it go any still
    // queued.
    std::unique_ptr<QObject> flusher_;
};
