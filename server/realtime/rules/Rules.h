#pragma once

#include "Evaluator.h"
#include "RuleTree.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace tailwise::realtime::rules {

// Who may read and write where, as the hosted service decides it:
// - ".read" and ".write" cascade: one that grants at a location grants everything below it,
//   and nothing deeper takes that back;
// - ".validate" does not cascade: it must hold at every level of the written data that has a
//   value, and at the levels above the written location, for the tree as the write leaves it.
class Rules
{
public:
    // `clock`: milliseconds since 1970, what rules see as `now`.
    Rules(std::shared_ptr<const RuleTree> tree, std::function<std::int64_t()> clock);

    bool canRead(const Path &path, const NodePtr &root, const Auth &auth) const;
    // `newRoot` is the whole tree as the write would leave it.
    bool canWrite(const Path &path, const NodePtr &oldRoot, const NodePtr &newRoot,
                  const Auth &auth) const;
    // A multi-location update: allowed only when every location may be written with the one
    // tree the whole update leaves.
    bool canUpdate(const std::vector<Path> &locations, const NodePtr &oldRoot,
                   const NodePtr &newRoot, const Auth &auth) const;

private:
    using Bound = std::vector<std::pair<std::string, std::string>>;
    struct Request;

    bool writable(const Path &path, const Request &request) const;
    bool validBelow(const RuleNode &node, Path &path, const NodePtr &value, Bound &bound,
                    const Request &request) const;

    std::shared_ptr<const RuleTree> tree_;
    std::function<std::int64_t()> clock_;
};

} // namespace tailwise::realtime::rules
