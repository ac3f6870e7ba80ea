// parseMultipart on a request's Content-Type header and body: the input's first line is the
// header, everything after it the body.

#include "Check.h"
#include "http/Multipart.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

using namespace tailwise::net;

namespace {

// Small enough that the fuzzer reaches every limit with short inputs.
constexpr MultipartLimits tight{
    .maxParts = 3, .maxPartHeaderBytes = 80, .maxFieldBytes = 16, .maxFileBytes = 64};

// Errors go back to the client inside a JSON answer and may quote a part name.
bool printableAscii(const std::string &text)
{
    return std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7f; });
}

void checkResult(const MultipartResult &result, std::string_view header,
                 const MultipartLimits &limits)
{
    FUZZ_CHECK(result.form.has_value() == result.error.empty(), "a form xor an error");
    FUZZ_CHECK(printableAscii(result.error), "error messages are printable ASCII");
    if (!result.form)
        return;
    const auto boundary = multipartBoundary(header);
    FUZZ_CHECK(boundary, "a parsed form has a boundary");
    const std::string delimiter = "\r\n--" + *boundary;

    const auto &parts = result.form->parts;
    FUZZ_CHECK(parts.size() <= limits.maxParts, "at most maxParts parts");
    std::set<std::string> names;
    for (const auto &part : parts) {
        FUZZ_CHECK(!part.name.empty(), "every part is named");
        FUZZ_CHECK(names.insert(part.name).second, "part names are unique");
        FUZZ_CHECK(result.form->find(part.name) == &part, "find gives the part of that name");
        FUZZ_CHECK(part.data.size() <= (part.filename ? limits.maxFileBytes : limits.maxFieldBytes),
                   "a part's data fits its limit");
        FUZZ_CHECK(part.data.find(delimiter) == std::string::npos,
                   "no part's data holds the delimiter");
    }
}

bool sameParts(const MultipartForm &a, const MultipartForm &b)
{
    return std::ranges::equal(a.parts, b.parts, [](const auto &x, const auto &y) {
        return x.name == y.name && x.filename == y.filename && x.contentType == y.contentType &&
               x.data == y.data;
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    const auto newline = input.find('\n');
    if (newline == std::string_view::npos)
        return 0;
    // The header in a buffer of its own, so that a read past its end is caught. The body
    // already ends where libFuzzer's buffer does.
    const auto headerBytes = std::make_unique<char[]>(newline);
    std::copy_n(input.data(), newline, headerBytes.get());
    const std::string_view header(headerBytes.get(), newline);
    const std::string_view body = input.substr(newline + 1);

    const MultipartResult normal = parseMultipart(header, body);
    checkResult(normal, header, MultipartLimits{});
    const MultipartResult small = parseMultipart(header, body, tight);
    checkResult(small, header, tight);
    // Tighter limits only ever refuse more.
    if (small.form)
        FUZZ_CHECK(normal.form && sameParts(*normal.form, *small.form),
                   "a form within tight limits reads the same within the normal ones");
    return 0;
}
