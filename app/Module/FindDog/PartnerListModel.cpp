#include "Module/FindDog/PartnerListModel.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Network/API.h"
#include "Module/FindDog/PartnerTexts.h"

#include <QSet>

PartnerListModel::PartnerListModel(QObject *parent) : QAbstractListModel(parent)
{
    connect(&LanguageChange::shared(), &LanguageChange::languageChanged, this, [this] {
        if (count() > 0)
            Q_EMIT
        dataChanged(index(0), index(count() - 1), {AgeTextRole, DogsTextRole, DistanceTextRole});
    });
}

int PartnerListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant PartnerListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const User &user = rows_.at(index.row());
    const auto seen = visibility_.constFind(user.userId);
    const bool known = seen != visibility_.constEnd();
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return user.Name;
    case UserIdRole:
        return user.userId;
    case AgeRole:
        return user.age;
    case GenderRole:
        return user.gender;
    case DogNameRole:
        return user.dogsName;
    case DogCountRole:
        return user.numOfDogs;
    case DistanceRole:
        return user.distance;
    case AboutRole:
        return user.about;
    case PictureRole:
        return known && seen->pictureVisible ? API::pictureAddress(user.Image) : QString();
    case FavouriteRole:
        return user.favourite == QLatin1String("1");
    case OnlineRole:
        return known && seen->presenceVisible && seen->online;
    case PresenceKnownRole:
        return known;
    case AgeTextRole:
        return ageText(user.age);
    case DogsTextRole:
        return dogsText(user.numOfDogs, user.dogsName);
    case DistanceTextRole:
        return distanceText(user.distance);
    default:
        return {};
    }
}

QHash<int, QByteArray> PartnerListModel::roleNames() const
{
    return {{UserIdRole, "userId"},
            {NameRole, "name"},
            {AgeRole, "age"},
            {GenderRole, "gender"},
            {DogNameRole, "dogName"},
            {DogCountRole, "dogCount"},
            {DistanceRole, "distance"},
            {AboutRole, "about"},
            {PictureRole, "picture"},
            {FavouriteRole, "favourite"},
            {OnlineRole, "online"},
            {PresenceKnownRole, "presenceKnown"},
            {AgeTextRole, "ageText"},
            {DogsTextRole, "dogsText"},
            {DistanceTextRole, "distanceText"}};
}

bool PartnerListModel::sameRow(const User &a, const User &b) const
{
    return a.Name == b.Name && a.age == b.age && a.gender == b.gender && a.dogsName == b.dogsName &&
           a.numOfDogs == b.numOfDogs && a.distance == b.distance && a.about == b.about &&
           a.Image == b.Image && a.favourite == b.favourite;
}

void PartnerListModel::rowChanged(int row, const QList<int> &roles)
{
    const QModelIndex at = index(row);
    Q_EMIT
    dataChanged(at, at, roles);
}

void PartnerListModel::setPartners(const QList<User> &given)
{
    QList<User> partners;
    QSet<QString> wanted;
    for (const User &user : given)
        if (!wanted.contains(user.userId)) {
            wanted.insert(user.userId);
            partners.append(user);
        }
    const int before = count();

    // Rows that go, from the bottom up, in runs.
    for (int row = count() - 1; row >= 0;) {
        if (wanted.contains(rows_.at(row).userId)) {
            --row;
            continue;
        }
        int first = row;
        while (first > 0 && !wanted.contains(rows_.at(first - 1).userId))
            --first;
        beginRemoveRows({}, first, row);
        for (int gone = row; gone >= first; --gone) {
            visibility_.remove(rows_.at(gone).userId);
            asked_.remove(rows_.at(gone).userId);
        }
        rows_.remove(first, row - first + 1);
        endRemoveRows();
        row = first - 1;
    }

    // Then row by row from the top: in place, moved up from further down, or new.
    for (int row = 0; row < partners.size(); ++row) {
        const User &user = partners.at(row);
        if (row < count() && rows_.at(row).userId == user.userId) {
            if (!sameRow(rows_.at(row), user)) {
                rows_[row] = user;
                rowChanged(row);
            }
            continue;
        }
        int from = -1;
        for (int later = row + 1; later < count(); ++later)
            if (rows_.at(later).userId == user.userId) {
                from = later;
                break;
            }
        if (from >= 0) {
            beginMoveRows({}, from, from, {}, row);
            rows_.move(from, row);
            endMoveRows();
            if (!sameRow(rows_.at(row), user)) {
                rows_[row] = user;
                rowChanged(row);
            }
        } else {
            beginInsertRows({}, row, row);
            rows_.insert(row, user);
            endInsertRows();
        }
    }
    if (count() != before)
        Q_EMIT
    countChanged();
}

void PartnerListModel::appendPartners(const QList<User> &partners)
{
    QList<User> fresh;
    QSet<QString> present;
    for (const User &user : rows_)
        present.insert(user.userId);
    for (const User &user : partners)
        if (!present.contains(user.userId)) {
            present.insert(user.userId);
            fresh.append(user);
        }
    if (fresh.isEmpty())
        return;
    beginInsertRows({}, count(), count() + static_cast<int>(fresh.size()) - 1);
    rows_.append(fresh);
    endInsertRows();
    Q_EMIT
    countChanged();
}

const User *PartnerListModel::partner(int row) const
{
    return row >= 0 && row < count() ? &rows_.at(row) : nullptr;
}

const User *PartnerListModel::partner(const QString &userId) const
{
    return partner(rowOf(userId));
}

int PartnerListModel::rowOf(const QString &userId) const
{
    for (int row = 0; row < count(); ++row)
        if (rows_.at(row).userId == userId)
            return row;
    return -1;
}

void PartnerListModel::setFavourite(const QString &userId, bool favourite)
{
    const int row = rowOf(userId);
    const QString mark = favourite ? QStringLiteral("1") : QStringLiteral("0");
    if (row < 0 || rows_.at(row).favourite == mark)
        return;
    rows_[row].favourite = mark;
    rowChanged(row, {FavouriteRole});
}

void PartnerListModel::setVisibility(const QString &userId, const PartnerVisibility &visibility)
{
    const int row = rowOf(userId);
    if (row < 0)
        return;
    const auto known = visibility_.constFind(userId);
    if (known != visibility_.constEnd() && *known == visibility)
        return;
    visibility_.insert(userId, visibility);
    rowChanged(row, {PictureRole, OnlineRole, PresenceKnownRole});
}

void PartnerListModel::rowShown(int row)
{
    const User *user = partner(row);
    if (!user || asked_.contains(user->userId))
        return;
    asked_.insert(user->userId);
    Q_EMIT
    visibilityWanted(user->userId);
}
