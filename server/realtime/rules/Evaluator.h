#pragma once

#include "Expression.h"
#include "realtime/Node.h"
#include "realtime/Path.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tailwise::realtime::rules {

struct Identity
{
    std::string uid;
};
// The requester; none is `auth == null`.
using Auth = std::optional<Identity>;

// Longer strings fail matches(): the standard library's regex engine recurses once per
// character (some 700 bytes each for `(a|b)*`), so a long value could exhaust a thread's stack.
inline constexpr std::size_t maxMatchedBytes = 1024;

// What a rule sees: the requester, the tree before the request (`root`, `data`), for a write
// the tree after it (`newData`), the location the rule is at and the keys its wildcards took.
struct Scope
{
    const Auth &auth;
    const NodePtr &root;
    const std::optional<NodePtr> &newRoot; // none for a read
    const Path &path;
    std::int64_t nowMs;
    // Innermost last; a name may not repeat along a path.
    const std::vector<std::pair<std::string, std::string>> &wildcards;
};

// Whether the expression grants: only the boolean true does. Whatever cannot be evaluated (a
// type mismatch, an unknown variable, newData in a read) is a refusal, as on the hosted service.
bool grants(const Expr &expr, const Scope &scope);

} // namespace tailwise::realtime::rules
