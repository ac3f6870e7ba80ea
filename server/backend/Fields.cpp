#include "Fields.h"

#include "../http/Json.h"
#include "../http/Multipart.h"
#include "../realtime/Path.h"

#include <boost/algorithm/string/predicate.hpp>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tailwise::backend {
namespace {

// Our bodies are flat; a shallow cap keeps hostile nesting away from everything that
// recurses over a value.
constexpr std::size_t maxJsonDepth = 32;

std::string mediaType(std::string_view contentType)
{
    const auto semicolon = contentType.find(';');
    return trimmed(contentType.substr(0, semicolon));
}

} // namespace

std::string trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return std::string(text.substr(first, last - first + 1));
}

std::optional<std::int64_t> parseId(std::string_view text)
{
    std::int64_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || id <= 0)
        return std::nullopt;
    return id;
}

bool plausibleEmail(std::string_view email)
{
    if (email.size() < 3 || email.size() > 254)
        return false;
    const auto at = email.find('@');
    if (at == std::string_view::npos || at == 0 || at > 64 || email.rfind('@') != at)
        return false;
    const std::string_view domain = email.substr(at + 1);
    const auto dot = domain.find('.');
    if (domain.empty() || dot == std::string_view::npos || dot == 0 || domain.back() == '.')
        return false;
    for (const unsigned char c : email) {
        if (c <= 0x20 || c == 0x7f || c == '<' || c == '>' || c == ',' || c == ';' || c == '"')
            return false;
    }
    return true;
}

Fields Fields::fromJson(std::string_view body)
{
    Fields fields;
    if (trimmed(body).empty())
        return fields;
    auto parsed = net::parseJson(body, maxJsonDepth);
    if (!parsed)
        throw BadRequest(net::nestingWithin(body, maxJsonDepth)
                             ? "Request body is not valid JSON."
                             : "Request body is nested too deeply.");
    if (!parsed->is_object())
        throw BadRequest("Request body must be a JSON object.");
    fields.values_ = std::move(*parsed);
    return fields;
}

Fields Fields::fromRequest(const net::Request &request)
{
    const std::string_view contentType = request[net::http::field::content_type];
    const std::string type = mediaType(contentType);
    if (boost::algorithm::iequals(type, "multipart/form-data")) {
        auto result = net::parseMultipart(contentType, request.body());
        if (!result.form)
            throw BadRequest(result.error);
        Fields fields;
        for (const auto &part : result.form->parts) {
            // Text goes into the database and from there into other people's answers, so
            // it must be what JSON can carry; file bytes are checked as pictures instead.
            if (!realtime::validUtf8(part.name))
                throw BadRequest("Form field names must be UTF-8 text.");
            if (!part.filename) {
                if (!realtime::validUtf8(part.data))
                    throw BadRequest("Form field \"" + net::printable(part.name) +
                                     "\" must be UTF-8 text.");
                fields.values_[part.name] = part.data;
            }
            // A browser sends an empty part with filename="" when no file was chosen: no
            // file. A named file without bytes is a file, and the picture check refuses it.
            else if (!part.data.empty() || !part.filename->empty())
                fields.files_[part.name] = {*part.filename, part.contentType, part.data};
        }
        return fields;
    }
    // Only JSON that a web page cannot send without asking first: browsers post text/plain
    // and form encodings across origins without a preflight, never application/json.
    if (boost::algorithm::iequals(type, "application/json"))
        return fromJson(request.body());
    if (type.empty() && request.body().empty())
        return {};
    if (type.empty())
        throw BadRequest("A request body needs Content-Type: application/json.",
                         net::http::status::unsupported_media_type);
    throw BadRequest("Content-Type \"" + net::printable(type) +
                         "\" is not supported; send application/json.",
                     net::http::status::unsupported_media_type);
}

const UploadedFile *Fields::file(std::string_view key) const
{
    const auto found = files_.find(key);
    return found == files_.end() ? nullptr : &found->second;
}

bool Fields::has(std::string_view key) const
{
    return values_.contains(key);
}

std::optional<std::string> Fields::text(std::string_view key, std::size_t maxBytes) const
{
    const auto found = values_.find(key);
    if (found == values_.end() || found->is_null())
        return std::nullopt;
    if (!found->is_string())
        throw BadRequest("Field \"" + std::string(key) + "\" must be text.");
    const auto &value = found->get_ref<const std::string &>();
    if (value.size() > maxBytes)
        throw BadRequest("Field \"" + std::string(key) + "\" is longer than " +
                         std::to_string(maxBytes) + " bytes.");
    if (value.find('\0') != std::string::npos)
        throw BadRequest("Field \"" + std::string(key) + "\" contains a NUL character.");
    return value;
}

std::string Fields::required(std::string_view key, std::size_t maxBytes) const
{
    const auto value = text(key, maxBytes);
    if (!value || trimmed(*value).empty())
        throw BadRequest("Field \"" + std::string(key) + "\" is required.");
    return *value;
}

std::optional<double> Fields::number(std::string_view key, double min, double max) const
{
    const auto found = values_.find(key);
    if (found == values_.end() || found->is_null())
        return std::nullopt;
    double value = 0;
    if (found->is_number()) {
        value = found->get<double>();
    } else if (found->is_string()) {
        const std::string text = trimmed(found->get_ref<const std::string &>());
        if (text.empty())
            return std::nullopt;
        char *end = nullptr;
        value = std::strtod(text.c_str(), &end);
        if (end != text.c_str() + text.size())
            throw BadRequest("Field \"" + std::string(key) + "\" must be a number.");
    } else {
        throw BadRequest("Field \"" + std::string(key) + "\" must be a number.");
    }
    if (!std::isfinite(value) || value < min || value > max) {
        char range[64];
        std::snprintf(range, sizeof range, "between %g and %g", min, max);
        throw BadRequest("Field \"" + std::string(key) + "\" must be " + range + ".");
    }
    return value;
}

} // namespace tailwise::backend
