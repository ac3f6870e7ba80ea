#include "TestSupport.h"

#include "Common/Network/API.h"
#include "Common/Network/APIManager.h"
#include "Common/Network/Link.h"
#include "LoginDefaults.h"

#include <QCoreApplication>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QTest>

namespace {

// What one call delivered: to which callback, and with what.
struct Outcome
{
    int successes = 0;
    int failures = 0;
    QVariantMap answer;
    QMap<QString, QString> failure;
    bool delivered() const { return successes + failures > 0; }
};

class APIManagerRequests : public RecordingBackend
{
protected:
    std::shared_ptr<Outcome> call(ApiHTTPMethod method, const QString &endpoint,
                                  const std::optional<QVariantMap> &parameters)
    {
        auto outcome = std::make_shared<Outcome>();
        APIManager().apiCall(method, endpoint, parameters, successInto(outcome),
                             failureInto(outcome));
        EXPECT_FALSE(outcome->delivered()) << "called back inside the call";
        return outcome;
    }

    std::shared_ptr<Outcome> upload(const std::optional<QVariantMap> &parameters,
                                    const std::optional<QByteArray> &file, const QString &type)
    {
        auto outcome = std::make_shared<Outcome>();
        APIManager().apiCallWithFormData(ApiHTTPMethod::POST, API::setUserProfile, parameters,
                                         QStringLiteral("image"), file, type, successInto(outcome),
                                         failureInto(outcome));
        EXPECT_FALSE(outcome->delivered()) << "called back inside the call";
        return outcome;
    }

    static APISuccess successInto(const std::shared_ptr<Outcome> &outcome)
    {
        return [outcome](const QVariantMap &answer) {
            ++outcome->successes;
            outcome->answer = answer;
        };
    }
    static APIFailure failureInto(const std::shared_ptr<Outcome> &outcome)
    {
        return [outcome](const QMap<QString, QString> &failure) {
            ++outcome->failures;
            outcome->failure = failure;
        };
    }

    // Replies to the test's server still alive: each must be deleted once it has been handled,
    // also when nobody hears its answer.
    qsizetype liveReplies() const
    {
        const auto replies = QCoreApplication::instance()->findChildren<QNetworkReply *>();
        return std::count_if(replies.begin(), replies.end(), [this](const QNetworkReply *reply) {
            return reply->url().toString().toUtf8().startsWith(server_.url());
        });
    }

    // The boundary named in the request's Content-Type header.
    static QByteArray boundaryOf(const RecordedRequest &request)
    {
        const QByteArray contentType = request.headers.value("content-type");
        const QByteArray prefix = "multipart/form-data; boundary=";
        return contentType.startsWith(prefix) ? contentType.mid(prefix.size()) : QByteArray();
    }
};

TEST_F(APIManagerRequests, SendsPrettyJsonToTheConcatenatedAddress)
{
    const auto outcome = call(ApiHTTPMethod::POST, API::login,
                              QVariantMap{{"email", "anna@example.com"},
                                          {"password", "p\"w/1"},
                                          {"age", 31},
                                          {"km", 2.5},
                                          {"dogs", QVariantList{"Rex", true}}});
    ASSERT_TRUE(server_.waitForRequests(1));
    const RecordedRequest &request = server_.requests().first();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/app/backend/app/users/login");
    EXPECT_EQ(request.headers.value("content-type"), "application/json");
    EXPECT_FALSE(request.headers.contains("authorization"));
    EXPECT_EQ(request.body, "{\n"
                            "  \"age\" : 31,\n"
                            "  \"dogs\" : [\n"
                            "    \"Rex\",\n"
                            "    true\n"
                            "  ],\n"
                            "  \"email\" : \"anna@example.com\",\n"
                            "  \"km\" : 2.5,\n"
                            "  \"password\" : \"p\\\"w\\/1\"\n"
                            "}");
    ASSERT_TRUE(waitUntil([&] { return outcome->delivered(); }));
    EXPECT_EQ(outcome->answer, (QVariantMap{{"status", "1"}, {"message", "ok"}}));
}

TEST_F(APIManagerRequests, SendsTheBodyWithGetAndNoBodyWithoutParameters)
{
    call(ApiHTTPMethod::GET, API::fetchUserProfile, QVariantMap{{"user_id", "7"}});
    ASSERT_TRUE(server_.waitForRequests(1));
    EXPECT_EQ(server_.requests()[0].method, "GET");
    EXPECT_EQ(server_.requests()[0].body, "{\n  \"user_id\" : \"7\"\n}");

    call(ApiHTTPMethod::POST, API::logout, std::nullopt);
    // Parameters that are not JSON go out as no body at all, not as a mangled one.
    call(ApiHTTPMethod::POST, API::logout, QVariantMap{{"blob", QByteArray("\x01")}});
    ASSERT_TRUE(server_.waitForRequests(3));
    for (const int i : {1, 2}) {
        const RecordedRequest &request = server_.requests()[i];
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.target, "/app/backend/app/users/logout");
        EXPECT_EQ(request.headers.value("content-type"), "application/json");
        EXPECT_EQ(request.headers.value("content-length", "0"), "0");
        EXPECT_TRUE(request.body.isEmpty());
    }
}

TEST_F(APIManagerRequests, SendsTheStoredTokenAsBearer)
{
    LoginDefaults().setUserToken(QStringLiteral("tok-123"));
    call(ApiHTTPMethod::POST, API::logout, QVariantMap{{"user_id", "7"}});
    upload(std::nullopt, std::nullopt, QString());
    ASSERT_TRUE(server_.waitForRequests(2));
    LoginDefaults().setUserToken(QString());
    call(ApiHTTPMethod::POST, API::logout, QVariantMap{{"user_id", "7"}});
    ASSERT_TRUE(server_.waitForRequests(3));
    // The JSON and the multipart call may arrive in either order.
    for (const int i : {0, 1}) {
        EXPECT_EQ(server_.requests()[i].headers.value("authorization"), "Bearer tok-123");
    }
    EXPECT_FALSE(server_.requests()[2].headers.contains("authorization"));
}

TEST_F(APIManagerRequests, LaysOutAMultipartBodyWithAFile)
{
    const QByteArray file("\x89PNG\r\n\x00\xff--", 10);
    upload(QVariantMap{{"a", "1"}, {"n", 2.25}}, file, QString());
    ASSERT_TRUE(server_.waitForRequests(1));
    const RecordedRequest &request = server_.requests().first();
    const QByteArray b = boundaryOf(request);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/app/backend/app/users/userprofile");
    EXPECT_EQ(request.body, "--" + b + "\r\n" +
                                "Content-Disposition: form-data; name=\"a\"\r\n\r\n"
                                "1\r\n"
                                "--" +
                                b + "\r\n" +
                                "Content-Disposition: form-data; name=\"n\"\r\n\r\n"
                                "2.25\r\n"
                                "--" +
                                b + "\r\n" +
                                "Content-Disposition: form-data; name=\"image\"; "
                                "filename=\"Postimage.png\"\r\n"
                                "Content-Type: image/png\r\n\r\n" +
                                file + "\r\n" + "--" + b + "--\r\n");
}

TEST_F(APIManagerRequests, NamesTheFilePartAfterItsType)
{
    const std::pair<QString, QByteArray> cases[] = {
        {"video", "filename=\"Postvideo.mp4\"\r\nContent-Type: video/mp4\r\n"},
        {"gif", "filename=\"Postgif.gif\"\r\nContent-Type: gif\r\n"},
        {"GIF", "filename=\"Postimage.png\"\r\nContent-Type: image/png\r\n"},
    };
    for (const auto &[type, part] : cases)
        upload(std::nullopt, QByteArray("x"), type);
    ASSERT_TRUE(server_.waitForRequests(std::size(cases)));
    // Requests may arrive in any order; match them by the boundary-free part text.
    QList<QByteArray> bodies;
    for (const RecordedRequest &request : server_.requests())
        bodies.append(request.body);
    for (const auto &[type, part] : cases)
        EXPECT_TRUE(std::any_of(bodies.begin(), bodies.end(), [&](const QByteArray &body) {
            return body.contains(part);
        })) << qPrintable(type);
}

TEST_F(APIManagerRequests, SendsOnlyTheClosingLineWithoutFieldsOrFileUnderFreshBoundaries)
{
    upload(std::nullopt, std::nullopt, QString());
    upload(QVariantMap{}, std::nullopt, QStringLiteral("gif"));
    ASSERT_TRUE(server_.waitForRequests(2));
    const QRegularExpression form(
        QStringLiteral("^Boundary-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));
    QSet<QByteArray> boundaries;
    for (const RecordedRequest &request : server_.requests()) {
        const QByteArray b = boundaryOf(request);
        EXPECT_TRUE(form.match(QString::fromLatin1(b)).hasMatch()) << b.constData();
        EXPECT_EQ(request.body, "--" + b + "--\r\n");
        boundaries.insert(b);
    }
    EXPECT_EQ(boundaries.size(), 2);
}

struct AnswerCase
{
    const char *name;
    CannedReply reply;
    int successes;
    int failures;
    QVariantMap answer;
};

TEST_F(APIManagerRequests, DeliversAnswersByTheirJsonShapeNotTheirStatusCode)
{
    const QString temporary = QStringLiteral("Temporary error occured!");
    const AnswerCase cases[] = {
        {"object with 500",
         {500, "application/json", R"({"status":"false","message":"x"})"},
         1,
         0,
         {{"status", "false"}, {"message", "x"}}},
        {"array",
         {404, "application/json", R"([{"id": 1}])"},
         1,
         0,
         {{"data", QVariantList{QVariantMap{{"id", 1}}}}}},
        {"bare string", {200, "application/json", R"("ok")"}, 0, 0, {}},
        {"html page", {502, "text/html", "<html><body>Bad Gateway</body></html>"}, 0, 1, {}},
        {"empty body", {200, "application/json", ""}, 0, 1, {}},
        {"two values", {200, "application/json", "{} {}"}, 0, 1, {}},
        {"closed connection", {200, "", "", true}, 0, 1, {}},
    };
    for (const AnswerCase &c : cases) {
        server_.setReply(c.reply);
        const auto outcome = call(ApiHTTPMethod::POST, API::login, QVariantMap{{"a", "b"}});
        if (c.successes + c.failures > 0) {
            ASSERT_TRUE(waitUntil([&] { return outcome->delivered(); })) << c.name;
        } else {
            QTest::qWait(300);
        }
        QTest::qWait(20); // a second delivery would show up now
        EXPECT_EQ(outcome->successes, c.successes) << c.name;
        EXPECT_EQ(outcome->failures, c.failures) << c.name;
        if (c.successes) {
            EXPECT_EQ(outcome->answer, c.answer) << c.name;
        }
        if (c.failures) {
            EXPECT_EQ(outcome->failure, (QMap<QString, QString>{{"message", temporary}})) << c.name;
        }
    }
    EXPECT_TRUE(waitUntil([&] { return liveReplies() == 0; }));
}

TEST_F(APIManagerRequests, GivesUpOnASilentServerAsOnADroppedConnection)
{
    const ScopedEnvironment timeout("TAILWISE_REQUEST_TIMEOUT_MS", "300");
    CannedReply silence;
    silence.silent = true;
    server_.setReply(silence);
    const auto json = call(ApiHTTPMethod::POST, API::login, QVariantMap{{"a", "b"}});
    const auto form = upload(QVariantMap{{"a", "b"}}, QByteArray("x"), QString());
    call(ApiHTTPMethod::POST, API::updateStatus, QVariantMap{{"status", "Offline"}});
    ASSERT_TRUE(server_.waitForRequests(3));
    // A reply is deleted only after its one callback has run, so once none is left every
    // callback there will be has arrived.
    ASSERT_TRUE(waitUntil([&] { return liveReplies() == 0; }));
    for (const auto &outcome : {json, form}) {
        EXPECT_EQ(outcome->successes, 0);
        EXPECT_EQ(outcome->failures, 1);
        EXPECT_EQ(outcome->failure,
                  (QMap<QString, QString>{{"message", "Temporary error occured!"}}));
    }
}

TEST_F(APIManagerRequests, SendsTheOfflineReportOnceAndNeverCallsBack)
{
    const auto offline = call(ApiHTTPMethod::POST, API::updateStatus,
                              QVariantMap{{"user_id", "7"}, {"status", "Offline"}});
    ASSERT_TRUE(server_.waitForRequests(1));
    QTest::qWait(400);
    EXPECT_EQ(server_.requests().size(), 1);
    EXPECT_FALSE(offline->delivered());

    // Any other status, or "Offline" under another key, is an ordinary call.
    const auto online = call(ApiHTTPMethod::POST, API::updateStatus,
                             QVariantMap{{"user_id", "7"}, {"status", "offline"}});
    const auto other =
        call(ApiHTTPMethod::POST, API::updateStatus, QVariantMap{{"state", "Offline"}});
    ASSERT_TRUE(waitUntil([&] { return online->delivered() && other->delivered(); }));
    EXPECT_EQ(online->successes + other->successes, 2);
}

} // namespace
