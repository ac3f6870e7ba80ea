#include "Rules.h"

#include "realtime/Tree.h"

namespace tailwise::realtime::rules {

struct Rules::Request
{
    const Auth &auth;
    const NodePtr &root;
    const std::optional<NodePtr> &newRoot;
    std::int64_t nowMs;

    bool grants(const ExprPtr &rule, const Path &path, const Bound &bound) const
    {
        return rule && rules::grants(*rule, {auth, root, newRoot, path, nowMs, bound});
    }
};

Rules::Rules(std::shared_ptr<const RuleTree> tree, std::function<std::int64_t()> clock)
    : tree_(std::move(tree)), clock_(std::move(clock))
{}

bool Rules::canRead(const Path &path, const NodePtr &root, const Auth &auth) const
{
    const std::optional<NodePtr> reading;
    const Request request{auth, root, reading, clock_()};
    const RuleNode *node = &tree_->root();
    Bound bound;
    Path at;
    for (std::size_t depth = 0;; ++depth) {
        if (request.grants(node->read, at, bound))
            return true;
        if (depth == path.size())
            return false;
        node = node->child(path[depth], bound);
        if (!node)
            return false;
        at.push_back(path[depth]);
    }
}

bool Rules::canWrite(const Path &path, const NodePtr &oldRoot, const NodePtr &newRoot,
                     const Auth &auth) const
{
    const std::optional<NodePtr> writing = newRoot;
    return writable(path, {auth, oldRoot, writing, clock_()});
}

bool Rules::writable(const Path &path, const Request &request) const
{
    const NodePtr &newRoot = *request.newRoot;
    const RuleNode *node = &tree_->root();
    Bound bound;
    Path at;
    bool granted = false;
    for (std::size_t depth = 0; depth < path.size(); ++depth) {
        granted = granted || request.grants(node->write, at, bound);
        // A level the write leaves empty is deleted, and deletions are not validated.
        if (node->validate && find(newRoot, at) && !request.grants(node->validate, at, bound))
            return false;
        node = node->child(path[depth], bound);
        if (!node)
            return granted;
        at.push_back(path[depth]);
    }
    granted = granted || request.grants(node->write, at, bound);
    return granted && validBelow(*node, at, find(newRoot, at), bound, request);
}

bool Rules::validBelow(const RuleNode &node, Path &path, const NodePtr &value, Bound &bound,
                       const Request &request) const
{
    if (!value)
        return true;
    if (node.validate && !request.grants(node.validate, path, bound))
        return false;
    if (!value->isObject())
        return true;
    const auto below = [&](const RuleNode &child, const std::string &key,
                           const NodePtr &childValue) {
        path.push_back(key);
        const bool valid = validBelow(child, path, childValue, bound, request);
        path.pop_back();
        return valid;
    };
    for (const auto &[key, child] : node.children) {
        if (!below(child, key, value->child(key)))
            return false;
    }
    if (!node.wildcardChild)
        return true;
    for (const Children::Entry &entry : value->children()) {
        if (node.children.contains(entry.key))
            continue;
        bound.emplace_back(node.wildcard, entry.key);
        const bool valid = below(*node.wildcardChild, entry.key, entry.value);
        bound.pop_back();
        if (!valid)
            return false;
    }
    return true;
}

bool Rules::canUpdate(const std::vector<Path> &locations, const NodePtr &oldRoot,
                      const NodePtr &newRoot, const Auth &auth) const
{
    const std::optional<NodePtr> writing = newRoot;
    const Request request{auth, oldRoot, writing, clock_()};
    for (const Path &location : locations) {
        if (!writable(location, request))
            return false;
    }
    return true;
}

} // namespace tailwise::realtime::rules
