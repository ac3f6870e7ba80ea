#include "Outbox.h"

#include "../http/Random.h"
#include "DurableFile.h"

#include <ctime>
#include <stdexcept>

namespace tailwise::backend {
namespace {

std::string formatTime(std::int64_t nowMs, const char *pattern)
{
    const std::time_t seconds = static_cast<std::time_t>(nowMs / 1000);
    std::tm tm{};
    gmtime_r(&seconds, &tm);
    char text[64];
    const auto length = std::strftime(text, sizeof text, pattern, &tm);
    return {text, length};
}

// Header values come from user input (the address); a line break there would let a client
// add headers of its own.
std::string headerSafe(std::string_view value)
{
    std::string out;
    for (const char c : value)
        out += (c == '\r' || c == '\n') ? ' ' : c;
    return out;
}

} // namespace

std::string renderEml(const Mail &mail, std::int64_t nowMs, const std::string &messageId)
{
    std::string eml;
    eml += "From: Tailwise <no-reply@tailwise.invalid>\r\n";
    eml += "To: " + headerSafe(mail.to) + "\r\n";
    eml += "Subject: " + headerSafe(mail.subject) + "\r\n";
    eml += "Date: " + formatTime(nowMs, "%a, %d %b %Y %H:%M:%S +0000") + "\r\n";
    eml += "Message-ID: <" + messageId + "@tailwise.invalid>\r\n";
    eml += "MIME-Version: 1.0\r\n";
    eml += "Content-Type: text/plain; charset=utf-8\r\n";
    eml += "Content-Transfer-Encoding: 8bit\r\n\r\n";
    for (const char c : mail.body) {
        if (c == '\n')
            eml += "\r\n";
        else if (c != '\r')
            eml += c;
    }
    eml += "\r\n";
    return eml;
}

Outbox::Outbox(std::filesystem::path directory) : directory_(std::move(directory))
{
    std::filesystem::create_directories(directory_);
}

std::pair<std::filesystem::path, std::string> Outbox::stage(const Mail &mail, std::int64_t nowMs)
{
    const std::string id = net::randomHex(8);
    const std::string finalName = formatTime(nowMs, "%Y%m%dT%H%M%SZ") + "-" + id + ".eml";
    const std::filesystem::path temporary = directory_ / ("." + finalName + ".tmp");
    writeNewFileDurably(temporary, renderEml(mail, nowMs, id));
    return {temporary, finalName};
}

void Outbox::publish(const std::filesystem::path &temporary, const std::string &finalName)
{
    std::filesystem::rename(temporary, directory_ / finalName);
    syncDirectory(directory_);
}

int Outbox::reconcile(const std::function<bool(const std::string &finalName)> &recorded)
{
    int moved = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory_)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with('.') || !name.ends_with(".eml.tmp"))
            continue;
        const std::string finalName = name.substr(1, name.size() - 1 - std::string(".tmp").size());
        if (recorded(finalName)) {
            std::filesystem::rename(entry.path(), directory_ / finalName);
            ++moved;
        } else {
            std::filesystem::remove(entry.path());
        }
    }
    syncDirectory(directory_);
    return moved;
}

} // namespace tailwise::backend
