// What survives: acknowledged writes across restarts, snapshots and a kill -9 mid-storm; never
// a write that was not acknowledged, half applied.

#include "RealtimeSupport.h"
#include "ServerProcess.h"
#include "realtime/Journal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <thread>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;
using realtime::Json;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

namespace {

realtime::DatabaseOptions options(const fs::path &dir, std::uint64_t snapshotBytes = 1 << 26)
{
    realtime::DatabaseOptions result;
    result.dir = dir;
    result.snapshotBytes = snapshotBytes;
    return result;
}

Json read(realtime::Database &database, const realtime::Path &path)
{
    return realtime::toJson(database.read(path), realtime::Form::stored);
}

TEST(RealtimeDurability, RestartsRecoverSnapshotAndJournal)
{
    TempDir dir("tailwise-rtdb");
    {
        // A small snapshot threshold: many generations come and go during these writes.
        realtime::Database database(options(dir.path(), 2048));
        for (int i = 0; i < 200; ++i)
            database.set({"n", std::to_string(i)}, Json{{"i", i}, {"pad", std::string(50, 'p')}});
        database.update({"n"}, Json{{"0", nullptr}, {"1/i", 100}});
        database.snapshot();
        database.set({"after"}, true);
    }
    realtime::Database database(options(dir.path()));
    const Json n = read(database, {"n"});
    EXPECT_EQ(n.size(), 199u);
    EXPECT_FALSE(n.contains("0"));
    EXPECT_EQ(n["1"]["i"], 100);
    EXPECT_EQ(n["199"]["i"], 199);
    EXPECT_EQ(read(database, {"after"}), true);
    // Compaction left one snapshot and the current journal, not a journal per generation.
    std::size_t journals = 0;
    for (const auto &entry : fs::directory_iterator(dir.path()))
        journals += entry.path().filename().string().starts_with("journal-");
    EXPECT_EQ(journals, 1u);
}

// Multi-location updates build their part of the tree outside the lock; whoever changed that
// part meanwhile must still find its writes in the result.
TEST(RealtimeDurability, ConcurrentMultiLocationUpdatesLoseNothing)
{
    TempDir dir("tailwise-rtdb");
    realtime::Database database(options(dir.path()));
    std::vector<std::thread> writers;
    // Two writers into the same location, each large enough that building takes a while and
    // the writers overlap; single writes beside them.
    for (const int side : {0, 1})
        writers.emplace_back([&database, side] {
            for (int i = 0; i < 50; ++i) {
                Json update;
                for (int k = 0; k < 400; ++k)
                    update["m" + std::to_string(i * 800 + 2 * k + side)] = k;
                database.update({"a"}, update);
            }
        });
    for (int i = 0; i < 300; ++i)
        database.set({"a", "z" + std::to_string(i)}, i);
    for (auto &writer : writers)
        writer.join();
    EXPECT_EQ(read(database, {"a"}).size(), 40'300u);
}

TEST(RealtimeDurability, SnapshotsTakenAtOnceLoseNothing)
{
    TempDir dir("tailwise-rtdb");
    {
        // The maintenance thread snapshots on its own too, as the journal keeps crossing 1 kB.
        realtime::Database database(options(dir.path(), 1024));
        std::atomic<bool> writing{true};
        std::vector<std::thread> snapshotters;
        for (int t = 0; t < 2; ++t)
            snapshotters.emplace_back([&] {
                while (writing)
                    database.snapshot();
            });
        for (int i = 0; i < 300; ++i)
            database.set({"n", std::to_string(i)}, i);
        writing = false;
        for (auto &thread : snapshotters)
            thread.join();
    }
    realtime::Database database(options(dir.path()));
    const Json n = read(database, {"n"});
    EXPECT_EQ(n.size(), 300u);
    EXPECT_EQ(n["299"], 299);
}

// A crash in the middle of a group commit can leave any part of the batch on disk: a torn
// record, a hole of zeros, intact records behind a hole. None of it was acknowledged, since
// acknowledgements wait for the whole batch, so recovery ends the last journal at its first
// damaged record. A journal before the last was complete when the next began: damage there
// is real and fatal.
TEST(RealtimeDurability, TheLastJournalEndsAtItsFirstDamageAndEarlierDamageIsFatal)
{
    struct Case
    {
        const char *name;
        std::function<void(std::string &)> damage;
        int survivors; // of the three writes; -1: recovery refuses
        bool laterJournal = false;
    };
    // The three records have the same size.
    const auto recordSize = [](const std::string &bytes) { return bytes.size() / 3; };
    const std::vector<Case> cases = {
        {"torn in the header", [](std::string &bytes) { bytes.resize(bytes.size() / 3 * 2 + 4); },
         2},
        {"torn in the payload", [](std::string &bytes) { bytes.resize(bytes.size() - 3); }, 2},
        {"last payload corrupt", [](std::string &bytes) { bytes[bytes.size() - 2] ^= 0x55; }, 2},
        {"zeros appended", [](std::string &bytes) { bytes.append(4096, '\0'); }, 3},
        {"a hole before an intact record",
         [&](std::string &bytes) {
             std::fill_n(bytes.begin() + static_cast<long>(recordSize(bytes)), recordSize(bytes),
                         '\0');
         },
         1},
        {"first record corrupt", [](std::string &bytes) { bytes[12] ^= 0x55; }, 0},
        {"damage in a journal before the last", [](std::string &bytes) { bytes[12] ^= 0x55; }, -1,
         true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir("tailwise-rtdb");
        {
            realtime::Database database(options(dir.path()));
            for (int i = 0; i < 3; ++i)
                database.set({"k" + std::to_string(i)}, std::string(40, 'a' + i));
        }
        const fs::path journal = dir.path() / "journal-1.log";
        std::string bytes;
        {
            std::ifstream in(journal, std::ios::binary);
            bytes.assign(std::istreambuf_iterator<char>(in), {});
        }
        c.damage(bytes);
        std::ofstream(journal, std::ios::binary | std::ios::trunc) << bytes;
        if (c.laterJournal)
            std::ofstream(dir.path() / "journal-2.log", std::ios::binary);
        if (c.survivors < 0) {
            EXPECT_THROW(realtime::Database(options(dir.path())), std::runtime_error);
            continue;
        }
        realtime::Database database(options(dir.path()));
        int survivors = 0;
        for (int i = 0; i < 3; ++i) {
            const Json value = read(database, {"k" + std::to_string(i)});
            if (!value.is_null()) {
                EXPECT_EQ(value, std::string(40, 'a' + i));
                ++survivors;
            }
        }
        EXPECT_EQ(survivors, c.survivors);
        // Writing after recovery is safe: the damaged tail is never appended to.
        database.set({"later"}, 1);
    }
}

// ---- The program, killed in the middle of a storm of writes ------------------------------

Json stormValue(int writer, int i)
{
    return {{"writer", writer}, {"i", i}, {"pad", std::string(200 + (i % 7) * 50, 'a' + writer)}};
}

TEST(RealtimeDurability, KillNineMidStormKeepsEveryAcknowledgedWriteAndNoHalfWrite)
{
    TempDir dir("tailwise-rtdb-kill");
    const fs::path errorLog = dir.path() / "stderr.log";
    constexpr int writers = 6;
    std::vector<std::vector<int>> acknowledged(writers);
    {
        ServerProcess server(programArguments(dir.path() / "data"), errorLog);
        const auto endpoint = server.listeningEndpoint("database", 10s);
        ASSERT_TRUE(endpoint) << "no database announcement";

        std::atomic<int> total{0};
        std::vector<std::thread> threads;
        for (int w = 0; w < writers; ++w) {
            threads.emplace_back([&, w] {
                HttpClient client(*endpoint, 2s);
                for (int i = 0; i < 100000; ++i) {
                    // One write, two locations: they must survive or vanish together.
                    const std::string key = "w" + std::to_string(w) + "_" + std::to_string(i);
                    const Json body = {{"a/" + key, stormValue(w, i)},
                                       {"b/" + key, stormValue(w, i)}};
                    net::Request request{verb::patch, "/storm.json", 11};
                    request.body() = body.dump();
                    const HttpReply reply = client.send(std::move(request));
                    if (reply.status == 0)
                        return; // the server is gone
                    if (reply.status / 100 == 2)
                        acknowledged[w].push_back(i);
                    ++total;
                }
            });
        }
        // Kill while the writes are in full flow.
        const auto deadline = Clock::now() + 5s;
        while (total < 400 && Clock::now() < deadline)
            std::this_thread::sleep_for(5ms);
        server.kill();
        for (auto &thread : threads)
            thread.join();
        ASSERT_GE(total.load(), 400) << "the storm never got going";
    }

    ServerProcess server(programArguments(dir.path() / "data"), errorLog);
    const auto endpoint = server.listeningEndpoint("database", 10s);
    ASSERT_TRUE(endpoint) << "no restart";
    const HttpReply stored = HttpClient(*endpoint).get("/storm.json");
    ASSERT_EQ(stored.status, 200u) << stored;
    const Json a = stored.json.value("a", Json::object());
    const Json b = stored.json.value("b", Json::object());
    ASSERT_EQ(a.size(), b.size());
    std::size_t acknowledgedCount = 0;
    for (int w = 0; w < writers; ++w) {
        for (const int i : acknowledged[w]) {
            const std::string key = "w" + std::to_string(w) + "_" + std::to_string(i);
            ASSERT_TRUE(a.contains(key)) << key << " was acknowledged and is lost";
        }
        acknowledgedCount += acknowledged[w].size();
    }
    for (const auto &[key, value] : a.items()) {
        // Whole, in both places; at most the one unanswered write per writer beyond the rest.
        ASSERT_TRUE(b.contains(key)) << key;
        EXPECT_EQ(b[key], value);
        EXPECT_EQ(value, stormValue(value.at("writer"), value.at("i")));
    }
    EXPECT_LE(a.size(), acknowledgedCount + writers);
}

} // namespace
