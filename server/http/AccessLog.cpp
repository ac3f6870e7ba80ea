#include "AccessLog.h"

#include <nlohmann/json.hpp>

#include <ctime>

namespace tailwise::net {
namespace {

std::string utcNow()
{
    const auto now = std::chrono::system_clock::now();
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm tm{};
    gmtime_r(&seconds, &tm);
    char text[32];
    const auto length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &tm);
    char result[48];
    std::snprintf(result, sizeof result, "%.*s.%03dZ", static_cast<int>(length), text,
                  static_cast<int>(millis));
    return result;
}

} // namespace

void AccessLog::write(const AccessRecord &record)
{
    if (!sink_)
        return;
    const nlohmann::json line = {
        {"ts", utcNow()},          {"service", record.service},
        {"remote", record.remote}, {"method", record.method},
        {"target", record.target}, {"status", record.status},
        {"bytes", record.bytes},   {"ms", static_cast<double>(record.elapsed.count()) / 1000.0},
    };
    // Targets are attacker-controlled; replacing invalid UTF-8 keeps the log parseable.
    const std::string text =
        line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
    const std::lock_guard lock(mutex_);
    std::fwrite(text.data(), 1, text.size(), sink_);
    std::fflush(sink_);
}

void AccessLog::message(std::string_view service, std::string_view text)
{
    if (!sink_)
        return;
    const nlohmann::json line = {{"ts", utcNow()}, {"service", service}, {"message", text}};
    const std::string out =
        line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
    const std::lock_guard lock(mutex_);
    std::fwrite(out.data(), 1, out.size(), sink_);
    std::fflush(sink_);
}

} // namespace tailwise::net
