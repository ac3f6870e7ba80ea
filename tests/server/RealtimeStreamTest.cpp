// What a listener hears, and what happens when its stream ends.

#include "RawStream.h"

#include <gtest/gtest.h>

#include <thread>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;
using realtime::Json;
using Clock = std::chrono::steady_clock;

namespace {

TEST(RealtimeStream, ListenersHearChangesBelowAndAboveThem)
{
    RealtimeStack stack;
    stack.call(verb::put, "/chats/c1.json", R"({"m1": {"text": "hi"}})");
    auto chat = listen(stack, "/chats/c1.json", R"({"m1": {"text": "hi"}})");
    auto empty = listen(stack, "/nobody.json", "null");
    auto message = listen(stack, "/chats/c1/m1.json", R"({"text": "hi"})");

    // Below the listened location.
    stack.call(verb::put, "/chats/c1/m2.json", R"({"text": "yo"})");
    EXPECT_EQ(chat->next(), put("/m2", R"({"text": "yo"})"));
    // Children of the listened location, as one patch.
    stack.call(verb::patch, "/chats/c1.json", R"({"m1": null, "m3": [1]})");
    EXPECT_EQ(chat->next(), patch("/", R"({"m1": null, "m3": [1]})"));
    EXPECT_EQ(message->next(), put("/", "null"));
    // Deep keys of a multi-location update arrive as paths, relative to the listener.
    stack.call(verb::patch, "/.json", R"({"chats/c1/m2/text": "edited", "elsewhere": 1})");
    EXPECT_EQ(chat->next(), patch("/", R"({"m2/text": "edited"})"));
    // Above it: the listener's whole value.
    stack.call(verb::put, "/chats.json", R"({"c1": {"m1": {"text": "back"}}})");
    EXPECT_EQ(chat->next(), put("/", R"({"m1": {"text": "back"}})"));
    EXPECT_EQ(message->next(), put("/", R"({"text": "back"})"));
    stack.call(verb::delete_, "/.json");
    EXPECT_EQ(chat->next(), put("/", "null"));
    EXPECT_EQ(message->next(), put("/", "null"));

    // Nothing concerned the empty location except the root's removal.
    EXPECT_EQ(empty->next(), put("/", "null"));
    EXPECT_EQ(empty->next(200ms), std::nullopt);
}

TEST(RealtimeStream, AMultiLocationUpdateIsOneEventForEveryListener)
{
    RealtimeStack stack;
    stack.call(verb::put, "/chats.json",
               R"({"c1": {"m1": {"text": "hi"}}, "c2": {"m1": {"text": "bye"}}})");
    const char *whole = R"({"c1": {"m1": {"text": "hi"}}, "c2": {"m1": {"text": "bye"}}})";
    auto root = listen(stack, "/.json", (std::string(R"({"chats": )") + whole + "}").c_str());
    auto chats = listen(stack, "/chats.json", whole);
    auto chat = listen(stack, "/chats/c1.json", R"({"m1": {"text": "hi"}})");
    auto message = listen(stack, "/chats/c1/m1.json", R"({"text": "hi"})");
    auto text = listen(stack, "/chats/c1/m1/text.json", R"("hi")");
    auto gone = listen(stack, "/chats/c2/m1.json", R"({"text": "bye"})");
    auto latest = listen(stack, "/chats/c1.json?orderBy=%22$key%22&limitToLast=1",
                         R"({"m1": {"text": "hi"}})");
    auto elsewhere = listen(stack, "/users.json", "null");

    const char *update =
        R"({"c1/m1/text": "edited", "c1/m9": {"text": "new"}, "c2": null, "c3/n": 5})";
    ASSERT_EQ(stack.call(verb::patch, "/chats.json", update).status, 200u);
    EXPECT_EQ(root->next(), patch("/chats", update));
    EXPECT_EQ(chats->next(), patch("/", update));
    EXPECT_EQ(chat->next(), patch("/", R"({"m1/text": "edited", "m9": {"text": "new"}})"));
    EXPECT_EQ(message->next(), patch("/", R"({"text": "edited"})"));
    EXPECT_EQ(text->next(), put("/", R"("edited")"));
    EXPECT_EQ(gone->next(), put("/", "null"));
    EXPECT_EQ(latest->next(), put("/", R"({"m9": {"text": "new"}})"));
    // One event each, and nothing for those it did not concern.
    for (auto *stream : {&root, &chats, &chat, &message, &text, &gone, &latest, &elsewhere})
        EXPECT_EQ((*stream)->next(100ms), std::nullopt);
}

TEST(RealtimeStream, KeepAlivesInSilenceAndClosedStreamsAreForgotten)
{
    RealtimeStack stack({.keepAlive = 150ms});
    {
        auto stream = listen(stack, "/a.json", "null");
        const auto started = Clock::now();
        EXPECT_EQ(stream->next(2s), (Event{"keep-alive", nullptr}));
        EXPECT_GE(Clock::now() - started, 100ms);
        EXPECT_EQ(stack.database().listeners(), 1u);
    }
    // The server notices the client went away without having to write to it.
    const auto deadline = Clock::now() + 2s;
    while (stack.database().listeners() != 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(stack.database().listeners(), 0u);
}

TEST(RealtimeStream, ASlowListenerIsCancelledWithoutHoldingUpWriters)
{
    RealtimeStack stack({.maxQueuedBytes = 256 * 1024});
    std::string slowConnection;
    auto slow = listen(stack, "/feed.json", "null", 4096, &slowConnection);
    // A stream the server cancels runs its onDisconnect operations like one the client left.
    ASSERT_EQ(
        onDisconnect(stack, slowConnection, {{"path", "/cancelled"}, {"op", "set"}, {"data", true}})
            .status,
        200u);
    auto fast = listen(stack, "/feed.json", "null");
    const std::string blob = '"' + std::string(32 * 1024, 'b') + '"';
    const auto started = Clock::now();
    int seen = 0;
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(stack.call(verb::put, "/feed/" + std::to_string(i) + ".json", blob).status, 200u);
        // The fast one keeps up.
        const auto event = fast->next();
        ASSERT_TRUE(event) << "no event for write " << i;
        ASSERT_NE(event->name, "cancel") << "at write " << i << ": " << event->data;
        seen += event->name == "put";
    }
    EXPECT_EQ(seen, 200);
    EXPECT_LT(Clock::now() - started, 20s);
    // The slow one gets what fit, then a cancel, then the end of the stream.
    std::optional<Event> event;
    int puts = 0;
    while ((event = slow->next()) && event->name == "put")
        ++puts;
    ASSERT_TRUE(event);
    EXPECT_EQ(event->name, "cancel");
    EXPECT_LT(puts, 200);
    EXPECT_TRUE(slow->endedByServer(2s));
    const auto deadline = Clock::now() + 5s;
    while (stack.call(verb::get, "/cancelled.json").body != "true" && Clock::now() < deadline)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(stack.call(verb::get, "/cancelled.json").body, "true");
}

TEST(RealtimeStream, OnDisconnectRunsTheRegisteredWritesInOrderWhenTheStreamCloses)
{
    RealtimeStack stack;
    stack.call(verb::put, "/users/u1.json", R"({"online": true, "typing": true})");
    auto others = listen(stack, "/users/u1.json", R"({"online": true, "typing": true})");
    std::string connection;
    auto client = listen(stack, "/chats.json", "null", 0, &connection);

    EXPECT_EQ(
        onDisconnect(stack, connection, {{"path", "/users/u1/typing"}, {"op", "remove"}}).status,
        200u);
    EXPECT_EQ(onDisconnect(stack, connection,
                           {{"path", "/users/u1/online"}, {"op", "set"}, {"data", "away"}})
                  .status,
              200u);
    EXPECT_EQ(
        onDisconnect(stack, connection,
                     {{"path", "users/u1/seen"}, {"op", "set"}, {"data", {{".sv", "timestamp"}}}})
            .status,
        200u);
    EXPECT_EQ(onDisconnect(stack, connection,
                           {{"path", "/users/u1/online"}, {"op", "set"}, {"data", false}})
                  .status,
              200u);
    EXPECT_EQ(others->next(300ms), std::nullopt) << "nothing runs while the stream is open";

    const auto closed = std::chrono::system_clock::now();
    client->close();
    EXPECT_EQ(others->next(), put("/typing", "null"));
    EXPECT_EQ(others->next(), put("/online", R"("away")"));
    const auto seen = others->next();
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->data["path"], "/seen");
    // The timestamp is the time the stream closed, not the time it was registered.
    EXPECT_GE(
        seen->data["data"].get<std::int64_t>(),
        std::chrono::duration_cast<std::chrono::milliseconds>(closed.time_since_epoch()).count() -
            5);
    EXPECT_EQ(others->next(), put("/online", "false"));
    EXPECT_EQ(Json::parse(stack.call(verb::get, "/users/u1/online.json").body), false);

    // The closed connection's id is gone with it.
    const HttpReply late = onDisconnect(stack, connection, {{"path", "/a"}, {"op", "remove"}});
    EXPECT_EQ(late.status, 404u) << late;
}

TEST(RealtimeStream, OnDisconnectRefusesWhatItCouldNotRun)
{
    RealtimeStack stack;
    std::string connection;
    auto client = listen(stack, "/a.json", "null", 0, &connection);
    const auto refused = [&](const std::string &conn, const std::string &body) {
        const HttpReply reply = stack.call(verb::post, "/.ondisconnect?conn=" + conn, body);
        EXPECT_TRUE(reply.json.is_object() && reply.json["error"].is_string()) << reply;
        return reply.status;
    };
    const std::string remove = R"({"path": "/a", "op": "remove"})";
    EXPECT_EQ(refused("0123456789abcdef0123456789abcdef", remove), 404u);
    EXPECT_EQ(refused("", remove), 400u);
    EXPECT_EQ(refused(connection, R"({"path": "/a", "op": "update"})"), 400u);
    EXPECT_EQ(refused(connection, R"({"path": "/a/b.c", "op": "remove"})"), 400u);
    EXPECT_EQ(refused(connection, R"({"op": "remove"})"), 400u);
    EXPECT_EQ(refused(connection, R"({"path": "/a", "op": "set"})"), 400u);
    EXPECT_EQ(refused(connection, R"({"path": "/a", "op": "set", "data": {"$x": 1}})"), 400u);
    EXPECT_EQ(refused(connection, R"({"path": "/a", "op": "set", "data": {".sv": "now"}})"), 400u);
    EXPECT_EQ(refused(connection, "not json"), 400u);
    EXPECT_EQ(stack.call(verb::get, "/.ondisconnect?conn=" + connection).status, 405u);

    // Bounded in size and number per connection.
    const Json big = {{"path", "/a"}, {"op", "set"}, {"data", std::string(1024 * 1024, 'x')}};
    EXPECT_EQ(refused(connection, big.dump()), 413u);
    for (int i = 0; i < 64; ++i)
        ASSERT_EQ(onDisconnect(stack, connection, {{"path", "/a"}, {"op", "remove"}}).status, 200u);
    EXPECT_EQ(refused(connection, remove), 400u);
}

TEST(RealtimeStream, AServerStopEndsStreamsPromptlyWithoutRunningTheirOnDisconnect)
{
    RealtimeStack stack;
    stack.call(verb::put, "/users/u1/online.json", "true");
    std::string connection;
    auto client = listen(stack, "/users/u1.json", R"({"online": true})", 0, &connection);
    ASSERT_EQ(
        onDisconnect(stack, connection, {{"path", "/users/u1/online"}, {"op", "remove"}}).status,
        200u);
    const auto started = Clock::now();
    stack.stop();
    EXPECT_LT(Clock::now() - started, 2s);
    EXPECT_TRUE(client->endedByServer(1s));
    stack.start();
    EXPECT_EQ(stack.call(verb::get, "/users/u1/online.json").body, "true");
}

TEST(RealtimeStream, QueryStreamsKeepTheirResultCurrent)
{
    RealtimeStack stack;
    stack.call(verb::put, "/msgs.json", R"({"a": 1, "b": 2, "c": 3})");
    auto last = listen(stack, "/msgs.json?orderBy=%22$key%22&limitToLast=2", R"({"b": 2, "c": 3})");

    stack.call(verb::put, "/msgs/d.json", "4");
    EXPECT_EQ(last->next(), put("/", R"({"c": 3, "d": 4})"));
    stack.call(verb::delete_, "/msgs/c.json");
    EXPECT_EQ(last->next(), put("/", R"({"b": 2, "d": 4})"));
    // Outside the window: no event.
    stack.call(verb::delete_, "/msgs/a.json");
    EXPECT_EQ(last->next(200ms), std::nullopt);
    stack.call(verb::patch, "/msgs.json", R"({"b": null, "e": 5})");
    EXPECT_EQ(last->next(), put("/", R"({"d": 4, "e": 5})"));
    // Written from above.
    stack.call(verb::put, "/.json", R"({"msgs": {"z": 0}})");
    EXPECT_EQ(last->next(), put("/", R"({"z": 0})"));
    stack.call(verb::delete_, "/msgs.json");
    EXPECT_EQ(last->next(), put("/", "null"));

    // Filtered by a child's value, which changes deep below the listened location.
    stack.call(verb::put, "/players.json", R"({"p1": {"score": 5}, "p2": {"score": 20}})");
    auto top =
        listen(stack, "/players.json?orderBy=%22score%22&startAt=10", R"({"p2": {"score": 20}})");
    stack.call(verb::put, "/players/p1/score.json", "15");
    EXPECT_EQ(top->next(), put("/", R"({"p1": {"score": 15}, "p2": {"score": 20}})"));
    stack.call(verb::put, "/players/p2/name.json", R"("Rex")");
    EXPECT_EQ(top->next(),
              put("/", R"({"p1": {"score": 15}, "p2": {"score": 20, "name": "Rex"}})"));
    stack.call(verb::put, "/players/p2/score.json", "1");
    EXPECT_EQ(top->next(), put("/", R"({"p1": {"score": 15}})"));

    // Queries that make no sense on a stream are refused like on a read.
    RawStream shallow(stack.endpoint(), "/players.json?shallow=true");
    EXPECT_TRUE(shallow.head().starts_with("HTTP/1.1 400"));
    RawStream unordered(stack.endpoint(), "/players.json?limitToFirst=1");
    EXPECT_TRUE(unordered.head().starts_with("HTTP/1.1 400"));
}

} // namespace
