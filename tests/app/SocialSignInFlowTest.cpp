// Google sign-in from the kit's ID token to a stored session, against a real server that
// trusts the tests' stand-in for Google.

#include "TestSupport.h"

#include "LoginDefaults.h"
#include "Module/Register/RegisterationDataManager.h"
#include "Platform/SignInKits.h"

namespace {

struct Outcome
{
    bool success = false;
    std::optional<QString> message;
    std::optional<int> isNew;
};

class SocialSignInFlow : public LiveBackend
{
protected:
    SocialSignInFlow() : LiveBackend(identityProviderArguments()) {}
    void TearDown() override
    {
        GIDSignIn::sharedInstance().signOut();
        LiveBackend::TearDown();
    }

    // What the landing screen does once the kit reports a Google sign-in.
    Outcome signInWithGoogle(const QString &email, const QString &idToken)
    {
        GIDSignIn::sharedInstance().setCurrentUser(GIDGoogleUser{email, "Anna", idToken});
        const auto outcome = std::make_shared<std::optional<Outcome>>();
        RegisterationDataManager().register_(
            {{"username", "Anna"},
             {"email", email},
             {"register_type", "gmail"},
             {"activate_status", "activate"},
             {"verify_status", "1"}},
            std::nullopt, [outcome](bool success, std::optional<QString> message, auto isNew) {
                *outcome = Outcome{success, std::move(message), isNew};
            });
        EXPECT_TRUE(waitUntil([&] { return outcome->has_value(); }, 10000));
        return outcome->value_or(Outcome{false, "<no answer>", std::nullopt});
    }
};

TEST_F(SocialSignInFlow, TheKitsGoogleTokenSignsInAndAForgedOneIsRefused)
{
    const QString email = QStringLiteral("anna@example.com");
    const QString minted = googleIdToken(email);
    // Anna's claims under the signature of other claims: only the signature is wrong.
    const QString forged = minted.section('.', 0, 1) + '.' +
                           googleIdToken(QStringLiteral("mallory@example.com")).section('.', 2);

    const Outcome refused = signInWithGoogle(email, forged);
    EXPECT_FALSE(refused.success);
    EXPECT_EQ(refused.message, "The sign-in token is not valid.");
    EXPECT_EQ(storedSettings(), QVariantMap());

    const Outcome signedIn = signInWithGoogle(email, minted);
    EXPECT_TRUE(signedIn.success) << signedIn.message.value_or("").toStdString();
    EXPECT_EQ(signedIn.isNew, 1);
    EXPECT_FALSE(LoginDefaults().userId().value_or("").isEmpty());
    EXPECT_FALSE(LoginDefaults().userToken().value_or("").isEmpty());
}

} // namespace
