// Partner search latency: the R*Tree search against a full scan of the same users, side by
// side in one run, for growing numbers of users spread over Germany.
//
//   tailwise-search-bench [QUERIES]     (default 200 queries per size)
#include "backend/PartnerSearch.h"
#include "backend/Sqlite.h"
#include "backend/UserStore.h"
#include "bench/loadgen/Histogram.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>

using namespace tailwise;
using Clock = std::chrono::steady_clock;

namespace {

void addUsers(backend::UserStore &users, int count, std::mt19937 &random)
{
    std::uniform_real_distribution<double> latitude(47.3, 55.0);
    std::uniform_real_distribution<double> longitude(5.9, 15.0);
    users.locked([&](backend::Connection &connection) {
        backend::Transaction transaction(connection);
        auto insert = connection.prepare(
            "INSERT INTO users (email, register_type, name, gender, latitude, longitude, "
            "last_seen, created_at) VALUES (?1, 'manual', ?2, ?3, ?4, ?5, 0, 0)");
        for (int i = 0; i < count; ++i) {
            const std::string name = "user" + std::to_string(i);
            insert.bind(1, name + "@example.com")
                .bind(2, name)
                .bind(3, i % 2 ? "male" : "female")
                .bind(4, latitude(random))
                .bind(5, longitude(random))
                .run();
        }
        transaction.commit();
    });
}

} // namespace

int main(int argc, char **argv)
{
    const int queries = argc > 1 ? std::atoi(argv[1]) : 200;
    if (queries < 1 || queries > 100000) {
        std::fprintf(stderr, "usage: tailwise-search-bench [QUERIES 1-100000]\n");
        return 2;
    }
    std::printf("| users | indexed p50 ms | indexed p99 ms | full scan p50 ms | full scan p99 ms | "
                "p50 ratio |\n|---:|---:|---:|---:|---:|---:|\n");
    std::mt19937 random(42);
    for (const int size : {1000, 10000, 100000}) {
        const auto dir = std::filesystem::temp_directory_path() /
                         ("tailwise-search-bench-" + std::to_string(::getpid()));
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
        {
            backend::UserStore users((dir / "bench.sqlite3").string());
            addUsers(users, size, random);
            backend::PartnerSearch search(users);
            loadgen::LatencyHistogram indexed, scanned;
            std::uniform_int_distribution<std::int64_t> viewer(1, size);
            for (int q = 0; q < queries; ++q) {
                backend::PartnerQuery query;
                query.viewerId = viewer(random);
                query.gender = q % 3 == 0 ? "male" : "all";
                query.pageSize = backend::PartnerQuery::maxPageSize;
                const auto t0 = Clock::now();
                const auto fast = search.find(query);
                const auto t1 = Clock::now();
                const auto slow = search.findByFullScan(query);
                const auto t2 = Clock::now();
                if (fast.size() != slow.size() || fast.front().user.id != slow.front().user.id ||
                    fast.back().user.id != slow.back().user.id) {
                    std::fprintf(stderr, "indexed and full-scan answers differ for viewer %lld\n",
                                 static_cast<long long>(query.viewerId));
                    return 1;
                }
                indexed.record(std::chrono::duration_cast<std::chrono::microseconds>(t1 - t0));
                scanned.record(std::chrono::duration_cast<std::chrono::microseconds>(t2 - t1));
            }
            const auto ms = [](std::uint64_t micros) { return micros / 1000.0; };
            std::printf(
                "| %d | %.2f | %.2f | %.2f | %.2f | %.1fx |\n", size,
                ms(indexed.percentileMicros(50)), ms(indexed.percentileMicros(99)),
                ms(scanned.percentileMicros(50)), ms(scanned.percentileMicros(99)),
                static_cast<double>(scanned.percentileMicros(50)) /
                    static_cast<double>(std::max<std::uint64_t>(1, indexed.percentileMicros(50))));
            std::fflush(stdout);
        }
        std::filesystem::remove_all(dir);
    }
    std::printf("\n%d queries per size, each answered both ways (the %zu nearest partners; a "
                "third filtered by gender).\n",
                queries, backend::PartnerQuery::maxPageSize);
    return 0;
}
