#include "RuleTree.h"

#include "realtime/Path.h"

#include <algorithm>

namespace tailwise::realtime::rules {
namespace {

using Keys = SourceMap::Keys;

class Builder
{
public:
    explicit Builder(const SourceMap &source) : source_(source) {}

    void level(const nlohmann::json &rules, Keys &keys, RuleNode &node)
    {
        if (!rules.is_object())
            throw source_.error(source_.valueOffset(keys), "Expected an object of rules");
        for (const auto &[key, value] : rules.items()) {
            keys.push_back(key);
            if (key.starts_with('.'))
                rule(key, value, keys, node);
            else if (key.starts_with('$'))
                wildcard(key, value, keys, node);
            else
                named(key, value, keys, node);
            keys.pop_back();
        }
    }

private:
    void rule(const std::string &key, const nlohmann::json &value, const Keys &keys, RuleNode &node)
    {
        if (key == ".indexOn") {
            const bool names =
                value.is_string() ||
                (value.is_array() && std::all_of(value.begin(), value.end(), [](const auto &name) {
                     return name.is_string();
                 }));
            if (!names)
                throw source_.error(source_.valueOffset(keys),
                                    ".indexOn takes a child name or a list of them");
            return;
        }
        ExprPtr *slot = key == ".read"       ? &node.read
                        : key == ".write"    ? &node.write
                        : key == ".validate" ? &node.validate
                                             : nullptr;
        if (!slot)
            throw source_.error(source_.keyOffset(keys), "Unknown rule '" + key + "'");
        *slot = expression(value, keys);
    }

    ExprPtr expression(const nlohmann::json &value, const Keys &keys) const
    {
        if (value.is_boolean())
            return parseExpression(value.get<bool>() ? "true" : "false");
        if (!value.is_string())
            throw source_.error(source_.valueOffset(keys),
                                "A rule is an expression in a string, or true or false");
        try {
            return parseExpression(value.get_ref<const std::string &>());
        } catch (const ExpressionError &e) {
            throw source_.error(source_.insideString(keys, e.offset()), e.what());
        }
    }

    void wildcard(const std::string &key, const nlohmann::json &value, Keys &keys, RuleNode &node)
    {
        if (!node.wildcard.empty())
            throw source_.error(source_.keyOffset(keys),
                                "A second wildcard beside '" + node.wildcard + "'");
        if (key.size() < 2 || !keyProblem(key.substr(1)).empty())
            throw source_.error(source_.keyOffset(keys), "Invalid wildcard name '" + key + "'");
        if (std::find(bound_.begin(), bound_.end(), key) != bound_.end())
            throw source_.error(source_.keyOffset(keys), "'" + key + "' is already bound above");
        node.wildcard = key;
        node.wildcardChild = std::make_unique<RuleNode>();
        bound_.push_back(key);
        level(value, keys, *node.wildcardChild);
        bound_.pop_back();
    }

    void named(const std::string &key, const nlohmann::json &value, Keys &keys, RuleNode &node)
    {
        if (const std::string problem = keyProblem(key); !problem.empty())
            throw source_.error(source_.keyOffset(keys), problem);
        level(value, keys, node.children[key]);
    }

    const SourceMap &source_;
    std::vector<std::string> bound_;
};

} // namespace

const RuleNode *RuleNode::child(const std::string &key,
                                std::vector<std::pair<std::string, std::string>> &bound) const
{
    if (const auto named = children.find(key); named != children.end())
        return &named->second;
    if (!wildcardChild)
        return nullptr;
    bound.emplace_back(wildcard, key);
    return wildcardChild.get();
}

std::shared_ptr<const RuleTree> RuleTree::parse(std::string_view fileText)
{
    // Each level of the tree an object, and ".indexOn" may hold a list.
    const nlohmann::json document = SourceMap::parse(fileText, maxDepth + 3);
    const SourceMap source(fileText);
    if (!document.is_object())
        throw source.error(source.valueOffset({}), "Expected {\"rules\": {...}}");
    for (const auto &[key, value] : document.items()) {
        if (key != "rules")
            throw source.error(source.keyOffset({key}), "Unknown key '" + key + "'");
    }
    const auto rules = document.find("rules");
    if (rules == document.end())
        throw source.error(source.valueOffset({}), "Expected {\"rules\": {...}}");
    auto tree = std::make_shared<RuleTree>();
    Keys keys = {"rules"};
    Builder(source).level(*rules, keys, tree->root_);
    return tree;
}

} // namespace tailwise::realtime::rules
