#pragma once

#include "../http/asio.h"

#include <nlohmann/json.hpp>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>

namespace tailwise::backend {

// Thrown for anything the client got wrong; the service turns it into a 4xx answer with
// status "0" and this message.
class BadRequest : public std::runtime_error
{
public:
    explicit BadRequest(const std::string &message,
                        net::http::status status = net::http::status::bad_request)
        : std::runtime_error(message), status_(status)
    {}
    net::http::status status() const { return status_; }

    // For refusals that end by themselves (a lock, a rate limit): sent as Retry-After.
    BadRequest &retryAfter(std::int64_t seconds)
    {
        retryAfterSeconds_ = seconds;
        return *this;
    }
    std::optional<std::int64_t> retryAfterSeconds() const { return retryAfterSeconds_; }

private:
    net::http::status status_;
    std::optional<std::int64_t> retryAfterSeconds_;
};

struct UploadedFile
{
    std::string filename;
    std::string contentType;
    std::string data;
};

// The named values of a request body, from a JSON object or a multipart form alike. Every
// accessor checks type and size, so handlers never see unvalidated input.
class Fields
{
public:
    static Fields fromRequest(const net::Request &request);
    static Fields fromJson(std::string_view body);

    bool has(std::string_view key) const;
    // nullopt when absent or JSON null; throws BadRequest when not a string or too long.
    std::optional<std::string> text(std::string_view key, std::size_t maxBytes) const;
    // Present and not empty after trimming spaces.
    std::string required(std::string_view key, std::size_t maxBytes) const;
    // A JSON number or a numeric string within [min, max]; nullopt when absent or "".
    std::optional<double> number(std::string_view key, double min, double max) const;

    // A file part of a multipart body; nullptr when absent or when the client sent an empty
    // file part (no file chosen).
    const UploadedFile *file(std::string_view key) const;

private:
    nlohmann::json values_ = nlohmann::json::object();
    std::map<std::string, UploadedFile, std::less<>> files_;
};

std::string trimmed(std::string_view text);
// A user id as the app sends it: decimal digits only.
std::optional<std::int64_t> parseId(std::string_view text);
bool plausibleEmail(std::string_view email);

} // namespace tailwise::backend
