#include "Module/Chat/Model/StatusHandler.h"

#include "Common/Extensions/VGExtensions.h"
#include "Common/Firebase/FirebaseNode.h"
#include "Common/Models/DateMethods.h"
#include "LoginDefaults.h"
#include "Platform/Database.h"
#include "Platform/Print.h"

namespace {

// The value at `path` once; an unreadable value reads as missing.
void readOnce(const QString &path, std::function<void(const QVariant &)> done)
{
    Database::database().reference(path).getData(
        [path, done = std::move(done)](const std::optional<QString> &error,
                                       const DataSnapshot &snapshot) {
            if (error)
                print(QStringLiteral("StatusHandler: %1 not read: %2").arg(path, *error));
            done(error ? QVariant() : snapshot.value());
        });
}

void readText(const QString &path, const QString &fallback, StatusHandler::TextAnswer success)
{
    readOnce(path, [fallback, success = std::move(success)](const QVariant &value) {
        success(value.typeId() == QMetaType::QString ? value.toString() : fallback);
    });
}

QString userPath(const QString &uid, const QString &key)
{
    return FirebaseNode::users + '/' + uid + '/' + key;
}

QString protectionPath(const QString &uid, const QString &key)
{
    return FirebaseNode::dataProtection + '/' + uid + '/' + key;
}

} // namespace

void StatusHandler::isOnline(const QString &uid, TextAnswer success) const
{
    readText(userPath(uid, FirebaseNode::status), QStringLiteral("Offline"), std::move(success));
}

void StatusHandler::lastSeenOnline(const QString &uid, TextAnswer success) const
{
    readOnce(userPath(uid, QStringLiteral("time_stamp")), [success = std::move(success)](
                                                              const QVariant &value) {
        bool numeric = false;
        const double milliseconds = value.toDouble(&numeric);
        const bool isNumber = value.typeId() == QMetaType::Double ||
                              value.typeId() == QMetaType::LongLong ||
                              value.typeId() == QMetaType::Int;
        success(isNumber && numeric && milliseconds > 0 ? messageTime(unixToLocal(milliseconds))
                                                        : QString());
    });
}

void StatusHandler::userDataPro(const QString &uid, TextAnswer success) const
{
    readText(protectionPath(uid, QStringLiteral("lastseen_status")), QString(), std::move(success));
}

void StatusHandler::userImgStatus(const QString &uid, TextAnswer success) const
{
    readText(protectionPath(uid, QStringLiteral("img_status")), QString(), std::move(success));
}

void StatusHandler::isFavUser(const QString &uid, TextAnswer success) const
{
    const QString me = LoginDefaults().userId().value_or(QString());
    readText(favouriteMarkPath(me, uid), QStringLiteral("0"), std::move(success));
}

void StatusHandler::hasMarked(const QString &uid, const QString &otherUid,
                              std::function<void(bool)> success) const
{
    readOnce(favouriteMarkPath(uid, otherUid),
             [success = std::move(success)](const QVariant &value) {
                 success(value.toString() == QLatin1String("1"));
             });
}

bool isVisibleUnder(const QString &ownersChoice, bool ownerMarkedViewer)
{
    if (ownersChoice == QLatin1String("Nobody"))
        return false;
    if (ownersChoice == QLatin1String("Only Favourite"))
        return ownerMarkedViewer;
    return true;
}
