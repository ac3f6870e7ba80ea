#pragma once

#include "Platform/DatabaseReference.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

// The realtime-database client: REST writes and one event stream per listened location, on
// the address Deployment::databaseUrl() names when a request goes out. Unsent writes are kept
// in a file under Deployment::homeDirectory() and sent when the server can be reached again,
// also by the next run of the app.
//
// Every request speaks for the signed-in user: it carries the session token as `auth=`. A
// write keeps the token it was made with, so a write queued before a sign-out is never sent
// as whoever signs in next; streams reopen with the new token when the session changes.
class Database : public QObject
{
    Q_OBJECT

public:
    // `name` keeps the unsent writes of several clients in one home apart.
    explicit Database(const QString &name = QStringLiteral("default"), QObject *parent = nullptr);
    ~Database() override;

    // The app's client; it lives as long as the application object.
    static Database &database();
    // Makes `replacement` the app's client until it is set back with nullptr; not owned.
    // Answers the replacement it replaces (nullptr for none), so that a scoped guard can put it
    // back.
    static Database *setDatabase(Database *replacement);

    DatabaseReference reference();
    DatabaseReference reference(const QString &withPath);

    using TokenProvider = std::function<std::optional<QString>()>;
    // Where the requests' identity comes from; the stored session's token unless set here
    // (tests speaking as several users at once). Takes effect like a changed session.
    void setTokenProvider(TokenProvider provider);
    // The identity may have changed: listened locations reopen with the current token.
    // Called on SessionEvents::sessionChanged.
    void reauthenticate();

    // Writes made and not yet stored by the server.
    qsizetype pendingWriteCount() const;
    // Listened locations that have a stream open or about to reopen.
    qsizetype openStreamCount() const;

private:
    friend class DatabaseQuery;
    friend class DatabaseReference;
    struct Private;

    DatabaseHandle addObserver(const DatabaseTree::Path &path, const QueryParams &params,
                               DataEventType type, DataEventCallback callback,
                               DataCancelCallback cancel, bool once);
    void removeObserver(DatabaseHandle handle);
    void removeAllObservers(const DatabaseTree::Path &path);
    void getData(const DatabaseTree::Path &path, const QueryParams &params,
                 GetDataCompletion completion);
    void write(const QByteArray &method, const DatabaseTree::Path &path, const QVariant &body,
               WriteCompletion completion);
    void removeOnDisconnect(const DatabaseTree::Path &path);
    QString nextPushId();

    std::unique_ptr<Private> d;
};
