#include "Access.h"

#include "backend/DurableFile.h"
#include "http/Random.h"

#include <sodium.h>

#include <cctype>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace tailwise::realtime {
namespace {

std::string readWhole(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + file.string());
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Written beside the file and renamed over it, so that a crash leaves the old text or the new
// one, never a mix. `mode` is the new file's.
void replaceFile(const std::filesystem::path &file, std::string_view bytes, mode_t mode)
{
    std::filesystem::path fresh = file;
    fresh += ".new";
    std::error_code ignored;
    std::filesystem::remove(fresh, ignored);
    const int fd = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0)
        throw std::runtime_error("cannot create " + fresh.string());
    const bool written =
        ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
        ::fsync(fd) == 0;
    if (::close(fd) != 0 || !written) {
        std::filesystem::remove(fresh, ignored);
        throw std::runtime_error("cannot write " + fresh.string());
    }
    std::filesystem::rename(fresh, file);
    backend::syncDirectory(file.has_parent_path() ? file.parent_path() : ".");
}

} // namespace

DatabaseSecret DatabaseSecret::loadOrCreate(const std::filesystem::path &file)
{
    if (!std::filesystem::exists(file))
        replaceFile(file, net::randomHex(32) + "\n", 0600);
    std::string text = readWhole(file);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.pop_back();
    // An empty secret would make every request without a token the administrator's.
    if (text.size() < 16)
        throw std::runtime_error(file.string() + " holds no secret (at least 16 characters)");
    return DatabaseSecret(std::move(text));
}

bool DatabaseSecret::matches(std::string_view candidate) const
{
    // Only the length may show; the secret's is no secret.
    return candidate.size() == secret_.size() &&
           sodium_memcmp(candidate.data(), secret_.data(), secret_.size()) == 0;
}

DatabaseAccess::DatabaseAccess(TokenResolver resolver, DatabaseSecret secret,
                               std::optional<std::filesystem::path> rulesFile,
                               std::function<std::int64_t()> clock, bool storeReplacements)
    : resolver_(std::move(resolver)), secret_(std::move(secret)), clock_(std::move(clock))
{
    if (rulesFile) {
        std::string text = readWhole(*rulesFile);
        rules_ = std::make_shared<const LoadedRules>(
            LoadedRules{text, rules::Rules(rules::RuleTree::parse(text), clock_)});
        if (storeReplacements)
            rulesFile_ = std::move(rulesFile);
    }
}

Requester DatabaseAccess::identify(const std::map<std::string, std::string> &parameters) const
{
    auto given = parameters.find("auth");
    if (given == parameters.end())
        given = parameters.find("access_token");
    if (given == parameters.end() || given->second.empty())
        return {};
    if (secret_.matches(given->second))
        return {.administrator = true, .auth = {}, .token = {}};
    if (auto uid = resolver_ ? resolver_(given->second) : std::nullopt)
        return {.administrator = false,
                .auth = rules::Identity{std::move(*uid)},
                .token = given->second};
    return {};
}

bool DatabaseAccess::stillSignedIn(const Requester &requester) const
{
    return !requester.auth || (resolver_ && resolver_(requester.token));
}

std::shared_ptr<const LoadedRules> DatabaseAccess::rules() const
{
    const std::lock_guard lock(mutex_);
    return rules_;
}

void DatabaseAccess::setRules(std::string text)
{
    auto loaded = std::make_shared<const LoadedRules>(
        LoadedRules{text, rules::Rules(rules::RuleTree::parse(text), clock_)});
    const std::lock_guard lock(mutex_);
    if (rulesFile_)
        replaceFile(*rulesFile_, text, 0644);
    rules_ = std::move(loaded);
}

} // namespace tailwise::realtime
