// Google and Facebook sign-in over real HTTP: the ID token must be the provider's, for our
// app, fresh, and for a verified address; the account keeps the identity it was proved with.
// Tokens are minted with the tests' own keys, published as a key set file or by a small HTTP
// server on the loopback address.

#include "ServerProcess.h"
#include "TestIdTokens.h"
#include "TestServer.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <mutex>
#include <set>
#include <thread>

using namespace tailwise::test;
namespace net = tailwise::net;
using nlohmann::json;

namespace {

constexpr std::int64_t now = TestServer::startMs / 1000;

// Keys are made on first use: most tests of this program never need one.
const SigningKey &rotatedGoogleKey()
{
    static const SigningKey key = SigningKey::rsa("google-2");
    return key;
}

class SocialSignIn : public ::testing::Test
{
protected:
    static TestServerOptions providers(const TempDir &keys)
    {
        TestServerOptions options;
        for (const TestProvider *provider : {&testGoogle(), &testFacebook()}) {
            const auto file = keys.path() / (provider->name + ".json");
            std::ofstream(file) << keySet({&provider->key});
            options.identityProviders[provider->name] = {provider->issuer, file.string(),
                                                         provider->clientId};
        }
        return options;
    }

    HttpReply signIn(const std::string &idToken, const std::string &email,
                     const std::string &type = "gmail")
    {
        json body = {{"register_type", type}, {"id_token", idToken},  {"password", "guessable"},
                     {"username", "Cy"},      {"verify_status", "1"}, {"profilePic", "x.png"}};
        if (!email.empty())
            body["email"] = email;
        return server.post(TestServer::api("register"), body);
    }
    HttpReply google(const std::string &email, const std::string &subject = "g-1001")
    {
        return signIn(signedToken(testGoogle().key, googleClaims(email, now, subject)), email);
    }
    HttpReply facebook(const std::string &email, const std::string &subject = "f-2002")
    {
        json claims = googleClaims(email, now, subject);
        claims["iss"] = testFacebook().issuer;
        claims["aud"] = testFacebook().clientId;
        return signIn(signedToken(testFacebook().key, claims), email, "facebook");
    }
    json profile(const HttpReply &signedIn)
    {
        return server
            .post(TestServer::api("get_profile"), {{"user_id", signedIn.field("user_id")}},
                  bearer(signedIn.field("userToken")))
            .json["data"][0];
    }

    TempDir keys_{"tailwise-keys"};
    TestServer server{providers(keys_)};
};

TEST_F(SocialSignIn, AVerifiedIdentityMakesAnAccountAndSignsInAgain)
{
    auto first = google("Cy@Example.com");
    ASSERT_TRUE(first.succeeded()) << first;
    EXPECT_EQ(first.field("is_new_account"), "true");
    const json user = profile(first);
    EXPECT_EQ(user["email"], "Cy@Example.com");
    EXPECT_EQ(user["verify_status"], "1") << "the provider verified the address";
    EXPECT_EQ(user["profilePic"], "https://lh3.example.com/photo.jpg") << "from the token";

    // The request's address may differ in case, or be left out.
    for (const std::string email : {"cy@example.com", ""}) {
        auto again =
            signIn(signedToken(testGoogle().key, googleClaims("Cy@Example.com", now)), email);
        ASSERT_TRUE(again.succeeded()) << again;
        EXPECT_EQ(again.field("is_new_account"), "false");
        EXPECT_EQ(again.field("user_id"), first.field("user_id"));
        EXPECT_TRUE(server.sessionWorks(first.field("user_id"), again.field("userToken")));
    }
    EXPECT_TRUE(server.sessionWorks(first.field("user_id"), first.field("userToken")));
    // The "password" the app sends along is no password of the account.
    EXPECT_TRUE(server
                    .post(TestServer::api("login"),
                          {{"email", "cy@example.com"}, {"password", "guessable"}})
                    .refused());

    // Facebook's keys here are P-256 (ES256).
    auto other = facebook("dee@example.com");
    EXPECT_TRUE(other.succeeded()) << other;
    EXPECT_EQ(server.userRows(), 2);
}

TEST_F(SocialSignIn, ForgedStaleOrForeignTokensAreRefusedAndStoreNothing)
{
    const json good = googleClaims("cy@example.com", now);
    const auto with = [&](json change) {
        json claims = good;
        claims.merge_patch(change);
        return signedToken(testGoogle().key, claims);
    };
    const SigningKey &stranger = rotatedGoogleKey();
    const struct
    {
        const char *label;
        std::string idToken;
    } cases[] = {
        {"signed by another key under our key id",
         signedToken({{"alg", "RS256"}, {"kid", "google-1"}}, good,
                     [&](const std::string &input) { return stranger.sign(input); })},
        {"unknown key id", signedToken(stranger, good)},
        {"alg none", signedToken({{"alg", "none"}, {"kid", "google-1"}}, good,
                                 [](const std::string &) { return std::string(); })},
        {"HS256 keyed with the public key",
         signedToken({{"alg", "HS256"}, {"kid", "google-1"}}, good,
                     [](const std::string &input) {
                         const std::string secret = testGoogle().key.jwk().dump();
                         unsigned char mac[EVP_MAX_MD_SIZE];
                         unsigned length = 0;
                         HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
                              reinterpret_cast<const unsigned char *>(input.data()), input.size(),
                              mac, &length);
                         return std::string(reinterpret_cast<char *>(mac), length);
                     })},
        {"ES256 claimed for an RSA key",
         signedToken({{"alg", "ES256"}, {"kid", "google-1"}}, good,
                     [&](const std::string &input) { return testFacebook().key.sign(input); })},
        {"another issuer", with({{"iss", "https://evil.example.com"}})},
        {"another app", with({{"aud", "someone-else"}})},
        {"another app among several", with({{"aud", {"a", "b"}}})},
        {"expired past the leeway", with({{"exp", now - 61}})},
        {"issued in the future", with({{"iat", now + 120}})},
        {"no expiry", with({{"exp", nullptr}})},
        {"address not verified", with({{"email_verified", false}})},
        {"no word on verification", with({{"email_verified", nullptr}})},
        {"no address", with({{"email", nullptr}})},
        {"no subject", with({{"sub", nullptr}})},
        {"not a token", "abc.def"},
        {"signature cut off", with({}).substr(0, with({}).size() - 10)},
        {"missing", ""},
    };
    for (const auto &c : cases) {
        const auto reply = signIn(c.idToken, "cy@example.com");
        EXPECT_TRUE(reply.refused()) << c.label << ": " << reply;
    }
    // The token is fine, but the request names someone else.
    EXPECT_EQ(signIn(signedToken(testGoogle().key, good), "mallory@example.com").status, 403);
    EXPECT_EQ(server.userRows(), 0);

    // Within the leeway, and with our app among several audiences, it passes.
    EXPECT_TRUE(
        signIn(with({{"exp", now - 30}, {"aud", {"a", testGoogle().clientId}}}), "cy@example.com")
            .succeeded());
}

TEST_F(SocialSignIn, AnAddressThatSignsInAnotherWayGetsOneNeutralAnswer)
{
    const Account ann = server.registerAccount("ann@example.com");
    ASSERT_TRUE(facebook("bo@example.com").succeeded());
    ASSERT_TRUE(google("cy@example.com", "g-cy").succeeded());

    const HttpReply attempts[] = {
        google("ann@example.com", "g-ann"),  // registered with a password
        google("bo@example.com", "g-bo"),    // registered with Facebook
        facebook("cy@example.com", "f-cy"),  // registered with Google
        google("cy@example.com", "g-other"), // another Google account claiming the address
    };
    for (const auto &reply : attempts) {
        EXPECT_EQ(reply.status, 409) << reply;
        EXPECT_EQ(reply.message(), "This email address cannot sign in this way.");
    }
    // Password sign-in and reset answer the social account as they answer a password one.
    const auto wrong = [&](const std::string &email) {
        return server.post(TestServer::api("login"), {{"email", email}, {"password", "nope-1"}})
            .message();
    };
    EXPECT_EQ(wrong("bo@example.com"), wrong(ann.email));
    const auto reset = [&](const std::string &email) {
        return server.post(TestServer::api("forgot_password"), {{"email", email}}).body;
    };
    EXPECT_EQ(reset("bo@example.com"), reset(ann.email));
    EXPECT_EQ(server.userRows(), 3);
    EXPECT_TRUE(server.login(ann.email, ann.password).size() == 64);
}

TEST_F(SocialSignIn, SimultaneousFirstSignInsOfOneIdentityMakeOneAccount)
{
    const std::string idToken = signedToken(testGoogle().key, googleClaims("cy@example.com", now));
    const auto replies = server.concurrently(12, [&](HttpClient &client) {
        return client.post(TestServer::api("register"),
                           {{"register_type", "gmail"}, {"id_token", idToken}});
    });
    std::set<std::string> ids;
    int created = 0;
    for (const auto &reply : replies) {
        ASSERT_TRUE(reply.succeeded()) << reply;
        ids.insert(reply.field("user_id"));
        created += reply.field("is_new_account") == "true";
    }
    EXPECT_EQ(ids.size(), 1u);
    EXPECT_EQ(created, 1);
}

TEST_F(SocialSignIn, RotatedKeysAreLoadedAtMostOnceAMinute)
{
    std::ofstream(keys_.path() / "google.json") << keySet({&testGoogle().key, &rotatedGoogleKey()});
    const std::string rotated =
        signedToken(rotatedGoogleKey(), googleClaims("cy@example.com", now));
    EXPECT_EQ(signIn(rotated, "").status, 403) << "the keys were loaded less than a minute ago";
    server.clock().advance(60s);
    EXPECT_TRUE(signIn(rotated, "").succeeded());
}

TEST(SocialSignInSetup, WithoutAConfiguredProviderSocialSignInIsRefused)
{
    TestServer server;
    const auto reply =
        server.post(TestServer::api("register"),
                    {{"register_type", "gmail"}, {"email", "cy@example.com"}, {"id_token", "x"}});
    EXPECT_EQ(reply.status, 400) << reply;
    EXPECT_EQ(reply.message(), "Google sign-in is not set up on this server.");
    EXPECT_EQ(server.userRows(), 0);
}

// Serves one key set over plain HTTP on the loopback address and counts the requests.
class KeyServer
{
public:
    KeyServer() : acceptor_(io_, {net::asio::ip::make_address("127.0.0.1"), 0})
    {
        thread_ = std::thread([this] {
            for (;;) {
                net::tcp::socket socket(io_);
                net::beast::error_code ec;
                acceptor_.accept(socket, ec);
                if (ec || stopping_)
                    return;
                net::beast::flat_buffer buffer;
                net::Request request;
                net::http::read(socket, buffer, request, ec);
                if (ec)
                    continue;
                ++requests_;
                net::http::response<net::http::string_body> response{net::http::status::ok, 11};
                {
                    const std::lock_guard lock(mutex_);
                    response.body() = body_;
                }
                response.set(net::http::field::content_type, "application/json");
                response.keep_alive(false);
                response.prepare_payload();
                net::http::write(socket, response, ec);
            }
        });
    }
    ~KeyServer()
    {
        // A connection wakes the blocked accept, which then sees that we are done.
        stopping_ = true;
        net::beast::error_code ignored;
        net::tcp::socket poke(io_);
        poke.connect(acceptor_.local_endpoint(), ignored);
        thread_.join();
    }
    void serve(std::string body)
    {
        const std::lock_guard lock(mutex_);
        body_ = std::move(body);
    }
    std::string url() const
    {
        return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port()) +
               "/keys.json";
    }
    int requests() const { return requests_; }

private:
    net::asio::io_context io_;
    net::tcp::acceptor acceptor_;
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;
    std::string body_;
    std::atomic<int> requests_{0};
    std::thread thread_;
};

TEST(SocialSignInSetup, KeysFromAnAddressAreFetchedAtStartOnAnUnknownKeyAndHourly)
{
    KeyServer keys;
    keys.serve(keySet({&testGoogle().key}));
    TestServerOptions options;
    options.identityProviders["google"] = {testGoogle().issuer, keys.url(), testGoogle().clientId};
    TestServer server(options);
    EXPECT_EQ(keys.requests(), 1);
    const auto signIn = [&](const SigningKey &key) {
        const json claims = googleClaims("cy@example.com", server.clock().nowMs() / 1000);
        return server.post(TestServer::api("register"),
                           {{"register_type", "gmail"}, {"id_token", signedToken(key, claims)}});
    };
    EXPECT_TRUE(signIn(testGoogle().key).succeeded());
    EXPECT_EQ(keys.requests(), 1);

    keys.serve(keySet({&rotatedGoogleKey()}));
    EXPECT_EQ(signIn(rotatedGoogleKey()).status, 403);
    EXPECT_EQ(keys.requests(), 1) << "fetched again within the minute";
    server.clock().advance(61s);
    EXPECT_TRUE(signIn(rotatedGoogleKey()).succeeded());
    EXPECT_EQ(keys.requests(), 2);
    EXPECT_EQ(signIn(testGoogle().key).status, 403) << "the old key is gone from the set";
    EXPECT_EQ(keys.requests(), 2);
    server.clock().advance(1h);
    EXPECT_TRUE(signIn(rotatedGoogleKey()).succeeded());
    EXPECT_EQ(keys.requests(), 3) << "an hour-old set is fetched again";
}

TEST(SocialSignInSetup, AProviderMissingASettingStopsTheProgram)
{
    TempDir dir("tailwise-program");
    const auto errorLog = dir.path() / "stderr.log";
    ServerProcess server(programArguments(dir.path() / "data",
                                          {"--oidc-issuer", "google=" + testGoogle().issuer,
                                           "--oidc-client-id", "google=" + testGoogle().clientId}),
                         errorLog);
    const auto status = server.wait(10s);
    ASSERT_TRUE(status) << "still running";
    EXPECT_NE(WEXITSTATUS(*status), 0);
    EXPECT_NE(fileText(errorLog).find("--oidc-jwks google=... is missing"), std::string::npos)
        << fileText(errorLog);
}

} // namespace
