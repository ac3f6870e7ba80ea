#include "Deployment.h"

#include <gtest/gtest.h>

namespace {

// Sets an environment variable for one test and restores it afterwards.
class ScopedEnv
{
public:
    ScopedEnv(const char *name, const QByteArray &value)
        : name_(name), had_(qEnvironmentVariableIsSet(name)), old_(qgetenv(name))
    {
        qputenv(name, value);
    }
    ~ScopedEnv()
    {
        if (had_)
            qputenv(name_, old_);
        else
            qunsetenv(name_);
    }

private:
    const char *name_;
    bool had_;
    QByteArray old_;
};

TEST(Deployment, PointsAtTheLocalStackUnlessConfigured)
{
    const ScopedEnv backend("TAILWISE_BACKEND", "");
    const ScopedEnv database("TAILWISE_DATABASE", "");
    const ScopedEnv push("TAILWISE_PUSH", "");
    EXPECT_EQ(Deployment::backendUrl(), QUrl("http://127.0.0.1:8080"));
    EXPECT_EQ(Deployment::databaseUrl(), QUrl("http://127.0.0.1:9000"));
    EXPECT_EQ(Deployment::pushUrl(), QUrl("http://127.0.0.1:8081"));
}

TEST(Deployment, TakesServiceAddressesFromTheEnvironmentAndRefusesNonsense)
{
    {
        const ScopedEnv backend("TAILWISE_BACKEND", "http://127.0.0.1:41234");
        EXPECT_EQ(Deployment::backendUrl(), QUrl("http://127.0.0.1:41234"));
    }
    for (const QByteArray bad : {"127.0.0.1:8080", "not a url", "http://"}) {
        const ScopedEnv backend("TAILWISE_BACKEND", bad);
        EXPECT_EQ(Deployment::backendUrl(), QUrl("http://127.0.0.1:8080")) << bad.constData();
    }
}

TEST(Deployment, HomeDirectoryFollowsTailwiseHome)
{
    const ScopedEnv home("TAILWISE_HOME", "/tmp/tailwise-home-test");
    EXPECT_EQ(Deployment::homeDirectory(), "/tmp/tailwise-home-test");
}

} // namespace
