#pragma once

#include "Platform/EventStreamParser.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

class QNetworkReply;

// A device's stream of pushes from the relay (Server-Sent Events). Once opened it stays open
// until closed: a stream that is lost, falls silent or is refused is reopened with the
// database client's jittered back-off, and says with Last-Event-ID where it stopped, so that
// the relay sends only what came after.
class PushDeviceStream : public QObject
{
    Q_OBJECT

public:
    explicit PushDeviceStream(QObject *parent = nullptr);
    ~PushDeviceStream() override;

    // Listens at `url`, after the event `lastEventId` (empty: from wherever the relay's own
    // record of this device stands).
    void open(const QUrl &url, const QByteArray &lastEventId);
    void close();
    // Connected, connecting or waiting to reconnect.
    bool isOpen() const { return !url_.isEmpty(); }
    // The id of the last event passed on; the stream resumes after it.
    QByteArray lastEventId() const { return lastEventId_; }

Q_SIGNALS:
    void received(const EventStreamParser::Event &event);
    // The relay answered 404: the device it was asked about does not exist. The stream stays
    // closed.
    void deviceUnknown();

private:
    void connectNow();
    void read();
    void ended();
    void release();

    QNetworkAccessManager network_;
    QUrl url_;
    QByteArray lastEventId_;
    QPointer<QNetworkReply> reply_;
    EventStreamParser parser_;
    QTimer retry_;
    int attempt_ = 0;
    bool lossReported_ = false;
};
