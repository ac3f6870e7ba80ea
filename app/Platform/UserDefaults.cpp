#include "Platform/UserDefaults.h"

#include "Deployment.h"
#include "Platform/Print.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cmath>

namespace {

// JSON numbers come back as double; integral ones are the integers that were stored.
QVariant fromJson(const QJsonValue &value)
{
    if (value.isDouble()) {
        const double number = value.toDouble();
        if (std::isfinite(number) && std::trunc(number) == number &&
            std::abs(number) < 9007199254740992.0)
            return QVariant::fromValue(static_cast<qlonglong>(number));
        return number;
    }
    return value.toVariant();
}

} // namespace

UserDefaults::UserDefaults(QString filePath)
    : filePath_(std::move(filePath)), flusher_(std::make_unique<QObject>())
{
    load();
    if (QCoreApplication *app = QCoreApplication::instance())
        watchApplication(*app);
}

UserDefaults::~UserDefaults()
{
    synchronize();
}

QString UserDefaults::standardFilePath()
{
    return QDir(Deployment::homeDirectory()).filePath(QStringLiteral("UserDefaults.json"));
}

UserDefaults &UserDefaults::standard()
{
    // Never destroyed: callbacks that run during shutdown may still read the session.
    static UserDefaults *const instance = [] {
        auto *store = new UserDefaults(standardFilePath());
        // The app's store flushes where the app's event loop turns, whichever thread asked
        // for it first.
        if (const QCoreApplication *app = QCoreApplication::instance())
            store->flusher_->moveToThread(app->thread());
        return store;
    }();
    return *instance;
}

void UserDefaults::resetStandardUserDefaults()
{
    UserDefaults &store = standard();
    const QMutexLocker lock(&store.mutex_);
    // Changes not yet written belong to the file the store has been reading.
    store.writeIfDirty();
    store.dirty_ = false;
    store.filePath_ = standardFilePath();
    store.load();
}

QString UserDefaults::filePath() const
{
    const QMutexLocker lock(&mutex_);
    return filePath_;
}

void UserDefaults::load()
{
    values_.clear();
    QFile file(filePath_);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        print(
            QStringLiteral("UserDefaults: cannot read %1: %2").arg(filePath_, file.errorString()));
        return;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject()) {
        // Only another program can leave a file like this; starting empty is what a lost
        // store looks like to the application, and the next write replaces the file.
        print(QStringLiteral("UserDefaults: %1 is not a settings store (%2); starting empty")
                  .arg(filePath_, error.errorString()));
        return;
    }
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        values_.insert(it.key(), fromJson(it.value()));
}

bool UserDefaults::save()
{
    QJsonObject object;
    for (auto it = values_.begin(); it != values_.end(); ++it)
        object.insert(it.key(), QJsonValue::fromVariant(it.value()));
    QDir().mkpath(QFileInfo(filePath_).absolutePath());
    // QSaveFile writes a temporary file beside the target, syncs it and renames it over the
    // target, so readers and crashes see either the old store or the new one.
    QSaveFile file(filePath_);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QJsonDocument(object).toJson(QJsonDocument::Indented)) < 0 || !file.commit()) {
        print(
            QStringLiteral("UserDefaults: cannot write %1: %2").arg(filePath_, file.errorString()));
        return false;
    }
    ++fileWrites_;
    return true;
}

bool UserDefaults::writeIfDirty()
{
    if (dirty_)
        dirty_ = !save();
    return !dirty_;
}

// Called with the lock held, or before the store is shared.
void UserDefaults::watchApplication(QCoreApplication &app)
{
    if (quitWatched_)
        return;
    quitWatched_ = true;
    // Direct: the event loop that would deliver a queued call is ending or gone. The
    // application object going away covers an application that never ran its loop.
    const auto lastWrite = [this] {
        const QMutexLocker lock(&mutex_);
        quitting_ = true;
        writeIfDirty();
    };
    QObject::connect(&app, &QCoreApplication::aboutToQuit, flusher_.get(), lastWrite,
                     Qt::DirectConnection);
    QObject::connect(&app, &QObject::destroyed, flusher_.get(), lastWrite, Qt::DirectConnection);
}

// Called with the lock held.
void UserDefaults::changed()
{
    dirty_ = true;
    QCoreApplication *const app = QCoreApplication::instance();
    if (!app || quitting_) {
        // No event loop will turn again, or ever did, to run a scheduled flush.
        writeIfDirty();
        return;
    }
    watchApplication(*app);
    if (flushPending_)
        return;
    flushPending_ = true;
    QMetaObject::invokeMethod(
        flusher_.get(), [this] { flushScheduled(); }, Qt::QueuedConnection);
}

void UserDefaults::flushScheduled()
{
    const QMutexLocker lock(&mutex_);
    flushPending_ = false;
    writeIfDirty();
}

bool UserDefaults::synchronize()
{
    const QMutexLocker lock(&mutex_);
    return writeIfDirty();
}

quint64 UserDefaults::fileWrites() const
{
    const QMutexLocker lock(&mutex_);
    return fileWrites_;
}

std::optional<QVariant> UserDefaults::object(const QString &key) const
{
    const QMutexLocker lock(&mutex_);
    const auto found = values_.constFind(key);
    if (found == values_.constEnd())
        return std::nullopt;
    return *found;
}

std::optional<QString> UserDefaults::string(const QString &key) const
{
    const auto value = object(key);
    if (!value)
        return std::nullopt;
    switch (value->typeId()) {
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return value->toString();
    default:
        return std::nullopt;
    }
}

qlonglong UserDefaults::integer(const QString &key) const
{
    const auto value = object(key);
    if (!value)
        return 0;
    switch (value->typeId()) {
    case QMetaType::LongLong:
    case QMetaType::Bool:
        return value->toLongLong();
    case QMetaType::Double:
        return static_cast<qlonglong>(value->toDouble());
    case QMetaType::QString: {
        bool ok = false;
        const qlonglong number = value->toString().trimmed().toLongLong(&ok);
        return ok ? number : 0;
    }
    default:
        return 0;
    }
}

bool UserDefaults::boolValue(const QString &key) const
{
    const auto value = object(key);
    if (!value)
        return false;
    switch (value->typeId()) {
    case QMetaType::Bool:
        return value->toBool();
    case QMetaType::LongLong:
    case QMetaType::Double:
        return value->toDouble() != 0.0;
    case QMetaType::QString: {
        const QString text = value->toString().trimmed().toLower();
        return text == QLatin1String("true") || text == QLatin1String("yes") ||
               text.toLongLong() != 0;
    }
    default:
        return false;
    }
}

void UserDefaults::setValue(const QString &key, const QVariant &value)
{
    const QMutexLocker lock(&mutex_);
    values_.insert(key, value);
    changed();
}

void UserDefaults::setString(const QString &value, const QString &key)
{
    setValue(key, value);
}

void UserDefaults::setInteger(qlonglong value, const QString &key)
{
    setValue(key, QVariant::fromValue(value));
}

void UserDefaults::setBool(bool value, const QString &key)
{
    setValue(key, value);
}

void UserDefaults::removeObject(const QString &key)
{
    const QMutexLocker lock(&mutex_);
    if (values_.remove(key) > 0)
        changed();
}

bool UserDefaults::exists(const QString &key) const
{
    return standard().object(key).has_value();
}

QVariantMap UserDefaults::dictionaryRepresentation() const
{
    const QMutexLocker lock(&mutex_);
    return values_;
}
