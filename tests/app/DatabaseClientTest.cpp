#include "Common/Network/RealtimeReads.h"
#include "Platform/Database.h"
#include "Platform/ServerValue.h"

#include "TestSupport.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <memory>

namespace {

const char *name(DataEventType type)
{
    switch (type) {
    case DataEventType::childAdded:
        return "added";
    case DataEventType::childChanged:
        return "changed";
    case DataEventType::childRemoved:
        return "removed";
    case DataEventType::value:
        break;
    }
    return "value";
}

// Every event an observer got, as "type key", in order of arrival.
struct Recorder
{
    QStringList events;
    QList<DataSnapshot> snapshots;
    // Counted by the callbacks: the writes not yet stored when each event was raised.
    QList<qsizetype> pendingAtEvent;

    DataEventCallback on(DataEventType type, Database *database = nullptr)
    {
        return [this, type, database](const DataSnapshot &snapshot) {
            events << QStringLiteral("%1 %2").arg(name(type), snapshot.key());
            snapshots << snapshot;
            if (database)
                pendingAtEvent << database->pendingWriteCount();
        };
    }
    qsizetype count(const QString &prefix) const
    {
        return std::count_if(events.begin(), events.end(),
                             [&](const QString &event) { return event.startsWith(prefix); });
    }
};

// The value at `path` as a fresh client reads it from the server.
QVariant stored(const QString &path)
{
    Database reader(QStringLiteral("reader"));
    return storedValue(reader, path);
}

// Lets echoes and late events arrive after the writes were stored.
void settle(Database &database)
{
    ASSERT_TRUE(waitUntil([&] { return database.pendingWriteCount() == 0; }));
    QTest::qWait(300);
}

} // namespace

// A fresh settings home and a real tailwise-server the database client points at.
class DatabaseClient : public FreshSettings
{
protected:
    void SetUp() override
    {
        FreshSettings::SetUp();
        ASSERT_TRUE(server_.isRunning()) << server_.startupLog().toStdString();
        databaseVariable_ =
            std::make_unique<ScopedEnvironment>("TAILWISE_DATABASE", server_.databaseUrl());
    }
    void TearDown() override
    {
        databaseVariable_.reset();
        FreshSettings::TearDown();
    }

    // The client's protocol, not who may do what: the database serves without rules.
    TailwiseServer server_{{QStringLiteral("--database-rules"), QStringLiteral("open")}};
    std::unique_ptr<ScopedEnvironment> databaseVariable_;
};

TEST_F(DatabaseClient, ReadsStoredMessagesInPushOrderThroughChildAdded)
{
    Database writer(QStringLiteral("writer"));
    const DatabaseReference messages = writer.reference("Tailwise_Chat/7_12/Messages");
    QStringList written;
    for (int i = 0; i < 50; ++i) {
        DatabaseReference message = messages.childByAutoId();
        message.setValue(QVariantMap{{"message", QStringLiteral("m%1").arg(i)}, {"senderId", "7"}});
        written << "added " + message.key();
    }
    ASSERT_TRUE(waitUntil([&] { return writer.pendingWriteCount() == 0; }));

    Database reader(QStringLiteral("reader"));
    Recorder added;
    bool calledInside = true;
    reader.reference("Tailwise_Chat/7_12/Messages")
        .observe(DataEventType::childAdded, added.on(DataEventType::childAdded));
    calledInside = !added.events.isEmpty();
    ASSERT_TRUE(waitUntil([&] { return added.events.size() >= 50; }));
    QTest::qWait(200);

    EXPECT_FALSE(calledInside) << "events come from the event loop, not from observe()";
    EXPECT_EQ(added.events, written);
    EXPECT_EQ(added.snapshots[49].childSnapshot("message").value().toString(), "m49");
}

TEST_F(DatabaseClient, RaisesOneChangesEventsInOrderRemovedAddedChangedValue)
{
    Database client;
    Database other(QStringLiteral("other"));
    const DatabaseReference list = client.reference("RecentChatUserList/7");
    list.setValue(QVariantMap{{"1", QVariantMap{{"timeStamp", 1}}},
                              {"2", QVariantMap{{"timeStamp", 2}}},
                              {"4", QVariantMap{{"timeStamp", 4}}}});
    Recorder events;
    // Registered in the reverse of the order the events must come in.
    list.observe(DataEventType::value, events.on(DataEventType::value));
    list.observe(DataEventType::childChanged, events.on(DataEventType::childChanged));
    list.observe(DataEventType::childAdded, events.on(DataEventType::childAdded));
    list.observe(DataEventType::childRemoved, events.on(DataEventType::childRemoved));
    ASSERT_TRUE(waitUntil([&] { return events.count("value") == 1; }));
    settle(client);
    events.events.clear();

    // Made here, the change is known at once; made by another client, it arrives as one
    // patch event with a deletion in it. Either way one change raises its events in order.
    list.updateChildValues(
        {{"1", QVariant()}, {"3", QVariantMap{{"timeStamp", 3}}}, {"2/timeStamp", 20}});
    settle(client);
    EXPECT_EQ(events.events, QStringList({"removed 1", "added 3", "changed 2", "value 7"}));

    events.events.clear();
    other.reference("RecentChatUserList/7")
        .updateChildValues({{"2", QVariant()},
                            {"5", QVariantMap{{"timeStamp", 5}}},
                            {"4", QVariantMap{{"timeStamp", 40}}}});
    settle(other);
    EXPECT_EQ(events.events, QStringList({"removed 2", "added 5", "changed 4", "value 7"}));
}

TEST_F(DatabaseClient, SeesAnotherClientsMultiLocationUpdateAsOneChange)
{
    Database client;
    Database other(QStringLiteral("other"));
    const DatabaseReference recent = client.reference("RecentChatUserList");
    recent.setValue(QVariantMap{{"1", QVariantMap{{"3", QVariantMap{{"timeStamp", 0}}}}}});
    Recorder whole, rows;
    recent.observe(DataEventType::value, whole.on(DataEventType::value));
    const DatabaseReference mine = recent.child("1");
    mine.observe(DataEventType::childAdded, rows.on(DataEventType::childAdded));
    mine.observe(DataEventType::childChanged, rows.on(DataEventType::childChanged));
    mine.observe(DataEventType::value, rows.on(DataEventType::value));
    ASSERT_TRUE(waitUntil([&] { return whole.count("value") == 1 && rows.count("value") == 1; }));
    settle(client);
    whole.events.clear();
    whole.snapshots.clear();
    rows.events.clear();

    // Both rows of a conversation and another row, written from the root in one update, as
    // a chat message does; every state an observer sees has all three at the same time.
    for (int stamp = 1; stamp <= 10; ++stamp)
        other.reference().updateChildValues(
            {{"RecentChatUserList/1/2", QVariantMap{{"timeStamp", stamp}}},
             {"RecentChatUserList/2/1/timeStamp", stamp},
             {"RecentChatUserList/1/3/timeStamp", stamp}});
    settle(other);
    ASSERT_TRUE(waitUntil([&] {
        return !whole.snapshots.isEmpty() &&
               whole.snapshots.last().childSnapshot("1/2/timeStamp").value().toInt() == 10;
    }));
    for (const DataSnapshot &seen : whole.snapshots) {
        const QVariant stamp = seen.childSnapshot("1/2/timeStamp").value();
        EXPECT_EQ(seen.childSnapshot("2/1/timeStamp").value(), stamp);
        EXPECT_EQ(seen.childSnapshot("1/3/timeStamp").value(), stamp);
    }
    EXPECT_LE(whole.count("value"), 10);
    // Below the update's location the client applies the keys that are paths below its own.
    EXPECT_EQ(rows.events.mid(0, 3), QStringList({"added 2", "changed 3", "value 1"}));
    EXPECT_EQ(rows.count("added"), 1);
}

TEST_F(DatabaseClient, OwnWritesRaiseTheirEventsOnceBeforeTheServerAnswers)
{
    Database client;
    const DatabaseReference messages = client.reference("Tailwise_Chat/1_2/Messages");
    Recorder events;
    messages.observe(DataEventType::childAdded, events.on(DataEventType::childAdded, &client));
    messages.observe(DataEventType::childChanged, events.on(DataEventType::childChanged, &client));
    messages.observe(DataEventType::value, events.on(DataEventType::value, &client));
    ASSERT_TRUE(waitUntil([&] { return events.count("value") == 1; })) << "empty location";
    EXPECT_FALSE(events.snapshots.last().exists());

    DatabaseReference first = messages.childByAutoId();
    first.setValue(QVariantMap{{"message", "hi"}, {"timestamp", ServerValue::timestamp()}});
    DatabaseReference second = messages.childByAutoId();
    second.setValue(QVariantMap{{"message", "there"}});
    settle(client);

    EXPECT_EQ(events.count("added"), 2) << events.events.join(", ").toStdString();
    EXPECT_EQ(events.events.value(1), "added " + first.key());
    EXPECT_EQ(events.events.value(2), "added " + second.key());
    // Raised from the local write, while both were still on their way.
    EXPECT_EQ(events.pendingAtEvent.value(1), 2);
    // The server's clock may differ from the local estimate of the time stamp: then, and only
    // then, the echo changes the message once.
    EXPECT_LE(events.count("changed"), 1);
    EXPECT_LE(events.count("value"), 3);

    const qsizetype before = events.events.size();
    first.child("message").setValue("hi");
    settle(client);
    EXPECT_EQ(events.events.size(), before) << "writing what is there changes nothing";
}

TEST_F(DatabaseClient, RollsBackAWriteTheServerRefuses)
{
    Database client;
    const DatabaseReference user = client.reference("Users/7");
    user.setValue(QVariantMap{{"status", "Online"}});
    Recorder events;
    user.observe(DataEventType::value, events.on(DataEventType::value));
    ASSERT_TRUE(waitUntil([&] { return events.events.size() == 1; }));

    std::optional<QString> error;
    user.setValue(QVariantMap{{".sv", "time_stamp"}}, [&](const std::optional<QString> &e) {
        error = e.value_or(QStringLiteral("stored"));
    });
    ASSERT_TRUE(waitUntil([&] { return error.has_value(); }));
    settle(client);

    EXPECT_TRUE(error->startsWith("400")) << error->toStdString();
    ASSERT_EQ(events.snapshots.size(), 3) << events.events.join(", ").toStdString();
    EXPECT_EQ(events.snapshots[1].value(), QVariant(QVariantMap{{".sv", "time_stamp"}}));
    EXPECT_EQ(events.snapshots[2].value(), QVariant(QVariantMap{{"status", "Online"}}));
    EXPECT_EQ(stored("Users/7"), QVariant(QVariantMap{{"status", "Online"}}));
}

TEST_F(DatabaseClient, SecondClientSeesAPushedChildAndStreamsAreSharedPerLocation)
{
    Database sender(QStringLiteral("sender"));
    Database receiver(QStringLiteral("receiver"));
    Recorder added;
    Recorder values;
    const DatabaseReference messages = receiver.reference("Tailwise_Chat/3_4/Messages");
    const DatabaseHandle a =
        messages.observe(DataEventType::childAdded, added.on(DataEventType::childAdded));
    const DatabaseHandle b = messages.queryLimitedToLast(1).observe(
        DataEventType::value, values.on(DataEventType::value));
    EXPECT_EQ(receiver.openStreamCount(), 1);
    ASSERT_TRUE(waitUntil([&] { return values.events.size() == 1; }));

    DatabaseReference pushed = sender.reference("Tailwise_Chat/3_4/Messages").childByAutoId();
    pushed.setValue(QVariantMap{{"message", "woof"}});
    ASSERT_TRUE(waitUntil([&] { return added.events.size() == 1; }));
    EXPECT_EQ(added.events.first(), "added " + pushed.key());
    EXPECT_EQ(added.snapshots.first().childSnapshot("message").value().toString(), "woof");

    messages.removeObserver(a);
    EXPECT_EQ(receiver.openStreamCount(), 1);
    messages.removeObserver(b);
    EXPECT_EQ(receiver.openStreamCount(), 0) << "closed with its last observer";
}

TEST_F(DatabaseClient, ResynchronisesAfterTheServerRestartsWithoutRepeatingChildren)
{
    Database writer(QStringLiteral("writer"));
    const DatabaseReference list = writer.reference("RecentChatUserList/9");
    for (const char *key : {"1", "2", "3"})
        list.child(key).setValue(QVariantMap{{"last_message", key}});
    ASSERT_TRUE(waitUntil([&] { return writer.pendingWriteCount() == 0; }));

    Database listener(QStringLiteral("listener"));
    Recorder events;
    const DatabaseReference listened = listener.reference("RecentChatUserList/9");
    listened.observe(DataEventType::childAdded, events.on(DataEventType::childAdded));
    listened.observe(DataEventType::childChanged, events.on(DataEventType::childChanged));
    ASSERT_TRUE(waitUntil([&] { return events.events.size() == 3; }));

    ASSERT_TRUE(server_.restart()) << server_.startupLog().toStdString();
    list.child("4").setValue(QVariantMap{{"last_message", "4"}});
    list.child("2/last_message").setValue("two");
    ASSERT_TRUE(waitUntil([&] { return events.events.size() >= 5; }, 15000))
        << events.events.join(", ").toStdString();
    QTest::qWait(500);

    EXPECT_EQ(events.events,
              QStringList({"added 1", "added 2", "added 3", "added 4", "changed 2"}));
}

TEST_F(DatabaseClient, WritesMadeOfflineAreSentInOrderByTheNextRun)
{
    server_.stop();
    QString pushedKey;
    {
        Database offline;
        const DatabaseReference user = offline.reference("Users/5");
        user.child("status").setValue("Online");
        user.child("status").setValue("Offline");
        user.child("name").setValue("Rex");
        user.child("name").removeValue();
        DatabaseReference pushed = offline.reference("TestNode").childByAutoId();
        pushed.setValue(1);
        pushedKey = pushed.key();
        offline.reference("TestNode").updateChildValues({{"counter", ServerValue::increment(3)}});
        ASSERT_TRUE(waitUntil(
            [&] { return QFile::exists(home_.filePath("Database-default.queue.json")); }));
        QTest::qWait(300); // the first attempt fails
        EXPECT_EQ(offline.pendingWriteCount(), 6);
    } // the app quits

    ASSERT_TRUE(server_.restart()) << server_.startupLog().toStdString();
    Database nextRun;
    ASSERT_TRUE(waitUntil([&] { return nextRun.pendingWriteCount() == 0; }, 10000));

    EXPECT_EQ(stored("Users/5"), QVariant(QVariantMap{{"status", "Offline"}}));
    EXPECT_EQ(stored("TestNode"),
              QVariant(QVariantMap{{pushedKey, qlonglong(1)}, {"counter", qlonglong(3)}}));
    EXPECT_TRUE(
        waitUntil([&] { return !QFile::exists(home_.filePath("Database-default.queue.json")); }));
}

TEST_F(DatabaseClient, StandardRealtimeReadsGoThroughTheDatabase)
{
    Database writer(QStringLiteral("writer"));
    writer.reference("Users/12").setValue(QVariantMap{{"name", "Bello"}, {"status", "Online"}});
    writer.reference("Favourite/12/7/Favourite").setValue("1");
    ASSERT_TRUE(waitUntil([&] { return writer.pendingWriteCount() == 0; }));

    QVariantMap node;
    std::optional<QVariant> mark;
    std::optional<QVariant> absent = QVariant("unset");
    int answers = 0;
    RealtimeReads::standard().readUserNode("12",
                                           [&](const QVariantMap &n) { node = n, ++answers; });
    RealtimeReads::standard().readFavouriteMark(
        "12", "7", [&](const std::optional<QVariant> &m) { mark = m, ++answers; });
    RealtimeReads::standard().readFavouriteMark(
        "12", "8", [&](const std::optional<QVariant> &m) { absent = m, ++answers; });
    // Without a signed-in user the path would name the whole users node: nothing is read.
    QVariantMap nobody = {{"unset", 1}};
    RealtimeReads::standard().readUserNode("",
                                           [&](const QVariantMap &n) { nobody = n, ++answers; });
    ASSERT_TRUE(waitUntil([&] { return answers == 4; }));
    EXPECT_TRUE(nobody.isEmpty());
    EXPECT_EQ(node, (QVariantMap{{"name", "Bello"}, {"status", "Online"}}));
    EXPECT_EQ(mark, QVariant("1"));
    EXPECT_EQ(absent, std::nullopt);

    // A database that cannot be reached answers "nothing there" rather than never.
    server_.stop();
    node = {{"stale", 1}};
    RealtimeReads::standard().readUserNode("12",
                                           [&](const QVariantMap &n) { node = n, ++answers; });
    ASSERT_TRUE(waitUntil([&] { return answers == 5; }));
    EXPECT_TRUE(node.isEmpty());
}

TEST_F(DatabaseClient, RemovesOnDisconnectWhenTheClientGoesAway)
{
    {
        Database client;
        const DatabaseReference status = client.reference("Users/5/status");
        status.setValue("Online");
        status.onDisconnectRemoveValue();
        client.reference("Users/5/name").setValue("Rex");
        ASSERT_TRUE(waitUntil([&] { return client.pendingWriteCount() == 0; }));
        QTest::qWait(300); // the registration is made once the stream has its connection id
        EXPECT_EQ(stored("Users/5/status"), QVariant("Online")) << "not while connected";
    }
    EXPECT_TRUE(waitUntil([&] { return !stored("Users/5/status").isValid(); }));
    EXPECT_EQ(stored("Users/5"), QVariant(QVariantMap{{"name", "Rex"}}));

    // The hosted service has no REST form of it: nothing is registered, no stream is held.
    const ScopedEnvironment hosted("TAILWISE_DATABASE", "https://tailwise-test.firebaseio.com");
    Database client(QStringLiteral("hosted"));
    client.reference("Users/5/status").onDisconnectRemoveValue();
    EXPECT_EQ(client.openStreamCount(), 0);
}

TEST_F(DatabaseClient, OrderedAndLimitedQueriesFollowTheirWindow)
{
    Database client;
    const DatabaseReference list = client.reference("RecentChatUserList/8");
    list.setValue(QVariantMap{{"a", QVariantMap{{"timeStamp", 30}}},
                              {"b", QVariantMap{{"timeStamp", 10}}},
                              {"c", QVariantMap{{"timeStamp", 20}}}});
    const DatabaseQuery latest = list.queryOrderedByChild("timeStamp").queryLimitedToLast(2);
    Recorder events;
    latest.observe(DataEventType::childAdded, events.on(DataEventType::childAdded));
    latest.observe(DataEventType::childRemoved, events.on(DataEventType::childRemoved));
    latest.observe(DataEventType::value, events.on(DataEventType::value));
    const auto childKeys = [](const DataSnapshot &snapshot) {
        QStringList keys;
        for (const DataSnapshot &child : snapshot.children())
            keys << child.key();
        return keys;
    };
    ASSERT_TRUE(waitUntil([&] { return events.count("value") == 1; }));
    EXPECT_EQ(events.events, QStringList({"added c", "added a", "value 8"}));
    EXPECT_EQ(childKeys(events.snapshots.last()), QStringList({"c", "a"}));

    events.events.clear();
    list.child("b/timeStamp").setValue(40);
    settle(client);
    EXPECT_EQ(events.events, QStringList({"removed c", "added b", "value 8"}));
    EXPECT_EQ(childKeys(events.snapshots.last()), QStringList({"a", "b"}));

    int calls = 0;
    QString first;
    list.queryOrderedByChild("timeStamp")
        .observeSingleEvent(DataEventType::childAdded, [&](const DataSnapshot &child) {
            ++calls;
            first = child.key();
        });
    ASSERT_TRUE(waitUntil([&] { return calls > 0; }));
    list.child("d").setValue(QVariantMap{{"timeStamp", 1}});
    settle(client);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(first, "c");
}

namespace {

// A database server whose stream and write answers the test sends by hand, to put events
// and answers in an order a real server leaves to chance.
class ScriptedDatabase : public QObject
{
public:
    ScriptedDatabase()
    {
        server_.listen(QHostAddress::LocalHost, 0);
        connect(&server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = server_.nextPendingConnection())
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        });
    }
    QByteArray url() const
    {
        return "http://127.0.0.1:" + QByteArray::number(server_.serverPort());
    }
    bool streaming() const { return stream_ != nullptr; }
    bool writeWaiting() const { return write_ != nullptr; }
    void send(const QByteArray &event, const QByteArray &data)
    {
        stream_->write("event: " + event + "\r\ndata: " + data + "\r\n\r\n");
    }
    void answerWrite(const QByteArray &body)
    {
        write_->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                      QByteArray::number(body.size()) + "\r\n\r\n" + body);
        write_ = nullptr;
    }

private:
    void read(QTcpSocket *socket)
    {
        QByteArray &buffer = buffers_[socket];
        buffer += socket->readAll();
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QByteArray head = buffer.left(end).toLower();
        const qsizetype lengthAt = head.indexOf("content-length:");
        const qsizetype length =
            lengthAt < 0 ? 0
                         : head.mid(lengthAt + 15, head.indexOf('\r', lengthAt) - lengthAt - 15)
                               .trimmed()
                               .toLongLong();
        if (buffer.size() < end + 4 + length)
            return;
        buffer.clear();
        if (head.contains("text/event-stream")) {
            stream_ = socket;
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n");
        } else {
            write_ = socket;
        }
    }

    QTcpServer server_;
    QMap<QTcpSocket *, QByteArray> buffers_;
    QTcpSocket *stream_ = nullptr;
    QTcpSocket *write_ = nullptr;
};

} // namespace

TEST_F(FreshSettings, KeepsAnotherClientsWriteThatCameAfterTheEchoButBeforeTheAnswer)
{
    ScriptedDatabase server;
    const ScopedEnvironment database("TAILWISE_DATABASE", server.url());
    Database client;
    Recorder values;
    client.reference("Users/3").observe(DataEventType::value, values.on(DataEventType::value));
    ASSERT_TRUE(waitUntil([&] { return server.streaming(); }));
    server.send("put", R"({"path": "/", "data": {"status": "Offline"}})");
    ASSERT_TRUE(waitUntil([&] { return values.events.size() == 1; }));

    client.reference("Users/3/status").setValue("Online");
    ASSERT_TRUE(waitUntil([&] { return server.writeWaiting(); }));
    server.send("put", R"({"path": "/status", "data": "Online"})");
    server.send("patch", R"({"path": "/", "data": {"status": "Away"}})");
    QTest::qWait(100);
    server.answerWrite(R"("Online")");
    ASSERT_TRUE(waitUntil([&] { return client.pendingWriteCount() == 0; }));
    QTest::qWait(100);

    ASSERT_FALSE(values.snapshots.isEmpty());
    EXPECT_EQ(values.snapshots.last().value(), QVariant(QVariantMap{{"status", "Away"}}));
}
