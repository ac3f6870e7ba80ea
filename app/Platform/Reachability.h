#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

class QNetworkInformation;
class QTcpSocket;

// Whether the backend (Deployment::backendUrl()) can be reached.
//
// For a backend elsewhere, the platform's network information (QNetworkInformation) answers
// when a backend plugin loads and it knows: no network means unreachable, the internet means
// reachable. Otherwise, and always for a backend on this machine (the state of the network
// says nothing about it), a TCP connection to the backend's host and port is tried for at
// most two seconds.
//
// The answer is true until a check says otherwise, so that a check still under way never
// keeps a screen from trying. Checks run on refresh(), every ten seconds while anyone is
// connected to reachabilityChanged, and when the answer is read after ten seconds without
// one (the fresh answer then arrives through the signal).
class Reachability : public QObject
{
    Q_OBJECT

public:
    static constexpr int checkIntervalMs = 10'000;
    static constexpr int probeTimeoutMs = 2'000;

    explicit Reachability(QObject *parent = nullptr);
    ~Reachability() override;

    // The app's monitor; it lives as long as the process.
    static Reachability &shared();

    bool isReachable() const;

    // Checks now; a check under way is dropped, as it may have asked about another address.
    void refresh();

Q_SIGNALS:
    void reachabilityChanged(bool reachable);

protected:
    void connectNotify(const QMetaMethod &signal) override;
    void disconnectNotify(const QMetaMethod &signal) override;

private:
    bool answeredByNetworkInformation(const QUrl &backend);
    void probe(const QUrl &backend);
    void dropProbe();
    void answer(bool reachable);
    void listenersChanged();

    bool reachable_ = true;
    mutable bool checkQueued_ = false;
    bool followingNetworkInformation_ = false;
    QTimer repeat_;
    QTimer probeTimeout_;
    QPointer<QTcpSocket> probe_;
    QElapsedTimer lastAnswer_;
};
