#pragma once

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>

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
    // The profile picture's address; empty when the account has none.
    QString imageURL = {};
};

// What stands for a provider's sign-in dialog. This desktop build has none of its own; tests
// install one that answers as the provider would.
template <typename Result>
using SignInDialog = std::function<void(
    std::function<void(std::optional<Result> result, std::optional<QString> error)> done)>;

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

    // Shows the kit's sign-in; its answer reaches the delegate from the event loop. False,
    // with nothing shown, when this build has no kit.
    bool signIn();
    // Installs the sign-in dialog; returns the one it replaces.
    SignInDialog<GIDGoogleUser> setDialog(SignInDialog<GIDGoogleUser> dialog);

    void signOut();

private:
    GIDSignIn() = default;
    SignInDialog<GIDGoogleUser> dialog_;
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

// What a Facebook sign-in gives the app: the person's public profile ("name", "email",
// "picture") and the two tokens.
struct FacebookLogin
{
    QVariantMap profile;
    QString accessToken;
    QString authenticationToken;
};

// Facebook's login manager; the application makes a new one wherever it needs one.
class LoginManager
{
public:
    using Handler = std::function<void(bool granted, std::optional<QString> error)>;

    // Shows Facebook's sign-in; on success the tokens become current and the profile can be
    // read with GraphRequest::me. False, with nothing shown, when this build has no kit.
    bool logIn(Handler handler);
    // Installs the sign-in dialog for every login manager; returns the one it replaces.
    static SignInDialog<FacebookLogin> setDialog(SignInDialog<FacebookLogin> dialog);
    // Forgets both of Facebook's tokens.
    void logOut();
};

// The graph request for the signed-in person's own profile.
class GraphRequest
{
public:
    using Handler =
        std::function<void(std::optional<QVariantMap> profile, std::optional<QString> error)>;
    // Answers from the event loop; an error when nobody is signed in with Facebook.
    static void me(Handler handler);
};
