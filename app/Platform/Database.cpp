#include "Platform/Database.h"

#include "Deployment.h"
#include "LoginDefaults.h"
#include "Platform/EventStreamParser.h"
#include "Platform/Print.h"
#include "Platform/PushId.h"
#include "Platform/RetryDelay.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QSaveFile>
#include <QTimer>

#include <algorithm>
#include <deque>
#include <map>
#include <vector>

using namespace DatabaseTree;

namespace {

// A network access manager opens at most six connections to one server and queues the rest,
// so streams, which hold theirs for good, are spread over managers of a few each.
constexpr int streamsPerManager = 4;
// The server sends a keep-alive after 30 s of silence; a stream silent for much longer than
// that is dead without having said so (a dropped network), and is reopened.
constexpr int streamSilenceMs = 75'000;
// A write or read that gets no answer in this time is treated as not having reached the
// server.
constexpr int requestTimeoutMs = 20'000;

// `auth=` names the requester; without a token the request is anonymous.
QUrl withAuth(QByteArray text, const std::optional<QString> &token)
{
    if (token && !token->isEmpty())
        text += (text.contains('?') ? "&auth=" : "?auth=") + QUrl::toPercentEncoding(*token);
    return QUrl::fromEncoded(text);
}

QUrl locationUrl(const Path &path, const std::optional<QString> &token)
{
    QByteArray text = Deployment::databaseUrl().toString(QUrl::StripTrailingSlash).toUtf8();
    for (const QString &key : path)
        text += '/' + QUrl::toPercentEncoding(key);
    // "/.json" names the root; any other location is "/a/b.json".
    text += path.isEmpty() ? "/.json" : ".json";
    return withAuth(text, token);
}

// Our server's registration of operations to run when a stream's connection closes.
QUrl onDisconnectUrl(const QString &connectionId, const std::optional<QString> &token)
{
    return withAuth(Deployment::databaseUrl().toString(QUrl::StripTrailingSlash).toUtf8() +
                        "/.ondisconnect?conn=" + QUrl::toPercentEncoding(connectionId),
                    token);
}

// A stream the server will not open for this requester; anything else is worth retrying.
bool isRefusal(int status)
{
    return status == 401 || status == 403;
}

// Removed, added, changed, then value: the order in which one change raises its events.
int raiseOrder(DataEventType type)
{
    switch (type) {
    case DataEventType::childRemoved:
        return 0;
    case DataEventType::childAdded:
        return 1;
    case DataEventType::childChanged:
        return 2;
    case DataEventType::value:
        break;
    }
    return 3;
}

// The hosted service offers onDisconnect only over its websocket protocol.
bool isHostedService(const QUrl &url)
{
    const QString host = url.host().toLower();
    return host.endsWith(QLatin1String(".firebaseio.com")) ||
           host.endsWith(QLatin1String(".firebasedatabase.app")) ||
           host.endsWith(QLatin1String(".firebaseio-demo.com"));
}

QVariant applyQuery(const QVariant &value, const QueryParams &params)
{
    if (params.limit == QueryParams::Limit::none || value.typeId() != QMetaType::QVariantMap)
        return value;
    const QStringList keys = orderedKeys(value, params.orderBy);
    const qsizetype count = std::clamp<qsizetype>(params.count, 0, keys.size());
    const QStringList kept = params.limit == QueryParams::Limit::first
                                 ? keys.mid(0, count)
                                 : keys.mid(keys.size() - count);
    const QVariantMap all = value.toMap();
    QVariantMap window;
    for (const QString &key : kept)
        window.insert(key, all.value(key));
    return window.isEmpty() ? QVariant() : QVariant(window);
}

// What a write (or the server's answer to it) sets, location by location.
using Sets = QList<QPair<Path, QVariant>>;

// `data` is the JSON of a write or of the server's answer to it.
Sets setsOf(const QByteArray &method, const Path &path, const QByteArray &data)
{
    if (method == "PATCH") {
        Sets sets;
        const QVariantMap children = fromJsonObject(data).value_or(QVariantMap());
        for (auto it = children.begin(); it != children.end(); ++it)
            sets.append({path + parsePath(it.key()), normalised(it.value())});
        return sets;
    }
    if (method == "DELETE")
        return {{path, QVariant()}};
    return {{path, normalised(fromJson(data).value_or(QVariant()))}};
}

void applySets(QVariant &view, const Path &at, const Sets &sets)
{
    for (const auto &[path, value] : sets) {
        if (contains(at, path))
            setAt(view, path.mid(at.size()), value);
        else if (contains(path, at))
            view = valueAt(value, at.mid(path.size()));
    }
}

// The values a location holds at the places a write sets: what its echo must show.
QVariantList valuesAt(const QVariant &value, const Path &at, const Sets &sets)
{
    QVariantList values;
    for (const auto &[path, written] : sets) {
        if (contains(at, path))
            values << valueAt(value, path.mid(at.size()));
        else if (contains(path, at))
            values << value;
    }
    return values;
}

} // namespace

struct Database::Private
{
    struct Observer
    {
        Path path;
        QueryParams params;
        DataEventType type = DataEventType::value;
        DataEventCallback callback;
        DataCancelCallback cancel;
        bool once = false;
        bool primed = false;
        QVariant last;
    };

    struct Location
    {
        Path path;
        QVariant server; // the last value the server sent
        bool known = false;
        std::vector<DatabaseHandle> observers;
        // onDisconnect operations registered here; they keep the stream open.
        QList<Path> removeOnDisconnect;
        QNetworkReply *stream = nullptr;
        std::optional<QString> token; // whom the stream speaks for
        int manager = -1;
        EventStreamParser parser;
        QString connectionId;
        int attempt = 0;
        QTimer retry;
    };

    struct Write
    {
        QByteArray method;
        Path path;
        QByteArray body;              // JSON, as sent
        std::optional<QString> token; // the session it was made in
        Sets local;                   // what it changes, server values estimated
        WriteCompletion completion;
    };

    Database *q;
    Database::TokenProvider tokenProvider;
    QString queueFile;
    QNetworkAccessManager rest;
    std::vector<std::pair<QNetworkAccessManager *, int>> streamManagers;
    std::map<QString, std::unique_ptr<Location>> locations;
    std::map<DatabaseHandle, Observer> observers;
    DatabaseHandle lastHandle = 0;
    std::deque<Write> writes;
    QNetworkReply *writeInFlight = nullptr;
    // What the streams showed at the in-flight write's places after each event that came
    // while it was on its way, by location: tells whether its echo has already passed.
    std::multimap<QString, QVariantList> seenWhileInFlight;
    int writeAttempt = 0;
    QTimer writeRetry;
    bool offlineReported = false;
    bool refreshQueued = false;
    bool saveQueued = false;
    PushIdGenerator pushIds;

    explicit Private(Database *owner) : q(owner) {}

    std::optional<QString> token() const
    {
        return tokenProvider ? tokenProvider() : LoginDefaults().userToken();
    }

    Location &location(const Path &path)
    {
        std::unique_ptr<Location> &slot = locations[pathText(path)];
        if (!slot) {
            slot = std::make_unique<Location>();
            slot->path = path;
            slot->retry.setSingleShot(true);
            Location *raw = slot.get();
            QObject::connect(&slot->retry, &QTimer::timeout, q, [this, raw] { openStream(*raw); });
        }
        return *slot;
    }

    void dropIfUnused(const Path &path)
    {
        const auto it = locations.find(pathText(path));
        if (it == locations.end() || !it->second->observers.empty() ||
            !it->second->removeOnDisconnect.isEmpty())
            return;
        closeStream(*it->second);
        locations.erase(it);
    }

    // ---- streams ----

    QNetworkAccessManager *streamManager(Location &at)
    {
        for (std::size_t i = 0; i < streamManagers.size(); ++i)
            if (streamManagers[i].second < streamsPerManager) {
                ++streamManagers[i].second;
                at.manager = static_cast<int>(i);
                return streamManagers[i].first;
            }
        streamManagers.emplace_back(new QNetworkAccessManager(q), 1);
        at.manager = static_cast<int>(streamManagers.size() - 1);
        return streamManagers.back().first;
    }

    void openStream(Location &at)
    {
        if (at.stream)
            return;
        at.retry.stop();
        at.parser.reset();
        at.connectionId.clear();
        at.token = token();
        QNetworkRequest request(locationUrl(at.path, at.token));
        request.setRawHeader("Accept", "text/event-stream");
        request.setRawHeader("Cache-Control", "no-cache");
        request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                             QNetworkRequest::AlwaysNetwork);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                             QNetworkRequest::NoLessSafeRedirectPolicy);
        request.setTransferTimeout(streamSilenceMs);
        QNetworkReply *reply = streamManager(at)->get(request);
        at.stream = reply;
        Location *raw = &at;
        QObject::connect(reply, &QNetworkReply::readyRead, q, [this, raw, reply] {
            if (raw->stream == reply)
                readStream(*raw);
        });
        QObject::connect(reply, &QNetworkReply::finished, q, [this, raw, reply] {
            if (raw->stream == reply)
                streamEnded(*raw);
        });
    }

    void releaseStream(Location &at)
    {
        QNetworkReply *reply = at.stream;
        at.stream = nullptr;
        at.connectionId.clear();
        if (at.manager >= 0)
            --streamManagers[static_cast<std::size_t>(at.manager)].second;
        at.manager = -1;
        if (reply) {
            QObject::disconnect(reply, nullptr, q, nullptr);
            reply->abort();
            reply->deleteLater();
        }
    }

    void closeStream(Location &at)
    {
        at.retry.stop();
        releaseStream(at);
    }

    void reconnectLater(Location &at, bool atOnce = false)
    {
        releaseStream(at);
        const int delay = atOnce ? 0 : retryDelay(at.attempt++);
        at.retry.start(delay);
    }

    void streamEnded(Location &at)
    {
        const QVariant status = at.stream->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (status.isValid() && status.toInt() != 200) {
            const QString answer = QString::fromUtf8(at.stream->readAll().left(300));
            print(QStringLiteral("Database: listening at %1 refused (%2): %3")
                      .arg(pathText(at.path), status.toString(), answer));
            if (isRefusal(status.toInt())) {
                const QString reason = fromJson(answer.toUtf8())
                                           .value_or(QVariant())
                                           .toMap()
                                           .value("error")
                                           .toString();
                cancelListening(at, reason.isEmpty() ? answer : reason);
                return;
            }
        } else if (at.stream->error() != QNetworkReply::NoError && at.attempt == 0)
            print(QStringLiteral("Database: stream at %1 lost: %2")
                      .arg(pathText(at.path), at.stream->errorString()));
        reconnectLater(at);
    }

    void readStream(Location &at)
    {
        const QVariant status = at.stream->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (status.toInt() != 200)
            return; // an error body, reported when the reply ends
        const QList<EventStreamParser::Event> events = at.parser.feed(at.stream->readAll());
        for (const EventStreamParser::Event &event : events) {
            if (!handleEvent(at, event))
                return; // the stream was given up; the rest belongs to it
        }
    }

    // False when the event ended the stream.
    bool handleEvent(Location &at, const EventStreamParser::Event &event)
    {
        if (event.name == "put" || event.name == "patch") {
            // Read as JSON values, not variants: a patch's null children are deletions.
            const QJsonObject message = QJsonDocument::fromJson(event.data).object();
            if (!message.value(QStringLiteral("path")).isString()) {
                print(QStringLiteral("Database: unreadable %1 event at %2 ignored")
                          .arg(QString::fromUtf8(event.name), pathText(at.path)));
                return true;
            }
            const Path relative = parsePath(message.value(QStringLiteral("path")).toString());
            const QJsonValue data = message.value(QStringLiteral("data"));
            if (event.name == "put" && relative.isEmpty()) {
                at.server = normalised(QVariant::fromValue(data));
                at.known = true;
                at.attempt = 0;
                // The server is back: what waits to be sent need not wait for its timer.
                if (writeRetry.isActive()) {
                    writeRetry.stop();
                    sendNextWrite();
                }
            } else if (at.known && event.name == "put") {
                setAt(at.server, relative, normalised(QVariant::fromValue(data)));
            } else if (at.known) {
                const QJsonObject children = data.toObject();
                for (auto it = children.begin(); it != children.end(); ++it)
                    setAt(at.server, relative + parsePath(it.key()),
                          normalised(QVariant::fromValue(QJsonValue(it.value()))));
            }
            if (writeInFlight && at.known)
                seenWhileInFlight.emplace(pathText(at.path),
                                          valuesAt(at.server, at.path, writes.front().local));
            scheduleRefresh();
        } else if (event.name == "connected") {
            const std::optional<QVariant> parsed = fromJson(event.data);
            at.connectionId =
                parsed ? parsed->toMap().value(QStringLiteral("id")).toString() : QString();
            for (const Path &path : at.removeOnDisconnect)
                registerRemoveOnDisconnect(at, path);
        } else if (event.name == "cancel") {
            const QString why = fromJson(event.data).value_or(QVariant()).toString();
            print(QStringLiteral("Database: the server cancelled listening at %1: %2")
                      .arg(pathText(at.path), QString::fromUtf8(event.data)));
            // A session that ended: whoever is signed in now may still listen here.
            if (why == QLatin1String("auth_revoked"))
                reconnectLater(at, true);
            else
                cancelListening(at, why.isEmpty() ? QStringLiteral("cancelled") : why);
            return false;
        } else if (event.name == "auth_revoked") {
            print(QStringLiteral("Database: authorisation revoked at %1: %2")
                      .arg(pathText(at.path), QString::fromUtf8(event.data)));
            reconnectLater(at, true);
            return false;
        }
        return true; // keep-alive, and events this client does not know
    }

    // The server will not let this client listen at `at`: its observers hear why and are
    // gone. A location kept for its onDisconnect registrations waits for the next session.
    void cancelListening(Location &at, const QString &why)
    {
        closeStream(at);
        at.known = false;
        std::vector<DataCancelCallback> cancelled;
        for (DatabaseHandle handle : at.observers) {
            const auto it = observers.find(handle);
            cancelled.push_back(std::move(it->second.cancel));
            observers.erase(it);
        }
        at.observers.clear();
        dropIfUnused(at.path); // `at` may be gone from here on
        for (const DataCancelCallback &cancel : cancelled)
            if (cancel)
                cancel(why);
    }

    // ---- onDisconnect ----

    void registerRemoveOnDisconnect(Location &at, const Path &path)
    {
        if (at.connectionId.isEmpty())
            return; // sent once the stream says which connection it is
        QNetworkRequest request(onDisconnectUrl(at.connectionId, at.token));
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QByteArrayLiteral("application/json"));
        const QByteArray body =
            toJson(QVariantMap{{QStringLiteral("path"), pathText(path)},
                               {QStringLiteral("op"), QStringLiteral("remove")}});
        QNetworkReply *reply = rest.post(request, body);
        QObject::connect(reply, &QNetworkReply::finished, q, [reply, path] {
            reply->deleteLater();
            const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
            if (status == 404)
                print(QStringLiteral("Database: the server has no onDisconnect (404); %1 will "
                                     "not be removed on disconnection")
                          .arg(pathText(path)));
            else if (status < 200 || status >= 300)
                print(QStringLiteral("Database: onDisconnect for %1 not registered: %2")
                          .arg(pathText(path), reply->errorString()));
        });
    }

    // ---- writes ----

    void enqueue(Write write)
    {
        writes.push_back(std::move(write));
        queueSave();
        scheduleRefresh();
        sendNextWrite();
    }

    void sendNextWrite()
    {
        if (writeInFlight || writes.empty() || writeRetry.isActive())
            return;
        const Write &write = writes.front();
        QNetworkRequest request(locationUrl(write.path, write.token));
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QByteArrayLiteral("application/json"));
        request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                             QNetworkRequest::AlwaysNetwork);
        request.setTransferTimeout(requestTimeoutMs);
        QNetworkReply *reply = write.method == "DELETE"
                                   ? rest.deleteResource(request)
                                   : rest.sendCustomRequest(request, write.method, write.body);
        writeInFlight = reply;
        seenWhileInFlight.clear();
        QObject::connect(reply, &QNetworkReply::finished, q, [this, reply] {
            reply->deleteLater();
            if (writeInFlight == reply) {
                writeInFlight = nullptr;
                writeAnswered(reply);
            }
        });
    }

    void writeAnswered(QNetworkReply *reply)
    {
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        const int code = status.toInt();
        if (!status.isValid() || code == 429 || code == 503) {
            // Not stored: the server is unreachable or busy. Try again later, in order.
            if (!offlineReported)
                print(QStringLiteral("Database: server unreachable (%1); %2 writes wait")
                          .arg(reply->errorString())
                          .arg(writes.size()));
            offlineReported = true;
            writeRetry.start(retryDelay(writeAttempt++));
            return;
        }
        offlineReported = false;
        writeAttempt = 0;
        Write write = std::move(writes.front());
        writes.pop_front();
        queueSave();
        const QByteArray answer = reply->readAll();
        std::optional<QString> error;
        if (code >= 200 && code < 300) {
            // The answer is what the server stored, server values resolved. Where the stream
            // has not shown it yet, the cache takes it now, so that the echo finds nothing
            // new; where the echo has passed, the cache already has it and perhaps later
            // writes of others on top, which must stay. An answer without a body (a proxy's,
            // print=silent) stands for the write itself.
            const bool readable = write.method == "DELETE" || fromJson(answer).has_value();
            const Sets sets = readable ? setsOf(write.method, write.path, answer) : write.local;
            for (auto &[key, at] : locations) {
                if (!at->known)
                    continue;
                QVariant stored = at->server;
                applySets(stored, at->path, sets);
                const QVariantList echo = valuesAt(stored, at->path, sets);
                const auto [first, last] = seenWhileInFlight.equal_range(key);
                if (std::none_of(first, last,
                                 [&](const auto &seen) { return seen.second == echo; }))
                    at->server = stored;
            }
        } else {
            error = QStringLiteral("%1 %2").arg(code).arg(QString::fromUtf8(answer.left(300)));
            print(QStringLiteral("Database: %1 %2 refused: %3")
                      .arg(QString::fromUtf8(write.method), pathText(write.path), *error));
        }
        scheduleRefresh();
        if (write.completion)
            write.completion(error);
        sendNextWrite();
    }

    static Sets localSets(const QByteArray &method, const Path &path, const QByteArray &body,
                          const std::function<QVariant(const Path &)> &existing)
    {
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        Sets sets;
        if (method == "PATCH") {
            const QVariantMap children = fromJsonObject(body).value_or(QVariantMap());
            for (auto it = children.begin(); it != children.end(); ++it) {
                const Path at = path + parsePath(it.key());
                sets.append({at, normalised(resolveServerValues(it.value(), existing(at), now))});
            }
            return sets;
        }
        const QVariant data = method == "DELETE" ? QVariant() : fromJson(body).value_or(QVariant());
        return {{path, normalised(resolveServerValues(data, existing(path), now))}};
    }

    QVariant currentValue(const Path &path) const
    {
        for (const auto &[key, at] : locations)
            if (at->known && contains(at->path, path))
                return valueAt(view(*at), path.mid(at->path.size()));
        return {};
    }

    // ---- the queue on disk ----

    void queueSave()
    {
        if (saveQueued)
            return;
        saveQueued = true;
        QMetaObject::invokeMethod(
            q, [this] { saveQueue(); }, Qt::QueuedConnection);
    }

    void saveQueue()
    {
        saveQueued = false;
        if (writes.empty()) {
            QFile::remove(queueFile);
            return;
        }
        QJsonArray entries;
        for (const Write &write : writes) {
            QJsonObject entry{{QStringLiteral("method"), QString::fromUtf8(write.method)},
                              {QStringLiteral("path"), pathText(write.path)},
                              {QStringLiteral("body"), QString::fromUtf8(write.body)}};
            if (write.token)
                entry.insert(QStringLiteral("auth"), *write.token);
            entries.append(entry);
        }
        QDir().mkpath(QFileInfo(queueFile).absolutePath());
        QSaveFile file(queueFile);
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(QJsonDocument(entries).toJson(QJsonDocument::Compact)) < 0 || !file.commit())
            print(QStringLiteral("Database: unsent writes not saved to %1: %2")
                      .arg(queueFile, file.errorString()));
    }

    void loadQueue()
    {
        QFile file(queueFile);
        if (!file.exists())
            return;
        if (!file.open(QIODevice::ReadOnly)) {
            print(QStringLiteral("Database: unsent writes in %1 unreadable: %2")
                      .arg(queueFile, file.errorString()));
            return;
        }
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
        if (!document.isArray()) {
            print(QStringLiteral("Database: unsent writes in %1 damaged; dropped").arg(queueFile));
            return;
        }
        for (const QJsonValue &entry : document.array()) {
            const QJsonObject object = entry.toObject();
            Write write;
            write.method = object.value(QStringLiteral("method")).toString().toUtf8();
            write.path = parsePath(object.value(QStringLiteral("path")).toString());
            write.body = object.value(QStringLiteral("body")).toString().toUtf8();
            if (object.value(QStringLiteral("auth")).isString())
                write.token = object.value(QStringLiteral("auth")).toString();
            if (write.method != "PUT" && write.method != "PATCH" && write.method != "DELETE")
                continue;
            write.local = localSets(write.method, write.path, write.body,
                                    [](const Path &) { return QVariant(); });
            writes.push_back(std::move(write));
        }
        if (!writes.empty())
            print(
                QStringLiteral("Database: %1 unsent writes from the last run").arg(writes.size()));
    }

    // ---- events ----

    QVariant view(const Location &at) const
    {
        QVariant value = at.server;
        for (const Write &write : writes)
            applySets(value, at.path, write.local);
        return value;
    }

    void scheduleRefresh()
    {
        if (refreshQueued)
            return;
        refreshQueued = true;
        QMetaObject::invokeMethod(
            q, [this] { refresh(); }, Qt::QueuedConnection);
    }

    struct Raised
    {
        DataEventType type;
        DatabaseHandle handle;
        DataSnapshot snapshot;
    };

    void refresh()
    {
        refreshQueued = false;
        std::vector<Raised> raised;
        for (const auto &[key, at] : locations) {
            if (!at->known)
                continue;
            const QVariant current = view(*at);
            for (DatabaseHandle handle : at->observers)
                derive(handle, observers.at(handle), current, raised);
        }
        // Removed, added, changed, then value, whatever the order of the observers.
        std::stable_sort(raised.begin(), raised.end(), [](const Raised &a, const Raised &b) {
            return raiseOrder(a.type) < raiseOrder(b.type);
        });
        for (const Raised &event : raised) {
            const auto it = observers.find(event.handle);
            if (it == observers.end())
                continue; // removed by an earlier callback
            const DataEventCallback callback = it->second.callback;
            if (it->second.once)
                q->removeObserver(event.handle);
            callback(event.snapshot);
        }
    }

    void derive(DatabaseHandle handle, Observer &observer, const QVariant &current,
                std::vector<Raised> &raised)
    {
        const QVariant now = applyQuery(current, observer.params);
        const bool first = !observer.primed;
        if (!first && now == observer.last)
            return;
        const QVariant before = first ? QVariant() : observer.last;
        observer.primed = true;
        observer.last = now;

        const QString key = observer.path.isEmpty() ? QString() : observer.path.last();
        if (observer.type == DataEventType::value) {
            raised.push_back(
                {DataEventType::value, handle, DataSnapshot(key, now, observer.params.orderBy)});
            return;
        }
        const QVariantMap old =
            before.typeId() == QMetaType::QVariantMap ? before.toMap() : QVariantMap();
        const QVariantMap fresh =
            now.typeId() == QMetaType::QVariantMap ? now.toMap() : QVariantMap();
        switch (observer.type) {
        case DataEventType::childRemoved:
            for (const QString &child : orderedKeys(before, observer.params.orderBy))
                if (!fresh.contains(child))
                    raised.push_back(
                        {observer.type, handle, DataSnapshot(child, old.value(child))});
            break;
        case DataEventType::childAdded:
            for (const QString &child : orderedKeys(now, observer.params.orderBy))
                if (!old.contains(child))
                    raised.push_back(
                        {observer.type, handle, DataSnapshot(child, fresh.value(child))});
            break;
        case DataEventType::childChanged:
            for (const QString &child : orderedKeys(now, observer.params.orderBy))
                if (old.contains(child) && old.value(child) != fresh.value(child))
                    raised.push_back(
                        {observer.type, handle, DataSnapshot(child, fresh.value(child))});
            break;
        case DataEventType::value:
            break;
        }
    }
};

Database::Database(const QString &name, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(this))
{
    d->queueFile = QDir(Deployment::homeDirectory())
                       .filePath(QStringLiteral("Database-%1.queue.json").arg(name));
    d->writeRetry.setSingleShot(true);
    connect(&d->writeRetry, &QTimer::timeout, this, [this] { d->sendNextWrite(); });
    connect(&SessionEvents::shared(), &SessionEvents::sessionChanged, this,
            &Database::reauthenticate);
    d->loadQueue();
    QMetaObject::invokeMethod(
        this, [this] { d->sendNextWrite(); }, Qt::QueuedConnection);
}

Database::~Database()
{
    if (d->saveQueued)
        d->saveQueue();
    for (auto &[key, at] : d->locations)
        d->closeStream(*at);
    if (d->writeInFlight) {
        QObject::disconnect(d->writeInFlight, nullptr, this, nullptr);
        d->writeInFlight->abort();
    }
}

namespace {
QPointer<Database> replacementClient;
} // namespace

Database &Database::database()
{
    if (replacementClient)
        return *replacementClient;
    static QPointer<Database> shared;
    if (!shared)
        shared = new Database(QStringLiteral("default"), QCoreApplication::instance());
    return *shared;
}

Database *Database::setDatabase(Database *replacement)
{
    Database *const previous = replacementClient;
    replacementClient = replacement;
    return previous;
}

void Database::setTokenProvider(TokenProvider provider)
{
    d->tokenProvider = std::move(provider);
    reauthenticate();
}

void Database::reauthenticate()
{
    const std::optional<QString> token = d->token();
    for (auto &[key, at] : d->locations) {
        const bool listening = at->stream || at->retry.isActive();
        if (listening && at->token == token)
            continue;
        // What the old identity was shown is not what the new one may see.
        d->closeStream(*at);
        at->known = false;
        at->attempt = 0;
        d->openStream(*at);
    }
}

DatabaseReference Database::reference()
{
    return DatabaseReference(this, {});
}

DatabaseReference Database::reference(const QString &withPath)
{
    return DatabaseReference(this, parsePath(withPath));
}

qsizetype Database::pendingWriteCount() const
{
    return static_cast<qsizetype>(d->writes.size());
}

qsizetype Database::openStreamCount() const
{
    return std::count_if(d->locations.begin(), d->locations.end(), [](const auto &entry) {
        return entry.second->stream != nullptr || entry.second->retry.isActive();
    });
}

DatabaseHandle Database::addObserver(const Path &path, const QueryParams &params,
                                     DataEventType type, DataEventCallback callback,
                                     DataCancelCallback cancel, bool once)
{
    const DatabaseHandle handle = ++d->lastHandle;
    Private::Observer &observer = d->observers[handle];
    observer.path = path;
    observer.params = params;
    observer.type = type;
    observer.callback = std::move(callback);
    observer.cancel = std::move(cancel);
    observer.once = once;
    Private::Location &at = d->location(path);
    at.observers.push_back(handle);
    if (!at.stream && !at.retry.isActive())
        d->openStream(at);
    if (at.known)
        d->scheduleRefresh();
    return handle;
}

void Database::removeObserver(DatabaseHandle handle)
{
    const auto it = d->observers.find(handle);
    if (it == d->observers.end())
        return;
    const Path path = it->second.path;
    d->observers.erase(it);
    const auto at = d->locations.find(pathText(path));
    if (at == d->locations.end())
        return;
    std::erase(at->second->observers, handle);
    d->dropIfUnused(path);
}

void Database::removeAllObservers(const Path &path)
{
    const auto at = d->locations.find(pathText(path));
    if (at == d->locations.end())
        return;
    for (DatabaseHandle handle : std::vector<DatabaseHandle>(at->second->observers))
        removeObserver(handle);
}

void Database::getData(const Path &path, const QueryParams &params, GetDataCompletion completion)
{
    const QString key = path.isEmpty() ? QString() : path.last();
    const auto at = d->locations.find(pathText(path));
    if (at != d->locations.end() && at->second->known) {
        DataSnapshot snapshot(key, applyQuery(d->view(*at->second), params), params.orderBy);
        QMetaObject::invokeMethod(
            this, [snapshot, completion = std::move(completion)] { completion({}, snapshot); },
            Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(locationUrl(path, d->token()));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(requestTimeoutMs);
    QNetworkReply *reply = d->rest.get(request);
    connect(
        reply, &QNetworkReply::finished, this,
        [this, reply, path, params, key, completion = std::move(completion)] {
            reply->deleteLater();
            const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
            const std::optional<QVariant> stored = fromJson(reply->readAll());
            if (status != 200 || !stored) {
                completion(status ? QStringLiteral("%1 %2").arg(status).arg(reply->errorString())
                                  : reply->errorString(),
                           DataSnapshot(key, {}));
                return;
            }
            // Writes not yet stored are part of what this client sees.
            QVariant value = *stored;
            for (const Private::Write &write : d->writes)
                applySets(value, path, write.local);
            completion({}, DataSnapshot(key, applyQuery(value, params), params.orderBy));
        });
}

void Database::write(const QByteArray &method, const Path &path, const QVariant &body,
                     WriteCompletion completion)
{
    Private::Write write;
    write.method = method;
    write.path = path;
    write.body = method == "DELETE" ? QByteArray() : toJson(body);
    write.token = d->token();
    write.local = Private::localSets(method, path, write.body,
                                     [this](const Path &at) { return d->currentValue(at); });
    write.completion = std::move(completion);
    d->enqueue(std::move(write));
}

void Database::removeOnDisconnect(const Path &path)
{
    if (isHostedService(Deployment::databaseUrl())) {
        print(QStringLiteral("Database: onDisconnectRemoveValue at %1 is not supported by the "
                             "hosted service over REST; nothing registered")
                  .arg(pathText(path)));
        return;
    }
    Private::Location &at = d->location(path);
    if (!at.removeOnDisconnect.contains(path)) {
        at.removeOnDisconnect.append(path);
        d->registerRemoveOnDisconnect(at, path);
    }
    if (!at.stream && !at.retry.isActive())
        d->openStream(at);
}

QString Database::nextPushId()
{
    return d->pushIds.next(QDateTime::currentMSecsSinceEpoch());
}
