#pragma once

#include "Common/Models/User.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>
#include <QSet>
#include <QtQml/qqmlregistration.h>

// What a viewer may see of one partner beyond the backend's row: the picture and the presence
// under the partner's privacy choices, read from the realtime database.
struct PartnerVisibility
{
    bool pictureVisible = false;
    bool presenceVisible = false;
    bool online = false;
    bool operator==(const PartnerVisibility &) const = default;
};

// Dog owners as list rows, in the order given. A new list is merged in by row changes
// (inserted, removed, moved, changed), never by a reset, so views keep their place and only
// the rows that changed are drawn again.
class PartnerListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Screens own their lists")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role
    {
        UserIdRole = Qt::UserRole + 1,
        NameRole,
        AgeRole,
        GenderRole,
        DogNameRole,
        DogCountRole,
        DistanceRole,
        AboutRole,
        PictureRole, // the address when the viewer may see it, else empty
        FavouriteRole,
        OnlineRole, // only when the partner lets the viewer see it
        PresenceKnownRole,
        // In the interface language:
        AgeTextRole,
        DogsTextRole,
        DistanceTextRole
    };
    Q_ENUM(Role)

    explicit PartnerListModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return static_cast<int>(rows_.size()); }

    // Makes the rows `partners` (ids unique; later duplicates are dropped).
    void setPartners(const QList<User> &partners);
    // Adds rows at the end that are not in the list yet.
    void appendPartners(const QList<User> &partners);
    void clear() { setPartners({}); }

    const User *partner(int row) const;
    const User *partner(const QString &userId) const;
    int rowOf(const QString &userId) const;

    void setFavourite(const QString &userId, bool favourite);
    void setVisibility(const QString &userId, const PartnerVisibility &visibility);
    // Whether the visibility of `userId` has been set since the row came.
    bool hasVisibility(const QString &userId) const { return visibility_.contains(userId); }

    // A row's delegate appeared: its privacy and presence are wanted (asked once per row).
    Q_INVOKABLE void rowShown(int row);

Q_SIGNALS:
    void countChanged();
    void visibilityWanted(const QString &userId);

private:
    bool sameRow(const User &a, const User &b) const;
    void rowChanged(int row, const QList<int> &roles = {});

    QList<User> rows_;
    QHash<QString, PartnerVisibility> visibility_;
    QSet<QString> asked_;
};
