#include "NotificationRequest.h"

#include "Uuid.h"
#include "backend/Fields.h"

#include <algorithm>
#include <array>
#include <unordered_set>

namespace tailwise::push {
namespace {

using backend::BadRequest;
using net::OrderedJson;

// Deep enough for any data map an app sends, shallow enough for anything recursive.
constexpr std::size_t maxNesting = 32;
constexpr std::size_t maxQuotedIds = 5;

// Ways of choosing recipients that the hosted service has and this relay does not.
constexpr std::array unsupportedTargets = {
    "included_segments",         "excluded_segments",  "filters",
    "include_external_user_ids", "include_aliases",    "include_email_tokens",
    "include_phone_numbers",     "include_ios_tokens", "include_android_reg_ids",
};

const OrderedJson *member(const OrderedJson &body, const char *key)
{
    const auto found = body.find(key);
    return found == body.end() || found->is_null() ? nullptr : &*found;
}

// {"en": "Hello", "de": "Hallo"}: the English text, else the first one given; nullopt for
// none or an empty object.
std::optional<std::string> languageText(const OrderedJson &body, const char *key)
{
    const OrderedJson *texts = member(body, key);
    if (!texts)
        return std::nullopt;
    if (!texts->is_object() || !std::all_of(texts->begin(), texts->end(),
                                            [](const auto &text) { return text.is_string(); }))
        throw BadRequest(std::string(key) + " must be an object of language codes and texts, " +
                         "such as {\"en\": \"Hello\"}.");
    if (texts->empty())
        return std::nullopt;
    const auto english = texts->find("en");
    return (english != texts->end() ? *english : texts->front()).get<std::string>();
}

std::int64_t badgeCount(const OrderedJson &body)
{
    const OrderedJson *count = member(body, "ios_badgeCount");
    if (!count)
        throw BadRequest("ios_badgeCount is required with ios_badgeType SetTo or Increase.");
    const bool fits = count->is_number_unsigned()
                          ? count->get<std::uint64_t>() <= static_cast<std::uint64_t>(maxBadge)
                          : count->is_number_integer() && count->get<std::int64_t>() >= -maxBadge &&
                                count->get<std::int64_t>() <= maxBadge;
    if (!fits)
        throw BadRequest("ios_badgeCount must be a whole number from -" + std::to_string(maxBadge) +
                         " to " + std::to_string(maxBadge) + ".");
    return count->get<std::int64_t>();
}

BadgeChange badgeChange(const OrderedJson &body)
{
    const OrderedJson *type = member(body, "ios_badgeType");
    if (!type || *type == "None")
        return {};
    if (*type == "SetTo")
        return {BadgeChange::Rule::setTo, badgeCount(body)};
    if (*type == "Increase")
        return {BadgeChange::Rule::increase, badgeCount(body)};
    throw BadRequest("ios_badgeType must be \"None\", \"SetTo\" or \"Increase\".");
}

bool contentAvailable(const OrderedJson &body)
{
    const OrderedJson *flag = member(body, "content_available");
    if (!flag)
        return false;
    if (flag->is_boolean())
        return flag->get<bool>();
    if (flag->is_number_integer())
        return *flag != 0;
    throw BadRequest("content_available must be true or false.");
}

std::string quoteIds(const std::vector<std::string> &ids)
{
    std::string quoted = "[";
    for (std::size_t i = 0; i < ids.size() && i < maxQuotedIds; ++i)
        quoted += (i ? ", \"" : "\"") + net::printable(ids[i], 40) + '"';
    if (ids.size() > maxQuotedIds)
        quoted += ", ...";
    return quoted + "]";
}

// include_player_ids, or the same under the current API's name, include_subscription_ids.
std::vector<std::string> playerIds(const OrderedJson &body, std::size_t maxIds)
{
    for (const char *target : unsupportedTargets)
        if (member(body, target))
            throw BadRequest("This relay sends to include_player_ids only; " + std::string(target) +
                             " is not supported.");
    std::vector<const OrderedJson *> lists;
    std::size_t given = 0;
    for (const char *key : {"include_player_ids", "include_subscription_ids"}) {
        const OrderedJson *list = member(body, key);
        if (!list)
            continue;
        if (!list->is_array())
            throw BadRequest(std::string(key) + " must be an array of player ids.");
        lists.push_back(list);
        given += list->size();
    }
    if (given == 0)
        throw BadRequest("You must include which players you wish to send this notification to "
                         "(include_player_ids).");
    if (given > maxIds)
        throw BadRequest("You may send to at most " + std::to_string(maxIds) +
                         " player ids at a time; this request names " + std::to_string(given) +
                         ".");
    std::vector<std::string> ids, malformed;
    std::unordered_set<std::string> seen;
    for (const OrderedJson *list : lists) {
        for (const OrderedJson &id : *list) {
            const auto uuid = id.is_string() ? canonicalUuid(id.get<std::string>()) : std::nullopt;
            if (!uuid)
                malformed.push_back(id.is_string() ? id.get<std::string>() : id.dump());
            else if (seen.insert(*uuid).second)
                ids.push_back(*uuid);
        }
    }
    if (!malformed.empty())
        throw BadRequest("Incorrect player_id format in include_player_ids (not a valid UUID): " +
                         quoteIds(malformed));
    return ids;
}

} // namespace

OrderedJson parseObject(std::string_view body)
{
    auto parsed = net::parseJson<OrderedJson>(body, maxNesting);
    if (!parsed)
        throw BadRequest(net::nestingWithin(body, maxNesting)
                             ? "The request body is not valid JSON."
                             : "The request body nests deeper than " + std::to_string(maxNesting) +
                                   " levels.");
    if (!parsed->is_object())
        throw BadRequest("The request body must be a JSON object.");
    return std::move(*parsed);
}

std::string appIdOf(const OrderedJson &body)
{
    const OrderedJson *appId = member(body, "app_id");
    if (!appId || !appId->is_string())
        throw BadRequest("app_id not found. You may be missing a Content-Type: application/json "
                         "header.");
    return appId->get<std::string>();
}

NotificationRequest parseNotificationRequest(const OrderedJson &body,
                                             const NotificationLimits &limits)
{
    NotificationRequest request;
    request.appId = appIdOf(body);
    request.playerIds = playerIds(body, limits.maxPlayerIds);
    const auto heading = languageText(body, "headings");
    const auto content = languageText(body, "contents");
    request.contentAvailable = contentAvailable(body);
    if (!content && !request.contentAvailable)
        throw BadRequest("Notification contents are required unless content_available is true.");
    if (heading || content) {
        OrderedJson alert = OrderedJson::object();
        if (heading)
            alert["title"] = *heading;
        if (content)
            alert["body"] = *content;
        request.alert = alert.dump();
    }
    if (const OrderedJson *data = member(body, "data")) {
        if (!data->is_object())
            throw BadRequest("data must be a JSON object.");
        request.data = data->dump();
    }
    request.badge = badgeChange(body);
    const std::size_t payload =
        request.alert.value_or("").size() + request.data.value_or("").size();
    if (payload > limits.maxPayloadBytes)
        throw BadRequest("The notification's texts and data take " + std::to_string(payload) +
                         " bytes as JSON; at most " + std::to_string(limits.maxPayloadBytes) +
                         " are allowed.");
    return request;
}

EventParts eventParts(const NotificationRequest &request, const std::string &notificationId)
{
    std::string custom = R"({"i":)";
    custom += OrderedJson(notificationId).dump();
    if (request.data) {
        custom += R"(,"a":)";
        custom += *request.data;
    }
    custom += '}';
    return {request.alert, request.contentAvailable, std::move(custom)};
}

} // namespace tailwise::push
