#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::fanout {

// What the writers send: {"bench_seq":N,"sent_ns":T,"text":"..."}, T on the generator's
// steady clock. The keys are in alphabetical order, so a server that re-serialises the object
// with sorted keys (tailwise-server does) keeps them as they were.
std::string benchMessage(std::uint64_t seq, std::int64_t sentNs, std::string_view text);

// The same in the shape of a chat message: {"file_url":"NOTSET","image_pos":N,"isSent":false,
// "message":"...","message_type":"text","receiverId":"R","timestamp":T,"user_id":"S"}. The
// sequence number rides in "image_pos" and the send time in "timestamp", the message's only
// number fields, so the scanner finds them without keys the rules would refuse.
std::string chatMessage(std::uint64_t seq, std::int64_t sentNs, std::string_view text,
                        std::string_view sender, std::string_view receiver);

struct Stamp
{
    std::uint64_t seq = 0;
    std::int64_t sentNs = 0;
    bool operator==(const Stamp &) const = default;
};

// Finds the writers' messages, of either shape, in what a listener receives, whatever wraps
// them: an SSE `data:`
// line, a CouchDB changes line with the document inside, a RESP bulk string. Every system
// keeps a message on one line, so the scanner works line by line and only an unfinished line
// is carried from one read to the next.
class MessageScanner
{
public:
    // Appends every message completed by `bytes` to `found`, in order of arrival.
    void feed(std::string_view bytes, std::vector<Stamp> &found);

private:
    std::string partial_;
};

} // namespace tailwise::fanout
