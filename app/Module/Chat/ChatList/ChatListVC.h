#pragma once

#include "Module/Chat/ChatList/ChatListModel.h"
#include "Platform/Database.h"
#include "Platform/UI/ViewController.h"

#include <optional>

// The conversations of the signed-in user from their recent-chat list, newest first: who,
// the last message and when, how many are unread, presence and picture as each partner
// allows. Selecting one opens that conversation.
class ChatListVC : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(ChatListModel *chats READ chats CONSTANT)
    Q_PROPERTY(bool offline READ offline NOTIFY offlineChanged)
    Q_PROPERTY(bool loaded READ loaded NOTIFY loadedChanged)

public:
    explicit ChatListVC(QObject *parent = nullptr);
    ~ChatListVC() override;

    ChatListModel *chats() { return &chats_; }
    bool offline() const { return offline_; }
    // The list has heard from the database at least once.
    bool loaded() const { return loaded_; }
    // The signed-in account's own "activate_status", once read.
    const QString &ownActivateStatus() const { return ownActivateStatus_; }

    Q_INVOKABLE void openChat(int row);

Q_SIGNALS:
    void offlineChanged();
    void loadedChanged();

protected:
    void viewDidLoad() override;
    void viewWillAppear() override;

private:
    void entryArrived(const DataSnapshot &snapshot);
    void readPartner(const QString &userId);
    void setLoaded();

    ChatListModel chats_;
    bool offline_ = false;
    bool loaded_ = false;
    QString ownActivateStatus_;
    std::optional<DatabaseQuery> added_;
    std::optional<DatabaseQuery> changed_;
    std::optional<DatabaseQuery> removed_;
    DatabaseHandle addedHandle_ = 0;
    DatabaseHandle changedHandle_ = 0;
    DatabaseHandle removedHandle_ = 0;
};
