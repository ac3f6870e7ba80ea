#include "ServerStack.h"
#include "push/Uuid.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include <malloc.h>
#include <sys/resource.h>

namespace {

void usage(std::ostream &out)
{
    out << "usage: tailwise-server [--data-dir DIR] [--host ADDR] [--backend-port PORT]\n"
           "                       [--database-port PORT] [--push-port PORT] [--threads N]\n"
           "                       [--public-host NAME]... [--database-max-bytes N]\n"
           "                       [--push-app-id UUID] [--push-rest-key KEY]\n"
           "                       [--oidc-issuer NAME=ISSUER_URL] [--oidc-jwks NAME=FILE_OR_URL]\n"
           "                       [--oidc-client-id NAME=CLIENT_ID] [--no-rate-limits]\n"
           "                       [--database-rules FILE] [--database-secret FILE]\n"
           "Defaults: --data-dir ./var --host 127.0.0.1 --backend-port 8080\n"
           "          --database-port 9000 --push-port 8081; port 0 picks a free port.\n"
           "--public-host: a host name clients use besides the loopback names and the listen\n"
           "               address (requests naming any other host are refused with 421).\n"
           "--database-max-bytes: what the realtime database may store, as JSON text\n"
           "               (default 268435456; 0: no limit).\n"
           "--push-app-id: the app_id the push relay answers for\n"
           "               (default d06f00d0-7a11-4e15-9a5e-000000000001).\n"
           "--push-rest-key: when given, creating a notification needs\n"
           "               Authorization: Basic KEY (or Key KEY).\n"
           "Social sign-in: NAME is google (register_type \"gmail\") or facebook; a provider\n"
           "needs all three --oidc flags, and without them its sign-in is refused.\n"
           "--database-rules: security rules for the realtime database (default: the\n"
           "               database.rules.json beside this program); 'open' serves without\n"
           "               rules, every request allowed, for tests and benches only.\n"
           "--database-secret: the administrator's secret (default DATA_DIR/database.secret,\n"
           "               created at first start).\n"
           "--no-rate-limits is for load tests only.\n";
}

std::size_t parseCount(const std::string &flag, const std::string &text)
{
    std::size_t used = 0;
    unsigned long long value = 0;
    try {
        value = std::stoull(text, &used);
    } catch (const std::exception &) {
        used = 0;
    }
    if (used != text.size() || text.empty() || text.front() == '-') {
        std::cerr << "tailwise-server: " << flag << " needs a whole number, not '" << text << "'\n";
        std::exit(2);
    }
    return static_cast<std::size_t>(value);
}

// Every connection takes a file descriptor; the usual soft limit of 1024 would take both
// services down long before their connection limits. Raise it as far as allowed and fit the
// connection limits into what there is.
void fitOpenFiles(tailwise::StackConfig &config)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    const rlim_t before = limit.rlim_cur;
    if (limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
            limit.rlim_cur = before;
    }
    std::cerr << "tailwise-server: open files limit " << limit.rlim_cur;
    if (limit.rlim_cur != before)
        std::cerr << " (raised from " << before << ")";
    std::cerr << "\n";
    // Files, SQLite, the journal and the pools take a few; the rest is for connections.
    constexpr rlim_t reserved = 256;
    const std::size_t wanted = config.backendLimits.maxConnections +
                               config.databaseLimits.maxConnections +
                               config.pushLimits.maxConnections;
    if (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur >= wanted + reserved)
        return;
    const std::size_t each =
        std::max<std::size_t>(64, (limit.rlim_cur > reserved ? limit.rlim_cur - reserved : 0) / 3);
    config.backendLimits.maxConnections = config.databaseLimits.maxConnections =
        config.pushLimits.maxConnections = each;
    std::cerr << "tailwise-server: too few open files for " << wanted
              << " connections; each service takes at most " << each << "\n";
}

unsigned short parsePort(const std::string &flag, const std::string &text)
{
    std::size_t used = 0;
    unsigned long value = 0;
    try {
        value = std::stoul(text, &used);
    } catch (const std::exception &) {
        used = 0;
    }
    if (used != text.size() || text.empty() || value > 65535) {
        std::cerr << "tailwise-server: " << flag << " needs a port number 0-65535, not '" << text
                  << "'\n";
        std::exit(2);
    }
    return static_cast<unsigned short>(value);
}

// OneSignal app ids are UUIDs; clients may write them in either case.
std::string parseAppId(const std::string &flag, const std::string &text)
{
    const auto id = tailwise::push::canonicalUuid(text);
    if (!id) {
        std::cerr << "tailwise-server: " << flag << " needs a UUID, not '" << text << "'\n";
        std::exit(2);
    }
    return *id;
}

// "--oidc-issuer google=https://accounts.google.com" sets one setting of one provider.
void setProviderValue(tailwise::backend::IdentityProviderConfigs &providers,
                      const std::string &flag, const std::string &value)
{
    const auto equals = value.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == value.size()) {
        std::cerr << "tailwise-server: " << flag << " needs NAME=VALUE, not '" << value << "'\n";
        std::exit(2);
    }
    auto &provider = providers[value.substr(0, equals)];
    const std::string setting = value.substr(equals + 1);
    if (flag == "--oidc-issuer")
        provider.issuer = setting;
    else if (flag == "--oidc-jwks")
        provider.keys = setting;
    else
        provider.clientId = setting;
}

// What `--database-rules open` asks for; a rules file of that name is "./open".
constexpr std::string_view openRules = "open";

// The rules the database starts with: the flag's file, none for "open", and otherwise the
// file installed beside the program, so that a start without the flag is never an open
// database. Says which on stderr.
std::optional<std::filesystem::path> chooseRules(const std::optional<std::string> &flag)
{
    if (flag == openRules) {
        std::cerr << "tailwise-server: WARNING: database rules: open. Every database request "
                     "may read and write everything; for tests and benches on 127.0.0.1 only\n";
        return std::nullopt;
    }
    std::filesystem::path file;
    if (flag) {
        file = *flag;
    } else {
        std::error_code failed;
        file = std::filesystem::read_symlink("/proc/self/exe", failed).parent_path() /
               "database.rules.json";
        if (failed || !std::filesystem::exists(file)) {
            std::cerr << "tailwise-server: no database rules at " << file.string()
                      << "; name a file with --database-rules FILE (or 'open')\n";
            std::exit(2);
        }
    }
    std::cerr << "tailwise-server: database rules: " << file.string() << "\n";
    return file;
}

} // namespace

int main(int argc, char **argv)
{
    tailwise::StackConfig config;
    config.dataDir = "var";
    config.databasePort = 9000;
    config.pushPort = 8081;
    std::optional<std::string> rulesFlag;
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        if (flag == "--help" || flag == "-h") {
            usage(std::cout);
            return 0;
        }
        if (flag == "--no-rate-limits") {
            config.rateLimits.enabled = false;
            continue;
        }
        if (i + 1 >= argc) {
            std::cerr << "tailwise-server: " << flag << " needs a value\n";
            usage(std::cerr);
            return 2;
        }
        const std::string value = argv[++i];
        if (flag == "--data-dir")
            config.dataDir = value;
        else if (flag == "--host")
            config.host = value;
        else if (flag == "--backend-port")
            config.backendPort = parsePort(flag, value);
        else if (flag == "--database-port")
            config.databasePort = parsePort(flag, value);
        else if (flag == "--push-port")
            config.pushPort = parsePort(flag, value);
        else if (flag == "--push-app-id")
            config.push.appId = parseAppId(flag, value);
        else if (flag == "--push-rest-key") {
            if (value.empty()) {
                std::cerr << "tailwise-server: " << flag << " needs a key\n";
                return 2;
            }
            config.push.restKey = value;
        } else if (flag == "--threads")
            config.threads = parsePort(flag, value);
        else if (flag == "--public-host") {
            config.backendLimits.publicHosts.push_back(value);
            config.databaseLimits.publicHosts.push_back(value);
            config.pushLimits.publicHosts.push_back(value);
        } else if (flag == "--database-max-bytes")
            config.database.maxStoredBytes = parseCount(flag, value);
        else if (flag == "--database-rules")
            rulesFlag = value;
        else if (flag == "--database-secret")
            config.databaseSecret = value;
        else if (flag == "--oidc-issuer" || flag == "--oidc-jwks" || flag == "--oidc-client-id")
            setProviderValue(config.identityProviders, flag, value);
        else {
            std::cerr << "tailwise-server: unknown flag " << flag << "\n";
            usage(std::cerr);
            return 2;
        }
    }

    // Blocked in every thread the stack starts; runUntilSignalled collects them with sigwait.
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);

    config.databaseRules = chooseRules(rulesFlag);
    config.storeRulesReplacements = rulesFlag.has_value();
    fitOpenFiles(config);
    // glibc gives each thread that allocates at once an arena of its own, up to eight per
    // core, and keeps what was freed in each: after bursts of large requests on many workers
    // the process holds several times what it uses. One arena per core keeps the resident
    // size near the working set, and measured no slower.
    mallopt(M_ARENA_MAX, static_cast<int>(std::max(2u, std::thread::hardware_concurrency())));
    try {
        tailwise::ServerStack stack(config);
        const auto endpoints = stack.start();
        const auto announce = [](const char *service, const tailwise::net::tcp::endpoint &at) {
            const std::string host = at.address().is_v6() ? "[" + at.address().to_string() + "]"
                                                          : at.address().to_string();
            std::cout << service << " listening on http://" << host << ':' << at.port()
                      << std::endl;
        };
        announce("backend", endpoints.backend);
        if (endpoints.database)
            announce("database", *endpoints.database);
        if (endpoints.push)
            announce("push", *endpoints.push);
        stack.runUntilSignalled();
    } catch (const tailwise::realtime::rules::RulesError &fault) {
        std::cerr << "tailwise-server: " << config.databaseRules->string() << ": " << fault.what()
                  << "\n";
        return 2;
    } catch (const std::exception &error) {
        std::cerr << "tailwise-server: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
