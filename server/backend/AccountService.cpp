#include "AccountService.h"

#include "Auth.h"
#include "Envelope.h"
#include "Fields.h"
#include "ProfileFields.h"

namespace tailwise::backend {
namespace {

using net::http::status;

constexpr std::size_t shortText = 256;

std::string socialName(const std::string &registerType)
{
    return registerType == "gmail" ? "Google" : "Facebook";
}

void refuseInactive(const UserRecord &user)
{
    if (user.deactivated)
        throw BadRequest("This account has been deactivated.", status::forbidden);
}

std::string secondsLeft(std::int64_t untilMs, std::int64_t nowMs)
{
    return std::to_string((untilMs - nowMs + 999) / 1000);
}

} // namespace

AccountService::AccountService(UserStore &users, Outbox &outbox, const PasswordHasher &hasher,
                               const Clock &clock, AccountRules rules)
    : users_(users), outbox_(outbox), hasher_(hasher), clock_(clock), rules_(rules)
{}

std::string AccountService::checkedNewPassword(const std::string &password) const
{
    if (password.size() < rules_.minPasswordBytes)
        throw BadRequest("Password must be at least " + std::to_string(rules_.minPasswordBytes) +
                         " characters long.");
    if (password.size() > rules_.maxPasswordBytes)
        throw BadRequest("Password must be at most " + std::to_string(rules_.maxPasswordBytes) +
                         " characters long.");
    return password;
}

std::string AccountService::signIn(const UserRecord &user)
{
    const std::string token = newSessionToken();
    const std::int64_t now = clock_.nowMs();
    switch (users_.startSession(user.id, tokenDigest(token), now)) {
    case SessionStart::started:
        return token;
    case SessionStart::deactivated:
        throw BadRequest("This account has been deactivated.", status::forbidden);
    case SessionStart::locked:
        break;
    }
    const auto current = users_.findById(user.id);
    throw BadRequest("Sign-in is locked after " + std::to_string(rules_.attemptsBeforeLock) +
                         " wrong passwords; try again in " +
                         secondsLeft(current ? current->lockedUntil : now, now) + " seconds.",
                     status::too_many_requests);
}

net::Response AccountService::registerUser(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const std::string email = trimmed(fields.required("email", 254));
    if (!plausibleEmail(email))
        throw BadRequest("Email is not valid.");
    const std::string registerType = fields.text("register_type", 16).value_or("manual");
    if (registerType != "manual" && registerType != "gmail" && registerType != "facebook")
        throw BadRequest("register_type must be \"manual\", \"gmail\" or \"facebook\".");
    const bool social = registerType != "manual";

    const ProfileFields profile = ProfileFields::read(fields);
    NewUser user;
    user.email = email;
    user.registerType = registerType;
    user.name = profile.name.value_or("");
    user.phone = profile.phone.value_or("");
    user.gender = profile.gender.value_or("");
    user.age = profile.age.value_or("");
    user.dogInfo = profile.dogInfo.value_or("");
    user.dogName = profile.dogName.value_or("");
    user.dogsCount = profile.dogsCount.value_or("");
    user.about = profile.about.value_or("");
    user.dogAddress = profile.dogAddress.value_or("");
    user.latitude = profile.latitude;
    user.longitude = profile.longitude;
    user.profilePic = fields.text("profilePic", 1024).value_or("");
    user.verifyStatus = fields.text("verify_status", 8).value_or("0");
    user.activateStatus = fields.text("activate_status", 16).value_or("activate");
    if (user.activateStatus.empty() || user.activateStatus == "Deactivate")
        user.activateStatus = "activate";

    // Social identities carry no password of ours; whatever the client puts in the field is
    // ignored so that no guessable password is ever attached to such an account.
    const std::string password = fields.text("password", rules_.maxPasswordBytes).value_or("");
    if (!social)
        user.passwordHash = hasher_.hash(checkedNewPassword(password));

    if (const auto id = users_.insert(user, clock_.nowMs())) {
        const auto created = users_.findById(*id);
        return success(request, "Registered successfully.",
                       {{"user_id", std::to_string(*id)},
                        {"userToken", signIn(*created)},
                        {"is_new_account", "true"}});
    }

    const auto existing = users_.findByEmail(email);
    if (!existing)
        throw std::runtime_error("registration conflict without an existing account");
    if (!social)
        throw BadRequest("Email already exists.", status::conflict);
    refuseInactive(*existing);
    if (existing->registerType != registerType)
        throw BadRequest(existing->registerType == "manual"
                             ? "This email is registered with a password; sign in with it."
                             : "This email is registered with " +
                                   socialName(existing->registerType) + " sign-in.",
                         status::conflict);
    return success(request, "Signed in successfully.",
                   {{"user_id", std::to_string(existing->id)},
                    {"userToken", signIn(*existing)},
                    {"is_new_account", "false"}});
}

net::Response AccountService::login(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const std::string email = trimmed(fields.required("email", 254));
    const std::string password = fields.required("password", rules_.maxPasswordBytes);

    const auto user = users_.findByEmail(email);
    if (!user)
        throw BadRequest("Email does not exist.", status::not_found);
    refuseInactive(*user);
    const std::int64_t now = clock_.nowMs();
    if (user->lockedUntil > now)
        throw BadRequest("Sign-in is locked after " + std::to_string(rules_.attemptsBeforeLock) +
                             " wrong passwords; try again in " +
                             secondsLeft(user->lockedUntil, now) + " seconds.",
                         status::too_many_requests);
    if (!user->passwordHash)
        throw BadRequest("This account signs in with " + socialName(user->registerType) + ".");

    if (!hasher_.verify(*user->passwordHash, password)) {
        if (users_.recordFailedLogin(user->id, clock_.nowMs(), rules_.attemptsBeforeLock,
                                     rules_.lockMs) == FailedLogin::lockedNow)
            throw BadRequest("Wrong password. You can only try " +
                                 std::to_string(rules_.attemptsBeforeLock) +
                                 " times; sign-in is locked for " +
                                 std::to_string(rules_.lockMs / 1000) + " seconds.",
                             status::unauthorized);
        throw BadRequest("Wrong password.", status::unauthorized);
    }

    const std::string token = signIn(*user);
    if (hasher_.needsRehash(*user->passwordHash))
        users_.setPasswordHash(user->id, hasher_.hash(password));

    auto userData = userDictionary(*user);
    userData["userToken"] = token;
    return success(request, "Login successfully.",
                   {{"user_data", nlohmann::json::array({userData})},
                    {"is_new_account", user->profileComplete ? 0 : 1}});
}

net::Response AccountService::forgotPassword(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const std::string email = trimmed(fields.required("email", 254));
    const auto user = users_.findByEmail(email);
    if (!user)
        throw BadRequest("Email does not exist.", status::not_found);
    refuseInactive(*user);
    if (!user->passwordHash)
        throw BadRequest("This account signs in with " + socialName(user->registerType) +
                         " and has no password to reset.");

    const std::string password = newRandomPassword();
    const std::string hash = hasher_.hash(password);
    const Mail mail{
        user->email,
        "Your new Tailwise password",
        "Hello" + (user->name.empty() ? std::string() : " " + user->name) +
            ",\n\nyou asked for a new password. Sign in with:\n\n    " + password +
            "\n\nand change it in the settings afterwards.\n\nYour Tailwise team\n",
    };
    const std::int64_t now = clock_.nowMs();
    outbox_.deliver(mail, now, [&](const std::string &fileName) {
        users_.resetPassword(user->id, hash, mail.to, mail.subject, mail.body, fileName, now);
    });
    return success(request, "A new password has been sent to your email address.");
}

net::Response AccountService::changePassword(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = requireSignedIn(users_, request, fields);
    const std::string oldPassword = fields.required("old_password", rules_.maxPasswordBytes);
    const std::string newPassword =
        checkedNewPassword(fields.text("new_password", rules_.maxPasswordBytes).value_or(""));

    const auto user = users_.findById(session.userId);
    if (!user)
        throw BadRequest("User does not exist.", status::not_found);
    if (!user->passwordHash)
        throw BadRequest("This account signs in with " + socialName(user->registerType) +
                         " and has no password to change.");
    if (!hasher_.verify(*user->passwordHash, oldPassword))
        throw BadRequest("Old password is not correct.", status::forbidden);

    users_.setPasswordHash(user->id, hasher_.hash(newPassword));
    // Whoever knew the old password is signed out everywhere else.
    users_.endOtherSessions(user->id, session.tokenDigest);
    return success(request, "Password changed successfully.");
}

net::Response AccountService::logout(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = requireSignedIn(users_, request, fields);
    users_.endSession(session.tokenDigest);
    return success(request, "Logged out successfully.");
}

net::Response AccountService::deactivate(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = requireSignedIn(users_, request, fields);
    const std::string reason = trimmed(fields.required("reason", shortText));
    const std::string message = fields.text("message", 4000).value_or("");
    users_.deactivate(session.userId, reason, message, clock_.nowMs());
    return success(request, "Your account has been deactivated.");
}

} // namespace tailwise::backend
