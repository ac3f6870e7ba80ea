#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::realtime::rules {

// A fault in a rules file, at a line and column (both from 1, columns in characters).
class RulesError : public std::runtime_error
{
public:
    RulesError(std::size_t line, std::size_t column, const std::string &message);
    std::size_t line() const { return line_; }
    std::size_t column() const { return column_; }
    // The message without its position.
    const std::string &reason() const { return reason_; }

private:
    std::size_t line_;
    std::size_t column_;
    std::string reason_;
};

// Where each key and value of a JSON text starts, so faults found in its parsed value can be
// reported where the author wrote them. A value is named by the keys (array elements by their
// index) leading to it; a key named twice keeps its last place, as the parsed value keeps the
// last value.
class SourceMap
{
public:
    using Keys = std::vector<std::string>;

    // `text` must be valid JSON nested no deeper than the parser accepted.
    explicit SourceMap(std::string_view text);

    std::size_t keyOffset(const Keys &keys) const;
    std::size_t valueOffset(const Keys &keys) const;
    // The offset of byte `index` of the string value at `keys` once its escapes are undone.
    std::size_t insideString(const Keys &keys, std::size_t index) const;

    RulesError error(std::size_t offset, const std::string &message) const;

    // The value of a JSON text; throws RulesError at the first fault of a text that is not
    // JSON or nests deeper than `maxNesting`.
    static nlohmann::json parse(std::string_view text, std::size_t maxNesting);

private:
    struct Place
    {
        std::size_t key = 0;
        std::size_t value = 0;
    };

    void scanValue(Keys &keys);
    std::string scanString();
    void skipSpace();

    std::string_view text_;
    std::size_t pos_ = 0;
    std::map<Keys, Place> places_;
};

// `code` as UTF-8, appended to `out`; for the texts rules files and expressions hold.
void appendUtf8(std::string &out, char32_t code);

} // namespace tailwise::realtime::rules
