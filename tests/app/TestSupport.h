#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include <ostream>

// Readable QString values in test failure messages.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

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

// Each test gets an empty settings store of its own: TAILWISE_HOME points at a fresh
// directory and the standard store is re-read from there.
class FreshSettings : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;
    QString settingsFile() const;
    // The store's file as JSON, or an error note that fails any comparison.
    QVariantMap storedSettings() const;

    QTemporaryDir home_;
    std::unique_ptr<ScopedEnvironment> homeVariable_;
};

// Runs the event loop until `done` holds or the time is up.
bool waitUntil(const std::function<bool()> &done, int timeoutMs = 5000);

struct RecordedRequest
{
    QByteArray raw;
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
    bool waitForRequests(int count, int timeoutMs = 5000);

private:
    void serve(QTcpSocket *socket);

    QTcpServer server_;
    CannedReply reply_;
    QList<RecordedRequest> requests_;
};

// The real tailwise-server on ephemeral loopback ports with a temporary data directory.
class TailwiseServer
{
public:
    TailwiseServer();
    ~TailwiseServer();
    TailwiseServer(const TailwiseServer &) = delete;
    TailwiseServer &operator=(const TailwiseServer &) = delete;

    bool isRunning() const { return !backendUrl_.isEmpty(); }
    QByteArray backendUrl() const { return backendUrl_; }
    QString dataDir() const { return dataDir_.path(); }
    QString startupLog() const { return log_; }

private:
    QTemporaryDir dataDir_;
    QProcess process_;
    QByteArray backendUrl_;
    QString log_;
};
