// Chat between two app processes on a real stack, through the app's own chat engine
// (ChatDataManager and the screen's MessageListModel):
//
//  - latency: from A's send to the row in B's message model, B being another process with
//    its own settings and database client, one message at a time (closed loop);
//  - opening: from creating a conversation's manager to the last of its stored messages being
//    a row, for a conversation that already holds HISTORY messages.
//
//   tailwise-chat-bench SERVER_BINARY [MESSAGES] [HISTORY] [OPENINGS]
//
// Both processes run on one machine, so CLOCK_MONOTONIC (steady_clock) is one clock for both:
// the sender puts its send time into the text and the receiver subtracts it.
#include "AppBench.h"

#include "Common/Firebase/FirebaseNode.h"
#include "LoginDefaults.h"
#include "Module/Chat/ChatVc/ChatDataManager.h"
#include "Module/Chat/ChatVc/MessageListModel.h"
#include "Module/Register/RegisterationDataManager.h"
#include "Platform/Database.h"
#include "Platform/OneSignal.h"
#include "Platform/PushId.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>

namespace {

constexpr char receiverRole[] = "--receive";

[[noreturn]] void fail(const QString &what)
{
    std::fprintf(stderr, "tailwise-chat-bench: %s\n", qPrintable(what));
    std::exit(1);
}

qint64 monotonicNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct Account
{
    QString id;
    QString token;
};

// A new account through the app's registration, which leaves it signed in here.
Account signUp(const QString &email)
{
    bool done = false;
    RegisterationDataManager().register_(
        {{"email", email},
         {"password", "bench-password"},
         {"register_type", "manual"},
         {"latitude", 52.52},
         {"longitude", 13.405}},
        std::nullopt, [&](bool, std::optional<QString>, std::optional<int>) { done = true; });
    if (!waitUntil([&] { return done; }, 30000) || !LoginDefaults().userId())
        fail("could not register " + email);
    return {*LoginDefaults().userId(), LoginDefaults().userToken().value_or(QString())};
}

// The screen's side of a manager: each message becomes a row, and `arrived` hears of it.
class Rows : public ChatDataManagerDelegate
{
public:
    Rows(ChatDataManager &manager, std::function<void(const Message &)> arrived)
        : manager_(manager), arrived_(std::move(arrived))
    {
        model.setSource(&manager.messages(), LoginDefaults().userId().value_or(QString()));
        manager.setDelegate(this);
    }
    ~Rows() override { manager_.setDelegate(nullptr); }

    void messageReceived() override {}
    void reloadMessages() override {}
    void messageAppended(qsizetype index) override
    {
        model.grewTo(index + 1);
        if (arrived_)
            arrived_(manager_.messages().at(index));
    }

    MessageListModel model;

private:
    ChatDataManager &manager_;
    std::function<void(const Message &)> arrived_;
};

// B's process: follows the conversation with `partner` as `me` and prints, for each bench
// message, its number and how long it took to become a row.
int receive(const QString &partner, const Account &me)
{
    LoginDefaults().setUserId(me.id);
    LoginDefaults().setUserToken(me.token);
    ChatDataManager manager(partner, QString(), QString(), QStringLiteral("0"));
    Rows rows(manager, [](const Message &message) {
        const qint64 now = monotonicNs();
        const QStringList parts = message.message.split(' ');
        if (parts.size() != 3 || parts.at(0) != QLatin1String("bench"))
            return;
        std::printf("%s %lld\n", qPrintable(parts.at(1)), now - parts.at(2).toLongLong());
        std::fflush(stdout);
    });
    return QCoreApplication::exec();
}

// Stores `count` text messages between the two in one conversation with the administrator's
// secret, a thousand per request, in the order the app's push ids give them.
void storeHistory(const Stack &stack, const Account &a, const Account &c, int count)
{
    QFile secretFile(stack.dataDir + QStringLiteral("/database.secret"));
    if (!secretFile.open(QIODevice::ReadOnly))
        fail("cannot read the database secret");
    const QString secret = QString::fromLatin1(secretFile.readAll().trimmed());
    const QString messages = QStringLiteral("%1/%2/%3/Messages.json?auth=%4")
                                 .arg(QString::fromLatin1(stack.database), FirebaseNode::chat,
                                      conversationId(a.id, c.id), secret);
    QNetworkAccessManager network;
    PushIdGenerator ids;
    const qint64 start = QDateTime::currentMSecsSinceEpoch() - count;
    for (int first = 0; first < count; first += 1000) {
        QVariantMap batch;
        for (int n = first; n < std::min(count, first + 1000); ++n) {
            const bool fromA = n % 2 == 0;
            const Message message(fromA ? a.id : c.id, fromA ? c.id : a.id,
                                  QStringLiteral("Nachricht %1 aus der Geschichte").arg(n),
                                  QString(), MessageType::text, QStringLiteral("NOTSET"),
                                  double(start + n) / 1000, 0, false);
            batch.insert(ids.next(start + n), message.toAnyObject());
        }
        QNetworkRequest request{QUrl(messages)};
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
        QNetworkReply *reply = network.sendCustomRequest(
            request, "PATCH", QJsonDocument::fromVariant(batch).toJson(QJsonDocument::Compact));
        waitUntil([reply] { return reply->isFinished(); }, 60000);
        if (reply->error() != QNetworkReply::NoError)
            fail("storing the history: " + reply->errorString());
        reply->deleteLater();
    }
}

void printTable(std::vector<double> latenciesMs, int history, const std::vector<double> &opens)
{
    std::sort(latenciesMs.begin(), latenciesMs.end());
    const auto at = [&](double share) {
        return latenciesMs.empty()
                   ? 0
                   : latenciesMs[std::min(latenciesMs.size() - 1,
                                          std::size_t(share * double(latenciesMs.size())))];
    };
    std::printf("| | value |\n|---|---:|\n");
    std::printf("| send to the row in the other app, p50 (%zu messages) | %.2f ms |\n",
                latenciesMs.size(), at(0.5));
    std::printf("| send to the row in the other app, p99 | %.2f ms |\n", at(0.99));
    std::printf("| send to the row in the other app, max | %.2f ms |\n",
                latenciesMs.empty() ? 0 : latenciesMs.back());
    if (!opens.empty()) {
        std::printf("| opening %d stored messages to the last row, first | %.0f ms |\n", history,
                    opens.front());
        std::printf("| opening %d stored messages to the last row, median of %zu | %.0f ms |\n",
                    history, opens.size(), median(opens));
    }
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM",
            qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    if (argc == 5 && QByteArray(argv[1]) == receiverRole) {
        QGuiApplication app(argc, argv);
        return receive(QString::fromLatin1(argv[2]),
                       {QString::fromLatin1(argv[3]), QString::fromLatin1(argv[4])});
    }
    if (argc < 2) {
        std::fprintf(stderr, "usage: tailwise-chat-bench SERVER [MESSAGES] [HISTORY] [OPENINGS]\n");
        return 2;
    }
    QTemporaryDir home;
    qputenv("TAILWISE_HOME", home.filePath(QStringLiteral("a")).toUtf8());
    QGuiApplication app(argc, argv);
    const int messages = argc > 2 ? std::max(1, std::atoi(argv[2])) : 1000;
    const int history = argc > 3 ? std::max(0, std::atoi(argv[3])) : 10000;
    const int openings = argc > 4 ? std::max(1, std::atoi(argv[4])) : 5;

    Stack stack;
    if (!startStack(stack, QString::fromLocal8Bit(argv[1]), home.filePath(QStringLiteral("data"))))
        fail("the server did not start");
    qputenv("TAILWISE_BACKEND", stack.backend);
    qputenv("TAILWISE_DATABASE", stack.database);
    qputenv("TAILWISE_PUSH", stack.push);

    const Account b = signUp(QStringLiteral("b@bench.example"));
    const Account c = signUp(QStringLiteral("c@bench.example"));
    const Account a = signUp(QStringLiteral("a@bench.example"));

    // B in a process of its own, with its own settings.
    QProcess receiver;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TAILWISE_HOME"), home.filePath(QStringLiteral("b")));
    receiver.setProcessEnvironment(environment);
    receiver.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    receiver.start(QCoreApplication::applicationFilePath(),
                   {QString::fromLatin1(receiverRole), a.id, b.id, b.token});
    std::map<int, double> latencyMs;
    QByteArray pending;
    QObject::connect(&receiver, &QProcess::readyReadStandardOutput, &receiver, [&] {
        pending += receiver.readAllStandardOutput();
        for (qsizetype end; (end = pending.indexOf('\n')) >= 0; pending.remove(0, end + 1)) {
            const QList<QByteArray> parts = pending.left(end).split(' ');
            if (parts.size() == 2)
                latencyMs[parts.at(0).toInt()] = parts.at(1).toDouble() / 1e6;
        }
    });

    ChatDataManager sender(b.id, QString(), QString(), QStringLiteral("0"));
    const auto send = [&](int n) {
        sender.sendMessage(QStringLiteral("bench %1 %2").arg(n).arg(monotonicNs()));
        if (!waitUntil([&] { return latencyMs.count(n) > 0; }, 15000))
            fail(QStringLiteral("message %1 did not reach the other app").arg(n));
    };
    // The first messages open the other side's stream and warm both clients up.
    constexpr int warmUp = 20;
    for (int n = -warmUp; n < 0; ++n)
        send(n);
    std::vector<double> latencies;
    for (int n = 0; n < messages; ++n) {
        send(n);
        latencies.push_back(latencyMs[n]);
    }
    receiver.kill();
    receiver.waitForFinished(5000);

    std::vector<double> opens;
    if (history > 0) {
        storeHistory(stack, a, c, history);
        for (int round = 0; round < openings; ++round) {
            QElapsedTimer clock;
            clock.start();
            ChatDataManager manager(c.id, QString(), QString(), QStringLiteral("0"));
            Rows rows(manager, nullptr);
            if (!waitUntil([&] { return rows.model.count() >= history; }, 120000))
                fail("the stored conversation did not open");
            opens.push_back(clock.nsecsElapsed() / 1e6);
        }
    }
    printTable(latencies, history, opens);
    return 0;
}
