#include "TestServer.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace tailwise::test;

const std::string boundary = "Boundary-7F3A9C21-0D4E";
const std::string png = std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16) + "picture-bytes";

struct Part
{
    Part(std::string name, std::string value, std::string filename = {},
         std::string contentType = "image/png")
        : name(std::move(name)), value(std::move(value)), filename(std::move(filename)),
          contentType(std::move(contentType))
    {}

    std::string name;
    std::string value;
    std::string filename; // empty: a plain field
    std::string contentType;
};

std::string multipart(const std::vector<Part> &parts)
{
    std::string body;
    for (const Part &part : parts) {
        body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + part.name + "\"";
        if (!part.filename.empty())
            body += "; filename=\"" + part.filename + "\"\r\nContent-Type: " + part.contentType;
        body += "\r\n\r\n" + part.value + "\r\n";
    }
    return body + "--" + boundary + "--\r\n";
}

class ProfileEndpoints : public ::testing::Test
{
protected:
    void SetUp() override { anna_ = server_.registerAccount("anna@example.com"); }

    HttpReply save(const Account &account, std::vector<Part> parts,
                   const std::string &word = "update")
    {
        parts.insert(parts.begin(), Part{"user_id", account.userId});
        return server_.postBody(TestServer::api(word), multipart(parts), bearer(account.token),
                                "multipart/form-data; boundary=" + boundary);
    }
    HttpReply profile(const Account &account)
    {
        return server_.post(TestServer::api("get_profile"), {{"user_id", account.userId}},
                            bearer(account.token));
    }
    std::string profileField(const Account &account, const std::string &key)
    {
        const HttpReply reply = profile(account);
        if (!reply.json.contains("data") || reply.json["data"].empty())
            return "<no profile>";
        return reply.json["data"][0].value(key, "<missing>");
    }
    HttpReply download(const std::string &name, const Headers &headers = {})
    {
        HttpClient client(server_.endpoint());
        return client.get("/projects/tailapp/uploads/" + name, headers);
    }
    std::size_t storedPictures() const
    {
        const auto dir = server_.dataDir() / "uploads";
        if (!std::filesystem::exists(dir))
            return 0;
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(dir),
                                                      std::filesystem::directory_iterator()));
    }

    TestServer server_;
    Account anna_;
};

TEST_F(ProfileEndpoints, ASavedPictureIsServedByteForByteAndCachedForGood)
{
    const HttpReply saved = save(anna_, {{"username", "Anna"},
                                         {"gender", "female"},
                                         {"profilePic", png, "whatever.gif", "image/gif"}});
    ASSERT_TRUE(saved.succeeded()) << saved;
    const std::string name = saved.json["data"][0].value("profilePic", "");
    EXPECT_EQ(saved.json["data"][0].value("Image", ""), name);
    EXPECT_EQ(saved.json["data"][0].value("Name", ""), "Anna");
    ASSERT_TRUE(name.ends_with(".png")) << "named by content, not by the upload's name: " << name;

    const HttpReply picture = download(name);
    ASSERT_EQ(picture.status, 200u) << picture;
    EXPECT_EQ(picture.body, png);
    EXPECT_EQ(picture.headers[tailwise::net::http::field::content_type], "image/png");
    EXPECT_EQ(picture.headers["X-Content-Type-Options"], "nosniff");
    EXPECT_NE(picture.headers[tailwise::net::http::field::cache_control].find("immutable"),
              std::string::npos);
    const std::string etag(picture.headers[tailwise::net::http::field::etag]);
    ASSERT_FALSE(etag.empty());
    const HttpReply revalidated = download(name, {{"If-None-Match", etag}});
    EXPECT_EQ(revalidated.status, 304u);
    EXPECT_TRUE(revalidated.body.empty());

    // A new picture replaces the old one, whose file goes.
    const HttpReply again = save(anna_, {{"profilePic", png + "-v2", "p.png"}});
    ASSERT_TRUE(again.succeeded()) << again;
    EXPECT_NE(again.json["data"][0].value("profilePic", ""), name);
    EXPECT_EQ(download(name).status, 404u);
    EXPECT_EQ(storedPictures(), 1u);
}

TEST_F(ProfileEndpoints, AStoredPictureIsRemovedOnlyByItsOwnersReplacement)
{
    const HttpReply saved = save(anna_, {{"profilePic", png, "a.png"}});
    const std::string annas = saved.json["data"][0].value("profilePic", "");
    ASSERT_FALSE(annas.empty()) << saved;
    // Claiming Anna's picture at sign-up, then replacing "it", must not delete her file.
    const Account ben =
        server_.registerAccount("ben@example.com", "secret-1", {{"profilePic", annas}});
    ASSERT_TRUE(save(ben, {{"profilePic", png + "-ben", "b.png"}}).succeeded());
    EXPECT_EQ(download(annas).status, 200u);
    EXPECT_EQ(storedPictures(), 2u);
}

TEST_F(ProfileEndpoints, BadUploadsAreRefusedAndChangeNothing)
{
    ASSERT_TRUE(save(anna_, {{"username", "Anna"}, {"profilePic", png, "a.png"}}).succeeded());
    const std::string kept = profileField(anna_, "profilePic");
    const std::vector<std::pair<std::string, std::vector<Part>>> cases = {
        {"a GIF named .png", {{"profilePic", "GIF89a\x01\x00", "a.png"}}},
        {"markup", {{"profilePic", "<svg onload=alert(1)/>", "a.png"}}},
        {"an empty file", {{"profilePic", "", "a.png"}}},
        {"a picture over the size limit",
         {{"profilePic", png + std::string(5 * 1024 * 1024, 'x'), "a.png"}}},
        {"a good picture with a bad field",
         {{"gender", "sometimes"}, {"profilePic", png, "a.png"}}},
        {"latitude without longitude", {{"latitude", "52.5"}, {"profilePic", png, "a.png"}}},
        // Latin-1 from an old form: stored, it would break every answer that shows Anna.
        {"text that is not UTF-8", {{"about", "caf\xe9"}, {"profilePic", png, "a.png"}}},
    };
    for (const auto &[what, parts] : cases) {
        std::vector<Part> withName = parts;
        withName.insert(withName.begin(), Part{"username", "Changed"});
        const HttpReply reply = save(anna_, withName);
        EXPECT_TRUE(reply.refused()) << what << ": " << reply;
        EXPECT_EQ(profileField(anna_, "Name"), "Anna") << what;
        EXPECT_EQ(profileField(anna_, "profilePic"), kept) << what;
        EXPECT_EQ(storedPictures(), 1u) << what;
    }
}

TEST_F(ProfileEndpoints, OnlyStoredPicturesAreServed)
{
    ASSERT_TRUE(save(anna_, {{"profilePic", png, "a.png"}}).succeeded());
    for (const std::string &name :
         {std::string("../backend.sqlite3"), std::string("..%2Fbackend.sqlite3"),
          std::string("%2e%2e/backend.sqlite3"), std::string(""), std::string("."),
          std::string("nothere.png"), std::string("../uploads/../backend.sqlite3")}) {
        const HttpReply reply = download(name);
        EXPECT_GE(reply.status, 400u) << name << ": " << reply;
        EXPECT_EQ(reply.body.find("SQLite"), std::string::npos) << name;
    }
}

TEST_F(ProfileEndpoints, AFinishedProfileEndsTheNewAccountMark)
{
    const auto isNew = [&] {
        return server_
            .post(TestServer::api("login"), {{"email", anna_.email}, {"password", anna_.password}})
            .json.value("is_new_account", -1);
    };
    EXPECT_EQ(isNew(), 1);
    // A status report is not a profile.
    ASSERT_TRUE(server_
                    .post(TestServer::api("statusUpdate"),
                          {{"user_id", anna_.userId}, {"status", "Online"}}, bearer(anna_.token))
                    .succeeded());
    EXPECT_EQ(isNew(), 1);
    anna_.token = server_.login(anna_.email, anna_.password);
    ASSERT_TRUE(save(anna_, {{"username", "Anna"}}, "userprofile").succeeded());
    EXPECT_EQ(isNew(), 0);
}

TEST_F(ProfileEndpoints, OtherPeopleSeeNeitherTheAddressNorTheDeviceToken)
{
    const Account ben = server_.registerAccount("ben@example.com");
    ASSERT_TRUE(
        server_
            .post(
                TestServer::api("create_user_favourite"),
                {{"user_id", anna_.userId}, {"favouriteId", ben.userId}, {"favourite_status", "1"}},
                bearer(anna_.token))
            .succeeded());
    for (const std::string word : {"all_users/", "get_user_favourite/"}) {
        const HttpReply list = server_.post(TestServer::api(word + anna_.userId),
                                            {{"filter", "All"}}, bearer(anna_.token));
        ASSERT_EQ(list.json["data"].size(), 1u) << list;
        const auto &row = list.json["data"][0];
        EXPECT_EQ(row.value("user_id", ""), ben.userId);
        EXPECT_FALSE(row.contains("email")) << word;
        EXPECT_FALSE(row.contains("device_token")) << word;
    }
    EXPECT_EQ(profileField(anna_, "email"), anna_.email);
    EXPECT_NE(profileField(anna_, "device_token"), "<missing>");
}

TEST_F(ProfileEndpoints, PartnerListsComeInBoundedPages)
{
    std::vector<std::string> ids;
    for (int i = 0; i < 5; ++i)
        ids.push_back(server_.registerAccount("p" + std::to_string(i) + "@example.com").userId);
    const auto page = [&](nlohmann::json body) {
        body["filter"] = "All";
        return server_.post(TestServer::api("all_users/" + anna_.userId), body,
                            bearer(anna_.token));
    };
    const auto rowIds = [](const HttpReply &reply) {
        std::vector<std::string> out;
        for (const auto &row : reply.json.value("data", nlohmann::json::array()))
            out.push_back(row.value("user_id", ""));
        return out;
    };
    // Anna has no position, so her pages run by id.
    EXPECT_EQ(rowIds(page({})), ids) << "the default page holds them all";
    EXPECT_EQ(rowIds(page({{"page_size", "2"}, {"page", "1"}})),
              (std::vector<std::string>{ids[2], ids[3]}));
    EXPECT_EQ(rowIds(page({{"page_size", 2}, {"page", 2}})), (std::vector<std::string>{ids[4]}));
    for (const nlohmann::json &bad : {nlohmann::json{{"page_size", "101"}},
                                      {{"page_size", "0"}},
                                      {{"page_size", "2.5"}},
                                      {{"page", "-1"}},
                                      {{"page", "20"}}}) {
        const HttpReply reply = page(bad);
        EXPECT_EQ(reply.status, 400u) << bad << ": " << reply;
    }
}

TEST_F(ProfileEndpoints, FavouriteMarksNeedAnExistingOtherAccountAndAKnownState)
{
    const Account ben = server_.registerAccount("ben@example.com");
    const auto mark = [&](const std::string &other, const std::string &state) {
        return server_.post(
            TestServer::api("create_user_favourite"),
            {{"user_id", anna_.userId}, {"favouriteId", other}, {"favourite_status", state}},
            bearer(anna_.token));
    };
    EXPECT_TRUE(mark(anna_.userId, "1").refused()) << "oneself";
    EXPECT_TRUE(mark("999999", "1").refused()) << "nobody";
    EXPECT_TRUE(mark("abc", "1").refused());
    EXPECT_TRUE(mark(ben.userId, "yes").refused());
    EXPECT_TRUE(mark(ben.userId, "1").succeeded());
    const HttpReply list = server_.post(TestServer::api("get_user_favourite/" + anna_.userId),
                                        {{"filter", "All"}}, bearer(anna_.token));
    ASSERT_EQ(list.json["data"].size(), 1u) << list;
    EXPECT_EQ(list.json["data"][0].value("user_id", ""), ben.userId);
    EXPECT_EQ(list.json["data"][0].value("favourite", ""), "1");
}

} // namespace
