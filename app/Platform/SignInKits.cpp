#include "Platform/SignInKits.h"

#include "Platform/ServiceKitLog.h"

#include <QStringList>

#include <algorithm>

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

void GIDSignIn::setClientID(QString clientID)
{
    clientID_ = std::move(clientID);
    ServiceKitLog::shared().add(QStringLiteral("Google sign-in: client id %1").arg(clientID_));
}

void GIDSignIn::setDelegate(GIDSignInDelegate *delegate)
{
    delegate_ = delegate;
    ServiceKitLog::shared().add(delegate ? QStringLiteral("Google sign-in: delegate set")
                                         : QStringLiteral("Google sign-in: delegate cleared"));
}

bool GIDSignIn::handle(const QUrl &url) const
{
    if (clientID_.isEmpty())
        return false;
    QStringList labels = clientID_.split(QLatin1Char('.'));
    std::reverse(labels.begin(), labels.end());
    return url.scheme().compare(labels.join(QLatin1Char('.')), Qt::CaseInsensitive) == 0;
}

void GIDSignIn::signOut()
{
    ServiceKitLog::shared().add(
        QStringLiteral("GIDSignIn: signed out%1")
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
    ServiceKitLog::shared().add(QStringLiteral("FBSDKLoginManager: logged out"));
    facebookToken().reset();
    facebookIdToken().reset();
}
