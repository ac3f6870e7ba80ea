// The app's event stream parser on a stream that arrives whole, in chunks cut where the
// fuzzer says (the input's last bytes), and a byte at a time: the events must not depend on
// where the network cut the stream.

#include "Check.h"
#include "Platform/EventStreamParser.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>

namespace {

using Events = QList<EventStreamParser::Event>;

Events inChunks(EventStreamParser &parser, const QByteArray &stream,
                const std::vector<std::size_t> &cuts)
{
    Events events;
    qsizetype at = 0;
    for (const std::size_t length : cuts) {
        const auto chunk = std::min<qsizetype>(static_cast<qsizetype>(length), stream.size() - at);
        events += parser.feed(stream.mid(at, chunk));
        at += chunk;
    }
    events += parser.feed(stream.mid(at));
    return events;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzedDataProvider provider(data, size);
    std::vector<std::size_t> cuts(provider.ConsumeIntegralInRange<std::size_t>(0, 8));
    for (auto &length : cuts)
        length = provider.ConsumeIntegralInRange<std::size_t>(0, 64);
    const std::string rest = provider.ConsumeRemainingBytesAsString();
    const QByteArray stream(rest.data(), static_cast<qsizetype>(rest.size()));

    EventStreamParser whole;
    const Events expected = whole.feed(stream);
    for (const auto &event : expected) {
        FUZZ_CHECK(!event.name.isEmpty(), "every event has a name");
        FUZZ_CHECK(!event.name.contains('\n') && !event.name.contains('\r'), "a name is one line");
        FUZZ_CHECK(!event.data.contains('\r'), "data lines are joined with \\n only");
    }

    EventStreamParser chunked;
    FUZZ_CHECK(inChunks(chunked, stream, cuts) == expected, "chunks give the same events");
    // A parser reset mid-event starts afresh, as a new one would.
    chunked.reset();
    FUZZ_CHECK(chunked.feed(stream) == expected, "a reset parser gives the same events");

    EventStreamParser bytewise;
    Events events;
    for (const char c : stream)
        events += bytewise.feed(QByteArray(1, c));
    FUZZ_CHECK(events == expected, "byte by byte gives the same events");
    return 0;
}
