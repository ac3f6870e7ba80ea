#include "Deployment.h"
#include "Constants.h"
#include "TestSupport.h"

namespace {

TEST(Deployment, ServiceAddressesComeFromTheEnvironmentOrPointAtTheLocalStack)
{
    const struct
    {
        const char *variable;
        QUrl (*url)();
        const char *fallback;
    } services[] = {
        {"TAILWISE_BACKEND", &Deployment::backendUrl, "http://127.0.0.1:8080"},
        {"TAILWISE_DATABASE", &Deployment::databaseUrl, "http://127.0.0.1:9000"},
        {"TAILWISE_PUSH", &Deployment::pushUrl, "http://127.0.0.1:8081"},
    };
    for (const auto &service : services) {
        for (const QByteArray unusable : {"", "127.0.0.1:8080", "not a url", "http://"}) {
            const ScopedEnvironment variable(service.variable, unusable);
            EXPECT_EQ(service.url(), QUrl(service.fallback))
                << service.variable << '=' << unusable.constData();
        }
        const ScopedEnvironment variable(service.variable, "http://127.0.0.1:41234");
        EXPECT_EQ(service.url(), QUrl("http://127.0.0.1:41234")) << service.variable;
    }
}

TEST(Deployment, GivesUpOnRequestsAfterThirtySecondsUnlessToldAPositiveTime)
{
    // Zero would switch the network layer's timeout off altogether.
    for (const QByteArray fallback : {"", "0", "-5", "soon"}) {
        const ScopedEnvironment timeout("TAILWISE_REQUEST_TIMEOUT_MS", fallback);
        EXPECT_EQ(Deployment::requestTimeout(), std::chrono::seconds(30)) << fallback.constData();
    }
    const ScopedEnvironment timeout("TAILWISE_REQUEST_TIMEOUT_MS", "250");
    EXPECT_EQ(Deployment::requestTimeout(), std::chrono::milliseconds(250));
}

TEST(Deployment, ServiceIdentifiersAreTrimmedAndTheStoreLinksToTheApp)
{
    const ScopedEnvironment storeId("TAILWISE_APPSTORE_ID", "1234567890");
    const ScopedEnvironment iosLink("TAILWISE_IOS_APP_LINK", "");
    EXPECT_EQ(Deployment::iOSAppLink(), "https://apps.apple.com/app/id1234567890");
    {
        const ScopedEnvironment configured("TAILWISE_ADMOB_APP_ID", " ca-app-pub-1~2 ");
        EXPECT_EQ(Deployment::adMobAppId(), "ca-app-pub-1~2");
    }
    {
        const ScopedEnvironment appId("TAILWISE_PUSH_APP_ID", "");
        EXPECT_EQ(Deployment::oneSignalAppId(), "d06f00d0-7a11-4e15-9a5e-000000000001")
            << "the relay's own default";
    }
    const ScopedEnvironment appId("TAILWISE_PUSH_APP_ID", "0f0e0d0c-0000-4000-8000-000000000002");
    EXPECT_EQ(Deployment::oneSignalAppId(), "0f0e0d0c-0000-4000-8000-000000000002");

    const QString shared = ShareAppLink("Komm zu Tailwise!");
    EXPECT_TRUE(shared.startsWith("Komm zu Tailwise!\n")) << shared.toStdString();
    EXPECT_TRUE(shared.contains(iOSAppLink) && shared.contains(androidAppLink));
}

} // namespace
