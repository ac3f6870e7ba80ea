#include "Query.h"

#include "http/Json.h"

#include <algorithm>
#include <charconv>
#include <limits>

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

Json boundValue(const std::string &name, const std::string &text)
{
    const auto value = net::parseJson(text, 1);
    if (!value || value->is_structured())
        throw badQuery(name + " must be a JSON encoded string, number, boolean or null");
    return *value;
}

std::size_t limitValue(const std::string &name, const std::string &text)
{
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0)
        throw badQuery(name + " must be a positive integer");
    return value;
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

Query parseQuery(const std::map<std::string, std::string> &parameters)
{
    Query query;
    const auto has = [&](const char *name) { return parameters.count(name) != 0; };
    if (has("print")) {
        const std::string &print = parameters.at("print");
        if (print == "pretty")
            query.print = Print::pretty;
        else if (print == "silent")
            query.print = Print::silent;
        else
            throw badQuery("print must be 'pretty' or 'silent'");
    }
    if (has("shallow")) {
        const std::string &shallow = parameters.at("shallow");
        if (shallow != "true" && shallow != "false")
            throw badQuery("shallow must be true or false");
        query.shallow = shallow == "true";
    }
    if (has("orderBy")) {
        const Json order = Json::parse(parameters.at("orderBy"), nullptr, false);
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
    if (has("startAt"))
        query.startAt = boundValue("startAt", parameters.at("startAt"));
    if (has("endAt"))
        query.endAt = boundValue("endAt", parameters.at("endAt"));
    if (has("equalTo"))
        query.equalTo = boundValue("equalTo", parameters.at("equalTo"));
    if (has("limitToFirst"))
        query.limitToFirst = limitValue("limitToFirst", parameters.at("limitToFirst"));
    if (has("limitToLast"))
        query.limitToLast = limitValue("limitToLast", parameters.at("limitToLast"));

    if (query.filters() && query.order == Query::Order::none)
        throw badQuery("orderBy must be defined when other query parameters are defined");
    if (query.shallow && query.filters())
        throw badQuery("Mixing 'shallow' and querying parameters is not supported");
    if (query.limitToFirst && query.limitToLast)
        throw badQuery("Only one of limitToFirst and limitToLast may be given");
    if (query.equalTo && (query.startAt || query.endAt))
        throw badQuery("equalTo cannot be combined with startAt or endAt");
    if (query.order == Query::Order::key) {
        for (const auto *bound : {&query.startAt, &query.endAt, &query.equalTo})
            if (*bound && !(*bound)->is_string())
                throw badQuery("orderBy \"$key\" needs string values for startAt, endAt and "
                               "equalTo");
    }
    return query;
}

std::string Query::canonical() const
{
    Json text = {static_cast<int>(order), orderChild, shallow};
    for (const auto *bound : {&startAt, &endAt, &equalTo})
        text.push_back(*bound ? **bound : Json("-"));
    text.push_back(limitToFirst ? Json(*limitToFirst) : Json());
    text.push_back(limitToLast ? Json(*limitToLast) : Json());
    return text.dump();
}

NodePtr applyQuery(const NodePtr &stored, const Query &query)
{
    if (query.shallow) {
        if (!stored || !stored->isObject())
            return stored;
        std::vector<Children::Entry> marks;
        marks.reserve(stored->children().size());
        for (const auto &entry : stored->children())
            marks.push_back({entry.key, trueLeaf()});
        return Node::object(Children::fromSorted(std::move(marks)));
    }
    if (query.order == Query::Order::none)
        return stored;
    if (!stored || !stored->isObject())
        return nullptr;
    const Children &children = stored->children();
    const std::optional<Json> &lower = query.equalTo ? query.equalTo : query.startAt;
    const std::optional<Json> &upper = query.equalTo ? query.equalTo : query.endAt;

    // Positions [first, last) in key order make the result.
    std::vector<Children::Entry> chosen;
    if (query.order == Query::Order::key) {
        // The children are kept in key order: the bounds and limits are positions.
        std::size_t first = lower ? children.lowerBound(lower->get_ref<const std::string &>()) : 0;
        std::size_t last =
            upper ? children.upperBound(upper->get_ref<const std::string &>()) : children.size();
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
        if ((lower && compareValues(orderedBy, &*lower) < 0) ||
            (upper && compareValues(orderedBy, &*upper) > 0)) {
            ++position;
            continue;
        }
        items.push_back({position++, &entry, orderedBy});
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

} // namespace tailwise::realtime
