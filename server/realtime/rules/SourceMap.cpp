#include "SourceMap.h"

#include <nlohmann/json.hpp>

namespace tailwise::realtime::rules {
namespace {

struct LineColumn
{
    std::size_t line = 1;
    std::size_t column = 1;
};

LineColumn lineColumn(std::string_view text, std::size_t offset)
{
    LineColumn at;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++at.line;
            at.column = 1;
        } else if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) {
            ++at.column;
        }
    }
    return at;
}

unsigned hex4(std::string_view text, std::size_t at)
{
    unsigned code = 0;
    for (std::size_t i = at; i < at + 4 && i < text.size(); ++i) {
        const char h = text[i];
        code = code * 16 + static_cast<unsigned>(h <= '9' ? h - '0' : (h | 0x20) - 'a' + 10);
    }
    return code;
}

// An escape at `at` (the backslash) of valid JSON: how many bytes it takes in the text and how
// many its UTF-8 value takes.
std::pair<std::size_t, std::size_t> escapeSize(std::string_view text, std::size_t at)
{
    if (text[at + 1] != 'u')
        return {2, 1};
    const unsigned code = hex4(text, at + 2);
    if (code >= 0xd800 && code <= 0xdbff)
        return {12, 4};
    return {6, code < 0x80 ? 1u : code < 0x800 ? 2u : 3u};
}

} // namespace

void appendUtf8(std::string &out, char32_t code)
{
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xc0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3f));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xe0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3f));
        out += static_cast<char>(0x80 | (code & 0x3f));
    } else {
        out += static_cast<char>(0xf0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3f));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3f));
        out += static_cast<char>(0x80 | (code & 0x3f));
    }
}

RulesError::RulesError(std::size_t line, std::size_t column, const std::string &message)
    : std::runtime_error("line " + std::to_string(line) + ", column " + std::to_string(column) +
                         ": " + message),
      line_(line), column_(column), reason_(message)
{}

SourceMap::SourceMap(std::string_view text) : text_(text)
{
    Keys keys;
    scanValue(keys);
}

void SourceMap::skipSpace()
{
    while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' ||
                                   text_[pos_] == '\r' || text_[pos_] == '\n'))
        ++pos_;
}

// Recursion follows the text's nesting, which the parser has already bounded.
void SourceMap::scanValue(Keys &keys)
{
    skipSpace();
    places_[keys].value = pos_;
    const char open = text_[pos_];
    if (open == '"') {
        scanString();
        return;
    }
    if (open != '{' && open != '[') {
        while (pos_ < text_.size() &&
               std::string_view(",]} \t\r\n").find(text_[pos_]) == std::string_view::npos)
            ++pos_;
        return;
    }
    ++pos_;
    const char close = open == '{' ? '}' : ']';
    for (std::size_t index = 0;; ++index) {
        skipSpace();
        if (text_[pos_] == close)
            break;
        if (open == '{') {
            const std::size_t keyAt = pos_;
            keys.push_back(scanString());
            places_[keys].key = keyAt;
            skipSpace();
            ++pos_; // ':'
        } else {
            keys.push_back(std::to_string(index));
            places_[keys].key = pos_;
        }
        scanValue(keys);
        keys.pop_back();
        skipSpace();
        if (text_[pos_] == ',')
            ++pos_;
    }
    ++pos_;
}

std::string SourceMap::scanString()
{
    std::string value;
    ++pos_;
    while (text_[pos_] != '"') {
        if (text_[pos_] != '\\') {
            value += text_[pos_++];
            continue;
        }
        const std::size_t bytes = escapeSize(text_, pos_).first;
        const char kind = text_[pos_ + 1];
        if (kind == 'u') {
            char32_t code = hex4(text_, pos_ + 2);
            if (bytes == 12)
                code = 0x10000 + ((code - 0xd800) << 10) + (hex4(text_, pos_ + 8) - 0xdc00);
            appendUtf8(value, code);
        } else {
            const std::string_view from = "bfnrt", to = "\b\f\n\r\t";
            const std::size_t known = from.find(kind);
            value += known == std::string_view::npos ? kind : to[known];
        }
        pos_ += bytes;
    }
    ++pos_;
    return value;
}

std::size_t SourceMap::keyOffset(const Keys &keys) const
{
    const auto place = places_.find(keys);
    return place == places_.end() ? 0 : place->second.key;
}

std::size_t SourceMap::valueOffset(const Keys &keys) const
{
    const auto place = places_.find(keys);
    return place == places_.end() ? 0 : place->second.value;
}

std::size_t SourceMap::insideString(const Keys &keys, std::size_t index) const
{
    std::size_t at = valueOffset(keys) + 1;
    std::size_t decoded = 0;
    while (at < text_.size() && text_[at] != '"') {
        std::size_t bytes = 1, produced = 1;
        if (text_[at] == '\\')
            std::tie(bytes, produced) = escapeSize(text_, at);
        if (decoded + produced > index)
            return at;
        decoded += produced;
        at += bytes;
    }
    return at;
}

RulesError SourceMap::error(std::size_t offset, const std::string &message) const
{
    const LineColumn at = lineColumn(text_, offset);
    return RulesError(at.line, at.column, message);
}

nlohmann::json SourceMap::parse(std::string_view text, std::size_t maxNesting)
{
    // The nesting first, so the parser below never recurses deeper than allowed.
    std::size_t depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > maxNesting) {
                const LineColumn at = lineColumn(text, i);
                throw RulesError(at.line, at.column, "Rules nest too deeply");
            }
        } else if ((c == '}' || c == ']') && depth > 0) {
            --depth;
        }
    }
    try {
        return nlohmann::json::parse(text);
    } catch (const nlohmann::json::parse_error &e) {
        // The library's message repeats the position; keep only what went wrong.
        std::string what = e.what();
        if (const auto column = what.find("column"); column != std::string::npos) {
            if (const auto colon = what.find(": ", column); colon != std::string::npos)
                what = what.substr(colon + 2);
        }
        const LineColumn at = lineColumn(text, e.byte > 0 ? e.byte - 1 : 0);
        throw RulesError(at.line, at.column, "Invalid JSON: " + what);
    }
}

} // namespace tailwise::realtime::rules
