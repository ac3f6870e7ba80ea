#pragma once

#include "Module/Chat/Model/ChatModels.h"
#include "Module/FindDog/PartnerListModel.h"

#include <QAbstractListModel>
#include <QList>
#include <QtQml/qqmlregistration.h>

#include <optional>

// The signed-in user's conversations, newest first by their entries' "timeStamp" (as 64-bit
// whole numbers). A new message changes one entry: its row moves to the top and is redrawn,
// the others stay as they are.
class ChatListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The chat list screen owns its rows")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role
    {
        UserIdRole = Qt::UserRole + 1,
        NameRole,
        LastMessageRole,
        TimeTextRole,
        UnreadRole,
        FavouriteRole,
        PictureRole, // the address when the partner lets the viewer see it, else empty
        OnlineRole,
        DetailsRole, // age and distance, joined by ", "
        DeactivatedRole
    };
    Q_ENUM(Role)

    // What the partner's own record says.
    struct Partner
    {
        QString name;
        QString pictureReference;
        bool deactivated = false;
    };

    explicit ChatListModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return static_cast<int>(rows_.size()); }

    // Adds the entry or replaces the one for the same partner, moving it to its place.
    // Answers whether the partner is new to the list.
    bool upsert(const ChatUser &entry);
    void remove(const QString &userId);
    void setPartner(const QString &userId, const Partner &partner);
    void setVisibility(const QString &userId, const PartnerVisibility &visibility);

    int rowOf(const QString &userId) const;
    const ChatUser *entry(int row) const;
    std::optional<Partner> partner(int row) const;

Q_SIGNALS:
    void countChanged();

private:
    struct Row
    {
        ChatUser entry;
        std::optional<Partner> partner;
        std::optional<PartnerVisibility> visibility;
    };
    // Where an entry of this time belongs among the other rows, newest first.
    int placeFor(qint64 timeStamp, int skipping) const;

    QList<Row> rows_;
};
