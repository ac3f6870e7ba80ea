#include "TestServer.h"

#include "backend/BackendService.h"

#include <fstream>
#include <latch>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <stdlib.h>

namespace tailwise::test {

namespace asio = net::asio;
namespace beast = net::beast;
namespace http = net::http;

TempDir::TempDir(std::string_view prefix)
{
    std::string pattern =
        (std::filesystem::temp_directory_path() / (std::string(prefix) + "-XXXXXX")).string();
    if (!::mkdtemp(pattern.data()))
        throw std::runtime_error("cannot create a directory like " + pattern);
    path_ = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string fileText(const std::filesystem::path &path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

Headers bearer(const std::string &token)
{
    return {{"Authorization", "Bearer " + token}};
}

std::string HttpReply::field(std::string_view key) const
{
    if (!json.is_object())
        return {};
    const auto found = json.find(std::string(key));
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::ostream &operator<<(std::ostream &out, const HttpReply &reply)
{
    if (reply.status == 0)
        return out << "no answer (" << reply.error << ")";
    constexpr std::size_t shown = 600;
    out << "HTTP " << reply.status << ' ' << reply.body.substr(0, shown);
    if (reply.body.size() > shown)
        out << "... (" << reply.body.size() << " bytes)";
    return out;
}

HttpClient::HttpClient(net::tcp::endpoint server, std::chrono::milliseconds timeout)
    : server_(server), timeout_(timeout), stream_(io_)
{}

// Starts one asynchronous operation and runs the private io_context until it completes. The
// stream's own expiry bounds the operation; the run_for is a backstop should it not.
template <typename Start>
beast::error_code HttpClient::run(std::chrono::milliseconds timeout, Start start)
{
    beast::error_code result = asio::error::timed_out;
    stream_.expires_after(timeout);
    start([&result](beast::error_code ec, auto &&...) { result = ec; });
    io_.restart();
    io_.run_for(timeout + 1s);
    if (!io_.stopped()) {
        stream_.close();
        io_.run();
    }
    return result;
}

void HttpClient::connect()
{
    buffer_.clear();
    const auto ec = run(timeout_, [&](auto handler) { stream_.async_connect(server_, handler); });
    if (ec) {
        stream_.close();
        return;
    }
    stream_.socket().set_option(net::tcp::no_delay(true));
    ++connects_;
}

void HttpClient::close()
{
    beast::error_code ignored;
    stream_.socket().shutdown(net::tcp::socket::shutdown_both, ignored);
    stream_.close();
    buffer_.clear();
}

HttpReply HttpClient::send(net::Request request)
{
    request.version(11);
    request.set(http::field::host,
                server_.address().to_string() + ':' + std::to_string(server_.port()));
    request.prepare_payload();
    if (!isOpen())
        connect();
    if (!isOpen()) {
        HttpReply reply;
        reply.error = "cannot connect";
        return reply;
    }
    const auto written =
        run(timeout_, [&](auto handler) { http::async_write(stream_, request, handler); });
    // The server may answer and close before it has read everything (an oversize body), so
    // a failed write still leaves an answer to read.
    HttpReply reply = receive();
    if (written && reply.status == 0)
        reply.error = "write: " + written.message() + "; read: " + reply.error;
    return reply;
}

HttpReply HttpClient::post(std::string_view target, const nlohmann::json &body,
                           const Headers &headers)
{
    return postBody(target, body.dump(), headers);
}

HttpReply HttpClient::postBody(std::string_view target, std::string body, const Headers &headers,
                               std::string_view contentType)
{
    net::Request request{http::verb::post, target, 11};
    if (!contentType.empty())
        request.set(http::field::content_type, contentType);
    for (const auto &[name, value] : headers)
        request.set(name, value);
    request.body() = std::move(body);
    return send(std::move(request));
}

HttpReply HttpClient::get(std::string_view target, const Headers &headers)
{
    net::Request request{http::verb::get, target, 11};
    for (const auto &[name, value] : headers)
        request.set(name, value);
    return send(std::move(request));
}

void HttpClient::write(std::string_view bytes)
{
    if (!isOpen())
        connect();
    run(timeout_, [&](auto handler) { asio::async_write(stream_, asio::buffer(bytes), handler); });
}

HttpReply HttpClient::receive()
{
    HttpReply reply;
    if (!isOpen()) {
        reply.error = "not connected";
        return reply;
    }
    http::response_parser<http::string_body> parser;
    parser.body_limit(64 * 1024 * 1024);
    const auto ec =
        run(timeout_, [&](auto handler) { http::async_read(stream_, buffer_, parser, handler); });
    if (ec) {
        reply.error = ec.message();
        close();
        return reply;
    }
    auto response = parser.release();
    reply.status = response.result_int();
    reply.headers = static_cast<const http::fields &>(response);
    reply.keepAlive = response.keep_alive();
    reply.body = std::move(response.body());
    reply.json = nlohmann::json::parse(reply.body, nullptr, false);
    if (!reply.keepAlive)
        close();
    return reply;
}

HttpReply HttpClient::exchange(std::string_view bytes)
{
    write(bytes);
    return receive();
}

bool HttpClient::closedByServer(std::chrono::milliseconds within)
{
    if (!isOpen())
        return true;
    char byte = 0;
    const auto ec = run(
        within, [&](auto handler) { stream_.async_read_some(asio::buffer(&byte, 1), handler); });
    const bool closed = ec == asio::error::eof || ec == asio::error::connection_reset;
    if (ec)
        close();
    return closed;
}

TestServer::TestServer(TestServerOptions options)
    : options_(std::move(options)), accessLog_(std::fopen("/dev/null", "w"))
{
    start();
}

TestServer::~TestServer()
{
    stop();
    if (accessLog_)
        std::fclose(accessLog_);
}

void TestServer::start()
{
    if (stack_)
        return;
    StackConfig config;
    config.dataDir = dir_.path();
    config.host = "127.0.0.1";
    config.backendPort = 0;
    config.threads = 2;
    config.passwordCost = backend::PasswordCost::minimal();
    config.clock = &clock_;
    config.backendLimits = options_.limits;
    config.identityProviders = options_.identityProviders;
    config.accessLog = accessLog_;
    stack_ = std::make_unique<ServerStack>(std::move(config));
    endpoint_ = stack_->start().backend;
}

void TestServer::stop()
{
    if (!stack_)
        return;
    stack_->stop();
    stack_.reset();
}

void TestServer::restart()
{
    stop();
    start();
}

std::string TestServer::api(std::string_view word)
{
    return std::string(backend::BackendService::basePath) + std::string(word);
}

HttpReply TestServer::post(std::string_view target, const nlohmann::json &body,
                           const Headers &headers)
{
    return HttpClient(endpoint_).post(target, body, headers);
}

HttpReply TestServer::postBody(std::string_view target, std::string body, const Headers &headers,
                               std::string_view contentType)
{
    return HttpClient(endpoint_).postBody(target, std::move(body), headers, contentType);
}

std::vector<HttpReply>
TestServer::concurrently(int count, const std::function<HttpReply(HttpClient &)> &request)
{
    std::vector<HttpReply> replies(static_cast<std::size_t>(count));
    std::latch ready(count);
    std::vector<std::thread> threads;
    for (auto &reply : replies) {
        threads.emplace_back([&] {
            HttpClient client(endpoint_);
            ready.arrive_and_wait();
            reply = request(client);
        });
    }
    for (auto &thread : threads)
        thread.join();
    return replies;
}

Account TestServer::registerAccount(const std::string &email, const std::string &password,
                                    nlohmann::json extra)
{
    extra["email"] = email;
    extra["password"] = password;
    if (!extra.contains("register_type"))
        extra["register_type"] = "manual";
    const HttpReply reply = post(api("register"), extra);
    if (!reply.succeeded() || reply.field("is_new_account") != "true") {
        std::ostringstream what;
        what << "registering " << email << " failed: " << reply;
        throw std::runtime_error(what.str());
    }
    return {email, password, reply.field("user_id"), reply.field("userToken")};
}

std::string TestServer::login(const std::string &email, const std::string &password)
{
    const HttpReply reply = post(api("login"), {{"email", email}, {"password", password}});
    if (!reply.succeeded()) {
        std::ostringstream what;
        what << "signing in as " << email << " failed: " << reply;
        throw std::runtime_error(what.str());
    }
    return reply.json.at("user_data").at(0).at("userToken").get<std::string>();
}

bool TestServer::sessionWorks(const std::string &userId, const std::string &token)
{
    const HttpReply reply = post(api("get_profile"), {{"user_id", userId}}, bearer(token));
    if (reply.status != 200 && reply.status != 401) {
        std::ostringstream what;
        what << "unexpected answer to a session check: " << reply;
        throw std::runtime_error(what.str());
    }
    return reply.status == 200;
}

std::int64_t TestServer::userRows()
{
    return users().locked([](backend::Connection &db) {
        auto count = db.prepare("SELECT COUNT(*) FROM users");
        count.step();
        return count.integer(0);
    });
}

} // namespace tailwise::test
