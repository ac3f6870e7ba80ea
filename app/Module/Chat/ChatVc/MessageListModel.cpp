#include "Module/Chat/ChatVc/MessageListModel.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Extensions/VGExtensions.h"
#include "Common/Models/DateMethods.h"

MessageListModel::MessageListModel(QObject *parent) : QAbstractListModel(parent)
{
    connect(&LanguageChange::shared(), &LanguageChange::languageChanged, this, [this] {
        if (count() > 0)
            Q_EMIT
        dataChanged(index(0), index(count() - 1), {TimeTextRole});
    });
}

void MessageListModel::setSource(const QList<Message> *messages, const QString &me)
{
    beginResetModel();
    messages_ = messages;
    me_ = me;
    shown_ = messages ? messages->size() : 0;
    endResetModel();
    Q_EMIT
    countChanged();
}

void MessageListModel::grewTo(qsizetype size)
{
    if (!messages_ || size <= shown_ || size > messages_->size())
        return;
    beginInsertRows({}, static_cast<int>(shown_), static_cast<int>(size - 1));
    shown_ = size;
    endInsertRows();
    Q_EMIT
    countChanged();
}

int MessageListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant MessageListModel::data(const QModelIndex &index, int role) const
{
    if (!messages_ ||
        !checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Message &message = messages_->at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case TextRole:
        return message.message;
    case MineRole:
        return message.senderId == me_;
    case TimeTextRole:
        return message.timeStamp > 0 ? messageTime(unixToLocal(message.timeStamp)) : QString();
    default:
        return {};
    }
}

QHash<int, QByteArray> MessageListModel::roleNames() const
{
    return {{TextRole, "text"}, {MineRole, "mine"}, {TimeTextRole, "timeText"}};
}
