#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

#include <functional>
#include <vector>

// What the app benches share: a tailwise-server of their own, waiting on the event loop, and
// the median.

// Runs the event loop until `done` holds; false when `timeoutMs` passed first.
bool waitUntil(const std::function<bool()> &done, int timeoutMs);

double median(std::vector<double> values);

// A tailwise-server on free loopback ports, without rate limits, for as long as this lives.
struct Stack
{
    QProcess server;
    QByteArray backend, database, push;
    QString dataDir;

    ~Stack();
};

// Starts `binary` with its data in `dataDir`; false when it did not come up within 10 s.
bool startStack(Stack &stack, const QString &binary, const QString &dataDir);
