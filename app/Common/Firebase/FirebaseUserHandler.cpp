#include "Common/Firebase/FirebaseUserHandler.h"

#include "Common/Firebase/FirebaseNode.h"
#include "Platform/Print.h"

#include <array>

namespace {

const std::array<QString, 7> refreshedKeys = {
    FirebaseNode::name,           QStringLiteral("age"),      QStringLiteral("gender"),
    FirebaseNode::deviceToken,    QStringLiteral("distance"), FirebaseNode::status,
    QStringLiteral("profilePic"),
};

} // namespace

FirebaseUserHandler::FirebaseUserHandler(Database &database) : database_(&database) {}

DatabaseReference FirebaseUserHandler::userNode(const QVariantMap &userInfo) const
{
    const QString id = userInfo.value(QStringLiteral("id")).toString();
    // Writing under an empty id would replace the whole users root.
    if (id.isEmpty())
        fatalError(QStringLiteral("FirebaseUserHandler: user record without an \"id\""));
    return database_->reference().child(FirebaseNode::users).child(id);
}

void FirebaseUserHandler::save(const QVariantMap &userInfo) const
{
    userNode(userInfo).setValue(userInfo);
}

void FirebaseUserHandler::update(const QVariantMap &userInfo) const
{
    const DatabaseReference node = userNode(userInfo);
    for (const QString &key : refreshedKeys) {
        const DatabaseReference field = node.child(key);
        const QString text = userInfo.value(key).toString();
        field.observeSingleEvent(DataEventType::value,
                                 [field, text](const DataSnapshot &) { field.setValue(text); });
    }
}

void FirebaseUserHandler::mirror(const QVariantMap &userInfo) const
{
    const DatabaseReference node = userNode(userInfo);
    const FirebaseUserHandler handler(*database_);
    node.observeSingleEvent(DataEventType::value, [handler, userInfo](const DataSnapshot &stored) {
        if (stored.exists())
            handler.update(userInfo);
        else
            handler.save(userInfo);
    });
}

void FirebaseUserHandler::setUserValue(const QString &userId, const QString &key,
                                       const QVariant &value) const
{
    if (userId.isEmpty()) {
        print(QStringLiteral("FirebaseUserHandler: no user id; \"%1\" not written").arg(key));
        return;
    }
    database_->reference().child(FirebaseNode::users).child(userId).child(key).setValue(value);
}
