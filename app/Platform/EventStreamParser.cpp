#include "Platform/EventStreamParser.h"

QList<EventStreamParser::Event> EventStreamParser::feed(const QByteArray &bytes)
{
    QList<Event> events;
    if (bytes.isEmpty())
        return events;
    qsizetype start = 0;
    if (skipNewline_ && !bytes.isEmpty() && bytes.front() == '\n')
        start = 1;
    skipNewline_ = false;
    for (qsizetype i = start; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (c != '\n' && c != '\r')
            continue;
        pending_ += bytes.mid(start, i - start);
        takeLine(pending_, events);
        pending_.clear();
        if (c == '\r') {
            if (i + 1 < bytes.size()) {
                if (bytes[i + 1] == '\n')
                    ++i;
            } else {
                skipNewline_ = true;
            }
        }
        start = i + 1;
    }
    pending_ += bytes.mid(start);
    return events;
}

void EventStreamParser::reset()
{
    pending_.clear();
    name_.clear();
    data_.clear();
    lastEventId_.clear();
    hasData_ = false;
    skipNewline_ = false;
}

void EventStreamParser::takeLine(const QByteArray &line, QList<Event> &events)
{
    if (line.isEmpty()) {
        if (hasData_)
            events.append({name_.isEmpty() ? QByteArray("message") : name_, data_, lastEventId_});
        name_.clear();
        data_.clear();
        hasData_ = false;
        return;
    }
    if (line.front() == ':')
        return;
    const qsizetype colon = line.indexOf(':');
    const QByteArray field = colon < 0 ? line : line.left(colon);
    QByteArray value = colon < 0 ? QByteArray() : line.mid(colon + 1);
    if (value.startsWith(' '))
        value.remove(0, 1);
    if (field == "event") {
        name_ = value;
    } else if (field == "data") {
        if (hasData_)
            data_ += '\n';
        data_ += value;
        hasData_ = true;
    } else if (field == "id" && !value.contains('\0')) {
        lastEventId_ = value;
    }
}
