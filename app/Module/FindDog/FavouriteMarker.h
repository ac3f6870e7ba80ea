#pragma once

#include <QObject>
#include <QString>

#include <functional>

// Sets the signed-in user's favourite mark of a partner in the backend and the database
// together, and always answers: refused, done, or (when the request layer gives up without a
// word) the connection message. Screens show the new mark at once and put it back on failure.
class FavouriteMarker : public QObject
{
    Q_OBJECT

public:
    // `why` is a string-table key or the backend's message.
    using Done = std::function<void(bool success, const QString &why)>;

    explicit FavouriteMarker(QObject *parent = nullptr) : QObject(parent) {}

    void setMark(const QString &partnerId, bool favourite, Done done);
};
