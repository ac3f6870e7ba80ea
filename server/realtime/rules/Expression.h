#pragma once

#include "Lexer.h"

#include <cstddef>
#include <memory>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::realtime::rules {

// An expression is checked once, when the rules are loaded, and then evaluated for every
// request; so these bounds keep both the loader's and the evaluator's recursion small.
inline constexpr std::size_t maxExpressionBytes = 16 * 1024;
inline constexpr std::size_t maxExpressionDepth = 64;
inline constexpr std::size_t maxRegexBytes = 512;

struct Expr;
using ExprPtr = std::unique_ptr<const Expr>;

struct Expr
{
    enum class Kind
    {
        null,
        boolean,
        number,
        string,   // `text` the value
        regex,    // `regex` compiled; only as the argument of matches()
        array,    // `operands` the elements; only as the argument of hasChildren()
        variable, // `text` the name: auth, root, data, newData, now or a $wildcard
        member,   // `operands[0].text`
        call,     // `operands[0].text(operands[1...])`
        unary,    // `text` the operator
        binary,   // `operands[0] text operands[1]`
        ternary,
    };
    Kind kind = Kind::null;
    std::size_t offset = 0; // where it starts in the expression text
    std::string text;
    double number = 0;
    bool boolean = false;
    std::shared_ptr<const std::regex> regex;
    std::vector<ExprPtr> operands;
    std::size_t depth = 1; // of the tree below and including this node
};

// Parses a whole expression; throws ExpressionError with the offset of the fault. Methods and
// properties are checked by name and number of arguments here, so a misspelt rule stops the
// server at start instead of silently denying at run time.
ExprPtr parseExpression(std::string_view text);

} // namespace tailwise::realtime::rules
