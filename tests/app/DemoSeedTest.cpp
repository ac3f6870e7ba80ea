#include "TestSupport.h"

#include "Common/Network/API.h"
#include "LoginDefaults.h"
#include "Module/FindDog/FindDogDataManager.h"
#include "Module/Login/LoginDataManager.h"

#include <QDir>
#include <QImage>
#include <QJsonObject>
#include <QProcess>

namespace {

struct SeedRun
{
    int exitCode = -1;
    QString output;
    QString diagnostics;
};

SeedRun seed(const QString &backend, const QString &database)
{
    QProcess process;
    process.setProgram(QStringLiteral(TAILWISE_SEED_BINARY));
    process.setArguments({QStringLiteral("--backend"), backend, QStringLiteral("--database"),
                          database, QStringLiteral("--count"), QStringLiteral("12"),
                          QStringLiteral("--near"), QStringLiteral("48.1374,11.5755")});
    process.start();
    SeedRun run;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished(2000);
        run.diagnostics = QStringLiteral("tailwise-seed did not finish within a minute");
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = QString::fromUtf8(process.readAllStandardOutput());
    run.diagnostics = QString::fromUtf8(process.readAllStandardError());
    return run;
}

SeedRun seed(const TailwiseServer &server)
{
    return seed(QString::fromLatin1(server.backendUrl()),
                QString::fromLatin1(server.databaseUrl()));
}

// An address on which nothing listens.
QString nowhere()
{
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost);
    return QStringLiteral("http://127.0.0.1:%1").arg(closed.serverPort());
}

struct Row
{
    QString id;
    QString picture;
    double distance = 0;
    bool operator==(const Row &) const = default;
};

class DemoSeed : public LiveBackend
{
protected:
    // The demo account's partner search, as the app asks for it.
    QList<Row> neighbours(const QString &me)
    {
        FindDogDataManager finder;
        const MessageResult result =
            completed([&](ResultCompletion done) { finder.fetchallUsers(me, QString(), done); });
        EXPECT_TRUE(result.success) << result.message.toStdString();
        QList<Row> rows;
        for (const User &user : finder.userData()) {
            EXPECT_FALSE(user.Name.isEmpty() || user.dogsName.isEmpty() || user.about.isEmpty() ||
                         user.dogInfo.isEmpty())
                << user.userId.toStdString();
            EXPECT_TRUE(user.gender == "male" || user.gender == "female")
                << user.gender.toStdString();
            EXPECT_TRUE(user.age.toInt() >= 19 && user.age.toInt() <= 72) << user.age.toStdString();
            rows << Row{user.userId, user.Image, user.serverDistance.toDouble()};
        }
        return rows;
    }
};

TEST_F(DemoSeed, MakesANeighbourhoodTheDemoAccountSeesAndASecondRunLeavesItAsItIs)
{
    const SeedRun unreachable = seed(nowhere(), nowhere());
    EXPECT_EQ(unreachable.exitCode, 1);
    EXPECT_TRUE(unreachable.diagnostics.contains("does not answer"))
        << unreachable.diagnostics.toStdString();

    const SeedRun first = seed(server_);
    ASSERT_EQ(first.exitCode, 0) << first.diagnostics.toStdString();
    EXPECT_TRUE(
        first.output.contains("Demo account: demo@demo.tailwise.example  password: tailwise-demo"))
        << first.output.toStdString();

    bool signedIn = false, answered = false;
    LoginDataManager(SessionHooks::standard())
        .login("demo@demo.tailwise.example", "tailwise-demo",
               [&](bool success, std::optional<QString>, std::optional<int>) {
                   signedIn = success;
                   answered = true;
               });
    ASSERT_TRUE(waitUntil([&] { return answered; }, 10000));
    ASSERT_TRUE(signedIn);
    const QString me = LoginDefaults().userId().value_or(QString());
    const QString token = LoginDefaults().userToken().value_or(QString());

    const QList<Row> rows = neighbours(me);
    ASSERT_EQ(rows.size(), 11);
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const Row &row = rows[i];
        SCOPED_TRACE(row.id.toStdString());
        EXPECT_TRUE(row.distance >= 0.2 && row.distance <= 15.0) << row.distance;
        if (i > 0) {
            EXPECT_LE(rows[i - 1].distance, row.distance);
        }
        const QImage picture =
            QImage::fromData(download(QUrl(API::imageBaseURL() + row.picture)), "PNG");
        EXPECT_EQ(picture.size(), QSize(512, 512));
    }

    // Every mirror, read as the demo account: the database's rules may let only signed-in
    // users read.
    QList<QString> ids = {me};
    for (const Row &row : rows)
        ids << row.id;
    for (const QString &id : ids) {
        SCOPED_TRACE(id.toStdString());
        const QJsonObject mirror =
            QJsonDocument::fromJson(download(QUrl(QString::fromLatin1(server_.databaseUrl()) +
                                                  "/Users/" + id + ".json?auth=" + token)))
                .object();
        EXPECT_EQ(mirror.value("id").toString(), id);
        EXPECT_TRUE(mirror.value("time_stamp").isDouble());
        EXPECT_TRUE(mirror.value("profilePic").toString().startsWith(API::imageBaseURL()));
    }

    const SeedRun second = seed(server_);
    ASSERT_EQ(second.exitCode, 0) << second.diagnostics.toStdString();
    EXPECT_EQ(neighbours(me), rows);
    EXPECT_EQ(QDir(server_.dataDir() + "/uploads").entryList(QDir::Files).size(), 12);
}

} // namespace
