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
    // The reader speaks for the session signed in now, or for `token` when given.
    QVariant valueOnceItHolds(const QString &path,
                              const std::function<bool(const QVariantMap &)> &holds,
                              const std::optional<QString> &token = std::nullopt)
    {
        Database reader(QStringLiteral("reader"));
        if (token)
            reader.setTokenProvider([token] { return token; });
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
    // Each speaks for its own session, whoever signed in last in this process.
    signIn("Anna", annaHooks);
    const std::optional<QString> annaToken = LoginDefaults().userToken();
    annaClient.setTokenProvider([annaToken] { return annaToken; });
    signIn("Ben", benHooks);
    const std::optional<QString> benToken = LoginDefaults().userToken();
    benClient.setTokenProvider([benToken] { return benToken; });

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
    later.setTokenProvider([benToken] { return benToken; });
    EXPECT_EQ(storedValue(later, FirebaseNode::users + '/' + anna).toMap().value("name"), "Anna");
    EXPECT_EQ(storedValue(later, FirebaseNode::chat + '/' + conversationId(anna, ben) + '/' +
                                     FirebaseNode::messages + '/' + sent.key())
                  .toMap()
                  .value("message"),
              "Hallo Ben!");
}

TEST_F(UserMirror, ANewUserIsSavedWholeAndAKnownOneRefreshesOnlyTheSevenFields)
{
    const QString bruno = signUp("Bruno", "male", 52.52, 13.405);
    const std::optional<QString> brunoToken = LoginDefaults().userToken();
    const QString anna = signUp("Anna", "female", 52.52, 13.405);
    const QString path = FirebaseNode::users + '/' + anna;
    const FirebaseUserHandler handler;
    handler.mirror(DSUser({{"user_id", anna},
                           {"Name", "Anna"},
                           {"email", "anna@example.com"},
                           {"status", "Offline"},
                           {"dog_name", "Rex"}})
                       .firebaseInfo());
    const QVariantMap saved =
        valueOnceItHolds(path, [](const QVariantMap &node) { return node.size() == 14; }).toMap();
    EXPECT_EQ(saved.size(), 14);
    EXPECT_EQ(saved.value("status"), "Online") << "whatever the backend said";
    EXPECT_EQ(saved.value("dogname"), "Rex");

    appDatabase_->client().reference(path).child("activate_status").setValue("Deactivate");
    handler.mirror(DSUser({{"user_id", anna},
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
    appDatabase_->client().setTokenProvider([brunoToken] { return brunoToken; });
    const QString boPath = FirebaseNode::users + '/' + bruno;
    handler.save({{"id", bruno}, {"name", "Only"}});
    appDatabase_->client().reference(boPath + "/email").setValue("gone after the next save");
    handler.save({{"id", bruno}, {"name", "Only"}});
    ASSERT_TRUE(appDatabase_->waitUntilWritten());
    EXPECT_EQ(storedValue(appDatabase_->client(), boPath),
              (QVariantMap{{"id", bruno}, {"name", "Only"}}));
}

TEST_F(UserMirror, DeviceTokenAndDeactivationWriteIntoTheSignedInUsersRecord)
{
    DeviceToken &token = DeviceToken::shared();
    token.setDeviceToken(QString());
    const QString anna = signUp("Anna", "female", 52.52, 13.405);
    const std::optional<QString> annaToken = LoginDefaults().userToken();
    const QString path = FirebaseNode::users + '/' + anna;
    token.setDeviceToken(QStringLiteral("player-1"));
    token.updateDeviceToken();
    token.setDeviceToken(QString());
    EXPECT_EQ(
        valueOnceItHolds(
            path, [](const QVariantMap &node) { return node.value("device_token") == "player-1"; })
            .toMap()
            .value("device_token"),
        "player-1");

    DeleteDataManager().deleteUserFromFirebase(QStringLiteral("ignored: the session decides"));
    EXPECT_EQ(LoginDefaults().userId(), std::nullopt) << "the session ends after the mark";
    const QVariantMap marked = valueOnceItHolds(
                                   path,
                                   [](const QVariantMap &node) {
                                       return node.value("activate_status") == "Deactivate" &&
                                              node.value("device_token") == "";
                                   },
                                   annaToken)
                                   .toMap();
    EXPECT_EQ(marked.value("activate_status"), "Deactivate");
    EXPECT_EQ(marked.value("device_token"), "");
}

} // namespace
