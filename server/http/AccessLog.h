#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace tailwise::net {

struct AccessRecord
{
    std::string_view service;
    std::string remote;
    std::string_view method;
    std::string_view target;
    unsigned status = 0;
    std::size_t bytes = 0;
    std::chrono::microseconds elapsed{0};
};

// One JSON object per line, so logs can be grepped and parsed alike. Bodies are never
// logged: they carry passwords and tokens.
class AccessLog
{
public:
    explicit AccessLog(std::FILE *sink) : sink_(sink) {}

    void write(const AccessRecord &record);
    void message(std::string_view service, std::string_view text);

private:
    std::FILE *sink_;
    std::mutex mutex_;
};

} // namespace tailwise::net
