#include "Deployment.h"
#include "TestSupport.h"

namespace {

TEST(Deployment, PointsAtTheLocalStackUnlessConfigured)
{
    const ScopedEnvironment backend("TAILWISE_BACKEND", "");
    const ScopedEnvironment database("TAILWISE_DATABASE", "");
    const ScopedEnvironment push("TAILWISE_PUSH", "");
    EXPECT_EQ(Deployment::backendUrl(), QUrl("http://127.0.0.1:8080"));
    EXPECT_EQ(Deployment::databaseUrl(), QUrl("http://127.0.0.1:9000"));
    EXPECT_EQ(Deployment::pushUrl(), QUrl("http://127.0.0.1:8081"));
}

TEST(Deployment, TakesServiceAddressesFromTheEnvironmentAndRefusesNonsense)
{
    {
        const ScopedEnvironment backend("TAILWISE_BACKEND", "http://127.0.0.1:41234");
        EXPECT_EQ(Deployment::backendUrl(), QUrl("http://127.0.0.1:41234"));
    }
    for (const QByteArray bad : {"127.0.0.1:8080", "not a url", "http://"}) {
        const ScopedEnvironment backend("TAILWISE_BACKEND", bad);
        EXPECT_EQ(Deployment::backendUrl(), QUrl("http://127.0.0.1:8080")) << bad.constData();
    }
}

} // namespace
