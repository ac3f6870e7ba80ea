#include "Query.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace tailwise::realtime {
namespace {

using net::http::status;

std::optional<std::int64_t> integerKey(std::string_view key)
{
    std::string_view digits = key;
    const bool negative = !digits.empty() && digits.front() == '-';
    if (negative)
        digits.remove_prefix(1);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos)
        return std::nullopt;
    const std::size_t significant = digits.find_first_not_of('0');
    const std::string_view value = significant == std::string_view::npos
                                       ? digits.substr(digits.size() - 1)
                                       : digits.substr(significant);
    if (value.size() > 10)
        return std::nullopt;
    std::int64_t number = 0;
    std::from_chars(value.data(), value.data() + value.size(), number);
    if (negative)
        number = -number;
    if (number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return number;
}

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

Refusal badQuery(const std::string &why)
{
    return Refusal(status::bad_request, why);
}

Json boundValue(const std::string &name, const std::string &text)
{
    Json value = Json::parse(text, nullptr, false);
    if (value.is_discarded() || value.is_structured())
        throw badQuery(name + " must be a JSON encoded string, number, boolean or null");
    return value;
}

std::size_t limitValue(const std::string &name, const std::string &text)
{
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0)
        throw badQuery(name + " must be a positive integer");
    return value;
}

// The value a child is ordered by.
const Json *orderValue(const Json &child, const Query &query)
{
    if (query.order == Query::Order::value)
        return &child;
    const Json *node = &child;
    for (const auto &key : query.orderChild) {
        if (!node->is_object())
            return nullptr;
        const auto found = node->find(key);
        if (found == node->end())
            return nullptr;
        node = &*found;
    }
    return node;
}

} // namespace

int compareKeys(std::string_view a, std::string_view b)
{
    const auto left = integerKey(a);
    const auto right = integerKey(b);
    if (left && right) {
        if (*left != *right)
            return sign(*left - *right);
        if (a.size() != b.size())
            return sign(static_cast<long>(a.size()) - static_cast<long>(b.size()));
        return sign(a.compare(b));
    }
    if (left || right)
        return left ? -1 : 1;
    return sign(a.compare(b));
}

int compareValues(const Json *a, const Json *b)
{
    const int left = rank(a);
    const int right = rank(b);
    if (left != right)
        return sign(left - right);
    if (left == 3) {
        if (a->is_number_integer() && b->is_number_integer() && !a->is_number_unsigned() &&
            !b->is_number_unsigned()) {
            const auto x = a->get<std::int64_t>(), y = b->get<std::int64_t>();
            return x < y ? -1 : x > y ? 1 : 0;
        }
        return sign(a->get<double>() - b->get<double>());
    }
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

Json applyQuery(const Json &stored, const Query &query)
{
    if (query.shallow) {
        if (!stored.is_object())
            return stored;
        Json shallow = Json::object();
        for (const auto &[key, value] : stored.items())
            shallow[key] = true;
        return shallow;
    }
    if (query.order == Query::Order::none)
        return stored;
    if (!stored.is_object())
        return Json();

    struct Item
    {
        const std::string *key;
        const Json *value;
        const Json *orderedBy;
    };
    std::vector<Item> items;
    items.reserve(stored.size());
    for (auto it = stored.begin(); it != stored.end(); ++it)
        items.push_back({&it.key(), &*it, orderValue(*it, query)});

    const bool byKey = query.order == Query::Order::key;
    // Where an item stands against a bound: negative before it, positive after it.
    const auto against = [&](const Item &item, const Json &bound) {
        if (byKey)
            return compareKeys(*item.key, bound.get_ref<const std::string &>());
        return compareValues(item.orderedBy, &bound);
    };
    const std::optional<Json> &lower = query.equalTo ? query.equalTo : query.startAt;
    const std::optional<Json> &upper = query.equalTo ? query.equalTo : query.endAt;
    std::erase_if(items, [&](const Item &item) {
        return (lower && against(item, *lower) < 0) || (upper && against(item, *upper) > 0);
    });

    std::sort(items.begin(), items.end(), [&](const Item &a, const Item &b) {
        if (!byKey) {
            if (const int order = compareValues(a.orderedBy, b.orderedBy))
                return order < 0;
        }
        return compareKeys(*a.key, *b.key) < 0;
    });
    std::size_t first = 0, last = items.size();
    if (query.limitToFirst)
        last = std::min(last, *query.limitToFirst);
    if (query.limitToLast && *query.limitToLast < last)
        first = last - *query.limitToLast;

    Json result = Json::object();
    for (std::size_t i = first; i < last; ++i)
        result[*items[i].key] = *items[i].value;
    return result;
}

} // namespace tailwise::realtime
