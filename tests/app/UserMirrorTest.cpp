#include "Common/Firebase/FirebaseNode.h"
#include "Common/Firebase/FirebaseUserHandler.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/ChatModels.h"
#include "Module/Login/SessionHooks.h"
#include "Module/Setting/Delete/DeleteDataManager.h"
#include "NotificationAlert/DeviceToken.h"
#include "TestSupport.h"

namespace {

class UserMirror : public LiveBackend
{
protected:
    // The value at `path` as a listener on a client of its own sees it once `holds` is true
    // of it, or the last one it saw when that does not happen in time.
    QVariant valueOnceItHolds(const QString &path,
                              const std::function<bool(const QVariantMap &)> &holds)
    {
        Database reader(QStringLiteral("reader"));
        QVariant latest;
        reader.reference(path).observe(DataEventType::value,
                                       [&](const DataSnapshot &node) { latest = node.value(); });
        waitUntil([&] { return latest.isValid() && holds(latest.toMap()); }, 10000);
        return latest;
    }
};

TEST_F(UserMirror, TwoSignedInClientsSeeEachOtherAndAMessageOutlivesAServerCrash)
{
    const QString anna = signUp("Anna", "female", 52.52, 13.405);
    const QString ben = signUp("Ben", "male", 52.3906, 13.0645);

    // Two app clients on one machine, each with its own database connection.
    Database annaClient(QStringLiteral("anna"));
    Database benClient(QStringLiteral("ben"));
    AppSessionHooks annaHooks(&annaClient);
    AppSessionHooks benHooks(&benClient);
    signIn("Anna", annaHooks);
    signIn("Ben", benHooks);

    QVariantMap annaSeesBen;
    QVariantMap benSeesAnna;
    annaClient.reference()
        .child(FirebaseNode::users)
        .child(ben)
        .observe(DataEventType::value,
                 [&](const DataSnapshot &node) { annaSeesBen = node.value().toMap(); });
    benClient.reference()
        .child(FirebaseNode::users)
        .child(anna)
        .observe(DataEventType::value,
                 [&](const DataSnapshot &node) { benSeesAnna = node.value().toMap(); });
    ASSERT_TRUE(waitUntil([&] { return !annaSeesBen.isEmpty() && !benSeesAnna.isEmpty(); }, 10000));
    EXPECT_EQ(annaSeesBen.value("id"), ben);
    EXPECT_EQ(annaSeesBen.value("gender"), "male");
    EXPECT_EQ(annaSeesBen.value("dogname"), "Rex");
    EXPECT_EQ(annaSeesBen.value("status"), "Online");
    EXPECT_EQ(benSeesAnna.value("email"), "anna@example.com");
    EXPECT_GT(benSeesAnna.value("time_stamp").toDouble(), 1.7e12);

    const DatabaseReference annasMessages = annaClient.reference()
                                                .child(FirebaseNode::chat)
                                                .child(conversationId(anna, ben))
                                                .child(FirebaseNode::messages);
    QList<Message> benReceived;
    benClient.reference()
        .child(FirebaseNode::chat)
        .child(conversationId(ben, anna))
        .child(FirebaseNode::messages)
        .observe(DataEventType::childAdded,
                 [&](const DataSnapshot &message) { benReceived.append(Message(message)); });
    const DatabaseReference sent = annasMessages.childByAutoId();
    std::optional<std::optional<QString>> acknowledged;
    sent.setValue(Message(anna, ben, QStringLiteral("Hallo Ben!"), sent.key(), MessageType::text,
                          QString(), 0, 0, false)
                      .toAnyObject(),
                  [&](const std::optional<QString> &error) { acknowledged = error; });
    ASSERT_TRUE(waitUntil([&] { return acknowledged && !benReceived.isEmpty(); }, 10000));
    EXPECT_EQ(*acknowledged, std::nullopt);
    ASSERT_EQ(benReceived.size(), 1);
    EXPECT_EQ(benReceived[0].key, sent.key());
    EXPECT_EQ(benReceived[0].senderId, anna);
    EXPECT_EQ(benReceived[0].message, "Hallo Ben!");

    // What the server acknowledged is still there after SIGKILL and a restart.
    server_.kill();
    ASSERT_TRUE(server_.restart()) << server_.startupLog().toStdString();
    Database later(QStringLiteral("later"));
    EXPECT_EQ(storedValue(later, FirebaseNode::users + '/' + anna).toMap().value("name"), "Anna");
    EXPECT_EQ(storedValue(later, FirebaseNode::chat + '/' + conversationId(anna, ben) + '/' +
                                     FirebaseNode::messages + '/' + sent.key())
                  .toMap()
                  .value("message"),
              "Hallo Ben!");
}

TEST_F(UserMirror, ANewUserIsSavedWholeAndAKnownOneRefreshesOnlyTheSevenFields)
{
    const QString path = FirebaseNode::users + QStringLiteral("/7");
    const FirebaseUserHandler handler;
    handler.mirror(DSUser({{"user_id", "7"},
                           {"Name", "Anna"},
                           {"email", "anna@example.com"},
                           {"status", "Offline"},
                           {"dog_name", "Rex"}})
                       .firebaseInfo());
    const QVariantMap saved =
        valueOnceItHolds(path, [](const QVariantMap &node) { return !node.isEmpty(); }).toMap();
    EXPECT_EQ(saved.size(), 14);
    EXPECT_EQ(saved.value("status"), "Online") << "whatever the backend said";
    EXPECT_EQ(saved.value("dogname"), "Rex");

    appDatabase_->client().reference(path).child("activate_status").setValue("Deactivate");
    handler.mirror(DSUser({{"user_id", "7"},
                           {"Name", "Anna B."},
                           {"email", "new@example.com"},
                           {"gender", "female"},
                           {"dog_name", "Bello"}})
                       .firebaseInfo());
    // The seven fields are written one by one, in any order.
    const QVariantMap refreshed =
        valueOnceItHolds(path, [](const QVariantMap &node) {
            return node.value("name") == "Anna B." && node.value("gender") == "female";
        }).toMap();
    EXPECT_EQ(refreshed.value("gender"), "female");
    EXPECT_EQ(refreshed.value("email"), "anna@example.com") << "not one of the seven fields";
    EXPECT_EQ(refreshed.value("dogname"), "Rex");
    EXPECT_EQ(refreshed.value("activate_status"), "Deactivate");
    EXPECT_EQ(refreshed.value("time_stamp"), saved.value("time_stamp"));

    // A record of its own, so that none of the field writes above can land after it.
    handler.save({{"id", "8"}, {"name", "Only"}});
    appDatabase_->client().reference("Users/8/extra").setValue("gone after the next save");
    handler.save({{"id", "8"}, {"name", "Only"}});
    ASSERT_TRUE(appDatabase_->waitUntilWritten());
    EXPECT_EQ(storedValue(appDatabase_->client(), FirebaseNode::users + QStringLiteral("/8")),
              (QVariantMap{{"id", "8"}, {"name", "Only"}}));
}

TEST_F(UserMirror, DeviceTokenAndDeactivationWriteIntoTheSignedInUsersRecord)
{
    const QString path = FirebaseNode::users + QStringLiteral("/4");
    DeviceToken &token = DeviceToken::shared();
    token.setDeviceToken(QStringLiteral("player-1"));
    token.updateDeviceToken(); // no session: no record to write into
    LoginDefaults().setUserId(QStringLiteral("4"));
    token.updateDeviceToken();
    token.setDeviceToken(QString());
    EXPECT_EQ(valueOnceItHolds(path, [](const QVariantMap &node) { return !node.isEmpty(); }),
              (QVariantMap{{"device_token", "player-1"}}));
    EXPECT_EQ(storedValue(appDatabase_->client(), FirebaseNode::users).toMap().keys(),
              QStringList{"4"});

    DeleteDataManager().deleteUserFromFirebase(QStringLiteral("ignored: the session decides"));
    const QVariantMap deactivated{{"activate_status", "Deactivate"}, {"device_token", ""}};
    EXPECT_EQ(valueOnceItHolds(path, [&](const QVariantMap &node) { return node == deactivated; }),
              deactivated);
    EXPECT_EQ(LoginDefaults().userId(), std::nullopt) << "the session ends after the mark";
}

} // namespace
