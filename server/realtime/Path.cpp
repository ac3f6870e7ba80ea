#include "Path.h"

#include "http/Json.h"

#include <optional>

namespace tailwise::realtime {
namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

Refusal badPath(const std::string &why)
{
    return Refusal(net::http::status::bad_request, "Invalid path: " + why);
}

Path splitKeys(std::string_view text, bool decode)
{
    Path path;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t slash = std::min(text.find('/', start), text.size());
        const std::string_view segment = text.substr(start, slash - start);
        start = slash + 1;
        if (segment.empty())
            continue;
        std::string key(segment);
        if (decode) {
            auto decoded = percentDecode(segment);
            if (!decoded)
                throw badPath("malformed percent escape in '" + net::printable(segment) + "'");
            key = std::move(*decoded);
        }
        if (const std::string problem = keyProblem(key); !problem.empty())
            throw badPath(problem);
        path.push_back(std::move(key));
        if (path.size() > maxDepth)
            throw badPath("deeper than " + std::to_string(maxDepth) + " levels");
    }
    return path;
}

} // namespace

bool validUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t extra = 0;
        char32_t code = 0;
        if (lead < 0x80) {
            ++i;
            continue;
        } else if ((lead & 0xe0) == 0xc0) {
            extra = 1;
            code = lead & 0x1f;
        } else if ((lead & 0xf0) == 0xe0) {
            extra = 2;
            code = lead & 0x0f;
        } else if ((lead & 0xf8) == 0xf0) {
            extra = 3;
            code = lead & 0x07;
        } else {
            return false;
        }
        if (i + extra >= text.size())
            return false;
        for (std::size_t k = 1; k <= extra; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xc0) != 0x80)
                return false;
            code = (code << 6) | (next & 0x3f);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
        static constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
        if (code < smallest[extra] || code > 0x10ffff || (code >= 0xd800 && code <= 0xdfff))
            return false;
        i += extra + 1;
    }
    return true;
}

std::string keyProblem(std::string_view key)
{
    if (key.empty())
        return "a key must not be empty";
    if (key.size() > maxKeyBytes)
        return "a key must be at most " + std::to_string(maxKeyBytes) + " bytes";
    for (const char c : key) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 32 || byte == 127)
            return "keys must not contain control characters";
        if (c == '.' || c == '$' || c == '#' || c == '[' || c == ']' || c == '/')
            return "key '" + net::printable(key) + "' contains one of . $ # [ ] /";
    }
    if (!validUtf8(key))
        return "keys must be UTF-8";
    return {};
}

std::optional<std::string> percentDecode(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        if (i + 2 >= text.size())
            return std::nullopt;
        const int high = hexValue(text[i + 1]);
        const int low = hexValue(text[i + 2]);
        if (high < 0 || low < 0)
            return std::nullopt;
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return out;
}

Path parseUrlPath(std::string_view urlPath)
{
    constexpr std::string_view suffix = ".json";
    if (urlPath.size() < suffix.size() || urlPath.substr(urlPath.size() - suffix.size()) != suffix)
        throw badPath("locations are addressed as /<path>.json");
    return splitKeys(urlPath.substr(0, urlPath.size() - suffix.size()), true);
}

Path parseRelativePath(std::string_view text)
{
    return splitKeys(text, false);
}

std::string pathText(const Path &path)
{
    if (path.empty())
        return "/";
    std::string text;
    for (const auto &key : path)
        text += '/' + key;
    return text;
}

bool isPrefix(const Path &prefix, const Path &path)
{
    return prefix.size() <= path.size() && std::equal(prefix.begin(), prefix.end(), path.begin());
}

Path join(const Path &base, const Path &rest)
{
    Path joined = base;
    joined.insert(joined.end(), rest.begin(), rest.end());
    return joined;
}

} // namespace tailwise::realtime
