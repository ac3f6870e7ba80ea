#pragma once

#include "Tree.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tailwise::realtime {

// On disk, in the database's directory:
//   snapshot.json          {"seq": S, "generation": G, "root": <tree>}: the state after write S;
//                          journals from generation G on hold what came after it
//   journal-<G>.log        records: u32 length, u32 CRC-32 of the payload (both little
//                          endian), payload = JSON [seq, [[[key, ...], value], ...]]
// A record is one acknowledged write (every location it set, in order).

std::uint32_t crc32(std::string_view bytes);
// One write of a record: [[key, ...], value], the value in stored form.
std::string encodeWrite(const Path &path, const NodePtr &value);
// A whole record as appended: header and payload.
std::string encodeRecord(std::uint64_t seq, const std::vector<std::string> &writes);

struct Recovered
{
    NodePtr root;
    std::uint64_t seq = 0;
    std::uint64_t lastGeneration = 0; // the highest generation found, 0 when none
    std::size_t replayed = 0;
    bool tornTail = false;
    std::size_t droppedBytes = 0; // of the last journal, from its first damaged record on
};

// Loads the snapshot and replays the journals after it. The last journal ends where its first
// damaged record begins: records are acknowledged only once everything before them is on disk,
// so a damaged record and anything after it were never acknowledged (a crash in the middle of
// a group commit can leave a hole with intact records behind it). Damage in an earlier
// journal, which was complete before the next one began, throws.
Recovered recover(const std::filesystem::path &dir);

// Atomically replaces the snapshot (temporary file, fsync, rename, fsync of the directory),
// then deletes the journals it makes redundant (generations below `generation`).
void writeSnapshot(const std::filesystem::path &dir, const NodePtr &root, std::uint64_t seq,
                   std::uint64_t generation);

// The append side: records are queued in memory by writers and made durable by one flusher
// thread, which writes everything queued so far and fsyncs once for all of it (group commit).
class Journal
{
public:
    // Called on the flusher thread, in order, once records up to `seq` are durable.
    using DurableCallback = std::function<void(std::uint64_t seq)>;

    // `durableSeq`: the last write already on disk (recovered), so waits for it return.
    Journal(std::filesystem::path dir, std::uint64_t generation, std::uint64_t durableSeq,
            DurableCallback durable);
    ~Journal(); // flushes what is queued
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    // Records must be appended in increasing seq order; `writes` come from encodeWrite. Never
    // blocks on the disk; the record is framed and checksummed on the flusher thread.
    void append(std::uint64_t seq, std::vector<std::string> writes);
    // Blocks until the record `seq` is on disk; throws std::runtime_error when the disk failed.
    void waitDurable(std::uint64_t seq);
    // Makes everything queued durable, then starts journal-<generation>.log for what follows.
    void rotate(std::uint64_t generation);
    // Bytes appended to the current generation.
    std::uint64_t size() const;

private:
    void flushLoop();
    void open(std::uint64_t generation);

    std::filesystem::path dir_;
    DurableCallback durable_;
    mutable std::mutex mutex_;
    std::condition_variable work_;
    std::condition_variable done_;
    std::deque<std::pair<std::uint64_t, std::vector<std::string>>> queued_;
    std::uint64_t durableSeq_ = 0;
    std::uint64_t size_ = 0;
    bool flushing_ = false;
    bool stopping_ = false;
    bool failed_ = false;
    int fd_ = -1;
    std::thread flusher_;
};

} // namespace tailwise::realtime
