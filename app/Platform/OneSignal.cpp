#include "Platform/OneSignal.h"

#include "Deployment.h"
#include "Platform/ApplicationState.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Print.h"
#include "Platform/RetryDelay.h"
#include "Platform/UserDefaults.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QPointer>
#include <QSysInfo>
#include <QUuid>

namespace {

// The kit's own keys in the settings store.
const QString kDeviceIdentifier = QStringLiteral("OneSignalDeviceIdentifier");
const QString kPlayerId = QStringLiteral("OneSignalPlayerId");
const QString kLastNotificationEvent = QStringLiteral("OneSignalLastNotificationEvent");

// The pushes are shaped for a phone's notification centre (alert, badge), so every install
// registers as the device type whose badge rules apply to it.
constexpr int iosDeviceType = 0;
constexpr int requestTimeoutMs = 20'000;
constexpr qsizetype recentlyDeliveredKept = 64;

QByteArray json(const QVariantMap &map)
{
    return QJsonDocument::fromVariant(map).toJson(QJsonDocument::Compact);
}

QVariantMap jsonObject(const QByteArray &bytes)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    return document.isObject() ? document.object().toVariantMap() : QVariantMap();
}

int statusOf(const QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// Worth another try later: the relay could not be reached, was busy or failed by itself.
bool isPassing(int status)
{
    return status == 0 || status == 408 || status == 429 || status >= 500;
}

} // namespace

OneSignal::OneSignal(UserDefaults &store, NotificationCenter &center, QObject *parent)
    : QObject(parent), store_(store), center_(center), stream_(this)
{
    registrationRetry_.setSingleShot(true);
    connect(&registrationRetry_, &QTimer::timeout, this, [this] { registerPlayer(); });
    connect(&stream_, &PushDeviceStream::received, this,
            [this](const EventStreamParser::Event &event) { received(event); });
    connect(&stream_, &PushDeviceStream::deviceUnknown, this, [this] {
        // The relay may have lost this player (a new relay, or its data went): registering
        // again gives the install a new id. The same id again means the service has no device
        // stream for it, as the hosted service has none.
        streamRefusedFor_ = playerId_;
        registerPlayer();
    });
    connect(&ApplicationState::shared(), &ApplicationState::stateChanged, this,
            [this] { clearBadgeIfOpen(); });
}

OneSignal::~OneSignal() = default;

OneSignal &OneSignal::shared()
{
    static QPointer<OneSignal> instance;
    if (!instance)
        instance = new OneSignal(UserDefaults::standard(), NotificationCenter::current(),
                                 QCoreApplication::instance());
    return *instance;
}

void OneSignal::initWithLaunchOptions(const QVariantMap &, const QString &appId,
                                      const QVariantMap &settings)
{
    if (appId.isEmpty()) {
        print(QStringLiteral("OneSignal: no application id; push notifications stay off"));
        return;
    }
    appId_ = appId;
    identifier_ = store_.string(kDeviceIdentifier).value_or(QString());
    if (identifier_.isEmpty()) {
        identifier_ = QUuid::createUuid().toString(QUuid::WithoutBraces);
        store_.setString(identifier_, kDeviceIdentifier);
    }
    // The id the relay gave this install before is good at once, also without the relay; the
    // registration below confirms it.
    if (const QString known = store_.string(kPlayerId).value_or(QString()); !known.isEmpty())
        QMetaObject::invokeMethod(
            this, [this, known] { playerRegistered(known); }, Qt::QueuedConnection);
    registerPlayer();
    if (settings.value(kOSSettingsKeyAutoPrompt, true).toBool())
        promptForPushNotifications([](bool) {});
}

void OneSignal::promptForPushNotifications(std::function<void(bool)> userResponse)
{
    QMetaObject::invokeMethod(
        this, [userResponse = std::move(userResponse)] { userResponse(true); },
        Qt::QueuedConnection);
}

QNetworkRequest OneSignal::request(const QString &path) const
{
    QNetworkRequest request(
        QUrl(Deployment::pushUrl().toString(QUrl::StripTrailingSlash) + path, QUrl::StrictMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QByteArrayLiteral("application/json; charset=utf-8"));
    request.setRawHeader("Accept", "application/json");
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(requestTimeoutMs);
    return request;
}

void OneSignal::registerPlayer()
{
    registrationRetry_.stop();
    const QVariantMap player{{QStringLiteral("app_id"), appId_},
                             {QStringLiteral("device_type"), iosDeviceType},
                             {QStringLiteral("identifier"), identifier_},
                             {QStringLiteral("device_model"), QSysInfo::productType()},
                             {QStringLiteral("device_os"), QSysInfo::productVersion()}};
    QNetworkReply *reply = network_.post(request(QStringLiteral("/api/v1/players")), json(player));
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        const int status = statusOf(reply);
        const QVariantMap answer = jsonObject(reply->readAll());
        const QString id = answer.value(QStringLiteral("id")).toString();
        if (status == 200 && !id.isEmpty()) {
            registrationAttempt_ = 0;
            playerRegistered(id);
            return;
        }
        const QString why =
            status ? QStringLiteral("%1 %2").arg(status).arg(json(answer)) : reply->errorString();
        if (status != 200 && !isPassing(status)) {
            // A refusal (a wrong application id, say) does not pass by itself.
            print(QStringLiteral("OneSignal: the push relay refused to register this device: "
                                 "%1; pushes stay off")
                      .arg(why));
            return;
        }
        if (registrationAttempt_ == 0)
            print(
                QStringLiteral("OneSignal: device not registered yet (%1); trying again").arg(why));
        registrationRetry_.start(retryDelay(registrationAttempt_++));
    });
}

void OneSignal::playerRegistered(const QString &playerId)
{
    if (playerId == playerId_) {
        if (playerId == streamRefusedFor_)
            print(QStringLiteral("OneSignal: the push service has no device stream for player "
                                 "%1; pushes to this device are not received")
                      .arg(playerId));
        else if (!stream_.isOpen())
            openDeviceStream();
        return;
    }
    if (!playerId_.isEmpty())
        print(QStringLiteral("OneSignal: the push relay gave this device a new player id"));
    // A stream position belongs to the player it was read for.
    if (store_.string(kPlayerId).value_or(QString()) != playerId)
        store_.removeObject(kLastNotificationEvent);
    playerId_ = playerId;
    store_.setString(playerId, kPlayerId);
    openDeviceStream();
    clearBadgeIfOpen();
    Q_EMIT
    subscriptionChanged(playerId);
}

void OneSignal::openDeviceStream()
{
    const QString path = QStringLiteral("/api/v1/players/%1/notifications")
                             .arg(QString::fromUtf8(QUrl::toPercentEncoding(playerId_)));
    stream_.open(request(path).url(),
                 store_.string(kLastNotificationEvent).value_or(QString()).toUtf8());
}

void OneSignal::received(const EventStreamParser::Event &event)
{
    const std::optional<PushNotification> notification =
        PushNotification::fromUserInfo(jsonObject(event.data));
    if (!notification) {
        // Keep-alives and whatever else a relay may say besides pushes.
        if (event.name == "message" || event.name == "notification")
            print(QStringLiteral("OneSignal: unreadable push ignored: %1")
                      .arg(QString::fromUtf8(event.data.left(300))));
        return;
    }
    if (!event.id.isEmpty())
        store_.setString(QString::fromUtf8(event.id), kLastNotificationEvent);
    if (!notification->identifier.isEmpty()) {
        if (recentlyDelivered_.contains(notification->identifier))
            return;
        recentlyDelivered_.append(notification->identifier);
        if (recentlyDelivered_.size() > recentlyDeliveredKept)
            recentlyDelivered_.removeFirst();
    }
    if (notification->badge)
        setBadgeCount(*notification->badge);
    if (!ApplicationState::shared().isActive()) {
        center_.deliver(*notification);
        return;
    }
    switch (inFocusDisplayType_) {
    case OSNotificationDisplayType::none:
        break;
    case OSNotificationDisplayType::inAppAlert:
        center_.banner().show(*notification);
        break;
    case OSNotificationDisplayType::notification:
        center_.deliver(*notification);
        break;
    }
}

void OneSignal::postNotification(const QVariantMap &jsonData,
                                 std::function<void(bool accepted)> completion)
{
    if (!completion)
        completion = [](bool) {};
    if (appId_.isEmpty()) {
        print(QStringLiteral("OneSignal: postNotification before initWithLaunchOptions; not "
                             "sent"));
        QMetaObject::invokeMethod(
            this, [completion] { completion(false); }, Qt::QueuedConnection);
        return;
    }
    QVariantMap notification = jsonData;
    if (!notification.contains(QStringLiteral("app_id")))
        notification.insert(QStringLiteral("app_id"), appId_);
    QNetworkReply *reply =
        network_.post(request(QStringLiteral("/api/v1/notifications")), json(notification));
    connect(reply, &QNetworkReply::finished, this, [reply, completion] {
        reply->deleteLater();
        const int status = statusOf(reply);
        const QByteArray answer = reply->readAll();
        const bool accepted =
            status == 200 && !jsonObject(answer).contains(QStringLiteral("errors"));
        if (!accepted)
            print(QStringLiteral("OneSignal: notification not delivered: %1")
                      .arg(status ? QStringLiteral("%1 %2").arg(status).arg(
                                        QString::fromUtf8(answer.left(300)))
                                  : reply->errorString()));
        completion(accepted);
    });
}

void OneSignal::clearBadgeIfOpen()
{
    if (playerId_.isEmpty() || !ApplicationState::shared().isActive())
        return;
    setBadgeCount(0);
    const QString path = QStringLiteral("/api/v1/players/%1")
                             .arg(QString::fromUtf8(QUrl::toPercentEncoding(playerId_)));
    QNetworkReply *reply = network_.put(request(path), json({{QStringLiteral("app_id"), appId_},
                                                             {QStringLiteral("badge_count"), 0}}));
    connect(reply, &QNetworkReply::finished, this, [reply] {
        reply->deleteLater();
        if (statusOf(reply) != 200)
            print(QStringLiteral("OneSignal: badge not cleared on the push relay: %1")
                      .arg(reply->errorString()));
    });
}

void OneSignal::setBadgeCount(qlonglong count)
{
    if (count == badgeCount_)
        return;
    badgeCount_ = count;
    Q_EMIT
    badgeCountChanged(count);
}
