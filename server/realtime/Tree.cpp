#include "Tree.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace tailwise::realtime {
namespace {

using net::http::status;

constexpr std::size_t drainBytes = 1024 * 1024;

NodePtr setBelow(const NodePtr &node, const Path &path, std::size_t index, NodePtr value)
{
    if (index == path.size())
        return value;
    const NodePtr child = node && node->isObject() ? node->child(path[index]) : nullptr;
    NodePtr changed = setBelow(child, path, index + 1, std::move(value));
    if (changed == child)
        return node;
    Children children = node && node->isObject() ? node->children() : Children();
    children =
        changed ? children.with(path[index], std::move(changed)) : children.without(path[index]);
    return Node::object(std::move(children));
}

using Write = std::pair<Path, NodePtr>;

// `writes` all lie below `node` (at `depth` keys) and are sorted by path, so the writes
// under one child are neighbours.
NodePtr setBelowAll(const NodePtr &node, std::span<const Write *const> writes, std::size_t depth)
{
    if (writes.size() == 1 && writes.front()->first.size() == depth)
        return writes.front()->second;
    std::vector<Children::Entry> changes;
    for (std::size_t first = 0; first < writes.size();) {
        const std::string &key = writes[first]->first[depth];
        std::size_t last = first + 1;
        while (last < writes.size() && writes[last]->first[depth] == key)
            ++last;
        const NodePtr child = node && node->isObject() ? node->child(key) : nullptr;
        NodePtr changed = setBelowAll(child, writes.subspan(first, last - first), depth + 1);
        if (changed != child)
            changes.push_back({key, std::move(changed)});
        first = last;
    }
    if (changes.empty())
        return node;
    std::sort(changes.begin(), changes.end(),
              [](const auto &a, const auto &b) { return compareKeys(a.key, b.key) < 0; });
    const Children children = node && node->isObject() ? node->children() : Children();
    return Node::object(children.merged(std::move(changes)));
}

Refusal tooDeep()
{
    return Refusal(status::bad_request, "Data is nested too deeply");
}

class Preparer
{
public:
    explicit Preparer(std::int64_t nowMs) : nowMs_(nowMs) {}

    NodePtr convert(const Json &input, std::size_t depth, std::size_t nesting)
    {
        if (nesting > maxJsonNesting)
            throw tooDeep();
        switch (input.type()) {
        case Json::value_t::null:
        case Json::value_t::discarded:
            return nullptr;
        case Json::value_t::string:
            if (input.get_ref<const std::string &>().size() > maxStringBytes)
                throw Refusal(status::payload_too_large, "strings are limited to " +
                                                             std::to_string(maxStringBytes) +
                                                             " bytes");
            return Node::leaf(input);
        case Json::value_t::number_float:
            if (!std::isfinite(input.get<double>()))
                throw Refusal(status::bad_request, "numbers must be finite");
            return Node::leaf(input);
        case Json::value_t::array: {
            std::vector<Children::Entry> entries;
            for (std::size_t i = 0; i < input.size(); ++i) {
                if (NodePtr value = child(std::to_string(i), input[i], depth, nesting))
                    entries.push_back({std::to_string(i), std::move(value)});
            }
            return Node::object(Children::fromSorted(std::move(entries)));
        }
        case Json::value_t::object: {
            if (input.contains(".sv")) {
                if (input.size() != 1)
                    throw Refusal(status::bad_request, "unrecognized server value");
                return serverValue(input[".sv"]);
            }
            if (input.contains(".value"))
                return convert(input[".value"], depth, nesting + 1);
            std::vector<Children::Entry> entries;
            for (const auto &[key, item] : input.items()) {
                if (key == ".priority")
                    continue;
                if (const std::string problem = keyProblem(key); !problem.empty())
                    throw Refusal(status::bad_request, "Invalid data; " + problem);
                if (NodePtr value = child(key, item, depth, nesting))
                    entries.push_back({key, std::move(value)});
            }
            std::sort(entries.begin(), entries.end(),
                      [](const auto &a, const auto &b) { return compareKeys(a.key, b.key) < 0; });
            return Node::object(Children::fromSorted(std::move(entries)));
        }
        default:
            return Node::leaf(input);
        }
    }

    std::vector<PendingIncrement> increments;

private:
    NodePtr child(const std::string &key, const Json &item, std::size_t depth, std::size_t nesting)
    {
        if (depth + 1 > maxDepth)
            throw tooDeep();
        at_.push_back(key);
        NodePtr value = convert(item, depth + 1, nesting + 1);
        at_.pop_back();
        return value;
    }

    NodePtr serverValue(const Json &requested)
    {
        if (requested == "timestamp")
            return Node::leaf(nowMs_);
        if (requested.is_object() && requested.size() == 1 && requested.contains("increment") &&
            requested["increment"].is_number()) {
            increments.push_back({at_, requested["increment"]});
            return Node::leaf(requested["increment"]);
        }
        throw Refusal(status::bad_request, "unrecognized server value");
    }

    std::int64_t nowMs_;
    Path at_;
};

void appendKey(std::string &out, const std::string &key)
{
    // Keys hold no control characters; only quotes and backslashes need escaping.
    if (key.find_first_of("\"\\") == std::string::npos) {
        out += '"';
        out += key;
        out += '"';
    } else {
        out += Json(key).dump();
    }
}

// Children keyed 0..n-1 (gaps allowed) and dense enough: clients read them as an array.
bool readsAsArray(const Children &children)
{
    std::size_t largest = 0;
    for (const auto &entry : children) {
        const std::string &key = entry.key;
        const bool index = key.size() <= 9 &&
                           key.find_first_not_of("0123456789") == std::string::npos &&
                           (key == "0" || key[0] != '0');
        if (!index)
            return false;
        // Integer keys come first, in numeric order: the last one is the largest.
        largest = std::stoul(key);
    }
    return largest < 2 * children.size();
}

void append(std::string &out, const NodePtr &node, Form form,
            const std::function<void(std::string &)> &drain)
{
    if (drain && out.size() >= drainBytes)
        drain(out);
    if (!node) {
        out += "null";
        return;
    }
    if (!node->isObject()) {
        out += node->scalar().dump(-1, ' ', false, Json::error_handler_t::replace);
        return;
    }
    const Children &children = node->children();
    if (form == Form::read && readsAsArray(children)) {
        out += '[';
        std::size_t next = 0;
        for (const auto &entry : children) {
            for (const std::size_t index = std::stoul(entry.key); next < index; ++next)
                out += next ? ",null" : "null";
            if (next++)
                out += ',';
            append(out, entry.value, form, drain);
        }
        out += ']';
        return;
    }
    out += '{';
    bool first = true;
    for (const auto &entry : children) {
        if (!first)
            out += ',';
        first = false;
        appendKey(out, entry.key);
        out += ':';
        append(out, entry.value, form, drain);
    }
    out += '}';
}

} // namespace

NodePtr find(const NodePtr &root, const Path &path)
{
    NodePtr node = root;
    for (const auto &key : path) {
        if (!node || !node->isObject())
            return nullptr;
        node = node->child(key);
    }
    return node;
}

NodePtr setAt(const NodePtr &root, const Path &path, NodePtr value)
{
    return setBelow(root, path, 0, std::move(value));
}

NodePtr setAll(const NodePtr &root, const std::vector<std::pair<Path, NodePtr>> &writes,
               std::size_t depth)
{
    if (writes.empty())
        return root;
    std::vector<const Write *> sorted;
    sorted.reserve(writes.size());
    for (const auto &write : writes)
        sorted.push_back(&write);
    std::sort(sorted.begin(), sorted.end(),
              [](const Write *a, const Write *b) { return a->first < b->first; });
    return setBelowAll(root, sorted, depth);
}

PreparedValue prepareValue(const Json &input, std::size_t depth, std::int64_t nowMs)
{
    Preparer preparer(nowMs);
    NodePtr value = preparer.convert(input, depth, 0);
    return {std::move(value), std::move(preparer.increments)};
}

Json incremented(const NodePtr &current, const Json &delta)
{
    if (!current || current->isObject() || !current->scalar().is_number())
        return delta;
    const Json &stored = current->scalar();
    const auto asDouble = [&] {
        const double sum = stored.get<double>() + delta.get<double>();
        if (!std::isfinite(sum))
            throw Refusal(status::bad_request, "the increment leaves a number out of range");
        return Json(sum);
    };
    if (stored.is_number_float() || delta.is_number_float())
        return asDouble();
    // Both integers; unsigned ones above the signed range are rare enough to add as doubles.
    const auto fitsSigned = [](const Json &number) {
        return !number.is_number_unsigned() ||
               number.get<std::uint64_t>() <=
                   static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    };
    if (!fitsSigned(stored) || !fitsSigned(delta))
        return asDouble();
    std::int64_t sum = 0;
    if (__builtin_add_overflow(stored.get<std::int64_t>(), delta.get<std::int64_t>(), &sum))
        return asDouble();
    return sum;
}

NodePtr resolveIncrements(const NodePtr &before, const Path &at, PreparedValue prepared)
{
    NodePtr value = std::move(prepared.value);
    for (const auto &increment : prepared.increments) {
        const NodePtr current = find(before, join(at, increment.at));
        value = setAt(value, increment.at, Node::leaf(incremented(current, increment.delta)));
    }
    return value;
}

void appendJson(std::string &out, const NodePtr &value, Form form,
                const std::function<void(std::string &)> &drain)
{
    append(out, value, form, drain);
}

std::string jsonText(const NodePtr &value, Form form)
{
    std::string text;
    append(text, value, form, {});
    return text;
}

Json toJson(const NodePtr &value, Form form)
{
    return Json::parse(jsonText(value, form));
}

} // namespace tailwise::realtime
