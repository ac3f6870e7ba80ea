#include "Platform/SignInKits.h"

#include "Platform/Print.h"

namespace {

std::optional<QString> &facebookToken()
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
              .arg(currentUser_ ? QStringLiteral(" ") + *currentUser_ : QString()));
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

void LoginManager::logOut()
{
    print(QStringLiteral("FBSDKLoginManager: logged out"));
    facebookToken().reset();
}
