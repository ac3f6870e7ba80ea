#pragma once

#include <QString>
#include <QUrl>

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

class GIDSignIn;

// The Google sign-in kit's delegate role, which the application delegate takes.
class GIDSignInDelegate
{
public:
    virtual ~GIDSignInDelegate() = default;
    // A sign-in ended: with the account, or with the reason it failed.
    virtual void sign(GIDSignIn &signIn, std::optional<GIDGoogleUser> didSignInFor,
                      std::optional<QString> withError) = 0;
    // The user took back the app's access to their account.
    virtual void sign(GIDSignIn &signIn, const GIDGoogleUser &didDisconnectWith,
                      std::optional<QString> withError) = 0;
};

class GIDSignIn
{
public:
    static GIDSignIn &sharedInstance();

    // The app's client id at Google; the ID tokens the kit obtains are issued to it.
    void setClientID(QString clientID);
    QString clientID() const { return clientID_; }

    // Not owned.
    void setDelegate(GIDSignInDelegate *delegate);
    GIDSignInDelegate *delegate() const { return delegate_; }

    // A URL the app was opened with: true when it is Google sign-in's answer, which comes on
    // the client id reversed as the scheme ("com.googleusercontent.apps.<number>").
    bool handle(const QUrl &url) const;

    std::optional<GIDGoogleUser> currentUser() const { return currentUser_; }
    void setCurrentUser(std::optional<GIDGoogleUser> user) { currentUser_ = std::move(user); }

    void signOut();

private:
    GIDSignIn() = default;
    std::optional<GIDGoogleUser> currentUser_;
    QString clientID_;
    GIDSignInDelegate *delegate_ = nullptr;
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
