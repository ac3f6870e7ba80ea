#include "Options.h"

#include "server/http/asio.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>

namespace tailwise::loadgen {

namespace {

constexpr int maxConnections = 1024;
constexpr int maxThreads = 64;
constexpr double maxDurationSeconds = 3600;
constexpr double maxWarmupSeconds = 600;
constexpr double maxTimeoutSeconds = 600;
constexpr std::uint64_t maxRequests = 1'000'000'000;
constexpr std::size_t maxBodyBytes = 64 * 1024 * 1024;
// Without --duration a run bounded by --requests still ends; this is its safety net.
constexpr std::chrono::seconds requestsOnlyDuration{60};

std::string lower(std::string_view text)
{
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

std::string_view trim(std::string_view text)
{
    const auto space = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && space(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && space(text.back()))
        text.remove_suffix(1);
    return text;
}

// RFC 9110 token characters: what a header name may consist of.
bool isToken(std::string_view text)
{
    static constexpr std::string_view extra = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) ||
               extra.find(c) != std::string_view::npos;
    });
}

std::string readBodyFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw UsageError("cannot read --body-file '" + path + "'");
    std::string body;
    char chunk[64 * 1024];
    while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
        body.append(chunk, static_cast<std::size_t>(in.gcount()));
        if (body.size() > maxBodyBytes)
            throw UsageError("--body-file '" + path + "' is larger than 64 MiB");
    }
    if (in.bad())
        throw UsageError("cannot read --body-file '" + path + "'");
    return body;
}

std::pair<std::string, std::string> parseHeader(const std::string &text)
{
    const auto colon = text.find(':');
    if (colon == std::string::npos)
        throw UsageError("--header needs the form 'Name: value', not '" + text + "'");
    const auto name = trim(std::string_view(text).substr(0, colon));
    const auto value = trim(std::string_view(text).substr(colon + 1));
    if (!isToken(name))
        throw UsageError("--header has an invalid name in '" + text + "'");
    if (value.find_first_of("\r\n") != std::string_view::npos || value.find('\0') != value.npos)
        throw UsageError("--header value may not contain line breaks");
    return {std::string(name), std::string(value)};
}

} // namespace

std::chrono::milliseconds parseSeconds(const std::string &flag, const std::string &text,
                                       bool allowZero, double max)
{
    double value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool inRange =
        std::isfinite(value) && (allowZero ? value >= 0 : value > 0) && value <= max;
    if (ec != std::errc{} || end != text.data() + text.size() || !inRange)
        throw UsageError(flag + " needs seconds " + (allowZero ? "from 0" : "above 0") + " up to " +
                         std::to_string(static_cast<int>(max)) + ", not '" + text + "'");
    const auto ms = std::chrono::milliseconds(std::llround(value * 1000));
    if (!allowZero && ms.count() == 0)
        throw UsageError(flag + " must be at least 1 ms");
    return ms;
}

bool isLoopbackHost(std::string_view host)
{
    if (lower(host) == "localhost")
        return true;
    boost::system::error_code ec;
    const auto address = net::asio::ip::make_address(std::string(host), ec);
    if (ec)
        return false;
    if (address.is_v4())
        return address.to_v4().to_bytes()[0] == 127;
    const auto v6 = address.to_v6();
    if (v6.is_loopback())
        return true;
    return v6.is_v4_mapped() &&
           net::asio::ip::make_address_v4(net::asio::ip::v4_mapped, v6).to_bytes()[0] == 127;
}

Url parseUrl(std::string_view url)
{
    const std::string original(url);
    constexpr std::string_view scheme = "http://";
    if (url.size() < scheme.size() || lower(url.substr(0, scheme.size())) != scheme)
        throw UsageError("--url must start with http:// (got '" + original + "')");
    url.remove_prefix(scheme.size());

    const auto authorityEnd = url.find_first_of("/?#");
    const auto authority = url.substr(0, authorityEnd);
    std::string_view rest =
        authorityEnd == url.npos ? std::string_view{} : url.substr(authorityEnd);
    if (authority.find('@') != authority.npos)
        throw UsageError("--url may not carry user information: '" + original + "'");

    Url out;
    std::string_view portText;
    if (!authority.empty() && authority.front() == '[') {
        const auto close = authority.find(']');
        if (close == authority.npos)
            throw UsageError("--url has an unclosed '[' in '" + original + "'");
        out.host = std::string(authority.substr(1, close - 1));
        const auto after = authority.substr(close + 1);
        if (!after.empty()) {
            if (after.front() != ':')
                throw UsageError("--url has text after ']' in '" + original + "'");
            portText = after.substr(1);
            if (portText.empty())
                throw UsageError("--url has an empty port in '" + original + "'");
        }
    } else {
        const auto colon = authority.find(':');
        out.host = std::string(authority.substr(0, colon));
        if (colon != authority.npos) {
            portText = authority.substr(colon + 1);
            if (portText.empty())
                throw UsageError("--url has an empty port in '" + original + "'");
        }
    }
    if (out.host.empty())
        throw UsageError("--url has no host: '" + original + "'");
    if (!portText.empty())
        out.port = parseInteger<std::uint16_t>("--url port", std::string(portText), 1, 65535);
    if (!isLoopbackHost(out.host))
        throw UsageError("--url host '" + out.host +
                         "' is not loopback; only 127.0.0.0/8, ::1 and localhost are allowed");

    if (const auto hash = rest.find('#'); hash != rest.npos)
        rest = rest.substr(0, hash);
    out.target.clear();
    if (rest.empty() || rest.front() == '?')
        out.target.push_back('/');
    out.target.append(rest);
    if (std::any_of(out.target.begin(), out.target.end(),
                    [](unsigned char c) { return c <= ' ' || c == 0x7f; }))
        throw UsageError("--url path may not contain spaces or control characters");
    return out;
}

std::optional<std::vector<std::pair<std::string, std::string>>>
splitFlags(const std::vector<std::string> &args, std::initializer_list<std::string_view> known)
{
    std::vector<std::pair<std::string, std::string>> flags;
    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string flag = args[i];
        std::optional<std::string> inlineValue;
        if (const auto eq = flag.find('='); flag.starts_with("--") && eq != flag.npos) {
            inlineValue = flag.substr(eq + 1);
            flag.resize(eq);
        }
        if (flag == "--help" || flag == "-h")
            return std::nullopt;
        if (std::find(known.begin(), known.end(), flag) == known.end())
            throw UsageError("unknown option '" + flag + "'");
        if (!inlineValue && i + 1 >= args.size())
            throw UsageError(flag + " needs a value");
        flags.emplace_back(std::move(flag), inlineValue ? *inlineValue : args[++i]);
    }
    return flags;
}

Options parseOptions(const std::vector<std::string> &args)
{
    Options options;
    bool haveUrl = false;
    bool haveDuration = false;
    bool haveBody = false;
    bool haveBodyFile = false;
    const auto flags = splitFlags(
        args, {"--url", "--method", "--body", "--body-file", "--content-type", "--header",
               "--connections", "--duration", "--requests", "--warmup", "--timeout", "--threads"});
    if (!flags) {
        options.help = true;
        return options;
    }
    for (const auto &[flag, value] : *flags) {

        if (flag == "--url") {
            options.url = parseUrl(value);
            haveUrl = true;
        } else if (flag == "--method") {
            const auto method = lower(value);
            if (method != "get" && method != "post")
                throw UsageError("--method must be GET or POST, not '" + value + "'");
            options.method = method == "get" ? "GET" : "POST";
        } else if (flag == "--body") {
            options.body = value;
            haveBody = true;
        } else if (flag == "--body-file") {
            options.body = readBodyFile(value);
            haveBodyFile = true;
        } else if (flag == "--content-type") {
            if (value.empty() || value.find_first_of("\r\n") != value.npos)
                throw UsageError("--content-type needs a single-line value");
            options.contentType = value;
        } else if (flag == "--header") {
            options.headers.push_back(parseHeader(value));
        } else if (flag == "--connections") {
            options.connections = parseInteger(flag, value, 1, maxConnections);
        } else if (flag == "--duration") {
            options.duration = parseSeconds(flag, value, false, maxDurationSeconds);
            haveDuration = true;
        } else if (flag == "--requests") {
            options.requests = parseInteger<std::uint64_t>(flag, value, 1, maxRequests);
        } else if (flag == "--warmup") {
            options.warmup = parseSeconds(flag, value, true, maxWarmupSeconds);
        } else if (flag == "--timeout") {
            options.timeout = parseSeconds(flag, value, false, maxTimeoutSeconds);
        } else if (flag == "--threads") {
            options.threads = parseInteger(flag, value, 1, maxThreads);
        }
    }
    if (!haveUrl)
        throw UsageError("--url is required");
    if (haveBody && haveBodyFile)
        throw UsageError("give either --body or --body-file, not both");
    if ((haveBody || haveBodyFile) && options.method != "POST")
        throw UsageError("a request body needs --method POST");
    if (options.requests && !haveDuration)
        options.duration = requestsOnlyDuration;
    return options;
}

std::string usage()
{
    return "usage: tailwise-loadgen --url http://127.0.0.1:PORT/path [options]\n"
           "  --method GET|POST          request method (GET)\n"
           "  --body STRING              request body (POST only)\n"
           "  --body-file PATH           request body read from a file (POST only, <= 64 MiB)\n"
           "  --content-type TYPE        Content-Type of the body\n"
           "  --header 'Name: value'     extra request header, repeatable\n"
           "  --connections N            keep-alive connections, 1-1024 (1)\n"
           "  --duration SECONDS         measured time, up to 3600 (5; 60 with --requests)\n"
           "  --requests N               stop after N measured requests\n"
           "  --warmup SECONDS           unmeasured time before measuring, up to 600 (1)\n"
           "  --timeout SECONDS          limit for one connect or request, up to 600 (10)\n"
           "  --threads N                threads running the connections, 1-64 (1)\n"
           "Only loopback hosts are accepted. Prints one JSON line with the results; exits 1\n"
           "when no request got a 2xx answer, 2 on a usage error.\n";
}

} // namespace tailwise::loadgen
