#pragma once

#include "UserStore.h"

#include <filesystem>
#include <functional>
#include <string>

namespace tailwise::backend {

struct Mail
{
    std::string to;
    std::string subject;
    std::string body;
};

// Outgoing mail is not sent: it lands in the outbox table and as an .eml file under
// <data dir>/outbox, where a mail relay (or a developer) picks it up.
class Outbox
{
public:
    explicit Outbox(std::filesystem::path directory);

    // Writes the message to a hidden file and flushes it to the disk first; `commit` then
    // records it in the database under the final name, and only after that does the file
    // appear under that name. If `commit` throws, nothing is left behind; if the process dies
    // in between, reconcile() finishes the job at the next start.
    template <typename Commit>
    void deliver(const Mail &mail, std::int64_t nowMs, Commit commit)
    {
        const auto [temporary, finalName] = stage(mail, nowMs);
        try {
            commit(finalName);
        } catch (...) {
            std::error_code ignored;
            std::filesystem::remove(temporary, ignored);
            throw;
        }
        publish(temporary, finalName);
    }

    // For every hidden file left by an interrupted delivery: a message the database recorded
    // is moved into place, any other is removed. Returns how many were moved.
    int reconcile(const std::function<bool(const std::string &finalName)> &recorded);

    const std::filesystem::path &directory() const { return directory_; }

private:
    void publish(const std::filesystem::path &temporary, const std::string &finalName);
    std::pair<std::filesystem::path, std::string> stage(const Mail &mail, std::int64_t nowMs);

    std::filesystem::path directory_;
};

std::string renderEml(const Mail &mail, std::int64_t nowMs, const std::string &messageId);

} // namespace tailwise::backend
