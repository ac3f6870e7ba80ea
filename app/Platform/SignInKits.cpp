#include "Platform/SignInKits.h"

#include "Platform/ServiceKitLog.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTimer>

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

std::optional<QVariantMap> &facebookProfile()
{
    static std::optional<QVariantMap> profile;
    return profile;
}

SignInDialog<FacebookLogin> &facebookDialog()
{
    static SignInDialog<FacebookLogin> dialog;
    return dialog;
}

void later(std::function<void()> work)
{
    QTimer::singleShot(0, QCoreApplication::instance(), std::move(work));
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

bool GIDSignIn::signIn()
{
    if (!dialog_)
        return false;
    dialog_([this](std::optional<GIDGoogleUser> user, std::optional<QString> error) {
        later([this, user, error] {
            if (user)
                currentUser_ = user;
            if (delegate_)
                delegate_->sign(*this, user, error);
        });
    });
    return true;
}

SignInDialog<GIDGoogleUser> GIDSignIn::setDialog(SignInDialog<GIDGoogleUser> dialog)
{
    std::swap(dialog, dialog_);
    return dialog;
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

bool LoginManager::logIn(Handler handler)
{
    if (!facebookDialog())
        return false;
    facebookDialog()([handler](std::optional<FacebookLogin> login, std::optional<QString> error) {
        later([handler, login, error] {
            if (login) {
                facebookToken() = login->accessToken;
                facebookIdToken() = login->authenticationToken;
                facebookProfile() = login->profile;
            }
            handler(login.has_value(), error);
        });
    });
    return true;
}

SignInDialog<FacebookLogin> LoginManager::setDialog(SignInDialog<FacebookLogin> dialog)
{
    std::swap(dialog, facebookDialog());
    return dialog;
}

void GraphRequest::me(Handler handler)
{
    later([handler] {
        if (facebookToken() && facebookProfile())
            handler(facebookProfile(), std::nullopt);
        else
            handler(std::nullopt, QStringLiteral("Nobody is signed in with Facebook."));
    });
}

void LoginManager::logOut()
{
    facebookProfile().reset();
    ServiceKitLog::shared().add(QStringLiteral("FBSDKLoginManager: logged out"));
    facebookToken().reset();
    facebookIdToken().reset();
}
