#include "Messages.h"

#include <charconv>

namespace tailwise::fanout {
namespace {

// The keys of the sequence number and the send time: a bench message's, a chat message's.
constexpr std::pair<std::string_view, std::string_view> stampKeys[] = {
    {"\"bench_seq\"", "\"sent_ns\""},
    {"\"image_pos\"", "\"timestamp\""},
};
// Far beyond any line a message travels on; a longer one is not ours and is dropped rather
// than kept growing.
constexpr std::size_t maxLineBytes = 16 * 1024 * 1024;

// The integer after `"key"` at `at`: optional blanks, a colon, optional blanks, digits.
template <typename Int>
bool numberAfterKey(std::string_view line, std::size_t at, std::size_t keySize, Int &value)
{
    std::size_t i = at + keySize;
    const auto skipBlanks = [&] {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t'))
            ++i;
    };
    skipBlanks();
    if (i >= line.size() || line[i] != ':')
        return false;
    ++i;
    skipBlanks();
    const auto [end, ec] = std::from_chars(line.data() + i, line.data() + line.size(), value);
    return ec == std::errc{} && end != line.data() + i;
}

void scanLine(std::string_view line, std::vector<Stamp> &found)
{
    for (const auto &[seqKey, sentKey] : stampKeys) {
        for (auto at = line.find(seqKey); at != line.npos; at = line.find(seqKey, at + 1)) {
            Stamp stamp;
            if (!numberAfterKey(line, at, seqKey.size(), stamp.seq))
                continue;
            const auto sent = line.find(sentKey, at);
            if (sent != line.npos && numberAfterKey(line, sent, sentKey.size(), stamp.sentNs))
                found.push_back(stamp);
        }
    }
}

} // namespace

std::string benchMessage(std::uint64_t seq, std::int64_t sentNs, std::string_view text)
{
    std::string message = "{\"bench_seq\":";
    message += std::to_string(seq);
    message += ",\"sent_ns\":";
    message += std::to_string(sentNs);
    message += ",\"text\":\"";
    message += text;
    message += "\"}";
    return message;
}

std::string chatMessage(std::uint64_t seq, std::int64_t sentNs, std::string_view text,
                        std::string_view sender, std::string_view receiver)
{
    std::string message = "{\"file_url\":\"NOTSET\",\"image_pos\":";
    message += std::to_string(seq);
    message += ",\"isSent\":false,\"message\":\"";
    message += text;
    message += "\",\"message_type\":\"text\",\"receiverId\":\"";
    message += receiver;
    message += "\",\"timestamp\":";
    message += std::to_string(sentNs);
    message += ",\"user_id\":\"";
    message += sender;
    message += "\"}";
    return message;
}

void MessageScanner::feed(std::string_view bytes, std::vector<Stamp> &found)
{
    while (!bytes.empty()) {
        const auto newline = bytes.find('\n');
        if (newline == bytes.npos) {
            if (partial_.size() + bytes.size() > maxLineBytes)
                partial_.clear();
            else
                partial_.append(bytes);
            return;
        }
        if (partial_.empty()) {
            scanLine(bytes.substr(0, newline), found);
        } else {
            partial_.append(bytes.substr(0, newline));
            scanLine(partial_, found);
            partial_.clear();
        }
        bytes.remove_prefix(newline + 1);
    }
}

} // namespace tailwise::fanout
