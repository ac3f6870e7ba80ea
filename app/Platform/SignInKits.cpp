#include "Platform/SignInKits.h"

#include "Platform/Print.h"

namespace {

std::optional<QString> &facebookToken()
{
    static std::optional<QString> token;
    return token;
}

std::optional<QString> &facebookIdToken()
{
    static std::optional<QString> token;
    return token;
}

} // namespace

GIDSignIn &GIDSignIn::sharedInstance()
{
    static GIDSignIn instance;
    return instance;
}

void GIDSignIn::signOut()
{
    print(QStringLiteral("GIDSignIn: signed out%1")
              .arg(currentUser_ ? QStringLiteral(" ") + currentUser_->email : QString()));
    currentUser_.reset();
}

std::optional<QString> AccessToken::current()
{
    return facebookToken();
}

void AccessToken::setCurrent(std::optional<QString> token)
{
    facebookToken() = std::move(token);
}

std::optional<QString> AuthenticationToken::current()
{
    return facebookIdToken();
}

void AuthenticationToken::setCurrent(std::optional<QString> tokenString)
{
    facebookIdToken() = std::move(tokenString);
}

void LoginManager::logOut()
{
    print(QStringLiteral("FBSDKLoginManager: logged out"));
    facebookToken().reset();
    facebookIdToken().reset();
}
