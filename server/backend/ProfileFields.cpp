#include "ProfileFields.h"

#include <algorithm>
#include <array>

namespace tailwise::backend {
namespace {

constexpr std::size_t shortText = 256;
constexpr std::size_t longText = 4000;

// An empty text means "not said"; anything else must be one of the allowed values.
std::optional<std::string> oneOf(const Fields &fields, std::string_view key,
                                 std::initializer_list<std::string_view> allowed)
{
    auto value = fields.text(key, 32);
    if (!value || value->empty())
        return value;
    if (std::find(allowed.begin(), allowed.end(), *value) == allowed.end()) {
        std::string list;
        for (const auto item : allowed)
            list += (list.empty() ? "\"" : ", \"") + std::string(item) + "\"";
        throw BadRequest("Field \"" + std::string(key) + "\" must be one of " + list + ".");
    }
    return value;
}

std::optional<std::string> ageInYears(const Fields &fields)
{
    auto value = fields.text("user_age", 8);
    if (value && !value->empty() &&
        (value->size() > 3 ||
         !std::all_of(value->begin(), value->end(), [](char c) { return c >= '0' && c <= '9'; })))
        throw BadRequest("Field \"user_age\" must be a whole number of years.");
    return value;
}

} // namespace

ProfileFields ProfileFields::read(const Fields &fields)
{
    ProfileFields profile;
    profile.name = fields.text("username", shortText);
    profile.phone = fields.text("phone", 32);
    profile.gender = oneOf(fields, "gender", {"male", "female"});
    profile.age = ageInYears(fields);
    profile.dogInfo = fields.text("dogInfo", longText);
    profile.dogName = fields.text("dog_name", shortText);
    profile.dogsCount = oneOf(fields, "dogs_count", {"0", "1", "2", "pack"});
    profile.about = fields.text("about", longText);
    profile.dogAddress = fields.text("dog_address", 512);
    profile.latitude = fields.number("latitude", -90, 90);
    profile.longitude = fields.number("longitude", -180, 180);
    if (profile.latitude.has_value() != profile.longitude.has_value())
        throw BadRequest("Fields \"latitude\" and \"longitude\" go together.");
    return profile;
}

} // namespace tailwise::backend
