#include "Multipart.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <set>
#include <utility>

namespace tailwise::net {
namespace {

constexpr std::string_view crlf = "\r\n";
constexpr std::string_view whitespace = " \t";
constexpr std::size_t maxBoundaryLength = 70;
// Our clients send no preamble; a short one is tolerated, a long one is not a form.
constexpr std::size_t maxPreambleBytes = 1024;

bool isControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

bool isTokenChar(char c)
{
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

bool isBoundaryChar(char c)
{
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return std::string_view("'()+_,-./:=? ").find(c) != std::string_view::npos;
}

char asciiLower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b, {}, asciiLower, asciiLower);
}

std::string_view trimmedWhitespace(std::string_view text)
{
    const auto first = text.find_first_not_of(whitespace);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

std::size_t saturatingAdd(std::size_t a, std::size_t b)
{
    return a > std::numeric_limits<std::size_t>::max() - b ? std::numeric_limits<std::size_t>::max()
                                                           : a + b;
}

std::string describeSize(std::size_t bytes)
{
    constexpr std::size_t kib = 1024;
    constexpr std::size_t mib = kib * kib;
    if (bytes >= mib && bytes % mib == 0)
        return std::to_string(bytes / mib) + " MiB";
    if (bytes >= kib && bytes % kib == 0)
        return std::to_string(bytes / kib) + " KiB";
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
}

// Messages travel back to the client inside JSON, so a name is only echoed when it is short,
// printable ASCII; anything else could break the encoder or flood the message.
std::string quotedName(std::string_view name)
{
    const bool echoable = name.size() <= 64 && std::ranges::all_of(name, [](char c) {
                              return !isControl(c) && static_cast<unsigned char>(c) < 0x80;
                          });
    return echoable ? " \"" + std::string(name) + "\"" : std::string();
}

struct Parameter
{
    std::string name; // lower-case
    std::string value;
};

// Reads the `; name=value` list that follows a header's leading value. Values are tokens or
// quoted strings with backslash escapes; empty entries (";;", a trailing ';') are tolerated
// because common clients emit them. A repeated name makes the header ambiguous and fails it,
// as does any other syntax error.
std::optional<std::vector<Parameter>> parseParameters(std::string_view text)
{
    std::vector<Parameter> params;
    std::size_t i = 0;
    const auto skipWhitespace = [&] {
        while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
            ++i;
    };
    const auto readToken = [&] {
        const auto start = i;
        while (i < text.size() && isTokenChar(text[i]))
            ++i;
        return text.substr(start, i - start);
    };

    for (;;) {
        skipWhitespace();
        if (i == text.size())
            return params;
        if (text[i] != ';')
            return std::nullopt;
        ++i;
        skipWhitespace();
        if (i == text.size() || text[i] == ';')
            continue;

        std::string name(readToken());
        if (name.empty())
            return std::nullopt;
        std::ranges::transform(name, name.begin(), asciiLower);
        skipWhitespace();
        if (i == text.size() || text[i] != '=')
            return std::nullopt;
        ++i;
        skipWhitespace();

        std::string value;
        if (i < text.size() && text[i] == '"') {
            ++i;
            bool closed = false;
            while (i < text.size() && !closed) {
                char c = text[i++];
                if (c == '"') {
                    closed = true;
                    continue;
                }
                if (c == '\\') {
                    if (i == text.size())
                        return std::nullopt;
                    c = text[i++];
                }
                if (isControl(c) && c != '\t')
                    return std::nullopt;
                value += c;
            }
            if (!closed)
                return std::nullopt;
        } else {
            value = readToken();
            if (value.empty())
                return std::nullopt;
        }

        if (std::ranges::any_of(params, [&](const Parameter &p) { return p.name == name; }))
            return std::nullopt;
        params.push_back({std::move(name), std::move(value)});
    }
}

const Parameter *findParameter(const std::vector<Parameter> &params, std::string_view name)
{
    const auto found =
        std::ranges::find_if(params, [&](const Parameter &p) { return p.name == name; });
    return found == params.end() ? nullptr : &*found;
}

// Splits "value; a=b; c=d" at its first ';' into the trimmed leading value and its parameters.
std::pair<std::string_view, std::optional<std::vector<Parameter>>>
splitHeaderValue(std::string_view header)
{
    const auto semicolon = header.find(';');
    const auto params =
        semicolon == std::string_view::npos ? std::string_view() : header.substr(semicolon);
    return {trimmedWhitespace(header.substr(0, semicolon)), parseParameters(params)};
}

bool validBoundary(std::string_view boundary)
{
    return !boundary.empty() && boundary.size() <= maxBoundaryLength && boundary.back() != ' ' &&
           std::ranges::all_of(boundary, isBoundaryChar);
}

std::optional<std::string> boundaryOf(std::string_view contentTypeHeader, std::string &error)
{
    const auto [type, params] = splitHeaderValue(contentTypeHeader);
    if (!equalsIgnoringCase(type, "multipart/form-data")) {
        error = "The request's Content-Type must be multipart/form-data.";
        return std::nullopt;
    }
    if (!params) {
        error = "The request's Content-Type header is malformed.";
        return std::nullopt;
    }
    const Parameter *boundary = findParameter(*params, "boundary");
    if (!boundary) {
        error = "The request's Content-Type has no multipart boundary.";
        return std::nullopt;
    }
    if (!validBoundary(boundary->value)) {
        error = "The multipart boundary in the request's Content-Type is not valid.";
        return std::nullopt;
    }
    return boundary->value;
}

// Thrown inside the parser only; parseMultipart turns it into an error result.
struct MalformedForm
{
    std::string message;
};

[[noreturn]] void fail(std::string message)
{
    throw MalformedForm{std::move(message)};
}

[[noreturn]] void failTruncated()
{
    fail("The form data ends before its closing boundary; the upload may have been cut off.");
}

[[noreturn]] void failBareLineBreak()
{
    fail("Boundary and header lines of a form must end with CRLF.");
}

struct PartHeaders
{
    std::optional<std::string_view> disposition;
    std::optional<std::string_view> contentType;
};

// Bodies are several MiB, so the cost must stay linear whatever the input. Every search is
// bounded by a window the limits allow, and the delimiter is found with full Boyer-Moore, which
// is linear up to the first match. Horspool degrades to O(n * m) on a crafted boundary (70 'a's
// over a body of 'a's), and string_view::find crawls over a body of CRs.
class FormParser
{
public:
    FormParser(std::string_view boundary, std::string_view body, const MultipartLimits &limits)
        : delimiter_("\r\n--" + std::string(boundary)),
          searcher_(delimiter_.begin(), delimiter_.end()), body_(body), limits_(limits)
    {}
    FormParser(const FormParser &) = delete; // searcher_ points into delimiter_
    FormParser &operator=(const FormParser &) = delete;

    MultipartForm parse()
    {
        MultipartForm form;
        std::set<std::string, std::less<>> names;
        pos_ = endOfFirstDelimiter();
        while (!atClosingDelimiter()) {
            if (form.parts.size() == limits_.maxParts)
                fail("The form has more than " + std::to_string(limits_.maxParts) + " parts.");
            MultipartPart part = parsePart();
            if (!names.insert(part.name).second)
                fail("The form has more than one field named" + quotedName(part.name) + ".");
            form.parts.push_back(std::move(part));
        }
        return form;
    }

private:
    std::size_t endOfFirstDelimiter() const
    {
        // The first delimiter may open the body without a CRLF; anything before a CRLF-led
        // delimiter is a preamble, which carries no data.
        const std::string_view dashBoundary = std::string_view(delimiter_).substr(crlf.size());
        if (body_.starts_with(dashBoundary))
            return dashBoundary.size();
        // A boundary inside the preamble means a malformed opening line, not a preamble: taking
        // it as one would silently drop the parts behind it.
        const auto preambleSize = find(body_.substr(0, maxPreambleBytes + delimiter_.size()));
        if (preambleSize == std::string_view::npos ||
            body_.substr(0, preambleSize).find(dashBoundary) != std::string_view::npos)
            fail("The form data does not start with the boundary named in its Content-Type.");
        return preambleSize + delimiter_.size();
    }

    // Consumes the rest of a delimiter line; true when it closed the form.
    bool atClosingDelimiter()
    {
        const std::string_view rest = body_.substr(pos_);
        if (rest.starts_with("--")) {
            // RFC 2046 allows an epilogue of any content after the closing delimiter. Our
            // clients send at most a CRLF, and bytes after the end of a form point to a
            // framing mistake or an attempt to smuggle data past us, so only whitespace is
            // accepted there.
            if (rest.find_first_not_of(" \t\r\n", 2) != std::string_view::npos)
                fail("The form has unexpected data after its closing boundary.");
            return true;
        }
        const auto padding = std::min(rest.find_first_not_of(whitespace), rest.size());
        const std::string_view afterPadding = rest.substr(padding);
        if (afterPadding.starts_with(crlf)) {
            pos_ += padding + crlf.size();
            return false;
        }
        if (afterPadding.empty() || afterPadding == "\r" || rest == "-")
            failTruncated();
        if (afterPadding.starts_with('\n'))
            failBareLineBreak();
        fail("A multipart boundary in the form is followed by unexpected characters.");
    }

    MultipartPart parsePart()
    {
        MultipartPart part = describePart(readHeaders());
        const std::size_t limit = part.filename ? limits_.maxFileBytes : limits_.maxFieldBytes;

        // The delimiter must start within limit bytes of the data, so the search never needs to
        // look further than that.
        const std::size_t cap = saturatingAdd(limit, delimiter_.size());
        const std::string_view window = body_.substr(pos_, cap);
        const auto size = find(window);
        if (size == std::string_view::npos) {
            if (window.size() < cap)
                failTruncated();
            if (part.filename)
                fail("The file in" + quotedName(part.name) + " is larger than " +
                     describeSize(limit) + ".");
            fail("The form field" + quotedName(part.name) + " is longer than " +
                 describeSize(limit) + ".");
        }
        part.data = window.substr(0, size);
        pos_ += size + delimiter_.size();
        return part;
    }

    PartHeaders readHeaders()
    {
        const std::size_t start = pos_;
        const std::size_t cap = saturatingAdd(limits_.maxPartHeaderBytes, crlf.size());
        const std::string_view window =
            body_.substr(0, start + std::min(body_.size() - start, cap));
        PartHeaders headers;
        for (;;) {
            const auto eol = window.find(crlf, pos_);
            if (eol == std::string_view::npos) {
                if (window.find('\n', pos_) != std::string_view::npos)
                    failBareLineBreak();
                if (window.size() < body_.size())
                    failHeadersTooLarge();
                failTruncated();
            }
            const std::string_view line = window.substr(pos_, eol - pos_);
            pos_ = eol + crlf.size();
            if (line.empty())
                return headers;
            if (pos_ - start > limits_.maxPartHeaderBytes)
                failHeadersTooLarge();
            addHeader(headers, line);
        }
    }

    [[noreturn]] void failHeadersTooLarge() const
    {
        fail("The headers of a form part are longer than " +
             describeSize(limits_.maxPartHeaderBytes) + ".");
    }

    static void addHeader(PartHeaders &headers, std::string_view line)
    {
        for (const char c : line) {
            if (c == '\r' || c == '\n')
                failBareLineBreak();
            if (isControl(c) && c != '\t')
                fail("A header of a form part contains a control character.");
        }
        // No whitespace before the colon: that also rules out obsolete folded lines.
        const auto colon = line.find(':');
        const std::string_view name = line.substr(0, colon);
        if (colon == std::string_view::npos || name.empty() ||
            !std::ranges::all_of(name, isTokenChar))
            fail("A form part has a malformed header line.");
        const std::string_view value = trimmedWhitespace(line.substr(colon + 1));

        const auto keep = [&](std::optional<std::string_view> &slot, std::string_view header) {
            if (slot)
                fail("A form part has more than one " + std::string(header) + " header.");
            slot = value;
        };
        if (equalsIgnoringCase(name, "Content-Disposition"))
            keep(headers.disposition, "Content-Disposition");
        else if (equalsIgnoringCase(name, "Content-Type"))
            keep(headers.contentType, "Content-Type");
        // Other headers (Content-Transfer-Encoding, Content-Length, ...) are meaningless for
        // form data and ignored.
    }

    static MultipartPart describePart(const PartHeaders &headers)
    {
        if (!headers.disposition)
            fail("A form part has no Content-Disposition header.");
        const auto [type, params] = splitHeaderValue(*headers.disposition);
        if (!equalsIgnoringCase(type, "form-data"))
            fail("The Content-Disposition of a form part must be form-data.");
        if (!params)
            fail("A form part has a malformed Content-Disposition header.");

        MultipartPart part;
        const Parameter *name = findParameter(*params, "name");
        if (!name || name->value.empty())
            fail("A form part has no name.");
        part.name = name->value;
        // filename="" is what a browser sends when no file was chosen. It stays a file part
        // with an empty filename: it must not turn into a text field of the same name, and the
        // handler decides whether an empty upload is acceptable.
        if (const Parameter *filename = findParameter(*params, "filename"))
            part.filename = filename->value;
        if (headers.contentType) {
            if (headers.contentType->empty())
                fail("A form part has an empty Content-Type header.");
            part.contentType = *headers.contentType;
        }
        return part;
    }

    std::size_t find(std::string_view text) const
    {
        const auto found = std::search(text.begin(), text.end(), searcher_);
        return found == text.end() ? std::string_view::npos
                                   : static_cast<std::size_t>(found - text.begin());
    }

    const std::string delimiter_; // CRLF "--" boundary
    const std::boyer_moore_searcher<std::string::const_iterator> searcher_;
    const std::string_view body_;
    const MultipartLimits &limits_;
    std::size_t pos_ = 0;
};

} // namespace

const MultipartPart *MultipartForm::find(std::string_view name) const
{
    const auto found =
        std::ranges::find_if(parts, [&](const MultipartPart &part) { return part.name == name; });
    return found == parts.end() ? nullptr : &*found;
}

std::optional<std::string> multipartBoundary(std::string_view contentTypeHeader)
{
    std::string ignored;
    return boundaryOf(contentTypeHeader, ignored);
}

MultipartResult parseMultipart(std::string_view contentTypeHeader, std::string_view body,
                               const MultipartLimits &limits)
{
    MultipartResult result;
    const auto boundary = boundaryOf(contentTypeHeader, result.error);
    if (!boundary)
        return result;
    try {
        result.form = FormParser(*boundary, body, limits).parse();
    } catch (const MalformedForm &malformed) {
        result.error = malformed.message;
    }
    return result;
}

} // namespace tailwise::net
