#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tailwise::net {

using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;

// True when no array or object in `text` is nested more than `limit` deep. A byte scan that
// needs no stack: run it before anything that recurses over the value (copying, comparing,
// printing, converting) ever sees it.
bool nestingWithin(std::string_view text, std::size_t limit);

// The value of a JSON text, or nullopt when the text is not JSON (invalid UTF-8 and numbers
// out of range included) or nests deeper than `maxDepth`. Objects come sorted by key, or as
// an OrderedJson in the order the client wrote them.
template <typename Value = Json>
std::optional<Value> parseJson(std::string_view text, std::size_t maxDepth);
extern template std::optional<Json> parseJson<Json>(std::string_view, std::size_t);
extern template std::optional<OrderedJson> parseJson<OrderedJson>(std::string_view, std::size_t);

// The text of a value for an answer. Bytes that are not UTF-8 (data stored before inputs were
// checked) become U+FFFD instead of failing the answer.
std::string dumpJson(const Json &value, int indent = -1);

// A client's text made fit to quote in a message: printable ASCII only (anything else becomes
// '?'), cut to `maxBytes` with "..." when longer.
std::string printable(std::string_view text, std::size_t maxBytes = 64);

} // namespace tailwise::net
