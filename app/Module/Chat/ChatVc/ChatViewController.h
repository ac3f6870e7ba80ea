#pragma once

#include "Module/Chat/ChatVc/ChatDataManager.h"
#include "Module/Chat/ChatVc/MessageListModel.h"
#include "Module/FindDog/PartnerListModel.h"
#include "Platform/DatabaseObservation.h"
#include "Platform/UI/ViewController.h"

#include <memory>

// One conversation: the partner in the header (name, age and distance, presence or last seen
// as the partner allows, picture, favourite mark), the messages, and the input bar. While it
// is on display the signed-in user counts as reading it, so the partner's messages raise no
// unread count.
class ChatViewController : public ViewController, public ChatDataManagerDelegate
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    // Handed in by the screen that opens the conversation.
    Q_PROPERTY(QString partnerId READ partnerId WRITE setPartnerId NOTIFY partnerChanged)
    Q_PROPERTY(QString partnerName READ partnerName WRITE setPartnerName NOTIFY partnerChanged)
    Q_PROPERTY(QString partnerAge MEMBER partnerAge_ NOTIFY partnerChanged)
    Q_PROPERTY(QString partnerDistance MEMBER partnerDistance_ NOTIFY partnerChanged)
    Q_PROPERTY(bool isFavourite MEMBER isFavourite_ NOTIFY partnerChanged)
    // What the header shows.
    Q_PROPERTY(QString headerDetails READ headerDetails NOTIFY partnerChanged)
    Q_PROPERTY(QString presenceText READ presenceText NOTIFY presenceChanged)
    Q_PROPERTY(bool partnerOnline READ partnerOnline NOTIFY presenceChanged)
    Q_PROPERTY(QString pictureUrl READ pictureUrl NOTIFY presenceChanged)
    Q_PROPERTY(bool partnerDeactivated READ partnerDeactivated NOTIFY presenceChanged)
    Q_PROPERTY(QString deactivatedText READ deactivatedText NOTIFY presenceChanged)
    Q_PROPERTY(MessageListModel *messages READ messages CONSTANT)

public:
    explicit ChatViewController(QObject *parent = nullptr);
    ~ChatViewController() override;

    QString partnerId() const { return partnerId_; }
    void setPartnerId(const QString &id);
    QString partnerName() const { return partnerName_; }
    void setPartnerName(const QString &name);
    // "34, 1.2 km away", in the interface language.
    QString headerDetails() const;
    // "Online", "Last Seen: …", or nothing under "Nobody".
    QString presenceText() const;
    bool partnerOnline() const { return !deactivated_ && visibility_.presenceVisible && online_; }
    QString pictureUrl() const;
    bool partnerDeactivated() const { return deactivated_; }
    QString deactivatedText() const;
    MessageListModel *messages() { return &messages_; }
    ChatDataManager *chatManager() const { return chatManager_.get(); }

    // Sends the text unless it is empty; answers whether it was sent (the view clears its
    // input then).
    Q_INVOKABLE bool sendMessageAction(const QString &text);
    // Back: to the previous screen, or to the tabs when a push opened this one alone.
    Q_INVOKABLE void close();

    // ChatDataManagerDelegate
    void messageReceived() override;
    void reloadMessages() override;
    void messageAppended(qsizetype index) override;

Q_SIGNALS:
    void partnerChanged();
    void presenceChanged();
    // A message was added or the list was drawn again: the view shows the last row.
    void scrollToLastRow();

protected:
    void viewDidLoad() override;
    void viewDidAppear() override;
    void viewWillDisappear() override;

private:
    void readPresence();

    QString partnerId_;
    QString partnerName_;
    QString partnerAge_;
    QString partnerDistance_;
    bool isFavourite_ = false;
    PartnerVisibility visibility_;
    bool online_ = false;
    QString lastSeen_;
    QString pictureReference_;
    bool deactivated_ = false;
    DatabaseObservation accountState_;
    DatabaseObservation privacy_;
    std::unique_ptr<ChatDataManager> chatManager_;
    MessageListModel messages_;
};

// `\uXXXX` escapes (surrogate pairs included) as the characters they stand for: names typed
// on some phones arrive with their emoji escaped. Other text is left as it is.
QString emojiDecoded(const QString &text);
