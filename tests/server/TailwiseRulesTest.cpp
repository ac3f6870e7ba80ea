// The repository's database.rules.json in force: who may read, write and listen where in the
// app's tree, and every database operation the app makes, as its owner and as a stranger.

#include "RawStream.h"

#include <gtest/gtest.h>

#include <map>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;
using realtime::Json;

namespace {

// Three users: A, B (A's partner, with whom A has a conversation) and C (a stranger to both).
class TailwiseDatabase
{
public:
    TailwiseDatabase()
        : stack_(RealtimeStackOptions{.configure = [](StackConfig &config) {
              config.passwordCost = backend::PasswordCost::minimal();
              config.databaseRules = TAILWISE_DATABASE_RULES;
          }})
    {
        for (const char *name : {"A", "B", "C"})
            users_[name] = signUp(stack_, std::string(name) + "@example.com");
    }

    RealtimeStack &stack() { return stack_; }
    const DatabaseUser &user(const std::string &name) { return users_.at(name); }

    // {A}, {B}, {C} become the users' ids, {AB}, {AC}, {BC} their conversations, {N} a key
    // used only once.
    std::string expand(std::string text)
    {
        const auto conv = [this](const char *a, const char *b) {
            return user(a).id + "_" + user(b).id;
        };
        const std::map<std::string, std::string> names = {
            {"{A}", user("A").id},
            {"{B}", user("B").id},
            {"{C}", user("C").id},
            {"{AB}", conv("A", "B")},
            {"{AC}", conv("A", "C")},
            {"{BC}", conv("B", "C")},
            {"{N}", "k" + std::to_string(++fresh_)},
        };
        for (const auto &[name, value] : names)
            for (auto at = text.find(name); at != std::string::npos; at = text.find(name))
                text.replace(at, name.size(), value);
        return text;
    }

    // The request's status as `who` ("A", "B", "C", "" for anonymous, "admin").
    unsigned ask(const std::string &who, verb method, const std::string &path,
                 const std::string &body = {})
    {
        const std::string target = as("/" + expand(path) + ".json", token(who));
        return stack_.call(method, target, expand(body)).status;
    }
    // Whether a stream opens (200) or is refused (401) before any event.
    unsigned listen(const std::string &who, const std::string &path)
    {
        RawStream stream(stack_.endpoint(), as("/" + expand(path) + ".json", token(who)));
        const std::string head = stream.head();
        return head.size() > 12 ? static_cast<unsigned>(std::stoul(head.substr(9, 3))) : 0;
    }
    std::string read(const std::string &path)
    {
        return stack_.call(verb::get, as("/" + expand(path) + ".json", token("admin"))).body;
    }

private:
    std::string token(const std::string &who)
    {
        if (who.empty())
            return {};
        return who == "admin" ? databaseSecret(stack_) : user(who).token;
    }

    RealtimeStack stack_;
    std::map<std::string, DatabaseUser> users_;
    int fresh_ = 0;
};

std::string message(const char *from, const char *to, const char *type = "text")
{
    return Json{{"user_id", from},      {"receiverId", to}, {"message", "hi"},
                {"message_type", type}, {"image_pos", 0},   {"timestamp", 1700000000},
                {"file_url", "NOTSET"}, {"isSent", false}}
        .dump();
}

std::string entry(const char *other, int unread)
{
    return Json{{"_id", other},
                {"last_message", "hi"},
                {"message_type", "text"},
                {"timeStamp", 1700000000},
                {"unReadMessageCount", unread},
                {"receiverReadStatus", false},
                {"age", "30"},
                {"distance", "2 km"},
                {"favourite", "0"}}
        .dump();
}

const std::string mirror = Json{{"id", "{A}"},          {"name", "Ann"},
                                {"status", "Online"},   {"device_token", "player-1"},
                                {"profilePic", ""},     {"email", "A@example.com"},
                                {"gender", "female"},   {"age", "30"},
                                {"distance", "0"},      {"aboutstory", ""},
                                {"dogcount", "1"},      {"dogname", "Rex"},
                                {"verify_status", "0"}, {"time_stamp", 1700000000000}}
                               .dump();

// Each node of the tree, owned by A: A may read, listen and write it; C reads it only where
// every signed-in user may; C and anonymous never write it, anonymous never reads it.
TEST(TailwiseRules, EachNodeAsItsOwnerAStrangerAndAnonymous)
{
    TailwiseDatabase db;
    const struct
    {
        const char *node;
        bool strangerReads;
        std::string put, putBody, patch, patchBody;
    } nodes[] = {
        {"Users/{A}", true, "Users/{A}", mirror, "Users/{A}", R"({"status": "Offline"})"},
        {"Tailwise_Chat/{AB}/Messages", false, "Tailwise_Chat/{AB}/Messages/{N}",
         message("{A}", "{B}"), "Tailwise_Chat/{AB}/Messages",
         R"({"{N}": )" + message("{A}", "{B}") + "}"},
        {"Tailwise_Chat/{AB}/receiverReadStatus/{A}", false,
         "Tailwise_Chat/{AB}/receiverReadStatus/{A}", R"({"read_status": true})",
         "Tailwise_Chat/{AB}/receiverReadStatus/{A}", R"({"read_status": false})"},
        {"Tailwise_Chat/{AB}/Typing/{A}", false, "Tailwise_Chat/{AB}/Typing/{A}",
         R"({"isTyping": true})", "Tailwise_Chat/{AB}/Typing/{A}", R"({"isTyping": false})"},
        {"RecentChatUserList/{A}", false, "RecentChatUserList/{A}/{B}", entry("{B}", 0),
         "RecentChatUserList/{A}/{B}", R"({"unReadMessageCount": 0})"},
        {"Notifications/{A}", true, "Notifications/{A}",
         R"({"noti_status": "online", "tone": "on", "vibrate": "on", "message": "on"})",
         "Notifications/{A}", R"({"message": "off"})"},
        {"DataProtection/{A}", true, "DataProtection/{A}",
         R"({"img_status": "Anybody", "lastseen_status": "Only Favourite"})", "DataProtection/{A}",
         R"({"img_status": "Nobody"})"},
        {"Favourite/{A}", true, "Favourite/{A}/{B}", R"({"Favourite": "1"})", "Favourite/{A}/{B}",
         R"({"Favourite": "0"})"},
        {"TestNode/{A}", false, "TestNode/{A}", R"({"scratch": 1})", "TestNode/{A}",
         R"({"more": 2})"},
    };
    for (const auto &node : nodes) {
        for (const std::string who : {"", "C", "A"}) {
            const bool owner = who == "A";
            const unsigned reads = owner || (who == "C" && node.strangerReads) ? 200 : 401;
            const unsigned writes = owner ? 200 : 401;
            const std::string what = std::string(node.node) + " as '" + who + "'";
            EXPECT_EQ(db.ask(who, verb::get, node.node), reads) << what;
            EXPECT_EQ(db.listen(who, node.node), reads) << what;
            EXPECT_EQ(db.ask(who, verb::put, node.put, node.putBody), writes) << what;
            EXPECT_EQ(db.ask(who, verb::patch, node.patch, node.patchBody), writes) << what;
        }
    }

    // A multi-location update is allowed whole or not at all.
    const std::string mixed = R"({"Users/{A}/status": "Online", "Users/{B}/status": "Online"})";
    EXPECT_EQ(db.ask("A", verb::patch, "", mixed), 401u);
    EXPECT_EQ(db.read("Users/{A}/status"), R"("Offline")");
    // Sending a message touches both recent-list entries in one update.
    const std::string send = R"({"RecentChatUserList/{A}/{B}/last_message": "hey",
                                 "RecentChatUserList/{B}/{A}/unReadMessageCount": 1})";
    EXPECT_EQ(db.ask("A", verb::patch, "", send), 200u);
}

// Every database operation of the app, at the path it touches, made by the user it belongs
// to (A, whose partner is B) and by a stranger (C).
TEST(TailwiseRules, EveryOperationOfTheAppAsItsOwnerAndAsAStranger)
{
    TailwiseDatabase db;
    const struct
    {
        const char *operation;
        verb method; // get with `listens` is a stream
        std::string path, body;
        bool strangerMay = false;
        bool listens = false;
    } operations[] = {
        {"user mirror save", verb::put, "Users/{A}", mirror},
        {"user mirror update, one field", verb::put, "Users/{A}/name", R"("Ann B.")"},
        {"presence", verb::put, "Users/{A}/status", R"("Online")"},
        {"updateDeviceToken", verb::put, "Users/{A}/device_token", R"("player-2")"},
        {"logout", verb::patch, "Users/{A}", R"({"device_token": "", "status": "Offline"})"},
        {"deactivation", verb::patch, "Users/{A}",
         R"({"activate_status": "Deactivate", "device_token": ""})"},
        {"send a message", verb::post, "Tailwise_Chat/{AB}/Messages", message("{A}", "{B}")},
        {"observe the messages", verb::get, "Tailwise_Chat/{AB}/Messages", "", false, true},
        {"sender's recent entry", verb::put, "RecentChatUserList/{A}/{B}", entry("{B}", 0)},
        {"partner's recent entry", verb::put, "RecentChatUserList/{B}/{A}", entry("{A}", 1)},
        {"partner's counter", verb::put, "RecentChatUserList/{B}/{A}/unReadMessageCount", "2"},
        {"read the partner's counter", verb::get, "RecentChatUserList/{B}/{A}/unReadMessageCount",
         ""},
        {"mark the own entry read", verb::patch, "RecentChatUserList/{A}/{B}",
         R"({"unReadMessageCount": 0, "receiverReadStatus": true})"},
        {"observe the chat list", verb::get, "RecentChatUserList/{A}", "", false, true},
        {"set the reading flag", verb::put, "Tailwise_Chat/{AB}/receiverReadStatus/{A}",
         R"({"read_status": true})"},
        {"observe the partner's reading flag", verb::get,
         "Tailwise_Chat/{AB}/receiverReadStatus/{B}", "", false, true},
        {"set the typing flag", verb::put, "Tailwise_Chat/{AB}/Typing/{A}",
         R"({"isTyping": true})"},
        {"observe the partner's typing flag", verb::get, "Tailwise_Chat/{AB}/Typing/{B}", "", false,
         true},
        {"isOnline", verb::get, "Users/{B}/status", "", true},
        {"lastSeenOnline", verb::get, "Users/{B}/time_stamp", "", true},
        {"setImage", verb::get, "Users/{B}/profilePic", "", true},
        {"userDataPro", verb::get, "DataProtection/{B}/lastseen_status", "", true},
        {"userImgStatus", verb::get, "DataProtection/{B}/img_status", "", true},
        {"isFavUser", verb::get, "Favourite/{A}/{B}/Favourite", "", true},
        {"push: the receiver's noti_status", verb::get, "Notifications/{B}/noti_status", "", true},
        {"push: the receiver's device_token", verb::get, "Users/{B}/device_token", "", true},
        {"push: the partner's message setting", verb::get, "Notifications/{B}", "", true},
        {"notificationExist: read", verb::get, "Notifications/{A}", "", true},
        {"notificationExist: seed", verb::put, "Notifications/{A}",
         R"({"noti_status": "online", "tone": "on", "vibrate": "on", "message": "on"})"},
        {"notification settings", verb::put, "Notifications/{A}/tone", R"("off")"},
        {"privacy", verb::put, "DataProtection/{A}/lastseen_status", R"("Nobody")"},
        {"favourite mark", verb::put, "Favourite/{A}/{B}/Favourite", R"("1")"},
        {"profile scratch", verb::put, "TestNode/{A}", R"({"x": 1})"},
    };
    for (const auto &op : operations) {
        for (const std::string who : {"A", "C", ""}) {
            const unsigned expected = who == "A" || (who == "C" && op.strangerMay) ? 200 : 401;
            const unsigned status =
                op.listens ? db.listen(who, op.path) : db.ask(who, op.method, op.path, op.body);
            EXPECT_EQ(status, expected) << op.operation << " as '" << who << "'";
        }
    }
}

TEST(TailwiseRules, AUserCannotReachIntoSomeoneElsesData)
{
    TailwiseDatabase db;
    ASSERT_EQ(db.ask("B", verb::post, "Tailwise_Chat/{BC}/Messages", message("{B}", "{C}")), 200u);
    const struct
    {
        verb method;
        std::string path, body;
    } denied[] = {
        {verb::get, "Tailwise_Chat/{BC}", ""},
        {verb::get, "Tailwise_Chat/{BC}/Messages", ""},
        {verb::post, "Tailwise_Chat/{BC}/Messages", message("{A}", "{B}")},
        {verb::put, "Tailwise_Chat/{BC}/receiverReadStatus/{B}", R"({"read_status": true})"},
        // In A's own conversation: B's flags, a message in B's name or to someone else.
        {verb::put, "Tailwise_Chat/{AB}/receiverReadStatus/{B}", R"({"read_status": true})"},
        {verb::put, "Tailwise_Chat/{AB}/Typing/{B}", R"({"isTyping": true})"},
        {verb::post, "Tailwise_Chat/{AB}/Messages", message("{B}", "{A}")},
        {verb::post, "Tailwise_Chat/{AB}/Messages", message("{A}", "{C}")},
        {verb::put, "Users/{B}/status", R"("Offline")"},
        {verb::put, "Users/{B}/device_token", R"("stolen")"},
        {verb::put, "DataProtection/{B}/img_status", R"("Anybody")"},
        {verb::put, "Notifications/{B}/noti_status", R"("offline")"},
        {verb::put, "Favourite/{B}/{A}/Favourite", R"("1")"},
        {verb::get, "RecentChatUserList/{B}", ""},
        {verb::get, "RecentChatUserList/{B}/{C}", ""},
        {verb::put, "RecentChatUserList/{B}/{C}", entry("{C}", 0)},
        // B's counter only rises through the entry of a conversation with B.
        {verb::put, "RecentChatUserList/{B}/{C}/unReadMessageCount", "5"},
        {verb::get, "TestNode/{B}", ""},
        // Nodes nobody uses.
        {verb::get, "", ""},
        {verb::get, "Groups", ""},
        {verb::put, "Groups/g1", R"({"name": "g"})"},
        {verb::put, "Elsewhere", "1"},
        {verb::put, "Tailwise_Chat/{AB}/Other", "1"},
    };
    for (const auto &request : denied)
        EXPECT_EQ(db.ask("A", request.method, request.path, request.body), 401u)
            << request.path << ' ' << request.body;
    EXPECT_EQ(db.listen("A", "Tailwise_Chat/{BC}"), 401u);
    EXPECT_EQ(db.listen("A", "RecentChatUserList/{B}"), 401u);
    EXPECT_EQ(db.read("Users/{B}"), "null");
    EXPECT_EQ(db.ask("A", verb::put, "RecentChatUserList/{B}/{A}/unReadMessageCount", "5"), 200u);

    // A conversation is A's only when one of its two ids is exactly A's.
    const std::string a = db.user("A").id;
    const struct
    {
        std::string conv;
        unsigned status;
    } conversations[] = {
        {a + "_99", 200},     {"99_" + a, 200},       {a + "_" + a, 200}, {a + a + "_99", 401},
        {"99_" + a + a, 401}, {"9" + a + "_99", 401}, {"99_9" + a, 401},  {a + "_99_" + a, 401},
        {a + "_x", 401},      {a + "_", 401},
    };
    for (const auto &c : conversations)
        EXPECT_EQ(db.ask("A", verb::get, "Tailwise_Chat/" + c.conv), c.status) << c.conv;
}

// What a write must look like to be kept, written by its owner.
TEST(TailwiseRules, MisshapenWritesAreRefused)
{
    TailwiseDatabase db;
    const struct
    {
        const char *what;
        std::string path, body;
    } misshapen[] = {
        {"a message of an unknown type", "Tailwise_Chat/{AB}/Messages/{N}",
         message("{A}", "{B}", "video")},
        {"a message without a time", "Tailwise_Chat/{AB}/Messages/{N}",
         R"({"user_id": "{A}", "receiverId": "{B}", "message_type": "text", "file_url": ""})"},
        {"a negative counter", "RecentChatUserList/{B}/{A}/unReadMessageCount", "-1"},
        {"an entry naming another partner", "RecentChatUserList/{A}/{B}", entry("{C}", 0)},
        {"a reading flag that is not a boolean", "Tailwise_Chat/{AB}/receiverReadStatus/{A}",
         R"({"read_status": "yes"})"},
        {"a mirror naming another user", "Users/{A}/id", R"("{B}")"},
        {"a key the mirror does not have", "Users/{A}/admin", "true"},
        {"a privacy setting of no known kind", "DataProtection/{A}/img_status", R"("Everyone")"},
    };
    for (const auto &write : misshapen)
        EXPECT_EQ(db.ask("A", verb::put, write.path, write.body), 401u) << write.what;
    // A message is written once: neither changed nor taken back afterwards.
    ASSERT_EQ(db.ask("A", verb::put, "Tailwise_Chat/{AB}/Messages/m1", message("{A}", "{B}")),
              200u);
    EXPECT_EQ(db.ask("A", verb::put, "Tailwise_Chat/{AB}/Messages/m1/message", R"("edited")"),
              401u);
    EXPECT_EQ(db.ask("A", verb::delete_, "Tailwise_Chat/{AB}/Messages/m1"), 401u);
}

} // namespace
