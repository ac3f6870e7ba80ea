#include "Tree.h"

#include <limits>

namespace tailwise::realtime {
namespace {

using net::http::status;

const Json *child(const Json *node, const std::string &key)
{
    if (!node || !node->is_object())
        return nullptr;
    const auto found = node->find(key);
    return found == node->end() ? nullptr : &*found;
}

Json increment(const Json *current, const Json &delta)
{
    if (!current || !current->is_number())
        return delta;
    if (current->is_number_float() || delta.is_number_float())
        return current->get<double>() + delta.get<double>();
    // Both integers; unsigned ones above the signed range are rare enough to add as doubles.
    if (current->is_number_unsigned() || delta.is_number_unsigned()) {
        const bool fits =
            (!current->is_number_unsigned() ||
             current->get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max()) &&
            (!delta.is_number_unsigned() ||
             delta.get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max());
        if (!fits)
            return current->get<double>() + delta.get<double>();
    }
    std::int64_t sum = 0;
    if (__builtin_add_overflow(current->get<std::int64_t>(), delta.get<std::int64_t>(), &sum))
        return current->get<double>() + delta.get<double>();
    return sum;
}

Json serverValue(const Json &requested, const Json *current, std::int64_t nowMs)
{
    if (requested == "timestamp")
        return nowMs;
    if (requested.is_object() && requested.size() == 1 && requested.contains("increment") &&
        requested["increment"].is_number())
        return increment(current, requested["increment"]);
    throw Refusal(status::bad_request, "unrecognized server value");
}

} // namespace

const Json *Tree::find(const Path &path) const
{
    const Json *node = root_.is_null() ? nullptr : &root_;
    for (const auto &key : path)
        node = child(node, key);
    return node;
}

Json Tree::get(const Path &path) const
{
    const Json *node = find(path);
    return node ? *node : Json();
}

void Tree::set(const Path &path, Json value)
{
    if (value.is_null()) {
        remove(path);
        return;
    }
    Json *node = &root_;
    for (const auto &key : path) {
        if (!node->is_object())
            *node = Json::object();
        node = &(*node)[key];
    }
    *node = std::move(value);
}

void Tree::remove(const Path &path)
{
    if (path.empty()) {
        root_ = nullptr;
        return;
    }
    std::vector<Json *> chain{&root_};
    for (std::size_t i = 0; i + 1 < path.size(); ++i) {
        Json *node = chain.back();
        if (!node->is_object())
            return;
        const auto found = node->find(path[i]);
        if (found == node->end())
            return;
        chain.push_back(&*found);
    }
    for (std::size_t i = path.size(); i-- > 0;) {
        Json &parent = *chain[i];
        if (!parent.is_object())
            return;
        parent.erase(path[i]);
        if (!parent.empty())
            return;
        if (i == 0)
            root_ = nullptr;
    }
}

Json prepareValue(const Json &input, const Json *current, std::size_t depth, std::int64_t nowMs)
{
    switch (input.type()) {
    case Json::value_t::string:
        if (input.get_ref<const std::string &>().size() > maxStringBytes)
            throw Refusal(status::payload_too_large,
                          "strings are limited to " + std::to_string(maxStringBytes) + " bytes");
        return input;
    case Json::value_t::array: {
        Json object = Json::object();
        for (std::size_t i = 0; i < input.size(); ++i) {
            const std::string key = std::to_string(i);
            if (depth + 1 > maxDepth)
                throw Refusal(status::bad_request, "Data is nested too deeply");
            Json value = prepareValue(input[i], child(current, key), depth + 1, nowMs);
            if (!value.is_null())
                object[key] = std::move(value);
        }
        return object.empty() ? Json() : object;
    }
    case Json::value_t::object: {
        if (input.contains(".sv")) {
            if (input.size() != 1)
                throw Refusal(status::bad_request, "unrecognized server value");
            return serverValue(input[".sv"], current, nowMs);
        }
        if (input.contains(".value"))
            return prepareValue(input[".value"], current, depth, nowMs);
        Json object = Json::object();
        for (const auto &[key, item] : input.items()) {
            if (key == ".priority")
                continue;
            if (const std::string problem = keyProblem(key); !problem.empty())
                throw Refusal(status::bad_request, "Invalid data; " + problem);
            if (depth + 1 > maxDepth)
                throw Refusal(status::bad_request, "Data is nested too deeply");
            Json value = prepareValue(item, child(current, key), depth + 1, nowMs);
            if (!value.is_null())
                object[key] = std::move(value);
        }
        return object.empty() ? Json() : object;
    }
    default:
        return input;
    }
}

Json render(const Json &stored)
{
    if (!stored.is_object())
        return stored;
    std::size_t largest = 0;
    bool arrayLike = !stored.empty();
    for (const auto &[key, value] : stored.items()) {
        const bool index = !key.empty() && key.size() <= 9 &&
                           key.find_first_not_of("0123456789") == std::string::npos &&
                           (key == "0" || key[0] != '0');
        if (!index) {
            arrayLike = false;
            break;
        }
        largest = std::max<std::size_t>(largest, std::stoul(key));
    }
    if (arrayLike && largest < 2 * stored.size()) {
        Json array = Json::array();
        for (std::size_t i = 0; i <= largest; ++i) {
            const auto found = stored.find(std::to_string(i));
            array.push_back(found == stored.end() ? Json() : render(*found));
        }
        return array;
    }
    Json object = Json::object();
    for (const auto &[key, value] : stored.items())
        object[key] = render(value);
    return object;
}

} // namespace tailwise::realtime
