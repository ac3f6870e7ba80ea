#pragma once

#include "Expression.h"
#include "SourceMap.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace tailwise::realtime::rules {

// The rules for one level of the tree. A key named here takes its own rules; every other key
// takes the wildcard's, if there is one, with the key bound to the wildcard's name.
struct RuleNode
{
    ExprPtr read;     // none: grants nothing here
    ExprPtr write;    // none: grants nothing here
    ExprPtr validate; // none: anything is valid here
    std::map<std::string, RuleNode, std::less<>> children;
    std::string wildcard; // "$name"; empty when none
    std::unique_ptr<RuleNode> wildcardChild;

    // The rules for `key` below this level, binding the wildcard's name in `bound`; nullptr
    // when there are none.
    const RuleNode *child(const std::string &key,
                          std::vector<std::pair<std::string, std::string>> &bound) const;
};

// A rules file: `{"rules": {...}}` with ".read", ".write" and ".validate" as expressions or
// booleans and ".indexOn" accepted (queries need no index here). Throws RulesError with the
// line and column of the first fault.
class RuleTree
{
public:
    static std::shared_ptr<const RuleTree> parse(std::string_view fileText);

    const RuleNode &root() const { return root_; }

private:
    RuleNode root_;
};

} // namespace tailwise::realtime::rules
