#include "Journal.h"

#include "http/Json.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>
#include <zlib.h>

namespace tailwise::realtime {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t headerBytes = 8;
constexpr std::size_t maxBatchBytes = 1024 * 1024;
// A record nests its values three arrays deep; snapshots one object deep.
constexpr std::size_t storedNesting = maxDepth + 4;

std::system_error ioError(const std::string &what)
{
    return std::system_error(errno, std::generic_category(), what);
}

void putU32(std::string &out, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out += static_cast<char>((value >> (8 * i)) & 0xff);
}

std::uint32_t getU32(std::string_view bytes)
{
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | static_cast<unsigned char>(bytes[i]);
    return value;
}

void writeAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            throw ioError("journal write");
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void syncDirectory(const fs::path &dir)
{
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        throw ioError("open " + dir.string());
    const int synced = ::fsync(fd);
    ::close(fd);
    if (synced != 0)
        throw ioError("fsync " + dir.string());
}

std::string readFile(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(in), {}};
}

fs::path journalPath(const fs::path &dir, std::uint64_t generation)
{
    return dir / ("journal-" + std::to_string(generation) + ".log");
}

// The generations of the journals in `dir`, ascending.
std::vector<std::uint64_t> journalGenerations(const fs::path &dir)
{
    std::vector<std::uint64_t> generations;
    for (const auto &entry : fs::directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        if (name.size() > 12 && name.starts_with("journal-") && name.ends_with(".log")) {
            const std::string digits = name.substr(8, name.size() - 12);
            if (digits.find_first_not_of("0123456789") == std::string::npos)
                generations.push_back(std::stoull(digits));
        }
    }
    std::sort(generations.begin(), generations.end());
    return generations;
}

} // namespace

std::uint32_t crc32(std::string_view bytes)
{
    uLong crc = ::crc32(0L, Z_NULL, 0);
    // zlib takes at most uInt bytes at a time.
    while (!bytes.empty()) {
        const auto take = static_cast<uInt>(std::min<std::size_t>(bytes.size(), 1u << 30));
        crc = ::crc32(crc, reinterpret_cast<const Bytef *>(bytes.data()), take);
        bytes.remove_prefix(take);
    }
    return static_cast<std::uint32_t>(crc);
}

std::string encodeWrite(const Path &path, const NodePtr &value)
{
    std::string write = "[";
    write += Json(path).dump();
    write += ',';
    appendJson(write, value, Form::stored);
    write += ']';
    return write;
}

std::string encodeRecord(std::uint64_t seq, const std::vector<std::string> &writes)
{
    std::size_t size = 32;
    for (const auto &write : writes)
        size += write.size() + 1;
    std::string payload;
    payload.reserve(size);
    payload += '[';
    payload += std::to_string(seq);
    payload += ",[";
    for (std::size_t i = 0; i < writes.size(); ++i) {
        if (i)
            payload += ',';
        payload += writes[i];
    }
    payload += "]]";
    std::string record;
    record.reserve(headerBytes + payload.size());
    putU32(record, static_cast<std::uint32_t>(payload.size()));
    putU32(record, crc32(payload));
    record += payload;
    return record;
}

Recovered recover(const fs::path &dir)
{
    Recovered state;
    std::uint64_t firstGeneration = 0;
    if (fs::exists(dir / "snapshot.json")) {
        const auto snapshot = net::parseJson(readFile(dir / "snapshot.json"), storedNesting);
        if (!snapshot || !snapshot->is_object())
            throw std::runtime_error("snapshot " + (dir / "snapshot.json").string() +
                                     " is damaged");
        state.root = prepareValue(snapshot->at("root"), 0, 0).value;
        state.seq = snapshot->at("seq").get<std::uint64_t>();
        firstGeneration = snapshot->at("generation").get<std::uint64_t>();
        state.lastGeneration = firstGeneration;
    }
    const auto generations = journalGenerations(dir);
    for (std::size_t g = 0; g < generations.size(); ++g) {
        state.lastGeneration = std::max(state.lastGeneration, generations[g]);
        if (generations[g] < firstGeneration)
            continue;
        const bool lastJournal = g + 1 == generations.size();
        const std::string bytes = readFile(journalPath(dir, generations[g]));
        std::size_t at = 0;
        while (at < bytes.size()) {
            const std::string_view rest = std::string_view(bytes).substr(at);
            const bool complete =
                rest.size() >= headerBytes && rest.size() - headerBytes >= getU32(rest);
            const std::string_view payload =
                complete ? rest.substr(headerBytes, getU32(rest)) : std::string_view();
            const bool intact =
                complete && !payload.empty() && crc32(payload) == getU32(rest.substr(4));
            const auto record = intact ? net::parseJson(payload, storedNesting) : std::nullopt;
            if (!record) {
                if (lastJournal) {
                    state.tornTail = true;
                    state.droppedBytes = rest.size();
                    break;
                }
                throw std::runtime_error("journal " + journalPath(dir, generations[g]).string() +
                                         " is damaged at byte " + std::to_string(at));
            }
            const auto seq = record->at(0).get<std::uint64_t>();
            if (seq > state.seq) {
                for (const auto &write : record->at(1)) {
                    const Path path = write.at(0).get<Path>();
                    state.root =
                        setAt(state.root, path, prepareValue(write.at(1), path.size(), 0).value);
                }
                state.seq = seq;
                ++state.replayed;
            }
            at += headerBytes + payload.size();
        }
    }
    return state;
}

void writeSnapshot(const fs::path &dir, const NodePtr &root, std::uint64_t seq,
                   std::uint64_t generation)
{
    const fs::path temporary = dir / "snapshot.json.tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        throw ioError("open " + temporary.string());
    try {
        // Written as it is produced: a large tree is never held as one text.
        std::string text = R"({"seq":)" + std::to_string(seq) + R"(,"generation":)" +
                           std::to_string(generation) + R"(,"root":)";
        appendJson(text, root, Form::stored, [fd](std::string &full) {
            writeAll(fd, full);
            full.clear();
        });
        text += '}';
        writeAll(fd, text);
        if (::fsync(fd) != 0)
            throw ioError("fsync " + temporary.string());
    } catch (...) {
        ::close(fd);
        throw;
    }
    ::close(fd);
    fs::rename(temporary, dir / "snapshot.json");
    syncDirectory(dir);
    for (const auto old : journalGenerations(dir))
        if (old < generation)
            fs::remove(journalPath(dir, old));
}

Journal::Journal(fs::path dir, std::uint64_t generation, std::uint64_t durableSeq,
                 DurableCallback durable)
    : dir_(std::move(dir)), durable_(std::move(durable)), durableSeq_(durableSeq)
{
    open(generation);
    flusher_ = std::thread([this] { flushLoop(); });
    pthread_setname_np(flusher_.native_handle(), "rtdb-journal");
}

Journal::~Journal()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    work_.notify_all();
    flusher_.join();
    if (fd_ >= 0)
        ::close(fd_);
}

void Journal::open(std::uint64_t generation)
{
    const fs::path path = journalPath(dir_, generation);
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        throw ioError("open " + path.string());
    syncDirectory(dir_);
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = fd;
    size_ = 0;
}

void Journal::append(std::uint64_t seq, std::vector<std::string> writes)
{
    std::size_t bytes = headerBytes;
    for (const auto &write : writes)
        bytes += write.size();
    {
        const std::lock_guard lock(mutex_);
        queued_.emplace_back(seq, std::move(writes));
        size_ += bytes;
    }
    work_.notify_one();
}

void Journal::waitDurable(std::uint64_t seq)
{
    std::unique_lock lock(mutex_);
    done_.wait(lock, [&] { return durableSeq_ >= seq || failed_; });
    if (durableSeq_ < seq)
        throw std::runtime_error("the journal could not be written");
}

void Journal::rotate(std::uint64_t generation)
{
    std::unique_lock lock(mutex_);
    done_.wait(lock, [&] { return (queued_.empty() && !flushing_) || failed_; });
    if (failed_)
        throw std::runtime_error("the journal could not be written");
    open(generation);
}

std::uint64_t Journal::size() const
{
    const std::lock_guard lock(mutex_);
    return size_;
}

void Journal::flushLoop()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        work_.wait(lock, [&] { return stopping_ || !queued_.empty(); });
        if (queued_.empty())
            return;
        // A batch stops before a record that would take it past a megabyte: a small write
        // queued behind a large one then waits for one large flush at most, not for the large
        // one's and every later one's together.
        std::vector<std::pair<std::uint64_t, std::vector<std::string>>> records;
        std::size_t batchBytes = 0;
        while (!queued_.empty()) {
            std::size_t next = 0;
            for (const auto &write : queued_.front().second)
                next += write.size();
            if (!records.empty() && batchBytes + next > maxBatchBytes)
                break;
            batchBytes += next;
            records.push_back(std::move(queued_.front()));
            queued_.pop_front();
        }
        const std::uint64_t upTo = records.back().first;
        const int fd = fd_;
        flushing_ = true;
        lock.unlock();
        bool written = true;
        try {
            std::string batch;
            for (const auto &[seq, writes] : records)
                batch += encodeRecord(seq, writes);
            records.clear();
            writeAll(fd, batch);
            written = ::fdatasync(fd) == 0;
        } catch (const std::exception &) {
            written = false;
        }
        if (written && durable_)
            durable_(upTo);
        lock.lock();
        flushing_ = false;
        // A failed fsync leaves the file's state unknown: refuse every later write too.
        if (written && !failed_)
            durableSeq_ = upTo;
        else
            failed_ = true;
        done_.notify_all();
    }
}

} // namespace tailwise::realtime
