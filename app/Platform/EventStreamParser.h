#pragma once

#include <QByteArray>
#include <QList>

// Splits a Server-Sent Events byte stream into events as the bytes arrive, in chunks cut
// anywhere. Lines end with \n, \r or \r\n; an empty line ends an event; several `data:` lines
// are joined with \n; comment lines (starting with ':') and unknown fields are skipped. An
// `id:` line sets the stream's last event id, which every later event carries until another
// `id:` line changes it; the client sends it back as Last-Event-ID when it reconnects.
class EventStreamParser
{
public:
    struct Event
    {
        QByteArray name; // "message" when the event named none
        QByteArray data;
        QByteArray id; // the last event id at this event; empty when the stream set none
        bool operator==(const Event &) const = default;
    };

    QList<Event> feed(const QByteArray &bytes);
    // Forgets a half-received event, for a new connection.
    void reset();

private:
    void takeLine(const QByteArray &line, QList<Event> &events);

    QByteArray pending_;
    QByteArray name_;
    QByteArray data_;
    QByteArray lastEventId_;
    bool hasData_ = false;
    // The previous chunk ended in \r: a \n opening this one belongs to that line end.
    bool skipNewline_ = false;
};
