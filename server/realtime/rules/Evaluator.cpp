#include "Evaluator.h"

#include "realtime/Tree.h"

#include <cmath>
#include <optional>
#include <variant>

namespace tailwise::realtime::rules {
namespace {

// A rule that cannot be evaluated; caught in grants(), never seen outside.
struct Undefined
{};

struct Snapshot
{
    NodePtr root;
    Path path;
    NodePtr node;
};

// What val() gives for a location with children: rules reach children through child(), so
// an object only compares unequal to everything.
struct Composite
{};

using Value = std::variant<std::nullptr_t, bool, double, std::string, Snapshot, Composite, Identity,
                           std::vector<std::string>>;

template <typename T>
const T &as(const Value &value)
{
    if (const T *typed = std::get_if<T>(&value))
        return *typed;
    throw Undefined{};
}

// Out of a temporary by value, so nothing refers into a value already gone.
template <typename T>
T as(Value &&value)
{
    if (T *typed = std::get_if<T>(&value))
        return std::move(*typed);
    throw Undefined{};
}

bool isPrimitive(const Value &value)
{
    return std::holds_alternative<bool>(value) || std::holds_alternative<double>(value) ||
           std::holds_alternative<std::string>(value);
}

Path relativePath(const std::string &text)
{
    Path keys;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t slash = std::min(text.find('/', start), text.size());
        std::string key = text.substr(start, slash - start);
        start = slash + 1;
        if (key.empty())
            continue;
        if (!keyProblem(key).empty())
            throw Undefined{};
        keys.push_back(std::move(key));
    }
    return keys;
}

Snapshot childOf(const Snapshot &snapshot, const std::string &relative)
{
    const Path below = relativePath(relative);
    Path path = join(snapshot.path, below);
    if (path.size() > maxDepth)
        throw Undefined{};
    NodePtr node = find(snapshot.node, below);
    return {snapshot.root, std::move(path), std::move(node)};
}

// JavaScript's length: UTF-16 code units.
double utf16Length(const std::string &text)
{
    double units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0) != 0x80)
            units += byte >= 0xf0 ? 2 : 1;
    }
    return units;
}

bool equal(const Value &a, const Value &b)
{
    const bool aNull = std::holds_alternative<std::nullptr_t>(a);
    const bool bNull = std::holds_alternative<std::nullptr_t>(b);
    if (aNull || bNull)
        return aNull == bNull;
    if (std::holds_alternative<Composite>(a) || std::holds_alternative<Composite>(b))
        return false;
    if (!isPrimitive(a) || !isPrimitive(b))
        throw Undefined{};
    if (a.index() != b.index())
        return false;
    if (const auto *text = std::get_if<std::string>(&a))
        return *text == std::get<std::string>(b);
    if (const auto *number = std::get_if<double>(&a))
        return *number == std::get<double>(b);
    return std::get<bool>(a) == std::get<bool>(b);
}

class Evaluator
{
public:
    explicit Evaluator(const Scope &scope) : scope_(scope) {}

    Value eval(const Expr &expr) const
    {
        switch (expr.kind) {
        case Expr::Kind::null:
            return nullptr;
        case Expr::Kind::boolean:
            return expr.boolean;
        case Expr::Kind::number:
            return expr.number;
        case Expr::Kind::string:
            return expr.text;
        case Expr::Kind::array: {
            std::vector<std::string> keys;
            for (const ExprPtr &element : expr.operands)
                keys.push_back(element->text);
            return keys;
        }
        case Expr::Kind::regex: // the parser lets them only into matches()
            throw Undefined{};
        case Expr::Kind::variable:
            return variable(expr.text);
        case Expr::Kind::member:
            return member(eval(*expr.operands[0]), expr.text);
        case Expr::Kind::call:
            return call(expr);
        case Expr::Kind::unary:
            return unary(expr);
        case Expr::Kind::binary:
            return binary(expr);
        case Expr::Kind::ternary:
            return as<bool>(eval(*expr.operands[0])) ? eval(*expr.operands[1])
                                                     : eval(*expr.operands[2]);
        }
        throw Undefined{};
    }

private:
    Snapshot at(const NodePtr &root) const { return {root, scope_.path, find(root, scope_.path)}; }

    Value variable(const std::string &name) const
    {
        if (name == "auth") {
            if (!scope_.auth)
                return nullptr;
            return *scope_.auth;
        }
        if (name == "now")
            return static_cast<double>(scope_.nowMs);
        if (name == "root")
            return Snapshot{scope_.root, {}, scope_.root};
        if (name == "data")
            return at(scope_.root);
        if (name == "newData" && scope_.newRoot)
            return at(*scope_.newRoot);
        for (auto bound = scope_.wildcards.rbegin(); bound != scope_.wildcards.rend(); ++bound) {
            if (bound->first == name)
                return bound->second;
        }
        throw Undefined{};
    }

    static Value member(const Value &object, const std::string &name)
    {
        if (name == "length")
            return utf16Length(as<std::string>(object));
        return as<Identity>(object).uid; // "uid", the only other property the parser lets in
    }

    Value call(const Expr &expr) const
    {
        const Value object = eval(*expr.operands[0]);
        const std::string &name = expr.text;
        if (name == "contains" || name == "beginsWith" || name == "endsWith" || name == "matches")
            return stringMethod(as<std::string>(object), expr);
        const Snapshot &snapshot = as<Snapshot>(object);
        const NodePtr &node = snapshot.node;
        if (name == "child")
            return childOf(snapshot, as<std::string>(eval(*expr.operands[1])));
        if (name == "parent") {
            if (snapshot.path.empty())
                throw Undefined{};
            Path path(snapshot.path.begin(), snapshot.path.end() - 1);
            NodePtr parent = find(snapshot.root, path);
            return Snapshot{snapshot.root, std::move(path), std::move(parent)};
        }
        if (name == "exists")
            return node != nullptr;
        if (name == "hasChild")
            return childOf(snapshot, as<std::string>(eval(*expr.operands[1]))).node != nullptr;
        if (name == "hasChildren")
            return hasChildren(snapshot, expr);
        if (name == "val") {
            if (!node)
                return nullptr;
            if (node->isObject())
                return Composite{};
            return scalar(node->scalar());
        }
        if (name == "getPriority") // priorities are not stored
            return nullptr;
        const Json *scalar = node && !node->isObject() ? &node->scalar() : nullptr;
        if (name == "isString")
            return scalar && scalar->is_string();
        if (name == "isNumber")
            return scalar && scalar->is_number();
        return scalar && scalar->is_boolean(); // isBoolean
    }

    Value hasChildren(const Snapshot &snapshot, const Expr &expr) const
    {
        if (expr.operands.size() == 1)
            return snapshot.node && snapshot.node->isObject();
        for (const std::string &key : as<std::vector<std::string>>(eval(*expr.operands[1]))) {
            if (!childOf(snapshot, key).node)
                return false;
        }
        return true;
    }

    static Value scalar(const Json &value)
    {
        if (value.is_string())
            return value.get<std::string>();
        if (value.is_boolean())
            return value.get<bool>();
        return value.get<double>();
    }

    Value stringMethod(const std::string &text, const Expr &expr) const
    {
        const Expr &argument = *expr.operands[1];
        if (expr.text == "matches") {
            if (text.size() > maxMatchedBytes)
                throw Undefined{};
            try {
                return std::regex_search(text, *argument.regex);
            } catch (const std::regex_error &) {
                throw Undefined{};
            }
        }
        const std::string &part = as<std::string>(eval(argument));
        if (expr.text == "contains")
            return text.find(part) != std::string::npos;
        if (expr.text == "beginsWith")
            return text.starts_with(part);
        return text.ends_with(part);
    }

    Value unary(const Expr &expr) const
    {
        const Value operand = eval(*expr.operands[0]);
        if (expr.text == "!")
            return !as<bool>(operand);
        return -as<double>(operand);
    }

    Value binary(const Expr &expr) const
    {
        const std::string &op = expr.text;
        if (op == "&&" || op == "||") {
            const bool left = as<bool>(eval(*expr.operands[0]));
            if (left == (op == "||"))
                return left;
            return as<bool>(eval(*expr.operands[1]));
        }
        const Value left = eval(*expr.operands[0]);
        const Value right = eval(*expr.operands[1]);
        if (op == "==")
            return equal(left, right);
        if (op == "!=")
            return !equal(left, right);
        if (op == "+" && std::holds_alternative<std::string>(left)) {
            const std::string &tail = as<std::string>(right);
            const std::string &head = as<std::string>(left);
            if (head.size() + tail.size() > maxStringBytes)
                throw Undefined{};
            return head + tail;
        }
        return arithmetic(op, left, right);
    }

    // The four orderings, the same for texts and numbers; none for any other operator.
    template <typename T>
    static std::optional<bool> compare(const std::string &op, const T &a, const T &b)
    {
        if (op == "<")
            return a < b;
        if (op == "<=")
            return a <= b;
        if (op == ">")
            return a > b;
        if (op == ">=")
            return a >= b;
        return std::nullopt;
    }

    static Value arithmetic(const std::string &op, const Value &left, const Value &right)
    {
        if (std::holds_alternative<std::string>(left)) {
            if (const std::optional<bool> order =
                    compare(op, as<std::string>(left), as<std::string>(right)))
                return *order;
            throw Undefined{};
        }
        const double a = as<double>(left);
        const double b = as<double>(right);
        if (const std::optional<bool> order = compare(op, a, b))
            return *order;
        if (op == "+")
            return a + b;
        if (op == "-")
            return a - b;
        if (op == "*")
            return a * b;
        if (op == "/")
            return a / b;
        return std::fmod(a, b);
    }

    const Scope &scope_;
};

} // namespace

bool grants(const Expr &expr, const Scope &scope)
{
    try {
        const Value result = Evaluator(scope).eval(expr);
        const bool *granted = std::get_if<bool>(&result);
        return granted && *granted;
    } catch (const Undefined &) {
        return false;
    }
}

} // namespace tailwise::realtime::rules
