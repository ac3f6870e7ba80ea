#pragma once

#include <QAbstractItemModel>
#include <QByteArray>
#include <QJsonDocument>
#include <QList>
#include <QMap>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QVariantMap>

#include "Common/Extensions/DateExtension.h"
#include "Module/Login/AccountCompletions.h"
#include "Module/Login/SessionHooks.h"
#include "Platform/Database.h"
#include "Platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include <ostream>

// Readable QString values in test failure messages.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

// Values as compact JSON.
void PrintTo(const QVariant &value, std::ostream *out);

// Sets an environment variable for a scope and restores it afterwards.
class ScopedEnvironment
{
public:
    ScopedEnvironment(const char *name, const QByteArray &value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    const char *name_;
    bool had_;
    QByteArray old_;
};

namespace detail {
template <typename Setter>
struct InstalledBy;
template <typename Value>
struct InstalledBy<Value (*)(Value)>
{
    using type = Value;
};
} // namespace detail

// Replaces one of the app's process-wide defaults for a scope and puts back whatever was
// installed before, also when a failed assertion ends the test early. `install` is the
// default's setter, which answers what it replaces.
template <auto install>
class ScopedStandard
{
public:
    using Value = typename detail::InstalledBy<decltype(install)>::type;

    explicit ScopedStandard(Value replacement) : previous_(install(std::move(replacement))) {}
    ~ScopedStandard() { install(std::move(previous_)); }
    ScopedStandard(const ScopedStandard &) = delete;
    ScopedStandard &operator=(const ScopedStandard &) = delete;

private:
    Value previous_;
};

using ScopedDatabase = ScopedStandard<&Database::setDatabase>;
// An empty function stands for the system clock.
using ScopedCurrentDate = ScopedStandard<&setCurrentDateProvider>;

// Each test gets an empty settings store of its own: TAILWISE_HOME points at a fresh
// directory and the standard store is re-read from there.
class FreshSettings : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;
    QString settingsFile() const;
    // The store's file as JSON once the standard store has written what it holds, or an error
    // note that fails any comparison.
    QVariantMap storedSettings() const;

    QTemporaryDir home_;
    std::unique_ptr<ScopedEnvironment> homeVariable_;
};

// What a (success, message) completion reported, and how often it was called.
struct MessageResult
{
    int calls = 0;
    bool success = false;
    QString message;
    bool operator==(const MessageResult &) const = default;
};
std::ostream &operator<<(std::ostream &out, const MessageResult &result);
// A completion that records into `result`.
ResultCompletion into(const std::shared_ptr<MessageResult> &result);
// What `operation` reported to the completion it was handed, once it has.
MessageResult completed(const std::function<void(ResultCompletion)> &operation,
                        int timeoutMs = 10000);

// Runs the event loop until `done` holds or the time is up.
bool waitUntil(const std::function<bool()> &done, int timeoutMs = 5000);

// A database client of its own that speaks for `token` (none: anonymous).
std::unique_ptr<Database> clientFor(const QString &name, const std::optional<QString> &token);

// The body of a GET, or empty when it failed.
QByteArray download(const QUrl &url);

// One role's values, row by row, as text.
QStringList column(const QAbstractItemModel &model, int role);

// The value at `path` as `client` reads it once (an error reads as a text saying so).
QVariant storedValue(Database &client, const QString &path);

struct RecordedRequest
{
    QByteArray method;
    QByteArray target;
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
};

struct CannedReply
{
    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray body = R"({"status": "1", "message": "ok"})";
    bool hangUp = false; // close the connection instead of answering
    bool silent = false; // keep the connection open and never answer
};

// A loopback HTTP/1.1 server that records every request byte for byte and answers each with
// the same canned reply.
class RecordingServer : public QObject
{
    Q_OBJECT

public:
    RecordingServer();
    QByteArray url() const;
    void setReply(const CannedReply &reply) { reply_ = reply; }
    const QList<RecordedRequest> &requests() const { return requests_; }
    QList<RecordedRequest> requestsTo(const QByteArray &target) const;
    bool waitForRequests(int count, int timeoutMs = 5000);

private:
    void serve(QTcpSocket *socket);

    QTcpServer server_;
    CannedReply reply_;
    QList<RecordedRequest> requests_;
};

// A database client of the test's own, used as the app's client while it lives; it keeps its
// unsent writes in the test's home.
class AppDatabase
{
public:
    AppDatabase();
    AppDatabase(const AppDatabase &) = delete;
    AppDatabase &operator=(const AppDatabase &) = delete;

    Database &client() { return *client_; }
    // Until every write made so far has been stored by the server.
    bool waitUntilWritten(int timeoutMs = 5000);

private:
    std::unique_ptr<Database> client_;
    ScopedDatabase installed_{client_.get()};
};

// A fresh settings store, the backend address pointing at a recording server and the
// database address at another.
class RecordingBackend : public FreshSettings
{
protected:
    void SetUp() override;
    void TearDown() override;
    // Every later request is answered with `body`.
    void answer(const QByteArray &body, int status = 200)
    {
        server_.setReply({status, "application/json", body});
    }
    // The parameters of the last request, decoded.
    QVariantMap sentParameters() const
    {
        return QJsonDocument::fromJson(server_.requests().last().body).toVariant().toMap();
    }
    QByteArray sentTarget() const { return server_.requests().last().target; }

    // Waits for the callback, or when none may come, for the request `sent` to have been
    // answered and a wrong callback to have had every chance to arrive.
    template <typename Result>
    bool settle(const std::shared_ptr<Result> &result, bool expectCall, qsizetype sent)
    {
        if (expectCall)
            return waitUntil([&] { return result->calls > 0; });
        if (!waitUntil([&] { return server_.requests().size() > sent; }))
            return false;
        QTest::qWait(250);
        return result->calls == 0;
    }

    RecordingServer server_;
    RecordingServer databaseServer_;
    std::unique_ptr<ScopedEnvironment> backend_;
    std::unique_ptr<ScopedEnvironment> databaseVariable_;
    std::unique_ptr<AppDatabase> appDatabase_;
};

// The real tailwise-server on ephemeral loopback ports with a temporary data directory;
// `arguments` are added to every start.
class TailwiseServer
{
public:
    explicit TailwiseServer(QStringList arguments = {});
    ~TailwiseServer();
    TailwiseServer(const TailwiseServer &) = delete;
    TailwiseServer &operator=(const TailwiseServer &) = delete;

    bool isRunning() const { return !backendUrl_.isEmpty(); }
    QByteArray backendUrl() const { return backendUrl_; }
    QByteArray databaseUrl() const { return databaseUrl_; }
    // Empty when the push relay did not come up.
    QByteArray pushUrl() const { return pushUrl_; }
    QString dataDir() const { return dataDir_.path(); }
    QString startupLog() const { return log_; }

    // Stops the server as SIGTERM does; the data directory stays.
    void stop();
    // Ends the server with SIGKILL, as a crash or power cut would.
    void kill();
    // Starts it again on the ports it had, with the same data; false when it did not come up.
    bool restart();

private:
    void start(const QByteArray &backendPort, const QByteArray &databasePort,
               const QByteArray &pushPort);

    QStringList arguments_;
    QTemporaryDir dataDir_;
    QProcess process_;
    QByteArray backendUrl_;
    QByteArray databaseUrl_;
    QByteArray pushUrl_;
    QString log_;
};

// The server flags that make the tests' stand-ins for Google and Facebook its identity
// providers; their key sets are written once per process.
QStringList identityProviderArguments();
// A Google ID token for `email`, fresh now, that a server started with those flags accepts.
QString googleIdToken(const QString &email, const QString &subject = QStringLiteral("g-1001"));

// Someone signed up through the app, and their session token.
struct Person
{
    QString id;
    QString token;
};

// A fresh settings store and the backend, database and push addresses pointing at a real
// tailwise-server.
class LiveBackend : public FreshSettings
{
protected:
    LiveBackend() = default;
    explicit LiveBackend(const QStringList &serverArguments) : server_(serverArguments) {}

    void SetUp() override;
    void TearDown() override;

    // Signs up through the app, which leaves this person signed in, and finishes the profile
    // with `name` as the user name. The password is "pw-" + name.
    QString signUp(const QString &name, const QString &gender = QStringLiteral("female"),
                   double latitude = 52.52, double longitude = 13.405);
    // The same, with the session it left.
    Person signUpPerson(const QString &name, const QString &gender = QStringLiteral("female"),
                        double latitude = 52.52, double longitude = 13.405);
    void signIn(const QString &name);
    void signIn(const QString &name, SessionHooks &hooks);
    // Stores `value` at `path` with a client that speaks for `token`, as that user's own app
    // would; fails the test when the server refuses it.
    void writeAs(const QString &token, const QString &path, const QVariant &value);

    TailwiseServer server_;
    std::unique_ptr<ScopedEnvironment> backend_;
    std::unique_ptr<ScopedEnvironment> database_;
    std::unique_ptr<ScopedEnvironment> push_;
    std::unique_ptr<AppDatabase> appDatabase_;
};

// The same with the app in English, for tests that read what the screens say.
class EnglishLiveBackend : public LiveBackend
{
protected:
    void SetUp() override;
};

// The application is active for the scope, and not active again afterwards: the tests stand
// in for the platform's report, so that no window a test opens changes it.
class ActiveApplication
{
public:
    ActiveApplication();
    ~ActiveApplication();
    ActiveApplication(const ActiveApplication &) = delete;
    ActiveApplication &operator=(const ActiveApplication &) = delete;
};

// The application delegate's role as a test sees it; like the app's own, it never calls
// will-present's completion unless told to.
struct RecordingDelegate : NotificationCenterDelegate
{
    void userNotificationCenter(NotificationCenter &, const PushNotification &willPresent,
                                WillPresentCompletion completionHandler) override;
    void userNotificationCenter(NotificationCenter &, const NotificationResponse &didReceive,
                                DidReceiveCompletion completionHandler) override;

    std::optional<NotificationPresentationOptions> presentAs;
    QList<PushNotification> presented;
    QList<PushNotification> opened;
};
