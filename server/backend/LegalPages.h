#pragma once

#include <string_view>

namespace tailwise::backend {

// The terms of use and the privacy policy the app's landing screen opens, served as plain
// HTML pages by the backend so that a self-hosted stack has them without a web site.
std::string_view termsOfUsePage();
std::string_view privacyPolicyPage();

} // namespace tailwise::backend
