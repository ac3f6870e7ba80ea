#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tailwise::net {

struct MultipartPart
{
    std::string name;
    // Present for file parts, as the client sent it (possibly empty when no file was chosen).
    // Never use it as a path.
    std::optional<std::string> filename;
    // The part's Content-Type exactly as sent (some clients send a bare "gif"); empty when the
    // part had none.
    std::string contentType;
    std::string data;
};

struct MultipartLimits
{
    std::size_t maxParts = 64;
    // Header lines of one part, CRLFs included, blank line excluded.
    std::size_t maxPartHeaderBytes = 4096;
    std::size_t maxFieldBytes = 64 * 1024;
    std::size_t maxFileBytes = 8 * 1024 * 1024;
};

struct MultipartForm
{
    std::vector<MultipartPart> parts;

    // Names are unique within a form; nullptr when absent.
    const MultipartPart *find(std::string_view name) const;
};

struct MultipartResult
{
    std::optional<MultipartForm> form;
    // A message for the client when form is empty.
    std::string error;
};

// The boundary of a "multipart/form-data; boundary=..." header, or nullopt when the media type
// is another one or the boundary is missing, repeated or not a valid RFC 2046 boundary.
std::optional<std::string> multipartBoundary(std::string_view contentTypeHeader);

// Parses a complete multipart/form-data body. Never throws on bad input.
MultipartResult parseMultipart(std::string_view contentTypeHeader, std::string_view body,
                               const MultipartLimits &limits = {});

} // namespace tailwise::net
