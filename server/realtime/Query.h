#pragma once

#include "Tree.h"

#include <chrono>
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

// One end of a query's range, in the query's order: children ordered before the start or
// after the end are left out. Among children whose value equals `value`, the key decides where
// the range ends (orderBy "$key" has the key as its value and no edge).
struct Bound
{
    enum class Edge
    {
        beforeEveryKey, // startAt=v, endBefore=v, "[MIN_NAME]"
        key,            // startAt=v,"k" and the like
        afterEveryKey   // endAt=v, startAfter=v, "[MAX_NAME]"
    };
    Json value;
    Edge edge = Edge::beforeEveryKey;
    std::string key; // for Edge::key
    bool inclusive = true;
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
    std::optional<Bound> start, end;
    std::optional<std::size_t> limitToFirst, limitToLast;
    // Children replaced by `true`; with a range or limit, a page of the keys in key order.
    bool shallow = false;

    bool filters() const { return order != Order::none || selects(); }
    // Whether a stream needs the query: an order alone selects every child.
    bool selects() const { return start || end || limitToFirst || limitToLast; }
    // Equal for queries that give the same result.
    std::string canonical() const;
};

// What a request's query string asks for besides the query itself.
struct RequestOptions
{
    Query query;
    Print print = Print::normal;
    // A read that takes longer is answered 400 instead (`timeout=`; reads only).
    std::optional<std::chrono::milliseconds> timeout;
    // Writes that would write and replace more bytes than this together are refused
    // (`writeSizeLimit=`); none: unlimited.
    std::optional<std::size_t> writeSizeLimit;
};

// The decoded parameters of a request target's query string; later duplicates win.
std::map<std::string, std::string> queryParameters(std::string_view target);

// Throws Refusal (400) with the reason for a malformed or contradictory query, and for a
// parameter this server does not implement: an ignored parameter would change the answer's
// meaning behind the client's back.
RequestOptions parseRequestOptions(const std::map<std::string, std::string> &parameters);

// The query's result over the value stored at a location, in stored form; nullptr when
// nothing matches. The result shares its children with the location.
NodePtr applyQuery(const NodePtr &stored, const Query &query);

} // namespace tailwise::realtime
