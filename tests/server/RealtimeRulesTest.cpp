// The realtime database's security rules: what the rules language means against a known tree,
// how reads and writes cascade and validate, and where a faulty rules file is reported.

#include "realtime/Tree.h"
#include "realtime/rules/Rules.h"

#include <gtest/gtest.h>

using namespace tailwise::realtime;
using namespace tailwise::realtime::rules;

namespace {

constexpr std::int64_t nowMs = 1000;

NodePtr tree(const char *json)
{
    return prepareValue(Json::parse(json), 0, 0).value;
}

const NodePtr &known()
{
    static const NodePtr root = tree(R"({
        "users": {"alice": {"name": "Alice", "age": 30, "admin": true},
                  "bob": {"name": "Bob", "age": 17}},
        "admins": {"alice": true}
    })");
    return root;
}

Rules rulesFrom(const std::string &text)
{
    return Rules(RuleTree::parse(text), [] { return nowMs; });
}

const Auth alice = Identity{"alice"};
const Auth nobody = std::nullopt;

struct ExpressionCase
{
    const char *expression;
    bool grants;
    Auth auth = alice;
};

// Each expression is the read rule of /users/$uid, read at /users/alice.
TEST(RealtimeRules, ExpressionsAgainstAKnownTree)
{
    const std::vector<ExpressionCase> cases = {
        // auth, wildcards, now
        {"auth.uid == $uid", true},
        {"auth.uid == $uid", false, nobody}, // auth.uid of null: false, not an error escaping
        {"auth == null", true, nobody},
        {"auth != null", true},
        {"auth.uid == 'bob'", false},
        {"now == 1000 && now > 999", true},
        {"$uid === 'alice' && $uid !== 'bob'", true},
        // snapshots
        {"data.child('name').val() == 'Alice'", true},
        {"data.child('age').val() >= 18", true},
        {"data.child('age').isNumber() && data.child('name').isString()", true},
        {"data.child('admin').isBoolean() && !data.child('age').isString()", true},
        {"data.exists() && !data.child('missing').exists()", true},
        {"data.hasChild('name') && !data.hasChild('x')", true},
        {"data.hasChildren(['name', 'age']) && data.hasChildren()", true},
        {"data.hasChildren(['name', 'x'])", false},
        {"data.child('name').hasChildren()", false},
        {"data.parent().child('bob/name').val() == 'Bob'", true},
        {"root.child('admins').child(auth.uid).val() == true", true},
        {"root.child('admins/' + $uid).exists()", true},
        {"data.val() == null || data.val() == 'Alice'", false}, // an object equals nothing
        {"data.child('name').getPriority() == null", true},
        {"root.parent() == null", false}, // the root has no parent
        {"data.child('a.b').exists() || true", false},
        // strings
        {"data.child('name').val().length == 5 && 'é'.length == 1", true},
        {"data.child('name').val().contains('lic')", true},
        {"data.child('name').val().beginsWith('Al') && data.child('name').val().endsWith('ce')",
         true},
        {"data.child('name').val().beginsWith('ce')", false},
        {"data.child('name').val().matches(/^al/i)", true},
        {"data.child('name').val().matches(/^al/)", false},
        {R"('it\'s a \u0041'.matches(/^it's a A$/))", true},
        {"'a' + 'b' == 'ab' && 'a' < 'b' && 'b' >= 'b'", true},
        // operators and precedence
        {"1 + 2 * 3 == 7 && (1 + 2) * 3 == 9", true},
        {"10 - 4 - 3 == 3 && 7 % 4 == 3 && 9 / 2 == 4.5 && -2 * 3 == -6", true},
        {"true || false && false", true},
        {"!false && !!true", true},
        {"1 < 2 == true", true},
        {"false ? false : true", true},
        {"1 > 2 ? false : 2 > 1 ? true : false", true},
        {"!(data.child('name').val() == 'Bob')", true},
        // whatever cannot be evaluated denies, and && and || stop early
        {"'a' + 1 == 'a1'", false},
        {"data.child('name').val() > 3", false},
        {"1 && true", false},
        {"1 == '1'", false},
        {"undefinedName == null", false},
        {"newData.exists()", false}, // a read has no new data
        {"'yes'", false},
        {"auth.uid == $uid || undefinedName", true},
        {"undefinedName || true", false},
        {"auth == null && auth.uid == 'x'", false},
    };
    for (const ExpressionCase &c : cases) {
        const Json document = {{"rules", {{"users", {{"$uid", {{".read", c.expression}}}}}}}};
        const Rules rules = rulesFrom(document.dump());
        EXPECT_EQ(rules.canRead({"users", "alice"}, known(), c.auth), c.grants) << c.expression;
    }
}

const char *const accessRules = R"json({"rules": {
    ".read": "auth.uid == 'root'",
    "users": {
        "$uid": {
            ".read": "auth.uid == $uid",
            ".write": "auth.uid == $uid",
            ".validate": "newData.hasChildren(['name'])",
            "name": {".validate": "newData.isString() && newData.val().length <= 10"},
            "age": {".validate": "newData.isNumber() && $uid != 'bob'", ".indexOn": "x"},
            "$other": {".validate": false}
        }
    },
    "public": {
        ".read": true, ".write": true,
        "locked": {".write": false, ".validate": "newData.val() != 'bad' && data.val() != 'frozen'"}
    },
    "stamps": {"$stamp": {".write": true, ".validate": "newData.val() <= now"}}
}})json";

struct ReadCase
{
    Path path;
    Auth auth;
    bool allowed;
};

TEST(RealtimeRules, ReadsCascadeFromTheFirstGrant)
{
    const Rules rules = rulesFrom(accessRules);
    const std::vector<ReadCase> cases = {
        {{}, Identity{"root"}, true},
        {{"users", "bob", "name"}, Identity{"root"}, true}, // granted above
        {{"users", "alice", "name"}, alice, true},
        {{"users", "alice"}, alice, true},
        {{"users"}, alice, false}, // granted only below
        {{"users", "bob"}, alice, false},
        {{"public", "locked", "deep"}, nobody, true}, // a level without rules below a grant
        {{"elsewhere"}, alice, false},
    };
    for (const ReadCase &c : cases)
        EXPECT_EQ(rules.canRead(c.path, known(), c.auth), c.allowed) << pathText(c.path);
}

struct WriteCase
{
    Path path;
    const char *value; // JSON; "null" deletes
    Auth auth;
    bool allowed;
};

TEST(RealtimeRules, WritesCascadeAndValidateEveryLevelOfTheNewData)
{
    const Rules rules = rulesFrom(accessRules);
    const NodePtr before = tree(R"({"users": {"alice": {"name": "Alice", "age": 30}},
                                    "public": {"locked": "open"}})");
    const std::vector<WriteCase> cases = {
        {{"users", "alice"}, R"({"name": "Al"})", alice, true},
        {{"users", "alice"}, R"({"name": "Al"})", Identity{"bob"}, false},
        {{"users", "alice"}, R"({"name": "Al"})", nobody, false},
        {{"users", "alice"}, R"({"name": "Al", "x": 1})", alice, false}, // $other refuses
        {{"users", "alice"}, R"({"age": 3})", alice, false},             // no name
        {{"users", "alice"}, R"({"name": 5})", alice, false},
        {{"users", "bob"}, R"({"name": "Bob", "age": 3})", Identity{"bob"}, false}, // $uid bound
        {{"users", "alice", "name"}, R"("Alicia")", alice, true},
        {{"users", "alice", "name"}, R"("far too long a name")", alice, false},
        {{"users", "alice", "name"}, "null", alice, false}, // leaves alice without a name
        {{"users", "alice", "age"}, "null", alice, true},
        {{"users", "alice"}, "null", alice, true},      // deletions are not validated
        {{"public", "locked"}, R"("x")", nobody, true}, // a deeper false revokes nothing
        {{"public", "locked"}, R"("bad")", nobody, false},
        {{"public"}, R"({"locked": "bad"})", nobody, false},        // validated below the write
        {{"public", "locked", "deeper"}, R"("bad")", nobody, true}, // the parent is an object
        {{"stamps", "s"}, "500", nobody, true},
        {{"stamps", "s"}, "2000", nobody, false},
        {{}, R"({"public": {"x": 1}})", nobody, false}, // nothing grants at the root
    };
    for (const WriteCase &c : cases) {
        const NodePtr after = setAt(before, c.path, tree(c.value));
        EXPECT_EQ(rules.canWrite(c.path, before, after, c.auth), c.allowed)
            << pathText(c.path) << " = " << c.value;
    }
}

TEST(RealtimeRules, DataInValidateIsTheValueBeforeTheWrite)
{
    const Rules rules = rulesFrom(accessRules);
    const NodePtr frozen = tree(R"({"public": {"locked": "frozen"}})");
    const Path at = {"public", "locked"};
    EXPECT_FALSE(rules.canWrite(at, frozen, setAt(frozen, at, tree(R"("x")")), nobody));
}

TEST(RealtimeRules, AMultiLocationUpdateIsAllowedWholeOrNotAtAll)
{
    const Rules rules = rulesFrom(accessRules);
    const NodePtr before = known();
    const auto update = [&](const std::vector<std::pair<Path, const char *>> &writes) {
        std::vector<std::pair<Path, NodePtr>> values;
        std::vector<Path> locations;
        for (const auto &[path, value] : writes) {
            values.emplace_back(path, tree(value));
            locations.push_back(path);
        }
        return rules.canUpdate(locations, before, setAll(before, values), alice);
    };
    EXPECT_TRUE(update({{{"users", "alice", "name"}, R"("Al")"}, {{"public", "a"}, "1"}}));
    EXPECT_FALSE(update({{{"users", "alice", "name"}, R"("Al")"}, {{"users", "bob", "age"}, "1"}}));
    // Each location is checked against the tree the whole update leaves: the new name and the
    // removed age together leave alice valid.
    EXPECT_TRUE(
        update({{{"users", "alice", "name"}, R"("Al")"}, {{"users", "alice", "age"}, "null"}}));
    EXPECT_FALSE(update({{{"users", "alice", "name"}, "null"}, {{"users", "alice", "age"}, "1"}}));
}

TEST(RealtimeRules, LongValuesFailMatchesInsteadOfExhaustingTheStack)
{
    const Rules rules =
        rulesFrom(R"json({"rules": {"$s": {".write": "newData.val().matches(/^(a|b)*$/)"}}})json");
    for (const std::size_t length : {maxMatchedBytes, maxMatchedBytes + 1}) {
        const NodePtr after = tree(Json{{"s", std::string(length, 'a')}}.dump().c_str());
        EXPECT_EQ(rules.canWrite({"s"}, nullptr, after, nobody), length <= maxMatchedBytes);
    }
}

struct ErrorCase
{
    std::string file;
    std::size_t line;
    std::size_t column;
    const char *reason; // a part of it
};

TEST(RealtimeRules, FaultsInARulesFileAreReportedWhereTheyAre)
{
    const std::string deep = std::string(70, '(') + "true" + std::string(70, ')');
    std::string deepRules = "{}";
    for (int i = 0; i < 40; ++i)
        deepRules = "{\"a\": " + deepRules + "}";
    const std::string tooLong = "true" + std::string(maxExpressionBytes, ' ');
    const std::vector<ErrorCase> cases = {
        {"{\"rules\": {\".read\": true,}}", 1, 26, "Invalid JSON"},
        {"{\n  \"rules\": {\n    \".read\": \"auth != null &&& true\"\n  }\n}", 3, 30,
         "Unexpected character '&'"},
        // escapes in the JSON string shift the column of what follows them
        {"{\"rules\": {\".read\": \"\\\"x\\\" == )\"}}", 1, 31, "Unexpected ')'"},
        {"{\"rules\": {\"\xc3\xbc\": {\".read\": \"+\"}}}", 1, 28, "Unexpected '+'"},
        {R"({"rules": {"\ud83d\ude00": {".read": "+"}}})", 1, 39, "Unexpected '+'"},
        {R"j({"rules": {".read": "'\u00e9' == )"}})j", 1, 34, "Unexpected ')'"},
        {"{\"rules\": {\n\".wirte\": true}}", 2, 1, "Unknown rule '.wirte'"},
        {"{\"rules\": {\"$a\": {}, \"$b\": {}}}", 1, 22, "second wildcard"},
        {"{\"rules\": {\"$a\": {\"$a\": {}}}}", 1, 19, "already bound"},
        {"{\"rules\": {\"a\": {\".read\": \"data.exist()\"}}}", 1, 33, "Unknown method 'exist'"},
        {"{\"rules\": {\"a\": {\".read\": \"data.size\"}}}", 1, 33, "Unknown property"},
        {"{\"rules\": {\".read\": \"data.child()\"}}", 1, 27, "Wrong number of arguments"},
        {"{\"rules\": {\".read\": \"'a'.matches('a')\"}}", 1, 34, "regular expression"},
        {"{\"rules\": {\".read\": \"'a'.matches(/(/)\"}}", 1, 34, "Invalid regular expression"},
        {"{\"rules\": {\".read\": \"'a'.matches(/a/g)\"}}", 1, 34, "flags 'g'"},
        {"{\"rules\": {\".read\": \"['a'] == null\"}}", 1, 22, "Only hasChildren()"},
        {"{\"rules\": {\".read\": \"'open\"}}", 1, 22, "Unterminated string"},
        {"{\"rules\": {\".read\": \"" + deep + "\"}}", 1, 86, "nests too deeply"},
        {"{\"rules\": {\".read\": \"" + std::string(100, '!') + "true\"}}", 1, 85,
         "nests too deeply"},
        {"{\"rules\": " + deepRules + "}", 1, 215, "Rules nest too deeply"},
        {"{\"rules\": {\".read\": \"" + tooLong + "\"}}", 1, 22, "longer than"},
        {"{\"rules\": {\".read\": 1}}", 1, 21, "A rule is an expression"},
        {"{\"rules\": {\"a\": true}}", 1, 17, "Expected an object"},
        {"{\"rules\": {\"a#b\": {}}}", 1, 12, "#"},
        {"{\"rules\": {}, \"other\": 1}", 1, 15, "Unknown key 'other'"},
        {"[]", 1, 1, "Expected {\"rules\""},
    };
    for (const ErrorCase &c : cases) {
        try {
            RuleTree::parse(c.file);
            ADD_FAILURE() << "accepted: " << c.file;
        } catch (const RulesError &e) {
            EXPECT_EQ(e.line(), c.line) << c.file << ": " << e.what();
            EXPECT_EQ(e.column(), c.column) << c.file << ": " << e.what();
            EXPECT_NE(e.reason().find(c.reason), std::string::npos) << e.what();
        }
    }
}

} // namespace
