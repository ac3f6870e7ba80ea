#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::realtime::rules {

// A fault in a rule's expression text, at a byte offset into that text; the rules loader turns
// the offset into a line and column of the rules file.
class ExpressionError : public std::runtime_error
{
public:
    ExpressionError(std::size_t offset, const std::string &message)
        : std::runtime_error(message), offset_(offset)
    {}
    std::size_t offset() const { return offset_; }

private:
    std::size_t offset_;
};

struct Token
{
    enum class Kind
    {
        identifier,
        number,
        string, // `text` holds the unescaped value
        regex,  // `text` the pattern, `flags` what follows the closing slash
        symbol, // punctuation and operators, `text` as written
        end,
    };
    Kind kind;
    std::string text;
    std::size_t offset;
    std::string flags;
};

// Splits an expression into tokens. A slash starts a regular expression wherever an operand is
// expected (`matches(/^a/)`) and divides elsewhere, as in JavaScript, whose syntax the rules
// language borrows.
std::vector<Token> tokenize(std::string_view text);

} // namespace tailwise::realtime::rules
