#include "Platform/Reachability.h"
#include "Module/Chat/Model/Connectivity.h"
#include "TestSupport.h"

#include <optional>

namespace {

TEST(Reachability, FollowsTheBackendAsItComesAndGoes)
{
    Reachability &reachability = Reachability::shared();
    QList<bool> changes;
    QObject listener;
    QObject::connect(&reachability, &Reachability::reachabilityChanged, &listener,
                     [&](bool reachable) { changes.append(reachable); });

    quint16 closedPort = 0;
    {
        QTcpServer closed;
        ASSERT_TRUE(closed.listen(QHostAddress::LocalHost));
        closedPort = closed.serverPort();
    }
    std::optional<ScopedEnvironment> backend;
    backend.emplace("TAILWISE_BACKEND", "http://127.0.0.1:" + QByteArray::number(closedPort));
    reachability.refresh();
    ASSERT_TRUE(waitUntil([&] { return !reachability.isReachable(); }));
    EXPECT_FALSE(Connectivity::isConnectedToInternet());

    TailwiseServer server;
    ASSERT_TRUE(server.isRunning()) << server.startupLog().toStdString();
    backend.reset();
    backend.emplace("TAILWISE_BACKEND", server.backendUrl());
    changes.clear();
    reachability.refresh();
    ASSERT_TRUE(waitUntil([&] { return reachability.isReachable(); }));
    EXPECT_TRUE(Connectivity::isConnectedToInternet());

    server.stop();
    reachability.refresh();
    ASSERT_TRUE(waitUntil([&] { return !Connectivity::isConnectedToInternet(); }));
    QTest::qWait(50);
    EXPECT_EQ(changes, (QList<bool>{true, false})) << "one signal per change";
}

} // namespace
