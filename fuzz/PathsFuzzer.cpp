// Locations as clients name them: a URL path, a relative path in an update or orderBy, a key.
// Whatever is accepted must satisfy the key rules, checked here independently of Path.cpp
// (UTF-8 by nlohmann's strict encoder).

#include "Check.h"
#include "realtime/Path.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <string>

using namespace tailwise::realtime;

namespace {

bool utf8(std::string_view text)
{
    try {
        (void)nlohmann::json(std::string(text)).dump();
        return true;
    } catch (const nlohmann::json::type_error &) {
        return false;
    }
}

bool followsKeyRules(std::string_view key)
{
    const bool allowedBytes = std::ranges::none_of(key, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f ||
               std::string_view(".$#[]/").find(c) != std::string_view::npos;
    });
    return !key.empty() && key.size() <= maxKeyBytes && allowedBytes && utf8(key);
}

std::string percentEncoded(std::string_view text)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        out += '%';
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out;
}

void checkPath(const Path &path)
{
    FUZZ_CHECK(path.size() <= maxDepth, "a path is at most maxDepth keys deep");
    for (const auto &key : path)
        FUZZ_CHECK(followsKeyRules(key), "every key of an accepted path follows the key rules");
    // Accepted paths print and read back unchanged, in both notations.
    FUZZ_CHECK(parseRelativePath(pathText(path)) == path, "a path reads back from its text");
    std::string url;
    for (const auto &key : path)
        url += '/' + percentEncoded(key);
    FUZZ_CHECK(parseUrlPath(url + ".json") == path, "a path reads back from its URL");
}

template <typename Parse>
void tryPath(Parse parse)
{
    try {
        checkPath(parse());
    } catch (const Refusal &) {
        // 400 for the client.
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char *>(data), size);

    const bool valid = utf8(input);
    FUZZ_CHECK(validUtf8(input) == valid, "validUtf8 agrees with the JSON encoder");
    FUZZ_CHECK(keyProblem(input).empty() == followsKeyRules(input),
               "keyProblem accepts exactly the keys that follow the rules");

    if (const auto decoded = percentDecode(input)) {
        const auto escapes = static_cast<std::size_t>(std::ranges::count(input, '%'));
        FUZZ_CHECK(decoded->size() + 2 * escapes == input.size(), "an escape is three bytes");
        FUZZ_CHECK(percentDecode(percentEncoded(*decoded)) == decoded, "decoding undoes encoding");
    }

    tryPath([&] { return parseUrlPath(input); });
    tryPath([&] { return parseRelativePath(input); });
    return 0;
}
