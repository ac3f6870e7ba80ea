// What reaches a device: everything answered 200, in order, once, whether the device was
// online, offline or reconnecting, across a kill -9 of the relay, within the relay's limits.

#include "PushSupport.h"
#include "ServerProcess.h"

#include <gtest/gtest.h>

#include <thread>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;

namespace {

// The next `count` events' texts, or fewer when the stream goes quiet.
std::vector<std::string> texts(RawStream &stream, std::size_t count,
                               std::vector<std::string> *ids = nullptr)
{
    std::vector<std::string> received;
    while (received.size() < count) {
        const auto event = stream.next();
        if (!event)
            break;
        received.push_back(event->data["aps"]["alert"]["body"].get<std::string>());
        if (ids)
            ids->push_back(event->id);
    }
    return received;
}

// A notification that raises the badge by one, so that the badges count the deliveries.
Json counted(const std::string &player)
{
    Json request = notification({player});
    request["ios_badgeType"] = "Increase";
    request["ios_badgeCount"] = 1;
    return request;
}

bool quiet(RawStream &stream)
{
    return !stream.next(300ms);
}

// The server has seen the stream close, and with it every write the stream completed.
void waitUntilClosed(PushStack &relay)
{
    for (int i = 0; i < 200 && relay.relay().openStreams() > 0; ++i)
        std::this_thread::sleep_for(10ms);
    ASSERT_EQ(relay.relay().openStreams(), 0u);
}

TEST(PushDelivery, AnOfflineDeviceGetsWhatItMissedInOrderOnce)
{
    PushStack relay;
    const std::string player = relay.registerPlayer();
    for (const char *text : {"one", "two", "three"})
        ASSERT_EQ(relay.notify(notification({player}, text)).status, 200u);

    std::vector<std::string> ids;
    {
        const auto stream = relay.stream(player);
        EXPECT_EQ(texts(*stream, 3, &ids), (std::vector<std::string>{"one", "two", "three"}));
        EXPECT_TRUE(quiet(*stream));
    }
    waitUntilClosed(relay);
    // Without Last-Event-ID the relay remembers what it wrote; with it the device decides.
    EXPECT_TRUE(quiet(*relay.stream(player)));
    EXPECT_TRUE(quiet(*relay.stream(player, ids[2])));
    const auto resumed = relay.stream(player, ids[0]);
    EXPECT_EQ(texts(*resumed, 2), (std::vector<std::string>{"two", "three"}));
    EXPECT_TRUE(quiet(*resumed));
}

// Many senders at once share commits; a device still sees each notification once, in the
// order of the ids it is given, with every badge increase counted.
TEST(PushDelivery, ConcurrentSendersReachADeviceOnceAndInOrder)
{
    PushStack relay;
    const std::string player = relay.registerPlayer();
    const auto stream = relay.stream(player);
    constexpr int senders = 4, each = 25;
    std::vector<std::thread> threads;
    for (int s = 0; s < senders; ++s)
        threads.emplace_back([&] {
            for (int i = 0; i < each; ++i)
                EXPECT_EQ(relay.notify(counted(player)).status, 200u);
        });
    for (auto &thread : threads)
        thread.join();
    long previous = 0;
    for (int badge = 1; badge <= senders * each; ++badge) {
        const auto event = stream->next();
        ASSERT_TRUE(event) << "event " << badge;
        EXPECT_EQ(event->data["aps"]["badge"], badge);
        EXPECT_GT(std::stol(event->id), previous);
        previous = std::stol(event->id);
    }
    EXPECT_TRUE(quiet(*stream));
}

// Answered 200 means committed: a relay killed at once still delivers it after a restart.
TEST(PushDelivery, AKillAfterTheAnswerLosesNothing)
{
    TempDir dir("tailwise-push-kill");
    const auto errorLog = dir.path() / "stderr.log";
    const auto start = [&] {
        return std::make_unique<ServerProcess>(programArguments(dir.path() / "data"), errorLog);
    };
    auto server = start();
    auto endpoint = server->listeningEndpoint("push", 10s);
    ASSERT_TRUE(endpoint) << fileText(errorLog);
    HttpClient client(*endpoint);
    const HttpReply player =
        client.post("/api/v1/players", {{"app_id", pushAppId}, {"device_type", 0}});
    ASSERT_EQ(player.status, 200u) << player;
    const std::string id = player.json["id"];
    constexpr int sent = 20;
    for (int i = 0; i < sent; ++i)
        ASSERT_EQ(client.post("/api/v1/notifications", counted(id)).status, 200u);
    server->kill();

    server = start();
    endpoint = server->listeningEndpoint("push", 10s);
    ASSERT_TRUE(endpoint) << fileText(errorLog);
    RawStream stream(*endpoint, "/api/v1/players/" + id + "/notifications");
    ASSERT_TRUE(stream.head().starts_with("HTTP/1.1 200"));
    for (int badge = 1; badge <= sent; ++badge) {
        const auto event = stream.next();
        ASSERT_TRUE(event) << "lost from notification " << badge << "\n" << fileText(errorLog);
        EXPECT_EQ(event->data["aps"]["badge"], badge);
    }
    EXPECT_TRUE(quiet(stream));
}

TEST(PushLimits, APlayerKeepsItsNewestNotificationsAndTheLogSaysWhatWentMissing)
{
    PushStack relay([](StackConfig &config) { config.push.maxQueuedPerPlayer = 3; });
    const std::string player = relay.registerPlayer();
    for (const char *text : {"1", "2", "3", "4", "5"})
        ASSERT_EQ(relay.notify(notification({player}, text)).status, 200u);
    const auto stream = relay.stream(player);
    EXPECT_EQ(texts(*stream, 3), (std::vector<std::string>{"3", "4", "5"}));
    EXPECT_TRUE(quiet(*stream));
    const std::string log = relay.log();
    EXPECT_NE(log.find("player " + player + " keeps at most 3 notifications"), std::string::npos)
        << log;
}

TEST(PushLimits, StreamsPerPlayerAndBodySizeAreBounded)
{
    PushStack relay([](StackConfig &config) { config.push.maxStreamsPerPlayer = 2; });
    const std::string player = relay.registerPlayer();
    const auto first = relay.stream(player);
    const auto second = relay.stream(player);
    relay.stream(player, {}, "429");
    // Another player is not held up by this one's streams.
    const auto other = relay.stream(relay.registerPlayer());

    Json oversize = notification({player}, std::string(600 * 1024, 'x'));
    const HttpReply tooLarge = relay.notify(oversize);
    EXPECT_EQ(tooLarge.status, 413u) << tooLarge;
    EXPECT_EQ(tooLarge.json["errors"].size(), 1u) << tooLarge;
    // Within the body limit, beyond what a notification may carry.
    const HttpReply tooLong = relay.notify(notification({player}, std::string(20 * 1024, 'x')));
    EXPECT_EQ(tooLong.status, 400u) << tooLong;
    ASSERT_EQ(relay.notify(notification({player}, "fits")).status, 200u);
    EXPECT_EQ(texts(*first, 1), std::vector<std::string>{"fits"});
    EXPECT_EQ(texts(*second, 1), std::vector<std::string>{"fits"});
}

} // namespace
