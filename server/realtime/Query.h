#pragma once

#include "Tree.h"

#include <map>
#include <optional>
#include <string>

namespace tailwise::realtime {

// orderBy="$value" / "<child>" order of two values: null (or missing), false, true, numbers,
// strings, objects; 0 for values of equal rank that do not order among themselves.
int compareValues(const Json *a, const Json *b);

enum class Print
{
    normal,
    pretty,
    silent
};

struct Query
{
    enum class Order
    {
        none,
        key,
        value,
        child
    };

    Order order = Order::none;
    Path orderChild; // for Order::child
    std::optional<Json> startAt, endAt, equalTo;
    std::optional<std::size_t> limitToFirst, limitToLast;
    bool shallow = false;
    Print print = Print::normal;

    bool filters() const
    {
        return order != Order::none || startAt || endAt || equalTo || limitToFirst || limitToLast;
    }
    // Whether a stream needs the query: an order alone selects every child.
    bool selects() const { return startAt || endAt || equalTo || limitToFirst || limitToLast; }
    // Equal for queries that give the same result.
    std::string canonical() const;
};

// The decoded parameters of a request target's query string; later duplicates win.
std::map<std::string, std::string> queryParameters(std::string_view target);

// Throws Refusal (400) with the reason for a malformed or contradictory query.
Query parseQuery(const std::map<std::string, std::string> &parameters);

// The query's result over the value stored at a location, in stored form; nullptr when
// nothing matches. The result shares its children with the location.
NodePtr applyQuery(const NodePtr &stored, const Query &query);

} // namespace tailwise::realtime
