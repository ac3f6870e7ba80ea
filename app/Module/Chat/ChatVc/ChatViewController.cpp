#include "Module/Chat/ChatVc/ChatViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Common/Firebase/FirebaseNode.h"
#include "Common/Network/API.h"
#include "LoginDefaults.h"
#include "Module/Chat/Model/OnlineNotification.h"
#include "Module/Chat/Model/StatusHandler.h"
#include "Module/FindDog/PartnerPrivacy.h"
#include "Platform/Database.h"
#include "Platform/UI/Lifetime.h"
#include "Platform/UI/NavigationController.h"

#include <QRegularExpression>

ChatViewController::ChatViewController(QObject *parent) : ViewController(parent)
{
    setTitleKey(QStringLiteral("Chat"));
    connect(this, &ViewController::retranslate, this, [this] {
        Q_EMIT
        partnerChanged();
        Q_EMIT
        presenceChanged();
    });
}

ChatViewController::~ChatViewController()
{
    if (chatManager_)
        chatManager_->setDelegate(nullptr);
}

void ChatViewController::setPartnerId(const QString &id)
{
    if (id == partnerId_)
        return;
    partnerId_ = id;
    Q_EMIT
    partnerChanged();
}

void ChatViewController::setPartnerName(const QString &name)
{
    partnerName_ = emojiDecoded(name);
    Q_EMIT
    partnerChanged();
}

void ChatViewController::viewDidLoad()
{
    if (partnerId_.isEmpty())
        return;
    chatManager_ =
        std::make_unique<ChatDataManager>(partnerId_, partnerAge_, partnerDistance_,
                                          isFavourite_ ? QStringLiteral("1") : QStringLiteral("0"));
    chatManager_->setDelegate(this);
    messages_.setSource(&chatManager_->messages(), LoginDefaults().userId().value_or(QString()));

    Database &database = Database::database();
    database.reference(FirebaseNode::users + '/' + partnerId_)
        .getData(whileAlive(this, [this](const std::optional<QString> &, const DataSnapshot &node) {
            const QVariantMap record = node.value().toMap();
            pictureReference_ = record.value(QStringLiteral("profilePic")).toString();
            if (partnerName_.isEmpty())
                setPartnerName(record.value(FirebaseNode::name).toString());
        }));
    // A partner who deletes the account while the conversation is open is shown so at once.
    accountState_.follow(database.reference(FirebaseNode::users + '/' + partnerId_ +
                                            QStringLiteral("/activate_status")),
                         DataEventType::value, whileAlive(this, [this](const DataSnapshot &state) {
                             const bool deactivated =
                                 state.value().toString() == QLatin1String("Deactivate");
                             if (deactivated == deactivated_)
                                 return;
                             deactivated_ = deactivated;
                             Q_EMIT
                             presenceChanged();
                             if (deactivated_)
                                 showAlert(QString(), deactivatedText());
                         }));
    // The partner's presence as it changes, and as their privacy choice changes, for as long
    // as this conversation is open.
    OnlineNotification &presence = OnlineNotification::shared();
    connect(&presence, &OnlineNotification::onlineStatusChanged, this, [this](bool online) {
        online_ = online;
        readPresence();
    });
    presence.fecthOnlineStatus(partnerId_);
    privacy_.follow(database.reference(FirebaseNode::dataProtection + '/' + partnerId_),
                    DataEventType::value,
                    whileAlive(this, [this](const DataSnapshot &) { readPresence(); }),
                    whileAlive(this, [this](const QString &) { readPresence(); }));
}

void ChatViewController::viewDidAppear()
{
    if (!chatManager_)
        return;
    if (RecentListHelper *recent = chatManager_->recentHelper()) {
        recent->isReadingMessage(true);
        recent->updateSenderReadStaus(true);
    }
}

void ChatViewController::viewWillDisappear()
{
    if (chatManager_)
        if (RecentListHelper *recent = chatManager_->recentHelper())
            recent->isReadingMessage(false);
}

void ChatViewController::readPresence()
{
    const QString me = LoginDefaults().userId().value_or(QString());
    readPartnerVisibility(partnerId_, me, whileAlive(this, [this](const PartnerVisibility &seen) {
                              visibility_ = seen;
                              online_ = seen.online;
                              Q_EMIT
                              presenceChanged();
                          }));
    StatusHandler().lastSeenOnline(partnerId_, whileAlive(this, [this](const QString &when) {
                                       lastSeen_ = when;
                                       Q_EMIT
                                       presenceChanged();
                                   }));
}

QString ChatViewController::headerDetails() const
{
    QStringList parts;
    if (!partnerAge_.trimmed().isEmpty())
        parts << partnerAge_.trimmed();
    if (!partnerDistance_.trimmed().isEmpty())
        parts << partnerDistance_.trimmed() + QStringLiteral(" km ") +
                     languageSelectedStringForKey(QStringLiteral("away"));
    return parts.join(QStringLiteral(", "));
}

QString ChatViewController::presenceText() const
{
    if (deactivated_ || !visibility_.presenceVisible)
        return {};
    if (online_)
        return languageSelectedStringForKey(QStringLiteral("Online"));
    if (lastSeen_.isEmpty())
        return {};
    return languageSelectedStringForKey(QStringLiteral("Last Seen")) + QStringLiteral(": ") +
           lastSeen_;
}

QString ChatViewController::deactivatedText() const
{
    return languageSelectedStringForKey(QStringLiteral("Account doesn't Exist"));
}

QString ChatViewController::pictureUrl() const
{
    return visibility_.pictureVisible ? API::pictureAddress(pictureReference_) : QString();
}

bool ChatViewController::sendMessageAction(const QString &text)
{
    if (text.trimmed().isEmpty() || !chatManager_)
        return false;
    chatManager_->sendMessage(text);
    Q_EMIT
    scrollToLastRow();
    return true;
}

void ChatViewController::close()
{
    NavigationController *stack = navigationController();
    if (stack && stack->depth() > 1) {
        stack->popViewController(true);
        return;
    }
    // Opened alone from a push: the tabs as they are after a sign-in.
    isFromNotification = false;
    if (AppDelegate *app = runningAppDelegate())
        app->homeScreen();
}

void ChatViewController::messageReceived()
{
    Q_EMIT
    scrollToLastRow();
}

void ChatViewController::reloadMessages()
{
    if (chatManager_)
        messages_.setSource(&chatManager_->messages(),
                            LoginDefaults().userId().value_or(QString()));
    Q_EMIT
    scrollToLastRow();
}

void ChatViewController::messageAppended(qsizetype index)
{
    messages_.grewTo(index + 1);
}

QString emojiDecoded(const QString &text)
{
    if (!text.contains(QLatin1String("\\u")))
        return text;
    static const QRegularExpression escape(QStringLiteral("\\\\u([0-9a-fA-F]{4})"));
    QString decoded;
    qsizetype last = 0;
    for (auto it = escape.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        decoded += text.mid(last, match.capturedStart() - last);
        decoded += QChar(static_cast<char16_t>(match.captured(1).toUShort(nullptr, 16)));
        last = match.capturedEnd();
    }
    return decoded + text.mid(last);
}
