#include "Module/Chat/ChatList/ChatListModel.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Extensions/VGExtensions.h"
#include "Common/Models/DateMethods.h"
#include "Common/Network/API.h"
#include "Module/FindDog/PartnerTexts.h"

#include <QStringList>

namespace {

qint64 timeOf(const ChatUser &entry)
{
    return static_cast<qint64>(entry.timeStamp);
}

} // namespace

ChatListModel::ChatListModel(QObject *parent) : QAbstractListModel(parent)
{
    connect(&LanguageChange::shared(), &LanguageChange::languageChanged, this, [this] {
        if (count() > 0)
            Q_EMIT
        dataChanged(index(0), index(count() - 1), {TimeTextRole, LastMessageRole});
    });
}

int ChatListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant ChatListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = rows_.at(index.row());
    const ChatUser &entry = row.entry;
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return row.partner ? row.partner->name : QString();
    case UserIdRole:
        return entry.userId;
    case LastMessageRole:
        // A partner who deleted the account is kept, and says so.
        return row.partner && row.partner->deactivated
                   ? languageSelectedStringForKey(QStringLiteral("Account doesn't Exist"))
                   : entry.lastMessage;
    case TimeTextRole:
        return entry.timeStamp > 0 ? messageTime(unixToLocal(entry.timeStamp)) : QString();
    case UnreadRole:
        return static_cast<int>(entry.unreadMessageCount);
    case FavouriteRole:
        return !entry.favourite.isEmpty() && entry.favourite != QLatin1String("0");
    case PictureRole:
        return row.partner && row.visibility && row.visibility->pictureVisible
                   ? API::pictureAddress(row.partner->pictureReference)
                   : QString();
    case OnlineRole:
        return !(row.partner && row.partner->deactivated) && row.visibility &&
               row.visibility->presenceVisible && row.visibility->online;
    case DetailsRole: {
        QStringList parts;
        for (const QString &part : {ageText(entry.age), distanceText(entry.distance)})
            if (!part.isEmpty())
                parts << part;
        return parts.join(QStringLiteral(", "));
    }
    case DeactivatedRole:
        return row.partner && row.partner->deactivated;
    default:
        return {};
    }
}

QHash<int, QByteArray> ChatListModel::roleNames() const
{
    return {{UserIdRole, "userId"},           {NameRole, "name"},
            {LastMessageRole, "lastMessage"}, {TimeTextRole, "timeText"},
            {UnreadRole, "unread"},           {FavouriteRole, "favourite"},
            {PictureRole, "picture"},         {OnlineRole, "online"},
            {DetailsRole, "details"},         {DeactivatedRole, "deactivated"}};
}

int ChatListModel::placeFor(qint64 timeStamp, int skipping) const
{
    int place = 0;
    for (int row = 0; row < count(); ++row) {
        if (row == skipping)
            continue;
        if (timeOf(rows_.at(row).entry) >= timeStamp)
            ++place;
    }
    return place;
}

bool ChatListModel::upsert(const ChatUser &entry)
{
    const int at = rowOf(entry.userId);
    if (at < 0) {
        const int place = placeFor(timeOf(entry), -1);
        beginInsertRows({}, place, place);
        rows_.insert(place, Row{entry, std::nullopt, std::nullopt});
        endInsertRows();
        Q_EMIT
        countChanged();
        return true;
    }
    const int place = placeFor(timeOf(entry), at);
    if (place != at) {
        // beginMoveRows names the destination as a row of the list before the move.
        beginMoveRows({}, at, at, {}, place > at ? place + 1 : place);
        rows_.move(at, place);
        endMoveRows();
    }
    rows_[place].entry = entry;
    Q_EMIT
    dataChanged(index(place), index(place));
    return false;
}

void ChatListModel::remove(const QString &userId)
{
    const int at = rowOf(userId);
    if (at < 0)
        return;
    beginRemoveRows({}, at, at);
    rows_.removeAt(at);
    endRemoveRows();
    Q_EMIT
    countChanged();
}

void ChatListModel::setPartner(const QString &userId, const Partner &partner)
{
    const int at = rowOf(userId);
    if (at < 0)
        return;
    rows_[at].partner = partner;
    Q_EMIT
    dataChanged(index(at), index(at), {NameRole, PictureRole, DeactivatedRole, LastMessageRole});
}

void ChatListModel::setVisibility(const QString &userId, const PartnerVisibility &visibility)
{
    const int at = rowOf(userId);
    if (at < 0)
        return;
    rows_[at].visibility = visibility;
    Q_EMIT
    dataChanged(index(at), index(at), {PictureRole, OnlineRole});
}

int ChatListModel::rowOf(const QString &userId) const
{
    for (int row = 0; row < count(); ++row)
        if (rows_.at(row).entry.userId == userId)
            return row;
    return -1;
}

const ChatUser *ChatListModel::entry(int row) const
{
    return row >= 0 && row < count() ? &rows_.at(row).entry : nullptr;
}

std::optional<ChatListModel::Partner> ChatListModel::partner(int row) const
{
    return row >= 0 && row < count() ? rows_.at(row).partner : std::nullopt;
}
