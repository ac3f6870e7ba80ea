// The database client speaks for the signed-in session, and only for it.

#include "Module/Setting/Delete/DeleteDataManager.h"
#include "Platform/Database.h"

#include "TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

// Owners write their own records; the recent list is read by its owner alone.
constexpr const char *ownerRules = R"({"rules": {
  "Users": {"$uid": {".read": "auth != null", ".write": "auth != null && auth.uid == $uid"}},
  "RecentChatUserList": {"$uid": {".read": "auth != null && auth.uid == $uid",
                                  ".write": "auth != null && auth.uid == $uid"}}
}})";

QStringList ownerRulesArguments()
{
    static const QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("rules.json"));
    QFile out(file);
    EXPECT_TRUE(out.open(QIODevice::WriteOnly) && out.write(ownerRules) > 0);
    return {QStringLiteral("--database-rules"), file};
}

// What an observer heard: values, then perhaps why it was cancelled.
struct Listening
{
    int values = 0;
    std::optional<QString> cancelled;

    DataEventCallback onValue()
    {
        return [this](const DataSnapshot &) { ++values; };
    }
    DataCancelCallback onCancel()
    {
        return [this](const QString &why) { cancelled = why; };
    }
};

std::optional<QString> written(const DatabaseReference &at, const QVariant &value)
{
    std::optional<QString> outcome;
    at.setValue(value, [&](const std::optional<QString> &error) {
        outcome = error.value_or(QStringLiteral("stored"));
    });
    EXPECT_TRUE(waitUntil([&] { return outcome.has_value(); }, 10000))
        << at.pathString().toStdString();
    return outcome;
}

} // namespace

class DatabaseIdentity : public LiveBackend
{
protected:
    DatabaseIdentity() : LiveBackend(ownerRulesArguments()) {}
};

TEST_F(DatabaseIdentity, RequestsSpeakForTheirSessionAndRefusalsCancelOrRollBack)
{
    const Person ada = signUpPerson(QStringLiteral("Ada"));
    const Person bea = signUpPerson(QStringLiteral("Bea"));
    const auto asAda = clientFor(QStringLiteral("ada"), ada.token);
    const auto asBea = clientFor(QStringLiteral("bea"), bea.token);
    const auto anonymous = clientFor(QStringLiteral("anonymous"), std::nullopt);

    const QString adaStatus = QStringLiteral("Users/%1/status").arg(ada.id);
    EXPECT_EQ(written(asAda->reference(adaStatus), QStringLiteral("Online")), "stored");
    EXPECT_TRUE(written(asBea->reference(adaStatus), QStringLiteral("Offline"))->startsWith("401"));
    EXPECT_TRUE(
        written(anonymous->reference(adaStatus), QStringLiteral("Offline"))->startsWith("401"));
    EXPECT_EQ(storedValue(*asBea, adaStatus), QVariant(QStringLiteral("Online")));
    EXPECT_TRUE(storedValue(*anonymous, adaStatus).toString().startsWith("<error> 401"));

    // Bea may not listen to Ada's list: her observer hears why and is gone; Ada's own stays.
    const QString adaList = QStringLiteral("RecentChatUserList/%1").arg(ada.id);
    Listening beaListens, adaListens;
    asBea->reference(adaList).observe(DataEventType::value, beaListens.onValue(),
                                      beaListens.onCancel());
    asAda->reference(adaList).observe(DataEventType::value, adaListens.onValue(),
                                      adaListens.onCancel());
    ASSERT_TRUE(waitUntil([&] { return beaListens.cancelled && adaListens.values == 1; }, 10000));
    EXPECT_EQ(beaListens.cancelled, "Permission denied");
    EXPECT_EQ(beaListens.values, 0);
    EXPECT_EQ(asBea->openStreamCount(), 0);
    EXPECT_EQ(asAda->openStreamCount(), 1);
    EXPECT_FALSE(adaListens.cancelled);
}

TEST_F(DatabaseIdentity, QueuedWritesKeepTheirTokenAndStreamsFollowTheSession)
{
    const Person bea = signUpPerson(QStringLiteral("Bea"));
    const Person ada = signUpPerson(QStringLiteral("Ada")); // the stored session is Ada's
    QString current = ada.token;
    Database client(QStringLiteral("client"));
    client.setTokenProvider([&] { return current; });
    const auto reader = clientFor(QStringLiteral("reader"), bea.token);

    const QString adaList = QStringLiteral("RecentChatUserList/%1").arg(ada.id);
    Listening listening;
    client.reference(adaList).observe(DataEventType::value, listening.onValue(),
                                      listening.onCancel());
    ASSERT_TRUE(waitUntil([&] { return listening.values == 1; }, 10000));

    // Made as Ada while the server is away, sent after Bea has taken over the client: it
    // still goes as Ada (as Bea it would be refused), and Ada's stream reopens as Bea's.
    server_.stop();
    const QString adaStatus = QStringLiteral("Users/%1/status").arg(ada.id);
    client.reference(adaStatus).setValue(QStringLiteral("Offline"));
    current = bea.token;
    client.reauthenticate();
    ASSERT_TRUE(server_.restart());
    ASSERT_TRUE(
        waitUntil([&] { return client.pendingWriteCount() == 0 && listening.cancelled; }, 15000));
    EXPECT_EQ(storedValue(*reader, adaStatus), QVariant(QStringLiteral("Offline")));
    EXPECT_EQ(listening.cancelled, "Permission denied");

    // Signing out through the backend ends Ada's session, and with it her streams.
    current = ada.token;
    Listening adaAgain;
    client.reference(adaList).observe(DataEventType::value, adaAgain.onValue(),
                                      adaAgain.onCancel());
    ASSERT_TRUE(waitUntil([&] { return adaAgain.values == 1; }, 10000));
    std::optional<bool> loggedOut;
    DeleteDataManager().logoutUserAccopunt(
        ada.id, [&](bool success, const QString &) { loggedOut = success; });
    ASSERT_TRUE(waitUntil([&] { return loggedOut.has_value(); }, 10000));
    ASSERT_TRUE(*loggedOut);
    EXPECT_TRUE(waitUntil([&] { return adaAgain.cancelled.has_value(); }, 10000));
    EXPECT_EQ(client.openStreamCount(), 0);
}
