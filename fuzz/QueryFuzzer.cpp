// A request target's query string, parsed and applied to every location of a fixed tree. The
// result is checked against a plain filter-sort-cut over the location's children.

#include "Check.h"
#include "realtime/Query.h"

#include <algorithm>
#include <cstdint>
#include <string>

using namespace tailwise::realtime;

namespace {

// Numbers where integer and floating-point order part ways, and keys at the edges of the
// integer key range, so that orders and bounds meet their corner cases.
const NodePtr &storedTree()
{
    static const NodePtr tree = [] {
        const Json scalars = Json::parse(R"([
            0, -0.0, 1, 1.0, -1, 0.5, 2.5, 9007199254740992, 9007199254740993,
            9007199254740992.0, 9223372036854775807, 9223372036854775806,
            9223372036854775807.0, -9223372036854775808, 18446744073709551615,
            18446744073709551614, 1e308, -1e308, true, false, "", "a", "b", "aa", "0", "10",
            "\u00fc", {"v": 1}
        ])");
        Json nums = Json::object(), objs = Json::object(), keys = Json::object();
        for (std::size_t i = 0; i < 40; ++i) {
            const std::string key = "n" + std::to_string(i);
            nums[key] = scalars[i % scalars.size()];
            objs[key] = {{"v", scalars[(i * 5 + 1) % scalars.size()]},
                         {"w", {{"x", scalars[(i * 11 + 3) % scalars.size()]}}}};
            if (i % 5)
                objs[key]["o"] = scalars[i % scalars.size()];
        }
        for (const char *key : {"-1", "0", "00", "1", "01", "9", "10", "2147483647", "2147483648",
                                "-2147483648", "-2147483649", "a", "A", "b", "-", "-0"})
            keys[key] = key;
        return prepareValue({{"nums", nums}, {"objs", objs}, {"keys", keys}, {"leaf", 3}}, 0, 0)
            .value;
    }();
    return tree;
}

// The documented order of values, independent of compareValues: null, false, true, numbers,
// strings, objects. Numbers compare by their exact value, which a long double holds for every
// 64-bit integer and every double.
int referenceOrder(const Json *a, const Json *b)
{
    const auto rank = [](const Json *value) {
        if (!value || value->is_null())
            return 0;
        if (value->is_boolean())
            return value->get<bool>() ? 2 : 1;
        return value->is_number() ? 3 : value->is_string() ? 4 : 5;
    };
    const auto exact = [](const Json *number) {
        if (number->is_number_unsigned())
            return static_cast<long double>(number->get<std::uint64_t>());
        if (number->is_number_integer())
            return static_cast<long double>(number->get<std::int64_t>());
        return static_cast<long double>(number->get<double>());
    };
    const int left = rank(a), right = rank(b);
    if (left != right)
        return left < right ? -1 : 1;
    if (left == 3)
        return exact(a) < exact(b) ? -1 : exact(a) > exact(b) ? 1 : 0;
    if (left == 4)
        return a->get_ref<const std::string &>().compare(b->get_ref<const std::string &>()) < 0 ? -1
               : a->get_ref<const std::string &>() == b->get_ref<const std::string &>()         ? 0
                                                                                                : 1;
    return 0;
}

const Json *orderedBy(const NodePtr &child, const Query &query)
{
    static const Json object = Json::object();
    const NodePtr node = query.order == Query::Order::child ? find(child, query.orderChild) : child;
    if (!node)
        return nullptr;
    return node->isObject() ? &object : &node->scalar();
}

// Whether a child, ordered by `value` and then by `key`, lies on the inner side of a bound.
bool inside(const Json *value, const std::string &key, const Bound &bound, bool isStart,
            const Query &query)
{
    int order = 0;
    if (query.order == Query::Order::key) {
        order = compareKeys(key, bound.value.get_ref<const std::string &>());
    } else {
        order = referenceOrder(value, &bound.value);
        if (order == 0 && bound.edge == Bound::Edge::key)
            order = compareKeys(key, bound.key);
        else if (order == 0)
            order = bound.edge == Bound::Edge::beforeEveryKey ? 1 : -1;
    }
    if (order == 0)
        return bound.inclusive;
    return isStart ? order > 0 : order < 0;
}

// The keys a query selects, in key order: the children within the bounds, ordered as asked
// (key order breaking ties), cut to the limit.
std::vector<std::string> expectedKeys(const NodePtr &stored, const Query &query)
{
    struct Item
    {
        std::string key;
        const Json *value;
    };
    std::vector<Item> items;
    for (const auto &entry : stored->children()) {
        const Json *value =
            query.order == Query::Order::key ? nullptr : orderedBy(entry.value, query);
        if ((!query.start || inside(value, entry.key, *query.start, true, query)) &&
            (!query.end || inside(value, entry.key, *query.end, false, query)))
            items.push_back({entry.key, value});
    }
    if (query.order != Query::Order::key)
        std::ranges::stable_sort(items, [](const Item &a, const Item &b) {
            return referenceOrder(a.value, b.value) < 0;
        });
    if (query.limitToFirst && *query.limitToFirst < items.size())
        items.resize(*query.limitToFirst);
    if (query.limitToLast && *query.limitToLast < items.size())
        items.erase(items.begin(), items.end() - static_cast<long>(*query.limitToLast));
    std::vector<std::string> keys;
    for (const auto &item : items)
        keys.push_back(item.key);
    std::ranges::sort(keys, [](const auto &a, const auto &b) { return compareKeys(a, b) < 0; });
    return keys;
}

void check(const NodePtr &stored, const Query &query)
{
    const NodePtr result = applyQuery(stored, query);
    if (query.shallow) {
        if (!stored || !stored->isObject()) {
            FUZZ_CHECK(result == stored, "a shallow read of a leaf is the leaf");
            return;
        }
        std::vector<std::string> keys;
        if (result) {
            for (const auto &entry : result->children()) {
                FUZZ_CHECK(stored->child(entry.key) && !entry.value->isObject() &&
                               entry.value->scalar() == true,
                           "a shallow read marks each child true");
                keys.push_back(entry.key);
            }
        }
        std::vector<std::string> all;
        for (const auto &entry : stored->children())
            all.push_back(entry.key);
        FUZZ_CHECK(keys == (query.order == Query::Order::none ? all : expectedKeys(stored, query)),
                   "a shallow read lists every key, or the page of keys asked for");
        return;
    }
    if (query.order == Query::Order::none) {
        FUZZ_CHECK(result == stored, "no order reads the location as it is");
        return;
    }
    if (!stored || !stored->isObject()) {
        FUZZ_CHECK(!result, "a query over a leaf selects nothing");
        return;
    }
    std::vector<std::string> keys;
    if (result) {
        for (const auto &entry : result->children()) {
            FUZZ_CHECK(stored->child(entry.key) == entry.value,
                       "a result is a subset of the location's children");
            keys.push_back(entry.key);
        }
    }
    const std::size_t limit = query.limitToFirst  ? *query.limitToFirst
                              : query.limitToLast ? *query.limitToLast
                                                  : keys.size();
    FUZZ_CHECK(keys.size() <= limit, "a result keeps to its limit");
    FUZZ_CHECK(keys == expectedKeys(stored, query), "a result is the children the query selects");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view target(reinterpret_cast<const char *>(data), size);
    Query query;
    try {
        query = parseRequestOptions(queryParameters(target)).query;
    } catch (const Refusal &) {
        return 0; // 400 for the client
    }
    (void)query.canonical();
    const NodePtr &root = storedTree();
    check(root, query);
    for (const auto &entry : root->children())
        check(entry.value, query);
    check(nullptr, query);
    return 0;
}
