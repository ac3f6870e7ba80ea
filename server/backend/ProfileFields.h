#pragma once

#include "Fields.h"

#include <optional>
#include <string>

namespace tailwise::backend {

// The profile values a client may set, by registration or by a profile save. Absent keys stay
// nullopt so a save changes only what it names.
struct ProfileFields
{
    std::optional<std::string> name, phone, gender, age, dogInfo, dogName, dogsCount, about,
        dogAddress;
    std::optional<double> latitude, longitude;

    // Validates every key it knows (type, size, allowed values); throws BadRequest.
    static ProfileFields read(const Fields &fields);
};

} // namespace tailwise::backend
