#include "Expression.h"

#include <charconv>
#include <map>

namespace tailwise::realtime::rules {
namespace {

struct Arity
{
    std::size_t min;
    std::size_t max;
};

const std::map<std::string_view, Arity> &methods()
{
    static const std::map<std::string_view, Arity> known = {
        {"child", {1, 1}},       {"parent", {0, 0}},   {"val", {0, 0}},
        {"exists", {0, 0}},      {"hasChild", {1, 1}}, {"hasChildren", {0, 1}},
        {"isString", {0, 0}},    {"isNumber", {0, 0}}, {"isBoolean", {0, 0}},
        {"getPriority", {0, 0}}, {"contains", {1, 1}}, {"beginsWith", {1, 1}},
        {"endsWith", {1, 1}},    {"matches", {1, 1}},
    };
    return known;
}

bool isProperty(std::string_view name)
{
    return name == "length" || name == "uid";
}

class Parser
{
public:
    explicit Parser(std::string_view text) : tokens_(tokenize(text)) {}

    ExprPtr run()
    {
        ExprPtr expr = ternary();
        if (peek().kind != Token::Kind::end)
            throw ExpressionError(peek().offset, "Unexpected '" + peek().text + "'");
        return expr;
    }

private:
    // Parentheses and signs nest the parser without adding nodes, so it counts its own depth too.
    class Nesting
    {
    public:
        Nesting(std::size_t &depth, std::size_t offset) : depth_(depth)
        {
            if (++depth_ > maxExpressionDepth)
                throw ExpressionError(offset, "Expression nests too deeply");
        }
        ~Nesting() { --depth_; }
        Nesting(const Nesting &) = delete;
        Nesting &operator=(const Nesting &) = delete;

    private:
        std::size_t &depth_;
    };

    const Token &peek() const { return tokens_[pos_]; }
    const Token &take() { return tokens_[pos_ < tokens_.size() - 1 ? pos_++ : pos_]; }

    bool isSymbol(std::string_view symbol) const
    {
        return peek().kind == Token::Kind::symbol && peek().text == symbol;
    }

    bool accept(std::string_view symbol)
    {
        if (!isSymbol(symbol))
            return false;
        ++pos_;
        return true;
    }

    void expect(std::string_view symbol)
    {
        if (!accept(symbol)) {
            const Token &at = peek();
            throw ExpressionError(
                at.offset,
                "Expected '" + std::string(symbol) + "'" +
                    (at.kind == Token::Kind::end ? " before the end" : " at '" + at.text + "'"));
        }
    }

    static std::unique_ptr<Expr> make(Expr::Kind kind, std::size_t offset, std::string text,
                                      std::vector<ExprPtr> operands = {})
    {
        auto expr = std::make_unique<Expr>();
        expr->kind = kind;
        expr->offset = offset;
        expr->text = std::move(text);
        for (const ExprPtr &operand : operands)
            expr->depth = std::max(expr->depth, operand->depth + 1);
        if (expr->depth > maxExpressionDepth)
            throw ExpressionError(offset, "Expression nests too deeply");
        expr->operands = std::move(operands);
        return expr;
    }

    ExprPtr ternary()
    {
        const Nesting nesting(depth_, peek().offset);
        ExprPtr condition = binary(0);
        if (!accept("?"))
            return condition;
        const std::size_t offset = condition->offset;
        ExprPtr whenTrue = ternary();
        expect(":");
        ExprPtr whenFalse = ternary();
        std::vector<ExprPtr> operands;
        operands.push_back(std::move(condition));
        operands.push_back(std::move(whenTrue));
        operands.push_back(std::move(whenFalse));
        return make(Expr::Kind::ternary, offset, "?", std::move(operands));
    }

    // Binary operators from the loosest binding; each level left-associative.
    static constexpr std::size_t levels = 6;
    static bool atLevel(std::size_t level, std::string_view op)
    {
        switch (level) {
        case 0:
            return op == "||";
        case 1:
            return op == "&&";
        case 2:
            return op == "==" || op == "!=" || op == "===" || op == "!==";
        case 3:
            return op == "<" || op == "<=" || op == ">" || op == ">=";
        case 4:
            return op == "+" || op == "-";
        default:
            return op == "*" || op == "/" || op == "%";
        }
    }

    ExprPtr binary(std::size_t level)
    {
        if (level == levels)
            return unary();
        ExprPtr left = binary(level + 1);
        while (peek().kind == Token::Kind::symbol && atLevel(level, peek().text)) {
            std::string op = take().text;
            // "===" and "!==" mean what "==" and "!=" do: there is no type coercion.
            if (op.size() == 3)
                op.pop_back();
            ExprPtr right = binary(level + 1);
            const std::size_t offset = left->offset;
            std::vector<ExprPtr> operands;
            operands.push_back(std::move(left));
            operands.push_back(std::move(right));
            left = make(Expr::Kind::binary, offset, std::move(op), std::move(operands));
        }
        return left;
    }

    ExprPtr unary()
    {
        if (isSymbol("!") || isSymbol("-")) {
            const Token &op = take();
            const Nesting nesting(depth_, op.offset);
            std::vector<ExprPtr> operands;
            operands.push_back(unary());
            return make(Expr::Kind::unary, op.offset, op.text, std::move(operands));
        }
        return postfix(primary());
    }

    ExprPtr postfix(ExprPtr expr)
    {
        while (accept(".")) {
            const Token &name = take();
            if (name.kind != Token::Kind::identifier)
                throw ExpressionError(name.offset, "Expected a name after '.'");
            std::vector<ExprPtr> operands;
            operands.push_back(std::move(expr));
            if (!isSymbol("(")) {
                if (!isProperty(name.text))
                    throw ExpressionError(name.offset, "Unknown property '" + name.text + "'");
                expr = make(Expr::Kind::member, name.offset, name.text, std::move(operands));
                continue;
            }
            const auto method = methods().find(name.text);
            if (method == methods().end())
                throw ExpressionError(name.offset, "Unknown method '" + name.text + "'");
            take();
            if (!isSymbol(")")) {
                do
                    operands.push_back(argument(name.text));
                while (accept(","));
            }
            expect(")");
            const std::size_t arguments = operands.size() - 1;
            if (arguments < method->second.min || arguments > method->second.max)
                throw ExpressionError(name.offset,
                                      "Wrong number of arguments to " + name.text + "()");
            expr = make(Expr::Kind::call, name.offset, name.text, std::move(operands));
        }
        return expr;
    }

    // Regular expressions and lists exist only as these methods' arguments.
    ExprPtr argument(std::string_view method)
    {
        if (method == "matches") {
            const Token &token = take();
            if (token.kind != Token::Kind::regex)
                throw ExpressionError(token.offset,
                                      "matches() takes a regular expression like /^a/");
            return regex(token);
        }
        if (method == "hasChildren" && isSymbol("["))
            return array(take());
        return ternary();
    }

    ExprPtr primary()
    {
        const Token &token = take();
        switch (token.kind) {
        case Token::Kind::identifier:
            return identifier(token);
        case Token::Kind::number: {
            auto expr = make(Expr::Kind::number, token.offset, token.text);
            const auto *const last = token.text.data() + token.text.size();
            double value = 0;
            if (std::from_chars(token.text.data(), last, value).ptr != last)
                throw ExpressionError(token.offset, "Malformed number");
            expr->number = value;
            return expr;
        }
        case Token::Kind::string:
            return make(Expr::Kind::string, token.offset, token.text);
        case Token::Kind::regex:
            throw ExpressionError(token.offset, "A regular expression is only for matches()");
        case Token::Kind::symbol:
            if (token.text == "(") {
                ExprPtr inner = ternary();
                expect(")");
                return inner;
            }
            if (token.text == "[")
                throw ExpressionError(token.offset, "Only hasChildren() takes a list");
            throw ExpressionError(token.offset, "Unexpected '" + token.text + "'");
        case Token::Kind::end:
            break;
        }
        throw ExpressionError(token.offset, "Unexpected end of expression");
    }

    static ExprPtr identifier(const Token &token)
    {
        if (token.text == "true" || token.text == "false") {
            auto expr = make(Expr::Kind::boolean, token.offset, token.text);
            expr->boolean = token.text == "true";
            return expr;
        }
        if (token.text == "null")
            return make(Expr::Kind::null, token.offset, token.text);
        return make(Expr::Kind::variable, token.offset, token.text);
    }

    ExprPtr array(const Token &open)
    {
        std::vector<ExprPtr> elements;
        if (!isSymbol("]")) {
            do {
                const Token &element = take();
                if (element.kind != Token::Kind::string)
                    throw ExpressionError(element.offset, "A list holds only strings");
                elements.push_back(make(Expr::Kind::string, element.offset, element.text));
            } while (accept(","));
        }
        expect("]");
        return make(Expr::Kind::array, open.offset, "[]", std::move(elements));
    }

    static ExprPtr regex(const Token &token)
    {
        if (token.text.size() > maxRegexBytes)
            throw ExpressionError(token.offset, "Regular expression longer than " +
                                                    std::to_string(maxRegexBytes) + " bytes");
        auto flags = std::regex::ECMAScript;
        if (token.flags == "i")
            flags |= std::regex::icase;
        else if (!token.flags.empty())
            throw ExpressionError(token.offset,
                                  "Unknown regular expression flags '" + token.flags + "'");
        auto expr = make(Expr::Kind::regex, token.offset, token.text);
        try {
            expr->regex = std::make_shared<const std::regex>(token.text, flags);
        } catch (const std::regex_error &) {
            throw ExpressionError(token.offset, "Invalid regular expression");
        }
        return expr;
    }

    std::vector<Token> tokens_;
    std::size_t pos_ = 0;
    std::size_t depth_ = 0;
};

} // namespace

ExprPtr parseExpression(std::string_view text)
{
    if (text.size() > maxExpressionBytes)
        throw ExpressionError(0, "Expression longer than " + std::to_string(maxExpressionBytes) +
                                     " bytes");
    return Parser(text).run();
}

} // namespace tailwise::realtime::rules
