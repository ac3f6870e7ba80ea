#include "Query.h"

#include "http/Json.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <set>

namespace tailwise::realtime {
namespace {

using net::http::status;

int sign(auto difference)
{
    return difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

int rank(const Json *value)
{
    if (!value || value->is_null())
        return 0;
    if (value->is_boolean())
        return value->get<bool>() ? 2 : 1;
    if (value->is_number())
        return 3;
    if (value->is_string())
        return 4;
    return 5;
}

template <typename Number>
int threeWay(Number a, Number b)
{
    return a < b ? -1 : a > b ? 1 : 0;
}

// JSON integers arrive as std::uint64_t when not negative, as std::int64_t when negative.
int compareIntegers(const Json &a, const Json &b)
{
    const bool aNegative = !a.is_number_unsigned() && a.get<std::int64_t>() < 0;
    const bool bNegative = !b.is_number_unsigned() && b.get<std::int64_t>() < 0;
    if (aNegative != bNegative)
        return aNegative ? -1 : 1;
    if (aNegative)
        return threeWay(a.get<std::int64_t>(), b.get<std::int64_t>());
    return threeWay(a.get<std::uint64_t>(), b.get<std::uint64_t>());
}

int compareIntegerToDouble(const Json &integer, double d)
{
    // Rounding keeps order, so when the integer's nearest double differs from d, that
    // difference is the answer; otherwise d is a whole number within a rounding step of the
    // integer and the two compare exactly as integers.
    const double rounded = integer.get<double>();
    if (rounded != d)
        return rounded < d ? -1 : 1;
    constexpr double twoTo64 = 18446744073709551616.0;
    if (d >= twoTo64)
        return -1;
    if (d < 0)
        return threeWay(integer.get<std::int64_t>(), static_cast<std::int64_t>(d));
    return threeWay(integer.get<std::uint64_t>(), static_cast<std::uint64_t>(d));
}

// By exact value whatever the kinds. Through doubles, 2^53 + 1 would equal 2^53.0, which
// equals 2^53, which is less than 2^53 + 1: an order no sort can rely on.
int compareNumbers(const Json &a, const Json &b)
{
    if (a.is_number_float() && b.is_number_float())
        return threeWay(a.get<double>(), b.get<double>());
    if (a.is_number_float())
        return -compareIntegerToDouble(b, a.get<double>());
    if (b.is_number_float())
        return compareIntegerToDouble(a, b.get<double>());
    return compareIntegers(a, b);
}

Refusal badQuery(const std::string &why)
{
    return Refusal(status::bad_request, why);
}

Json scalarValue(const std::string &name, std::string_view text)
{
    const auto value = net::parseJson(text, 1);
    if (!value || value->is_structured())
        throw badQuery(name + " must be a JSON encoded string, number, boolean or null");
    return *value;
}

// Where the JSON value at the front of `text` ends: after a string's closing quote, else at
// the first comma (no other scalar contains one).
std::size_t scalarEnd(std::string_view text)
{
    if (text.empty() || text.front() != '"')
        return std::min(text.find(','), text.size());
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '\\')
            ++i;
        else if (text[i] == '"')
            return i + 1;
    }
    return text.size();
}

// `value` or `value,"key"`; the SDKs mark the ends of the key order with two names no key can
// have, since keys may not contain brackets.
Bound boundParameter(const std::string &name, std::string_view text, const Query &query,
                     bool inclusive, Bound::Edge withoutKey)
{
    Bound bound;
    bound.inclusive = inclusive;
    bound.edge = withoutKey;
    if (query.order == Query::Order::key) {
        const auto value = net::parseJson(text, 1);
        if (value && value->is_string())
            bound.value = *value;
        else if (query.shallow && validUtf8(text))
            bound.value = std::string(text); // listing clients send keys as they are
        else
            throw badQuery("orderBy \"$key\" needs a JSON encoded string for " + name +
                           ", without a second key");
        return bound;
    }
    const std::size_t split = scalarEnd(text);
    bound.value = scalarValue(name, text.substr(0, split));
    if (split == text.size())
        return bound;
    const auto key = text[split] == ',' ? net::parseJson(text.substr(split + 1), 1) : std::nullopt;
    if (!key || !key->is_string())
        throw badQuery(name + " must be a JSON value, optionally followed by a comma and a JSON "
                              "encoded key");
    const std::string &named = key->get_ref<const std::string &>();
    if (named == "[MIN_NAME]") {
        bound.edge = Bound::Edge::beforeEveryKey;
    } else if (named == "[MAX_NAME]") {
        bound.edge = Bound::Edge::afterEveryKey;
    } else {
        bound.edge = Bound::Edge::key;
        bound.key = named;
    }
    return bound;
}

std::size_t limitValue(const std::string &name, const std::string &text)
{
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0)
        throw badQuery(name + " must be a positive integer");
    return value;
}

// "500ms", "10s", "3min"; at most 15 minutes, as the hosted service allows.
std::chrono::milliseconds timeoutValue(const std::string &text)
{
    using namespace std::chrono;
    std::uint32_t count = 0;
    const char *end = text.data() + text.size();
    const auto [unit, error] = std::from_chars(text.data(), end, count);
    const std::string_view suffix(unit, static_cast<std::size_t>(end - unit));
    milliseconds timeout{};
    if (error == std::errc() && unit - text.data() <= 9) {
        if (suffix == "ms")
            timeout = milliseconds(count);
        else if (suffix == "s")
            timeout = seconds(count);
        else if (suffix == "min")
            timeout = minutes(count);
    }
    if (timeout <= milliseconds::zero() || timeout > minutes(15))
        throw badQuery("timeout must be a positive number of ms, s or min, at most 15min");
    return timeout;
}

// Bytes a write may write and replace together; the hosted service names its limits by the
// time it expects such a write to take, and this server allows 1 MiB per second of that.
std::optional<std::size_t> writeSizeLimitValue(const std::string &text)
{
    constexpr std::size_t mebibyte = 1024 * 1024;
    if (text == "tiny")
        return mebibyte;
    if (text == "small")
        return 10 * mebibyte;
    if (text == "medium")
        return 30 * mebibyte;
    if (text == "large")
        return 60 * mebibyte;
    if (text == "unlimited")
        return std::nullopt;
    throw badQuery("writeSizeLimit must be tiny, small, medium, large or unlimited");
}

// Parameters this server understands; anything else is refused.
bool known(const std::string &name)
{
    static const std::set<std::string> names = {
        "print",   "format",     "shallow",      "orderBy",        "limitToFirst",
        "startAt", "startAfter", "endAt",        "endBefore",      "equalTo",
        "timeout", "auth",       "access_token", "writeSizeLimit", "disableTriggers",
        "ns",      "ac",         "limitToLast",
    };
    return names.count(name) != 0;
}

// Where a child lies against a bound: negative before it, positive after it.
int compareToBound(const Json *value, std::string_view key, const Bound &bound)
{
    if (const int order = compareValues(value, &bound.value))
        return order;
    switch (bound.edge) {
    case Bound::Edge::beforeEveryKey:
        return 1;
    case Bound::Edge::afterEveryKey:
        return -1;
    case Bound::Edge::key:
        break;
    }
    return compareKeys(key, bound.key);
}

bool withinRange(const Json *value, std::string_view key, const Query &query)
{
    if (query.start) {
        const int order = compareToBound(value, key, *query.start);
        if (order < 0 || (order == 0 && !query.start->inclusive))
            return false;
    }
    if (query.end) {
        const int order = compareToBound(value, key, *query.end);
        if (order > 0 || (order == 0 && !query.end->inclusive))
            return false;
    }
    return true;
}

Json boundJson(const std::optional<Bound> &bound)
{
    if (!bound)
        return nullptr;
    return {bound->value, static_cast<int>(bound->edge), bound->key, bound->inclusive};
}

// What a child is ordered by: its own value or one below it; objects rank after every
// scalar and tie among themselves, as the marker does.
const Json *orderValue(const NodePtr &child, const Query &query)
{
    static const Json objectMarker = Json::object();
    NodePtr node = child;
    if (query.order == Query::Order::child)
        node = find(child, query.orderChild);
    if (!node)
        return nullptr;
    return node->isObject() ? &objectMarker : &node->scalar();
}

NodePtr trueLeaf()
{
    static const NodePtr value = Node::leaf(true);
    return value;
}

} // namespace

int compareValues(const Json *a, const Json *b)
{
    const int left = rank(a);
    const int right = rank(b);
    if (left != right)
        return sign(left - right);
    if (left == 3)
        return compareNumbers(*a, *b);
    if (left == 4)
        return sign(a->get_ref<const std::string &>().compare(b->get_ref<const std::string &>()));
    return 0;
}

std::map<std::string, std::string> queryParameters(std::string_view target)
{
    std::map<std::string, std::string> parameters;
    const auto mark = target.find('?');
    if (mark == std::string_view::npos)
        return parameters;
    std::string_view rest = target.substr(mark + 1);
    while (!rest.empty()) {
        const std::size_t amp = std::min(rest.find('&'), rest.size());
        const std::string_view pair = rest.substr(0, amp);
        rest.remove_prefix(std::min(amp + 1, rest.size()));
        if (pair.empty())
            continue;
        const std::size_t equals = std::min(pair.find('='), pair.size());
        const auto name = percentDecode(pair.substr(0, equals));
        const auto value =
            percentDecode(equals < pair.size() ? pair.substr(equals + 1) : std::string_view());
        if (!name || !value)
            throw badQuery("malformed percent escape in the query string");
        parameters[*name] = *value;
    }
    return parameters;
}

RequestOptions parseRequestOptions(const std::map<std::string, std::string> &parameters)
{
    for (const auto &[name, value] : parameters) {
        if (name == "callback" || name == "download")
            throw badQuery(name + " is not supported by this server");
        if (!known(name))
            throw badQuery("unknown query parameter '" + net::printable(name) + "'");
    }
    RequestOptions options;
    Query &query = options.query;
    const auto has = [&](const char *name) { return parameters.count(name) != 0; };
    const auto valueOf = [&](const char *name) -> const std::string & {
        return parameters.at(name);
    };
    if (has("print")) {
        if (valueOf("print") == "pretty")
            options.print = Print::pretty;
        else if (valueOf("print") == "silent")
            options.print = Print::silent;
        else
            throw badQuery("print must be 'pretty' or 'silent'");
    }
    // Exports carry priorities, which this server does not store: an export is the value.
    if (has("format") && valueOf("format") != "export")
        throw badQuery("format must be 'export'");
    for (const char *flag : {"shallow", "disableTriggers"}) {
        if (has(flag) && valueOf(flag) != "true" && valueOf(flag) != "false")
            throw badQuery(std::string(flag) + " must be true or false");
    }
    query.shallow = has("shallow") && valueOf("shallow") == "true";
    if (has("timeout"))
        options.timeout = timeoutValue(valueOf("timeout"));
    if (has("writeSizeLimit"))
        options.writeSizeLimit = writeSizeLimitValue(valueOf("writeSizeLimit"));

    if (has("orderBy")) {
        const Json order = Json::parse(valueOf("orderBy"), nullptr, false);
        if (!order.is_string() || order.get_ref<const std::string &>().empty())
            throw badQuery("orderBy must be a valid JSON encoded path");
        const std::string &name = order.get_ref<const std::string &>();
        if (name == "$key" || name == "$priority")
            query.order = Query::Order::key;
        else if (name == "$value")
            query.order = Query::Order::value;
        else {
            query.order = Query::Order::child;
            try {
                query.orderChild = parseRelativePath(name);
            } catch (const Refusal &) {
                throw badQuery("orderBy must be a valid JSON encoded path");
            }
            if (query.orderChild.empty())
                throw badQuery("orderBy must be a valid JSON encoded path");
        }
    }
    const bool ranged = has("startAt") || has("startAfter") || has("endAt") || has("endBefore") ||
                        has("equalTo") || has("limitToFirst") || has("limitToLast");
    if (query.shallow && query.order != Query::Order::none && query.order != Query::Order::key)
        throw badQuery("shallow lists keys in key order: orderBy may only be \"$key\" with it");
    if (query.shallow && ranged)
        query.order = Query::Order::key;
    if (ranged && query.order == Query::Order::none)
        throw badQuery("orderBy must be defined when other query parameters are defined");

    using Edge = Bound::Edge;
    if (has("startAt") && has("startAfter"))
        throw badQuery("startAt and startAfter cannot both be given");
    if (has("endAt") && has("endBefore"))
        throw badQuery("endAt and endBefore cannot both be given");
    if (has("startAt"))
        query.start =
            boundParameter("startAt", valueOf("startAt"), query, true, Edge::beforeEveryKey);
    if (has("startAfter"))
        query.start =
            boundParameter("startAfter", valueOf("startAfter"), query, false, Edge::afterEveryKey);
    if (has("endAt"))
        query.end = boundParameter("endAt", valueOf("endAt"), query, true, Edge::afterEveryKey);
    if (has("endBefore"))
        query.end =
            boundParameter("endBefore", valueOf("endBefore"), query, false, Edge::beforeEveryKey);
    if (has("equalTo")) {
        if (query.start || query.end)
            throw badQuery("equalTo cannot be combined with startAt, startAfter, endAt or "
                           "endBefore");
        query.start =
            boundParameter("equalTo", valueOf("equalTo"), query, true, Edge::beforeEveryKey);
        query.end = boundParameter("equalTo", valueOf("equalTo"), query, true, Edge::afterEveryKey);
    }
    if (has("limitToFirst"))
        query.limitToFirst = limitValue("limitToFirst", valueOf("limitToFirst"));
    if (has("limitToLast"))
        query.limitToLast = limitValue("limitToLast", valueOf("limitToLast"));
    if (query.limitToFirst && query.limitToLast)
        throw badQuery("Only one of limitToFirst and limitToLast may be given");
    return options;
}

std::string Query::canonical() const
{
    const Json text = {static_cast<int>(order),
                       orderChild,
                       shallow,
                       boundJson(start),
                       boundJson(end),
                       limitToFirst ? Json(*limitToFirst) : Json(),
                       limitToLast ? Json(*limitToLast) : Json()};
    return text.dump();
}

namespace {

// The children within the query's range and limit, in key order.
NodePtr select(const Children &children, const Query &query)
{
    std::vector<Children::Entry> chosen;
    if (query.order == Query::Order::key) {
        // The children are kept in key order: the bounds and limits are positions.
        const auto keyOf = [](const Bound &bound) -> const std::string & {
            return bound.value.get_ref<const std::string &>();
        };
        std::size_t first = 0, last = children.size();
        if (query.start)
            first = query.start->inclusive ? children.lowerBound(keyOf(*query.start))
                                           : children.upperBound(keyOf(*query.start));
        if (query.end)
            last = query.end->inclusive ? children.upperBound(keyOf(*query.end))
                                        : children.lowerBound(keyOf(*query.end));
        last = std::max(first, last);
        if (query.limitToFirst)
            last = std::min(last, first + *query.limitToFirst);
        if (query.limitToLast && last - first > *query.limitToLast)
            first = last - *query.limitToLast;
        chosen.reserve(last - first);
        auto it = children.at(first);
        for (std::size_t i = first; i < last; ++i, ++it)
            chosen.push_back(*it);
        return Node::object(Children::fromSorted(std::move(chosen)));
    }

    struct Item
    {
        std::size_t position; // in key order
        const Children::Entry *entry;
        const Json *orderedBy;
    };
    std::vector<Item> items;
    items.reserve(children.size());
    std::size_t position = 0;
    for (const auto &entry : children) {
        const Json *orderedBy = orderValue(entry.value, query);
        if (withinRange(orderedBy, entry.key, query))
            items.push_back({position, &entry, orderedBy});
        ++position;
    }
    const auto before = [](const Item &a, const Item &b) {
        if (const int order = compareValues(a.orderedBy, b.orderedBy))
            return order < 0;
        return a.position < b.position;
    };
    auto first = items.begin(), last = items.end();
    if (query.limitToFirst && *query.limitToFirst < items.size()) {
        last = first + static_cast<long>(*query.limitToFirst);
        std::nth_element(items.begin(), last, items.end(), before);
    } else if (query.limitToLast && *query.limitToLast < items.size()) {
        first = last - static_cast<long>(*query.limitToLast);
        std::nth_element(items.begin(), first, items.end(), before);
    }
    std::sort(first, last, [](const Item &a, const Item &b) { return a.position < b.position; });
    chosen.reserve(static_cast<std::size_t>(last - first));
    for (auto it = first; it != last; ++it)
        chosen.push_back(*it->entry);
    return Node::object(Children::fromSorted(std::move(chosen)));
}

NodePtr markedTrue(const NodePtr &object)
{
    if (!object)
        return nullptr;
    std::vector<Children::Entry> marks;
    marks.reserve(object->children().size());
    for (const auto &entry : object->children())
        marks.push_back({entry.key, trueLeaf()});
    return Node::object(Children::fromSorted(std::move(marks)));
}

} // namespace

NodePtr applyQuery(const NodePtr &stored, const Query &query)
{
    if (!stored || !stored->isObject())
        return query.shallow || query.order == Query::Order::none ? stored : nullptr;
    const NodePtr chosen =
        query.order == Query::Order::none ? stored : select(stored->children(), query);
    return query.shallow ? markedTrue(chosen) : chosen;
}

} // namespace tailwise::realtime
