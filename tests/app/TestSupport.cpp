#include "TestSupport.h"

#include "LoginDefaults.h"
#include "Module/Login/LoginDataManager.h"
#include "Module/Register/ProfileRegister/RegisterProfileDataManager.h"
#include "Module/Register/RegisterationDataManager.h"
#include "Platform/ApplicationState.h"
#include "Platform/Database.h"
#include "Platform/UserDefaults.h"

#include "TestIdTokens.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTest>

void PrintTo(const QVariant &value, std::ostream *out)
{
    const QByteArray wrapped =
        QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    *out << wrapped.mid(1, wrapped.size() - 2).toStdString();
}

ScopedEnvironment::ScopedEnvironment(const char *name, const QByteArray &value)
    : name_(name), had_(qEnvironmentVariableIsSet(name)), old_(qgetenv(name))
{
    qputenv(name, value);
}

ScopedEnvironment::~ScopedEnvironment()
{
    if (had_)
        qputenv(name_, old_);
    else
        qunsetenv(name_);
}

void FreshSettings::SetUp()
{
    ASSERT_TRUE(home_.isValid());
    homeVariable_ = std::make_unique<ScopedEnvironment>("TAILWISE_HOME", home_.path().toUtf8());
    UserDefaults::resetStandardUserDefaults();
}

void FreshSettings::TearDown()
{
    homeVariable_.reset();
    UserDefaults::resetStandardUserDefaults();
}

QString FreshSettings::settingsFile() const
{
    return home_.filePath(QStringLiteral("UserDefaults.json"));
}

QVariantMap FreshSettings::storedSettings() const
{
    UserDefaults::standard().synchronize();
    QFile file(settingsFile());
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly))
        return {{QStringLiteral("<error>"), file.errorString()}};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        return {{QStringLiteral("<error>"), QStringLiteral("not a JSON object")}};
    return document.object().toVariantMap();
}

bool waitUntil(const std::function<bool()> &done, int timeoutMs)
{
    return QTest::qWaitFor(done, timeoutMs);
}

std::unique_ptr<Database> clientFor(const QString &name, const std::optional<QString> &token)
{
    auto client = std::make_unique<Database>(name);
    client->setTokenProvider([token] { return token; });
    return client;
}

QByteArray download(const QUrl &url)
{
    QNetworkAccessManager network;
    QNetworkRequest request(url);
    request.setTransferTimeout(10000);
    const std::unique_ptr<QNetworkReply> reply(network.get(request));
    waitUntil([&] { return reply->isFinished(); }, 10000);
    return reply->error() == QNetworkReply::NoError ? reply->readAll() : QByteArray();
}

QStringList column(const QAbstractItemModel &model, int role)
{
    QStringList values;
    for (int row = 0; row < model.rowCount(); ++row)
        values << model.index(row, 0).data(role).toString();
    return values;
}

QVariant storedValue(Database &client, const QString &path)
{
    std::optional<QVariant> value;
    client.reference(path).getData(
        [&](const std::optional<QString> &error, const DataSnapshot &node) {
            value = error ? QVariant(QStringLiteral("<error> ") + *error) : node.value();
        });
    EXPECT_TRUE(waitUntil([&] { return value.has_value(); }, 10000)) << path.toStdString();
    return value.value_or(QStringLiteral("<no answer>"));
}

RecordingServer::RecordingServer()
{
    server_.listen(QHostAddress::LocalHost, 0);
    connect(&server_, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = server_.nextPendingConnection())
            serve(socket);
    });
}

QByteArray RecordingServer::url() const
{
    return "http://127.0.0.1:" + QByteArray::number(server_.serverPort());
}

QList<RecordedRequest> RecordingServer::requestsTo(const QByteArray &target) const
{
    QList<RecordedRequest> matching;
    for (const RecordedRequest &request : requests_)
        if (request.target == target)
            matching << request;
    return matching;
}

bool RecordingServer::waitForRequests(int count, int timeoutMs)
{
    return waitUntil([&] { return requests_.size() >= count; }, timeoutMs);
}

void RecordingServer::serve(QTcpSocket *socket)
{
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto buffer = std::make_shared<QByteArray>();
    connect(socket, &QTcpSocket::readyRead, socket, [this, socket, buffer] {
        *buffer += socket->readAll();
        const qsizetype headerEnd = buffer->indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        RecordedRequest request;
        const QList<QByteArray> lines = buffer->left(headerEnd).split('\n');
        const QList<QByteArray> requestLine = lines.first().trimmed().split(' ');
        request.method = requestLine.value(0);
        request.target = requestLine.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0)
                request.headers.insert(lines[i].left(colon).trimmed().toLower(),
                                       lines[i].mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer->size() < headerEnd + 4 + length)
            return;
        request.body = buffer->mid(headerEnd + 4, length);
        buffer->clear();
        requests_.append(request);
        if (reply_.hangUp) {
            socket->disconnectFromHost();
            return;
        }
        if (reply_.silent)
            return;
        socket->write("HTTP/1.1 " + QByteArray::number(reply_.status) +
                      " Canned\r\nContent-Type: " + reply_.contentType +
                      "\r\nContent-Length: " + QByteArray::number(reply_.body.size()) +
                      "\r\nConnection: close\r\n\r\n" + reply_.body);
        socket->disconnectFromHost();
    });
}

TailwiseServer::TailwiseServer(QStringList arguments) : arguments_(std::move(arguments))
{
    start("0", "0", "0");
}

void TailwiseServer::start(const QByteArray &backendPort, const QByteArray &databasePort,
                           const QByteArray &pushPort)
{
    backendUrl_.clear();
    databaseUrl_.clear();
    pushUrl_.clear();
    process_.setProgram(QStringLiteral(TAILWISE_SERVER_BINARY));
    process_.setArguments(
        QStringList{QStringLiteral("--data-dir"), dataDir_.path(), QStringLiteral("--backend-port"),
                    QString::fromLatin1(backendPort), QStringLiteral("--database-port"),
                    QString::fromLatin1(databasePort), QStringLiteral("--push-port"),
                    QString::fromLatin1(pushPort)} +
        arguments_);
    process_.setProcessChannelMode(QProcess::SeparateChannels);
    process_.start();
    if (!process_.waitForStarted(5000)) {
        log_ = process_.errorString();
        return;
    }
    const QList<std::pair<QByteArray, QByteArray *>> services = {
        {"backend listening on ", &backendUrl_},
        {"database listening on ", &databaseUrl_},
        {"push listening on ", &pushUrl_}};
    QByteArray output;
    waitUntil(
        [&] {
            output += process_.readAllStandardOutput();
            for (const QByteArray &line : output.split('\n'))
                for (const auto &[marker, url] : services)
                    if (line.startsWith(marker) && output.contains(line + '\n'))
                        *url = line.mid(marker.size()).trimmed();
            return (!backendUrl_.isEmpty() && !databaseUrl_.isEmpty() && !pushUrl_.isEmpty()) ||
                   process_.state() == QProcess::NotRunning;
        },
        10000);
    log_ = QString::fromUtf8(output + process_.readAllStandardError());
    if (databaseUrl_.isEmpty())
        backendUrl_.clear(); // not up as a whole
}

void TailwiseServer::stop()
{
    if (process_.state() == QProcess::NotRunning)
        return;
    process_.terminate();
    if (!process_.waitForFinished(5000)) {
        process_.kill();
        process_.waitForFinished(2000);
    }
}

void TailwiseServer::kill()
{
    process_.kill();
    process_.waitForFinished(5000);
}

bool TailwiseServer::restart()
{
    const auto port = [](const QByteArray &url) {
        return url.isEmpty() ? QByteArray("0") : url.mid(url.lastIndexOf(':') + 1);
    };
    const QByteArray backend = port(backendUrl_);
    const QByteArray database = port(databaseUrl_);
    const QByteArray push = port(pushUrl_);
    stop();
    start(backend, database, push);
    return isRunning();
}

TailwiseServer::~TailwiseServer()
{
    stop();
}

QStringList identityProviderArguments()
{
    // The keys live as long as the process, and so does the directory publishing them.
    static const QTemporaryDir keys;
    static const QStringList arguments = [] {
        QStringList flags;
        for (const auto *provider :
             {&tailwise::test::testGoogle(), &tailwise::test::testFacebook()}) {
            const QString name = QString::fromStdString(provider->name);
            const QString file = keys.filePath(name + QStringLiteral(".json"));
            QFile out(file);
            if (!out.open(QIODevice::WriteOnly) ||
                out.write(QByteArray::fromStdString(tailwise::test::keySet({&provider->key}))) < 0)
                ADD_FAILURE() << "cannot write " << file.toStdString();
            flags << QStringLiteral("--oidc-issuer")
                  << name + '=' + QString::fromStdString(provider->issuer)
                  << QStringLiteral("--oidc-jwks") << name + '=' + file
                  << QStringLiteral("--oidc-client-id")
                  << name + '=' + QString::fromStdString(provider->clientId);
        }
        return flags;
    }();
    return arguments;
}

QString googleIdToken(const QString &email, const QString &subject)
{
    const auto &google = tailwise::test::testGoogle();
    return QString::fromStdString(tailwise::test::signedToken(
        google.key,
        tailwise::test::googleClaims(email.toStdString(), QDateTime::currentSecsSinceEpoch(),
                                     subject.toStdString())));
}

std::ostream &operator<<(std::ostream &out, const MessageResult &result)
{
    return out << "{calls " << result.calls << ", " << result.success << ", "
               << result.message.toStdString() << "}";
}

ResultCompletion into(const std::shared_ptr<MessageResult> &result)
{
    return [result](bool success, const QString &message) {
        ++result->calls;
        result->success = success;
        result->message = message;
    };
}

MessageResult completed(const std::function<void(ResultCompletion)> &operation, int timeoutMs)
{
    const auto result = std::make_shared<MessageResult>();
    operation(into(result));
    EXPECT_TRUE(waitUntil([&] { return result->calls > 0; }, timeoutMs)) << "no completion";
    return *result;
}

AppDatabase::AppDatabase() : client_(std::make_unique<Database>(QStringLiteral("app"))) {}

bool AppDatabase::waitUntilWritten(int timeoutMs)
{
    return waitUntil([this] { return client_->pendingWriteCount() == 0; }, timeoutMs);
}

void RecordingBackend::SetUp()
{
    FreshSettings::SetUp();
    backend_ = std::make_unique<ScopedEnvironment>("TAILWISE_BACKEND", server_.url());
    databaseVariable_ =
        std::make_unique<ScopedEnvironment>("TAILWISE_DATABASE", databaseServer_.url());
    appDatabase_ = std::make_unique<AppDatabase>();
}

void RecordingBackend::TearDown()
{
    appDatabase_.reset();
    databaseVariable_.reset();
    backend_.reset();
    FreshSettings::TearDown();
}

void LiveBackend::SetUp()
{
    FreshSettings::SetUp();
    ASSERT_TRUE(server_.isRunning()) << server_.startupLog().toStdString();
    backend_ = std::make_unique<ScopedEnvironment>("TAILWISE_BACKEND", server_.backendUrl());
    database_ = std::make_unique<ScopedEnvironment>("TAILWISE_DATABASE", server_.databaseUrl());
    push_ = std::make_unique<ScopedEnvironment>("TAILWISE_PUSH", server_.pushUrl());
    appDatabase_ = std::make_unique<AppDatabase>();
}

void LiveBackend::TearDown()
{
    appDatabase_.reset();
    push_.reset();
    database_.reset();
    backend_.reset();
    FreshSettings::TearDown();
}

QString LiveBackend::signUp(const QString &name, const QString &gender, double latitude,
                            double longitude)
{
    bool done = false;
    RegisterationDataManager().register_(
        {{"email", name.toLower() + "@example.com"},
         {"password", "pw-" + name},
         {"register_type", "manual"},
         {"latitude", latitude},
         {"longitude", longitude}},
        std::nullopt, [&](bool, std::optional<QString>, std::optional<int>) { done = true; });
    EXPECT_TRUE(waitUntil([&] { return done; }, 10000));
    const QString userId = LoginDefaults().userId().value_or(QString());
    EXPECT_FALSE(userId.isEmpty()) << name.toStdString();
    const MessageResult saved = completed([&](ResultCompletion done) {
        RegisterProfileDataManager().setUserProfile({{"user_id", userId},
                                                     {"username", name},
                                                     {"gender", gender},
                                                     {"dogs_count", "1"},
                                                     {"dog_name", "Rex"}},
                                                    std::nullopt, done);
    });
    EXPECT_TRUE(saved.success) << saved.message.toStdString();
    return userId;
}

void EnglishLiveBackend::SetUp()
{
    LiveBackend::SetUp();
    UserDefaults::standard().setString(QStringLiteral("en"), QStringLiteral("languageCode"));
}

Person LiveBackend::signUpPerson(const QString &name, const QString &gender, double latitude,
                                 double longitude)
{
    const QString id = signUp(name, gender, latitude, longitude);
    return {id, LoginDefaults().userToken().value_or(QString())};
}

void LiveBackend::writeAs(const QString &token, const QString &path, const QVariant &value)
{
    const auto client = clientFor(QStringLiteral("as-another-user"), token);
    std::optional<QString> outcome;
    client->reference(path).setValue(value, [&](const std::optional<QString> &error) {
        outcome = error.value_or(QStringLiteral("stored"));
    });
    ASSERT_TRUE(waitUntil([&] { return outcome.has_value(); }, 10000)) << path.toStdString();
    ASSERT_EQ(outcome, "stored") << path.toStdString();
}

void LiveBackend::signIn(const QString &name)
{
    signIn(name, SessionHooks::standard());
}

void LiveBackend::signIn(const QString &name, SessionHooks &hooks)
{
    bool done = false;
    LoginDataManager(hooks).login(
        name.toLower() + "@example.com", "pw-" + name,
        [&](bool, std::optional<QString>, std::optional<int>) { done = true; });
    EXPECT_TRUE(waitUntil([&] { return done; }, 10000));
}

ActiveApplication::ActiveApplication()
{
    ApplicationState::shared().setReportedState(Qt::ApplicationActive);
}

ActiveApplication::~ActiveApplication()
{
    ApplicationState::shared().setReportedState(Qt::ApplicationInactive);
}

void RecordingDelegate::userNotificationCenter(NotificationCenter &,
                                               const PushNotification &willPresent,
                                               WillPresentCompletion completionHandler)
{
    presented.append(willPresent);
    if (presentAs)
        completionHandler(*presentAs);
}

void RecordingDelegate::userNotificationCenter(NotificationCenter &,
                                               const NotificationResponse &didReceive,
                                               DidReceiveCompletion completionHandler)
{
    opened.append(didReceive.notification);
    completionHandler();
}
