#include "Lexer.h"
#include "SourceMap.h"

#include <array>

namespace tailwise::realtime::rules {
namespace {

bool isIdentifierStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '$';
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Longest first, so "===" is not read as "==" and "=".
constexpr std::array symbols = {"===", "!==", "==", "!=", "<=", ">=", "&&", "||",
                                "(",   ")",   "[",  "]",  ",",  ".",  "?",  ":",
                                "!",   "<",   ">",  "+",  "-",  "*",  "/",  "%"};

class Lexer
{
public:
    explicit Lexer(std::string_view text) : text_(text) {}

    std::vector<Token> run()
    {
        std::vector<Token> tokens;
        for (;;) {
            while (pos_ < text_.size() &&
                   std::string_view(" \t\r\n").find(text_[pos_]) != std::string_view::npos)
                ++pos_;
            if (pos_ == text_.size()) {
                tokens.push_back({Token::Kind::end, {}, pos_, {}});
                return tokens;
            }
            const bool operandExpected = tokens.empty() || !endsOperand(tokens.back());
            tokens.push_back(next(operandExpected));
        }
    }

private:
    static bool endsOperand(const Token &token)
    {
        if (token.kind != Token::Kind::symbol)
            return true;
        return token.text == ")" || token.text == "]";
    }

    Token next(bool operandExpected)
    {
        const std::size_t start = pos_;
        const char c = text_[pos_];
        if (isIdentifierStart(c)) {
            while (pos_ < text_.size() && (isIdentifierStart(text_[pos_]) || isDigit(text_[pos_])))
                ++pos_;
            return {
                Token::Kind::identifier, std::string(text_.substr(start, pos_ - start)), start, {}};
        }
        if (isDigit(c) || (c == '.' && pos_ + 1 < text_.size() && isDigit(text_[pos_ + 1])))
            return number();
        if (c == '\'' || c == '"')
            return string();
        if (c == '/' && operandExpected)
            return regex();
        for (const std::string_view symbol : symbols) {
            if (text_.substr(pos_, symbol.size()) == symbol) {
                pos_ += symbol.size();
                return {Token::Kind::symbol, std::string(symbol), start, {}};
            }
        }
        throw ExpressionError(start, "Unexpected character '" + std::string(1, c) + "'");
    }

    Token number()
    {
        const std::size_t start = pos_;
        while (pos_ < text_.size() && isDigit(text_[pos_]))
            ++pos_;
        if (pos_ < text_.size() && text_[pos_] == '.') {
            ++pos_;
            while (pos_ < text_.size() && isDigit(text_[pos_]))
                ++pos_;
        }
        if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
            ++pos_;
            if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-'))
                ++pos_;
            if (pos_ == text_.size() || !isDigit(text_[pos_]))
                throw ExpressionError(start, "Malformed number");
            while (pos_ < text_.size() && isDigit(text_[pos_]))
                ++pos_;
        }
        if (pos_ < text_.size() && isIdentifierStart(text_[pos_]))
            throw ExpressionError(start, "Malformed number");
        return {Token::Kind::number, std::string(text_.substr(start, pos_ - start)), start, {}};
    }

    Token string()
    {
        const std::size_t start = pos_;
        const char quote = text_[pos_++];
        std::string value;
        for (;;) {
            if (pos_ >= text_.size())
                throw ExpressionError(start, "Unterminated string");
            const char c = text_[pos_++];
            if (c == quote)
                return {Token::Kind::string, std::move(value), start, {}};
            if (c != '\\') {
                value += c;
                continue;
            }
            if (pos_ >= text_.size())
                throw ExpressionError(start, "Unterminated string");
            const std::size_t escape = pos_ - 1;
            switch (const char e = text_[pos_++]) {
            case 'n':
                value += '\n';
                break;
            case 't':
                value += '\t';
                break;
            case 'r':
                value += '\r';
                break;
            case 'u':
                value += unicodeEscape(escape);
                break;
            case '\\':
            case '\'':
            case '"':
            case '/':
                value += e;
                break;
            default:
                throw ExpressionError(escape, "Unknown escape '\\" + std::string(1, e) + "'");
            }
        }
    }

    std::string unicodeEscape(std::size_t escape)
    {
        if (pos_ + 4 > text_.size())
            throw ExpressionError(escape, "Malformed \\u escape");
        char32_t code = 0;
        for (int i = 0; i < 4; ++i) {
            const char h = text_[pos_++];
            const int digit = isDigit(h)               ? h - '0'
                              : (h >= 'a' && h <= 'f') ? h - 'a' + 10
                              : (h >= 'A' && h <= 'F') ? h - 'A' + 10
                                                       : -1;
            if (digit < 0)
                throw ExpressionError(escape, "Malformed \\u escape");
            code = code * 16 + static_cast<char32_t>(digit);
        }
        // Surrogates have no UTF-8 form; rules have no use for characters beyond the BMP.
        if (code >= 0xd800 && code <= 0xdfff)
            throw ExpressionError(escape, "Malformed \\u escape");
        std::string out;
        appendUtf8(out, code);
        return out;
    }

    Token regex()
    {
        const std::size_t start = pos_++;
        std::string pattern;
        bool inClass = false;
        for (;;) {
            if (pos_ >= text_.size() || text_[pos_] == '\n')
                throw ExpressionError(start, "Unterminated regular expression");
            const char c = text_[pos_++];
            if (c == '/' && !inClass)
                break;
            pattern += c;
            if (c == '\\' && pos_ < text_.size())
                pattern += text_[pos_++];
            else if (c == '[')
                inClass = true;
            else if (c == ']')
                inClass = false;
        }
        std::string flags;
        while (pos_ < text_.size() && isIdentifierStart(text_[pos_]))
            flags += text_[pos_++];
        return {Token::Kind::regex, std::move(pattern), start, std::move(flags)};
    }

    std::string_view text_;
    std::size_t pos_ = 0;
};

} // namespace

std::vector<Token> tokenize(std::string_view text)
{
    return Lexer(text).run();
}

} // namespace tailwise::realtime::rules
