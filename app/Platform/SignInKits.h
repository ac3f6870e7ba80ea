#pragma once

#include <QString>

#include <optional>

// Stand-ins for the Google and Facebook sign-in kits. There is no desktop counterpart of
// either; they keep the signed-in identity the kit would hold (with the OpenID Connect ID
// token the provider issued, which the backend verifies) so that signing in and out is
// observable, and they log what the real kit would do.

// The Google account the kit holds after a sign-in.
struct GIDGoogleUser
{
    QString email;
    QString name;
    // The provider's signed ID token (the real kit's `idToken.tokenString`).
    QString idToken;
};

class GIDSignIn
{
public:
    static GIDSignIn &sharedInstance();

    std::optional<GIDGoogleUser> currentUser() const { return currentUser_; }
    void setCurrentUser(std::optional<GIDGoogleUser> user) { currentUser_ = std::move(user); }

    void signOut();

private:
    GIDSignIn() = default;
    std::optional<GIDGoogleUser> currentUser_;
};

// Facebook's access token: one current token per process, shared by every LoginManager.
class AccessToken
{
public:
    static std::optional<QString> current();
    static void setCurrent(std::optional<QString> token);
};

// Facebook's OpenID Connect token of the signed-in person (the real kit's
// `AuthenticationToken.current.tokenString`), kept beside the access token.
class AuthenticationToken
{
public:
    static std::optional<QString> current();
    static void setCurrent(std::optional<QString> tokenString);
};

// Facebook's login manager; the application makes a new one wherever it needs one.
class LoginManager
{
public:
    // Forgets both of Facebook's tokens.
    void logOut();
};
