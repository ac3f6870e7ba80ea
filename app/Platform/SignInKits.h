#pragma once

#include <QString>

#include <optional>

// Stand-ins for the Google and Facebook sign-in kits. There is no desktop counterpart of
// either; they keep the signed-in identity the kit would hold so that signing out is
// observable, and they log what the real kit would do.

class GIDSignIn
{
public:
    static GIDSignIn &sharedInstance();

    // The Google account the kit holds, by its e-mail address.
    std::optional<QString> currentUser() const { return currentUser_; }
    void setCurrentUser(std::optional<QString> email) { currentUser_ = std::move(email); }

    void signOut();

private:
    GIDSignIn() = default;
    std::optional<QString> currentUser_;
};

// Facebook's access token: one current token per process, shared by every LoginManager.
class AccessToken
{
public:
    static std::optional<QString> current();
    static void setCurrent(std::optional<QString> token);
};

// Facebook's login manager; the application makes a new one wherever it needs one.
class LoginManager
{
public:
    void logOut();
};
