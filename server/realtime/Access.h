#pragma once

#include "Path.h"
#include "rules/Rules.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tailwise::realtime {

// A session token's user id; nothing for a token that is not a live session right now.
using TokenResolver = std::function<std::optional<std::string>(std::string_view token)>;

// The administrator's secret. Kept in a file of its own (mode 0600) so that operators' tools
// can read it; created with 32 random bytes as hex the first time the database is served.
class DatabaseSecret
{
public:
    static DatabaseSecret loadOrCreate(const std::filesystem::path &file);
    explicit DatabaseSecret(std::string secret) : secret_(std::move(secret)) {}

    // In constant time, so that answer times tell nothing about how much of a guess is right.
    bool matches(std::string_view candidate) const;

private:
    std::string secret_;
};

// Who sent a request, from its `auth=` or `access_token=` parameter.
struct Requester
{
    bool administrator = false;
    rules::Auth auth;  // none: anonymous (or the administrator)
    std::string token; // the session token a user came with
};

// The rules text and the rules made from it.
struct LoadedRules
{
    std::string text;
    rules::Rules rules;
};

// Who may do what in the database. Without rules everyone may do everything; rules can be
// put in force, or replaced, while the database serves.
class DatabaseAccess
{
public:
    // With `rulesFile`, its rules are in force from the start (throws rules::RulesError with
    // the fault's position, std::runtime_error when it cannot be read), and with
    // `storeReplacements` rules put in force later are stored there, so that they survive a
    // restart.
    DatabaseAccess(TokenResolver resolver, DatabaseSecret secret,
                   std::optional<std::filesystem::path> rulesFile,
                   std::function<std::int64_t()> clock, bool storeReplacements = true);

    Requester identify(const std::map<std::string, std::string> &parameters) const;
    // Whether a user's session still lives (always true for others).
    bool stillSignedIn(const Requester &requester) const;

    // nullptr while no rules are in force.
    std::shared_ptr<const LoadedRules> rules() const;
    // Parses `text` first: throws rules::RulesError and keeps the rules in force on a fault.
    void setRules(std::string text);

private:
    TokenResolver resolver_;
    DatabaseSecret secret_;
    std::function<std::int64_t()> clock_;
    std::optional<std::filesystem::path> rulesFile_;
    mutable std::mutex mutex_;
    std::shared_ptr<const LoadedRules> rules_;
};

} // namespace tailwise::realtime
