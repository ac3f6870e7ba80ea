#include "bench/realtime/Messages.h"

#include <gtest/gtest.h>

using namespace tailwise::fanout;

namespace {

std::vector<Stamp> scanAll(std::initializer_list<std::string_view> pieces)
{
    MessageScanner scanner;
    std::vector<Stamp> found;
    for (const auto piece : pieces)
        scanner.feed(piece, found);
    return found;
}

// What each system's listeners receive for the same writes: the scanner must find the
// messages whatever wraps them, and however the bytes are cut into reads.
TEST(FanoutMessages, FoundInEveryFramingAndAcrossReads)
{
    const std::string first = benchMessage(7, 1'000'000'123, "Walkies?");
    const std::string second = benchMessage(8, 1'000'000'456, "");
    const std::vector<Stamp> expected = {{7, 1'000'000'123}, {8, 1'000'000'456}};
    const auto resp = [](const std::string &payload) {
        return "*3\r\n$7\r\nmessage\r\n$4\r\nchan\r\n$" + std::to_string(payload.size()) + "\r\n" +
               payload + "\r\n";
    };
    struct Case
    {
        const char *name;
        std::string stream;
    };
    const Case cases[] = {
        {"tailwise put events",
         "event: connected\ndata: {\"id\":\"ab\"}\n\nevent: put\ndata: "
         "{\"path\":\"/\",\"data\":null}"
         "\n\nevent: put\ndata: {\"data\":" +
             first + ",\"path\":\"/-NxA\"}\n\nevent: keep-alive\ndata: null\n\n" +
             "event: put\ndata: {\"data\":" + second + ",\"path\":\"/-NxB\"}\n\n"},
        {"CouchDB continuous changes, CRLF and heartbeats",
         "\n{\"id\":\"d1\",\"changes\":[{\"rev\":\"1-a\"}],\"doc\":" + first +
             ",\"seq\":5}\r\n\n{\"seq\":6,\"doc\":" + second + "}\n"},
        {"RESP pub/sub messages",
         "*3\r\n$9\r\nsubscribe\r\n$4\r\nchan\r\n:1\r\n" + resp(first) + resp(second)},
        {"chat-shaped messages in tailwise put events",
         "event: put\ndata: {\"data\":" + chatMessage(7, 1'000'000'123, "Walkies?", "1", "2") +
             ",\"path\":\"/-NxA\"}\n\nevent: put\ndata: {\"data\":" +
             chatMessage(8, 1'000'000'456, "", "1", "2") + ",\"path\":\"/-NxB\"}\n\n"},
        {"several messages on one line, spaced keys",
         "data: {\"a\": {\"bench_seq\" : 7,\t\"sent_ns\": 1000000123}, \"b\": " + second + "}\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(scanAll({c.stream}), expected);
        for (std::size_t cut = 1; cut < c.stream.size(); ++cut) {
            const std::string_view all = c.stream;
            ASSERT_EQ(scanAll({all.substr(0, cut), all.substr(cut)}), expected) << "cut " << cut;
        }
    }
}

TEST(FanoutMessages, IgnoresLookalikesAndUnfinishedLines)
{
    EXPECT_TRUE(scanAll({"data: {\"bench_seq\":\"7\",\"sent_ns\":1}\n", "data: {\"bench_seq\":7}\n",
                         "data: {\"bench_seq\":,\"sent_ns\":1}\n"})
                    .empty());
    // Not yet ended by a newline: the rest of the line may still change it.
    EXPECT_TRUE(scanAll({benchMessage(1, 2, "x")}).empty());
}

} // namespace
