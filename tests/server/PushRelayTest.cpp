// The push relay as OneSignal clients and devices meet it: every answer shape over raw HTTP,
// the badge rules, and the device stream's event.

#include "PushSupport.h"
#include "push/Uuid.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <gtest/gtest.h>

using namespace tailwise;
using namespace tailwise::test;
using net::http::verb;

namespace {

bool isUuid(const Json &value)
{
    return value.is_string() &&
           push::canonicalUuid(value.get<std::string>()) == value.get<std::string>();
}

// {"errors": ["<one message>"]}, as every refusal reads.
bool refusedWithErrors(const HttpReply &reply)
{
    const Json &errors = reply.json.is_object() ? reply.json.value("errors", Json()) : Json();
    return errors.is_array() && errors.size() == 1 && errors[0].is_string() &&
           !errors[0].get<std::string>().empty();
}

std::string unknownPlayer()
{
    return push::newUuid();
}

TEST(PushPlayers, ADeviceKeepsItsIdThroughItsIdentifier)
{
    PushStack relay;
    const std::string phone = relay.registerPlayer("apns-token-1");
    EXPECT_TRUE(isUuid(phone)) << phone;
    const HttpReply again = relay.post("/api/v1/players", {{"app_id", pushAppId},
                                                           {"device_type", 1},
                                                           {"identifier", "apns-token-1"},
                                                           {"language", "de"}});
    EXPECT_EQ(again.status, 200u);
    EXPECT_EQ(again.json, (Json{{"success", true}, {"id", phone}}));
    EXPECT_EQ(again.headers[net::http::field::content_type], "application/json; charset=utf-8");
    EXPECT_NE(relay.registerPlayer("apns-token-2"), phone);
    EXPECT_NE(relay.registerPlayer(), relay.registerPlayer());
}

// Each refusal answers {"errors": [...]} and changes nothing.
TEST(PushRequests, RefusalsSayWhatIsWrong)
{
    PushStack relay;
    const std::string player = relay.registerPlayer();
    Json tooMany = notification({});
    for (int i = 0; i < 2001; ++i)
        tooMany["include_player_ids"].push_back(push::newUuid());
    Json notUuid = notification({player, "86"});
    Json silentNoData = notification({player});
    silentNoData.erase("contents");
    Json wrongApp = notification({player});
    wrongApp["app_id"] = push::newUuid();
    Json badBadge = notification({player});
    badBadge["ios_badgeType"] = "Double";
    Json segments = notification({player});
    segments["included_segments"] = {"All"};
    std::string deep = "{\"data\":" + std::string(40, '[') + std::string(40, ']') + "}";
    const std::string players = "/api/v1/players";
    const std::string notifications = "/api/v1/notifications";

    struct Case
    {
        const char *what;
        verb method;
        std::string target;
        std::string body;
        unsigned status;
        Headers headers = {{"Content-Type", "application/json"}};
    };
    const std::vector<Case> cases = {
        {"bad JSON", verb::post, notifications, "{\"app_id\": ", 400},
        {"too deep", verb::post, notifications, deep, 400},
        {"not an object", verb::post, notifications, "[1]", 400},
        {"an id that is not a UUID", verb::post, notifications, notUuid.dump(), 400},
        {"no contents", verb::post, notifications, silentNoData.dump(), 400},
        {"2,001 ids", verb::post, notifications, tooMany.dump(), 400},
        {"wrong app_id", verb::post, notifications, wrongApp.dump(), 400},
        {"unknown badge type", verb::post, notifications, badBadge.dump(), 400},
        {"segments", verb::post, notifications, segments.dump(), 400},
        {"not JSON",
         verb::post,
         notifications,
         notification({player}).dump(),
         415,
         {{"Content-Type", "text/plain"}}},
        {"no device_type", verb::post, players, Json{{"app_id", pushAppId}}.dump(), 400},
        {"player of another app", verb::post, players,
         Json{{"app_id", push::newUuid()}, {"device_type", 0}}.dump(), 400},
        {"badge below 0", verb::put, players + "/" + player, R"({"badge_count": -1})", 400},
        {"update of an unknown player", verb::put, players + "/" + unknownPlayer(),
         R"({"badge_count": 0})", 404},
        {"update of a malformed id", verb::put, players + "/x", R"({"badge_count": 0})", 400},
        {"stream without Accept", verb::get, players + "/" + player + "/notifications", "", 406},
        {"stream of an unknown player",
         verb::get,
         players + "/" + unknownPlayer() + "/notifications",
         "",
         404,
         {{"Accept", "text/event-stream"}}},
        {"a Last-Event-ID that is no event's",
         verb::get,
         players + "/" + player + "/notifications",
         "",
         400,
         {{"Accept", "text/event-stream"}, {"Last-Event-ID", "not-a-number"}}},
        {"GET of notifications", verb::get, notifications, "", 405},
        {"unknown endpoint", verb::get, "/api/v1/apps", "", 404},
    };
    for (const Case &c : cases) {
        const HttpReply reply = relay.send(c.method, c.target, c.body, c.headers);
        EXPECT_EQ(reply.status, c.status) << c.what << ": " << reply;
        EXPECT_TRUE(refusedWithErrors(reply)) << c.what << ": " << reply;
    }
    // A silent push alone is fine; nothing refused reached the device before it.
    silentNoData["content_available"] = true;
    const HttpReply silent = relay.notify(silentNoData);
    ASSERT_EQ(silent.status, 200u) << silent;
    const auto event = relay.stream(player)->next();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->data["custom"]["i"], silent.json["id"]);
    EXPECT_EQ(event->data["aps"], (Json{{"content-available", 1}, {"badge", 0}}));
}

TEST(PushNotifications, AnswersCountRecipientsAndNameUnknownIds)
{
    PushStack relay;
    const std::string ann = relay.registerPlayer(), bo = relay.registerPlayer();
    const std::string gone = unknownPlayer();

    const HttpReply both = relay.notify(notification({ann, bo}));
    EXPECT_EQ(both.status, 200u);
    EXPECT_TRUE(isUuid(both.json["id"])) << both;
    EXPECT_EQ(both.json["recipients"], 2);
    EXPECT_FALSE(both.json.contains("errors")) << both;

    // The current API's name for the same list; ids in upper case are the same ids.
    Json current = notification({});
    current.erase("include_player_ids");
    current["include_subscription_ids"] = {ann, gone, boost::algorithm::to_upper_copy(bo)};
    const HttpReply partly = relay.notify(current);
    EXPECT_EQ(partly.status, 200u);
    EXPECT_TRUE(isUuid(partly.json["id"])) << partly;
    EXPECT_NE(partly.json["id"], both.json["id"]);
    EXPECT_EQ(partly.json["recipients"], 2);
    EXPECT_EQ(partly.json["errors"], (Json{{"invalid_player_ids", {gone}}}));

    const HttpReply unknown = relay.notify(notification({gone}));
    EXPECT_EQ(unknown.status, 200u);
    EXPECT_EQ(unknown.json,
              (Json{{"id", ""}, {"recipients", 0}, {"errors", {{"invalid_player_ids", {gone}}}}}));

    ASSERT_EQ(
        relay.send(verb::put, "/api/v1/players/" + bo, R"({"notification_types": -2})").status,
        200u);
    const HttpReply unsubscribed = relay.notify(notification({bo}));
    EXPECT_EQ(unsubscribed.status, 200u);
    EXPECT_EQ(unsubscribed.json, (Json{{"id", ""},
                                       {"recipients", 0},
                                       {"errors", {"All included players are not subscribed"}}}));
    EXPECT_EQ(relay.notify(notification({ann, bo})).json["recipients"], 1);
}

TEST(PushNotifications, AConfiguredRestKeyIsRequired)
{
    PushStack relay([](StackConfig &config) { config.push.restKey = "s3cret-rest-key"; });
    const std::string player = relay.registerPlayer();
    const std::string body = notification({player}).dump();
    const auto withAuthorization = [&](const std::string &value) {
        Headers headers = {{"Content-Type", "application/json; charset=utf-8"}};
        if (!value.empty())
            headers.emplace_back("Authorization", value);
        return relay.send(verb::post, "/api/v1/notifications", body, headers);
    };
    for (const std::string refused : {"", "Basic wrong-key", "Bearer s3cret-rest-key", "Basic"}) {
        const HttpReply reply = withAuthorization(refused);
        EXPECT_EQ(reply.status, 401u) << refused << ": " << reply;
        EXPECT_TRUE(refusedWithErrors(reply)) << reply;
    }
    EXPECT_EQ(withAuthorization("Basic s3cret-rest-key").status, 200u);
    EXPECT_EQ(withAuthorization("Key s3cret-rest-key").status, 200u);
}

// What a phone would hand the app: the heading and content as title and body (English, else
// the first language given), the player's badge, the notification id and the data map.
TEST(PushStream, EachNotificationArrivesAsThePhoneShapedEvent)
{
    PushStack relay;
    const std::string player = relay.registerPlayer();
    const auto stream = relay.stream(player);
    // Kept in the order written: "fr" is the first heading, "en" wins among the contents.
    const net::OrderedJson request = {{"app_id", pushAppId},
                                      {"include_player_ids", {player}},
                                      {"headings", {{"fr", "Anna"}, {"de", "Anna B."}}},
                                      {"contents", {{"de", "Gassi?"}, {"en", "Walkies?"}}},
                                      {"data", {{"postID", "12"}, {"type", "chat"}}},
                                      {"ios_badgeType", "Increase"},
                                      {"ios_badgeCount", 1}};
    const HttpReply sent = relay.send(verb::post, "/api/v1/notifications", request.dump());
    ASSERT_EQ(sent.status, 200u) << sent;
    const auto event = stream->next();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->name, "");
    EXPECT_FALSE(event->id.empty());
    EXPECT_EQ(event->data,
              (Json{{"aps", {{"alert", {{"title", "Anna"}, {"body", "Walkies?"}}}, {"badge", 1}}},
                    {"custom", {{"i", sent.json["id"]}, {"a", request["data"]}}}}));
}

TEST(PushBadge, IncreaseAddsSetToSetsNoneLeavesAndTheAppClearsIt)
{
    PushStack relay;
    const std::string player = relay.registerPlayer();
    const auto stream = relay.stream(player);
    const auto push = [&](const char *type, int count) {
        Json request = notification({player});
        request["ios_badgeType"] = type;
        request["ios_badgeCount"] = count;
        EXPECT_EQ(relay.notify(request).status, 200u);
        const auto event = stream->next();
        return event ? event->data["aps"]["badge"].get<int>() : -1;
    };
    EXPECT_EQ(push("Increase", 1), 1);
    EXPECT_EQ(push("Increase", 1), 2);
    EXPECT_EQ(push("SetTo", 5), 5);
    EXPECT_EQ(push("Increase", 2), 7);
    EXPECT_EQ(push("None", 3), 7);
    EXPECT_EQ(push("Increase", -10), 0);
    EXPECT_EQ(push("SetTo", 4), 4);
    const HttpReply cleared =
        relay.send(verb::put, "/api/v1/players/" + player, R"({"badge_count": 0})");
    EXPECT_EQ(cleared.status, 200u);
    EXPECT_EQ(cleared.json, (Json{{"success", true}}));
    EXPECT_EQ(push("Increase", 1), 1);
}

} // namespace
