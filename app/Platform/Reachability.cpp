#include "Platform/Reachability.h"

#include "Deployment.h"
#include "Platform/Print.h"

#include <QHostAddress>
#include <QMetaMethod>
#include <QNetworkInformation>
#include <QTcpSocket>

namespace {

bool isOnThisMachine(const QString &host)
{
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 ||
           QHostAddress(host).isLoopback();
}

int portOf(const QUrl &url)
{
    return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
}

// The platform's network information, loaded once per process; none when no backend plugin
// loads or the one that does cannot tell reachability.
QNetworkInformation *networkInformation()
{
    static QNetworkInformation *const information = []() -> QNetworkInformation * {
        if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability))
            return nullptr;
        return QNetworkInformation::instance();
    }();
    return information;
}

} // namespace

Reachability::Reachability(QObject *parent) : QObject(parent)
{
    repeat_.setInterval(checkIntervalMs);
    connect(&repeat_, &QTimer::timeout, this, &Reachability::refresh);
    probeTimeout_.setSingleShot(true);
    probeTimeout_.setInterval(probeTimeoutMs);
    connect(&probeTimeout_, &QTimer::timeout, this, [this] {
        dropProbe();
        answer(false);
    });
}

Reachability::~Reachability()
{
    dropProbe();
}

Reachability &Reachability::shared()
{
    static Reachability *const instance = new Reachability;
    return *instance;
}

bool Reachability::isReachable() const
{
    if (!checkQueued_ && !probe_ &&
        (!lastAnswer_.isValid() || lastAnswer_.hasExpired(checkIntervalMs))) {
        // An answer nobody has refreshed for long is given once more, and checked for the
        // next reader; reading is not changing the answer.
        checkQueued_ = true;
        QMetaObject::invokeMethod(const_cast<Reachability *>(this), &Reachability::refresh,
                                  Qt::QueuedConnection);
    }
    return reachable_;
}

void Reachability::refresh()
{
    checkQueued_ = false;
    dropProbe();
    const QUrl backend = Deployment::backendUrl();
    if (!answeredByNetworkInformation(backend))
        probe(backend);
}

bool Reachability::answeredByNetworkInformation(const QUrl &backend)
{
    if (isOnThisMachine(backend.host()))
        return false;
    QNetworkInformation *information = networkInformation();
    if (!information)
        return false;
    if (!followingNetworkInformation_) {
        followingNetworkInformation_ = true;
        connect(information, &QNetworkInformation::reachabilityChanged, this,
                &Reachability::refresh);
    }
    switch (information->reachability()) {
    case QNetworkInformation::Reachability::Disconnected:
        QMetaObject::invokeMethod(
            this, [this] { answer(false); }, Qt::QueuedConnection);
        return true;
    case QNetworkInformation::Reachability::Online:
        QMetaObject::invokeMethod(
            this, [this] { answer(true); }, Qt::QueuedConnection);
        return true;
    case QNetworkInformation::Reachability::Local:
    case QNetworkInformation::Reachability::Site:
    case QNetworkInformation::Reachability::Unknown:
        break; // the backend may or may not be on that network: ask it
    }
    return false;
}

void Reachability::probe(const QUrl &backend)
{
    auto *socket = new QTcpSocket(this);
    probe_ = socket;
    connect(socket, &QTcpSocket::connected, this, [this, socket] {
        if (socket != probe_)
            return;
        dropProbe();
        answer(true);
    });
    connect(socket, &QTcpSocket::errorOccurred, this, [this, socket] {
        if (socket != probe_)
            return;
        dropProbe();
        answer(false);
    });
    probeTimeout_.start();
    socket->connectToHost(backend.host(), static_cast<quint16>(portOf(backend)));
}

void Reachability::dropProbe()
{
    probeTimeout_.stop();
    if (!probe_)
        return;
    QTcpSocket *socket = probe_;
    probe_ = nullptr;
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
}

void Reachability::answer(bool reachable)
{
    lastAnswer_.start();
    if (reachable == reachable_)
        return;
    reachable_ = reachable;
    print(reachable ? QStringLiteral("Reachability: the backend can be reached")
                    : QStringLiteral("Reachability: the backend cannot be reached"));
    Q_EMIT
    reachabilityChanged(reachable);
}

void Reachability::connectNotify(const QMetaMethod &signal)
{
    if (signal == QMetaMethod::fromSignal(&Reachability::reachabilityChanged))
        QMetaObject::invokeMethod(this, &Reachability::listenersChanged, Qt::QueuedConnection);
}

void Reachability::disconnectNotify(const QMetaMethod &signal)
{
    // An invalid method stands for disconnecting everything.
    if (!signal.isValid() || signal == QMetaMethod::fromSignal(&Reachability::reachabilityChanged))
        QMetaObject::invokeMethod(this, &Reachability::listenersChanged, Qt::QueuedConnection);
}

void Reachability::listenersChanged()
{
    const bool listened =
        isSignalConnected(QMetaMethod::fromSignal(&Reachability::reachabilityChanged));
    if (listened == repeat_.isActive())
        return;
    if (listened) {
        repeat_.start();
        refresh(); // a new listener wants an answer of today
    } else {
        repeat_.stop();
    }
}
