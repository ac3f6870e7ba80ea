#include "Module/Chat/ChatList/ChatListVC.h"

#include "Common/Extensions/Localizable.h"
#include "Common/Firebase/FirebaseNode.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/Connectivity.h"
#include "Module/FindDog/PartnerPrivacy.h"
#include "NavigationHelper.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"

ChatListVC::ChatListVC(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Chats"));
}

ChatListVC::~ChatListVC()
{
    if (added_)
        added_->removeObserver(addedHandle_);
    if (changed_)
        changed_->removeObserver(changedHandle_);
    if (removed_)
        removed_->removeObserver(removedHandle_);
}

void ChatListVC::viewDidLoad()
{
    offline_ = !Connectivity::isConnectedToInternet();
    if (offline_) {
        Q_EMIT
        offlineChanged();
        showAlert(QString(), languageSelectedStringForKey(
                                 QStringLiteral("Please check your internet connection")));
    }
    const QString me = LoginDefaults().userId().value_or(QString());
    if (me.isEmpty())
        return setLoaded();
    Database &database = Database::database();
    database.reference(FirebaseNode::users + '/' + me + QStringLiteral("/activate_status"))
        .getData(whileAlive(this, [this](const std::optional<QString> &, const DataSnapshot &node) {
            ownActivateStatus_ = node.value().toString();
        }));

    const DatabaseReference list = database.reference(FirebaseNode::chatList + '/' + me);
    added_ = list.queryOrderedByChild(QStringLiteral("timeStamp"));
    changed_ = list.queryOrderedByChild(QStringLiteral("timeStamp"));
    removed_ = list;
    const auto arrived =
        whileAlive(this, [this](const DataSnapshot &entry) { entryArrived(entry); });
    addedHandle_ = added_->observe(DataEventType::childAdded, arrived);
    changedHandle_ = changed_->observe(DataEventType::childChanged, arrived);
    removedHandle_ = removed_->observe(
        DataEventType::childRemoved,
        whileAlive(this, [this](const DataSnapshot &entry) { chats_.remove(entry.key()); }));
    // An empty list raises no child event: its (empty) value says the list is known.
    list.observeSingleEvent(DataEventType::value,
                            whileAlive(this, [this](const DataSnapshot &) { setLoaded(); }),
                            whileAlive(this, [this](const QString &) { setLoaded(); }));
}

void ChatListVC::viewWillAppear()
{
    // Presence, privacy and deleted accounts may have changed while the list was out of sight.
    for (int row = 0; row < chats_.count(); ++row)
        readPartner(chats_.entry(row)->userId);
}

void ChatListVC::setLoaded()
{
    if (loaded_)
        return;
    loaded_ = true;
    Q_EMIT
    loadedChanged();
}

void ChatListVC::entryArrived(const DataSnapshot &snapshot)
{
    ChatUser entry(snapshot);
    if (entry.userId.isEmpty())
        entry.userId = snapshot.key();
    if (chats_.upsert(entry))
        readPartner(entry.userId);
    setLoaded();
}

void ChatListVC::readPartner(const QString &userId)
{
    Database::database()
        .reference(FirebaseNode::users + '/' + userId)
        .getData(whileAlive(this, [this, userId](const std::optional<QString> &,
                                                 const DataSnapshot &record) {
            const QVariantMap values = record.value().toMap();
            chats_.setPartner(userId, {values.value(FirebaseNode::name).toString(),
                                       values.value(QStringLiteral("profilePic")).toString(),
                                       values.value(QStringLiteral("activate_status")).toString() ==
                                           QLatin1String("Deactivate")});
        }));
    readPartnerVisibility(userId, LoginDefaults().userId().value_or(QString()),
                          whileAlive(this, [this, userId](const PartnerVisibility &seen) {
                              chats_.setVisibility(userId, seen);
                          }));
}

void ChatListVC::openChat(int row)
{
    const ChatUser *entry = chats_.entry(row);
    NavigationController *stack = navigationController();
    if (!entry || !stack)
        return;
    ViewController *chat =
        NavigationHelper::shared().viewController(VCIdentifier::ChatVC, StoryboardName::tabBar);
    const auto partner = chats_.partner(row);
    chat->setProperty("partnerId", entry->userId);
    chat->setProperty("partnerName", partner ? partner->name : QString());
    chat->setProperty("partnerAge", entry->age);
    chat->setProperty("partnerDistance", entry->distance);
    chat->setProperty("isFavourite",
                      !entry->favourite.isEmpty() && entry->favourite != QLatin1String("0"));
    stack->pushViewController(chat);
}
