#include "Json.h"

namespace tailwise::net {

bool nestingWithin(std::string_view text, std::size_t limit)
{
    std::size_t depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : text) {
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
            continue;
        }
        if (c == '"')
            inString = true;
        else if (c == '[' || c == '{') {
            if (++depth > limit)
                return false;
        } else if ((c == ']' || c == '}') && depth > 0)
            --depth;
    }
    return true;
}

template <typename Value>
std::optional<Value> parseJson(std::string_view text, std::size_t maxDepth)
{
    if (!nestingWithin(text, maxDepth))
        return std::nullopt;
    Value value = Value::parse(text, nullptr, false);
    if (value.is_discarded())
        return std::nullopt;
    return value;
}

template std::optional<Json> parseJson<Json>(std::string_view, std::size_t);
template std::optional<OrderedJson> parseJson<OrderedJson>(std::string_view, std::size_t);

std::string dumpJson(const Json &value, int indent)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

std::string printable(std::string_view text, std::size_t maxBytes)
{
    std::string out;
    for (const char c : text.substr(0, maxBytes)) {
        const auto byte = static_cast<unsigned char>(c);
        out += byte >= 0x20 && byte < 0x7f ? c : '?';
    }
    if (text.size() > maxBytes)
        out += "...";
    return out;
}

} // namespace tailwise::net
