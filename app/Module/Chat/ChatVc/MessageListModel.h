#pragma once

#include "Module/Chat/Model/ChatModels.h"

#include <QAbstractListModel>
#include <QList>
#include <QtQml/qqmlregistration.h>

// The messages of one conversation as rows, over the chat manager's own list: a message that
// arrives is one inserted row, so a long history is never copied or redrawn as a whole.
class MessageListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The chat screen owns its messages")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role
    {
        TextRole = Qt::UserRole + 1,
        MineRole, // sent by the signed-in user
        TimeTextRole
    };
    Q_ENUM(Role)

    explicit MessageListModel(QObject *parent = nullptr);

    // The list the rows show and the signed-in user's id; `messages` must outlive the model or
    // be replaced first.
    void setSource(const QList<Message> *messages, const QString &me);
    // The source has grown to `size` messages.
    void grewTo(qsizetype size);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return static_cast<int>(shown_); }

Q_SIGNALS:
    void countChanged();

private:
    const QList<Message> *messages_ = nullptr;
    QString me_;
    qsizetype shown_ = 0;
};
