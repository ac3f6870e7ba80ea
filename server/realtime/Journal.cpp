#include "Journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace tailwise::realtime {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t headerBytes = 8;

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
    static const auto table = [] {
        std::array<std::uint32_t, 256> entries{};
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::uint32_t value = i;
            for (int bit = 0; bit < 8; ++bit)
                value = (value & 1) ? 0xedb88320u ^ (value >> 1) : value >> 1;
            entries[i] = value;
        }
        return entries;
    }();
    std::uint32_t crc = 0xffffffffu;
    for (const char c : bytes)
        crc = table[(crc ^ static_cast<unsigned char>(c)) & 0xff] ^ (crc >> 8);
    return crc ^ 0xffffffffu;
}

std::string encodeRecord(std::uint64_t seq, const std::vector<std::pair<Path, Json>> &writes)
{
    Json list = Json::array();
    for (const auto &[path, value] : writes)
        list.push_back(Json::array({path, value}));
    const std::string payload = Json::array({seq, std::move(list)}).dump();
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
        const Json snapshot = Json::parse(readFile(dir / "snapshot.json"));
        state.root = snapshot.at("root");
        state.seq = snapshot.at("seq").get<std::uint64_t>();
        firstGeneration = snapshot.at("generation").get<std::uint64_t>();
        state.lastGeneration = firstGeneration;
    }
    Tree tree;
    tree.set({}, state.root);
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
            if (!intact) {
                // A crash can leave a partial record, or a tail of zeros the file system had
                // already allotted; anything after a bad record means real damage.
                const bool atEnd = !complete || at + headerBytes + payload.size() == bytes.size() ||
                                   rest.find_first_not_of('\0') == std::string_view::npos;
                if (lastJournal && atEnd) {
                    state.tornTail = true;
                    break;
                }
                throw std::runtime_error("journal " + journalPath(dir, generations[g]).string() +
                                         " is damaged at byte " + std::to_string(at));
            }
            const Json record = Json::parse(payload);
            const auto seq = record.at(0).get<std::uint64_t>();
            if (seq > state.seq) {
                for (const auto &write : record.at(1))
                    tree.set(write.at(0).get<Path>(), write.at(1));
                state.seq = seq;
                ++state.replayed;
            }
            at += headerBytes + payload.size();
        }
    }
    state.root = tree.root();
    return state;
}

void writeSnapshot(const fs::path &dir, const Json &root, std::uint64_t seq,
                   std::uint64_t generation)
{
    const std::string text = Json{{"seq", seq}, {"generation", generation}, {"root", root}}.dump();
    const fs::path temporary = dir / "snapshot.json.tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        throw ioError("open " + temporary.string());
    try {
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
    : dir_(std::move(dir)), durable_(std::move(durable)), queuedSeq_(durableSeq),
      durableSeq_(durableSeq)
{
    open(generation);
    flusher_ = std::thread([this] { flushLoop(); });
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

void Journal::append(std::uint64_t seq, std::string record)
{
    {
        const std::lock_guard lock(mutex_);
        queued_ += record;
        queuedSeq_ = seq;
        size_ += record.size();
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
        std::string batch;
        batch.swap(queued_);
        const std::uint64_t upTo = queuedSeq_;
        const int fd = fd_;
        flushing_ = true;
        lock.unlock();
        bool written = true;
        try {
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
