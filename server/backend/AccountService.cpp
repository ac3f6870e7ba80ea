#include "AccountService.h"

#include "Envelope.h"
#include "Fields.h"
#include "ProfileFields.h"

#include "../http/HttpServer.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>

#include <mutex>

namespace tailwise::backend {
namespace {

using net::http::status;

constexpr std::size_t shortText = 256;
constexpr std::size_t maxIdTokenBytes = 16 * 1024;

// The one answer for an address that exists but signs in another way: it must not tell a
// stranger whether the address has a password or which provider it uses.
const std::string otherSignInMethod = "This email address cannot sign in this way.";

void refuseInactive(const UserRecord &user)
{
    if (user.deactivated)
        throw BadRequest("This account has been deactivated.", status::forbidden);
}

std::int64_t secondsUntil(std::int64_t untilMs, std::int64_t nowMs)
{
    return std::max<std::int64_t>(1, (untilMs - nowMs + 999) / 1000);
}

std::string accountKey(std::string_view email)
{
    return boost::algorithm::to_lower_copy(trimmed(email));
}

std::string providerTitle(const std::string &registerType)
{
    return registerType == "gmail" ? "Google" : "Facebook";
}

NewUser newUser(const std::string &email, const std::string &registerType,
                const ProfileFields &profile)
{
    // Only what the person describes comes from the request: verification, activation and
    // the picture are the server's to set.
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
    return user;
}

std::string greeting(const UserRecord &user)
{
    return "Hello" + (user.name.empty() ? std::string() : " " + user.name) + ",\n\n";
}

} // namespace

AccountService::AccountService(UserStore &users, const Sessions &sessions, Outbox &outbox,
                               const PasswordHasher &hasher, const IdentityProviders &identities,
                               const Clock &clock, const RateLimitPolicy &limits,
                               AccountRules rules)
    : users_(users), sessions_(sessions), outbox_(outbox), hasher_(hasher), identities_(identities),
      clock_(clock), limited_(limits.enabled), rules_(rules),
      loginLimits_(limits.login, limits.maxKeys),
      registrationLimits_(limits.registration, limits.maxKeys),
      forgotLimits_(limits.forgotPassword, limits.maxKeys),
      changeLimits_(limits.changePassword, limits.maxKeys)
{}

void AccountService::throttle(Throttle &throttle, const net::Request &request,
                              const std::string &account)
{
    if (!limited_)
        return;
    const std::int64_t now = clock_.nowMs();
    auto wait = throttle.perAddress.take(net::peerAddress(request), now);
    if (!wait && !account.empty())
        wait = throttle.perAccount.take(account, now);
    if (wait) {
        const auto seconds = secondsUntil(now + *wait, now);
        throw BadRequest("Too many attempts; please try again in " + std::to_string(seconds) +
                             " seconds.",
                         status::too_many_requests)
            .retryAfter(seconds);
    }
}

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

Attempt AccountService::reserveAttempt(std::int64_t userId, std::int64_t nowMs)
{
    const Attempt attempt = users_.reserveAttempt(userId, nowMs, rules_.lock);
    switch (attempt.state) {
    case Attempt::reserved:
        break;
    case Attempt::locked: {
        const auto seconds = secondsUntil(attempt.lockedUntil, nowMs);
        throw BadRequest(
            "Sign-in is locked after " + std::to_string(rules_.lock.attemptsBeforeLock) +
                " wrong passwords; try again in " + std::to_string(seconds) + " seconds.",
            status::too_many_requests)
            .retryAfter(seconds);
    }
    case Attempt::busy:
        throw BadRequest("Too many password checks for this account at once; try again in a "
                         "moment.",
                         status::too_many_requests)
            .retryAfter(1);
    }
    return attempt;
}

void AccountService::refuseWrongPassword(std::int64_t userId, const Attempt &attempt,
                                         const std::string &message)
{
    if (users_.recordWrongPassword(userId, attempt, clock_.nowMs(), rules_.lock))
        throw BadRequest(message + " You can only try " +
                             std::to_string(rules_.lock.attemptsBeforeLock) +
                             " times; password sign-in is locked for " +
                             std::to_string(rules_.lock.lockMs / 1000) + " seconds.",
                         status::forbidden);
    throw BadRequest(message, status::forbidden);
}

const std::string &AccountService::unusableHash() const
{
    static std::once_flag once;
    static std::string hash;
    std::call_once(once, [this] { hash = hasher_.hash(newRandomPassword(32)); });
    return hash;
}

void AccountService::startSession(Connection &connection, std::int64_t userId,
                                  const std::string &token, std::int64_t nowMs) const
{
    if (UserStore::startSession(connection, userId, tokenDigest(token), nowMs) !=
        SessionStart::started)
        throw BadRequest("This account has been deactivated.", status::forbidden);
}

net::Response AccountService::registerUser(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const std::string registerType = fields.text("register_type", 16).value_or("manual");
    if (registerType != "manual" && registerType != "gmail" && registerType != "facebook")
        throw BadRequest("register_type must be \"manual\", \"gmail\" or \"facebook\".");
    if (registerType != "manual")
        return socialSignIn(request, fields, registerType);

    const std::string email = trimmed(fields.required("email", 254));
    if (!plausibleEmail(email))
        throw BadRequest("Email is not valid.");
    throttle(registrationLimits_, request, accountKey(email));
    NewUser user = newUser(email, registerType, ProfileFields::read(fields));
    const std::string password =
        checkedNewPassword(fields.text("password", rules_.maxPasswordBytes).value_or(""));
    // A taken address costs no hash.
    if (users_.findByEmail(email))
        throw BadRequest("Email already exists.", status::conflict);
    user.passwordHash = hasher_.hash(password);

    const std::string token = newSessionToken();
    const std::int64_t now = clock_.nowMs();
    return users_.write([&](Connection &connection) {
        const auto id = UserStore::insert(connection, user, now);
        if (!id)
            throw BadRequest("Email already exists.", status::conflict);
        startSession(connection, *id, token, now);
        return success(
            request, "Registered successfully.",
            {{"user_id", std::to_string(*id)}, {"userToken", token}, {"is_new_account", "true"}});
    });
}

net::Response AccountService::socialSignIn(const net::Request &request, const Fields &fields,
                                           const std::string &registerType)
{
    IdentityProvider *provider = identities_.find(identityProviderFor(registerType));
    if (!provider)
        throw BadRequest(providerTitle(registerType) + " sign-in is not set up on this server.");
    const std::string idToken = trimmed(fields.required("id_token", maxIdTokenBytes));
    const std::string claimed = trimmed(fields.text("email", 254).value_or(""));
    throttle(registrationLimits_, request, accountKey(claimed));

    Identity identity;
    try {
        identity = provider->verify(idToken);
    } catch (const IdTokenError &error) {
        throw BadRequest(error.what(), status::forbidden);
    }
    if (!claimed.empty() && !boost::algorithm::iequals(claimed, identity.email))
        throw BadRequest("The email does not match the account you signed in with.",
                         status::forbidden);
    // The address is the provider's, whatever the request says.
    NewUser user = newUser(identity.email, registerType, ProfileFields::read(fields));
    user.verifyStatus = "1";
    user.profilePic = identity.picture.value_or("");
    user.identityIssuer = identity.issuer;
    user.identitySubject = identity.subject;

    const std::string token = newSessionToken();
    const std::int64_t now = clock_.nowMs();
    bool endedOthers = false;
    std::int64_t accountId = 0;
    net::Response response = users_.write([&](Connection &connection) {
        bool created = false;
        auto account = UserStore::findByIdentity(connection, identity.issuer, identity.subject);
        if (!account) {
            account = UserStore::findByEmail(connection, identity.email);
            if (!account) {
                const auto id = UserStore::insert(connection, user, now);
                if (!id)
                    throw BadRequest(otherSignInMethod, status::conflict);
                account = UserStore::findById(connection, *id);
                created = true;
            } else if (account->registerType == registerType && !account->identitySubject) {
                // Made with this provider before identities were kept: the identity that now
                // proves the address claims it, and whoever made it without proof is out.
                refuseInactive(*account);
                UserStore::bindIdentity(connection, account->id, identity.issuer, identity.subject);
                UserStore::endAllSessions(connection, account->id);
                endedOthers = true;
            } else {
                throw BadRequest(otherSignInMethod, status::conflict);
            }
        }
        refuseInactive(*account);
        startSession(connection, account->id, token, now);
        accountId = account->id;
        return success(request, created ? "Registered successfully." : "Signed in successfully.",
                       {{"user_id", std::to_string(account->id)},
                        {"userToken", token},
                        {"is_new_account", created ? "true" : "false"}});
    });
    if (endedOthers)
        sessions_.ended(accountId);
    return response;
}

net::Response AccountService::login(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const std::string email = trimmed(fields.required("email", 254));
    const std::string password = fields.required("password", rules_.maxPasswordBytes);
    throttle(loginLimits_, request, accountKey(email));

    const auto user = users_.findByEmail(email);
    if (!user)
        throw BadRequest("Email does not exist.", status::not_found);
    refuseInactive(*user);
    const std::int64_t now = clock_.nowMs();
    const Attempt attempt = reserveAttempt(user->id, now);
    // An account without a password goes through the same check and the same answers, so a
    // stranger cannot tell how it signs in.
    const bool current = hasher_.verify(user->passwordHash.value_or(unusableHash()), password);
    const bool mailed = !current && user->resetHash && user->resetExpiresAt > now &&
                        hasher_.verify(*user->resetHash, password);
    if (!current && !mailed)
        refuseWrongPassword(user->id, attempt, "Wrong password.");
    std::optional<std::string> rehashed;
    if (current && user->passwordHash && hasher_.needsRehash(*user->passwordHash))
        rehashed = hasher_.hash(password);

    const std::string token = newSessionToken();
    net::Response response = users_.write([&](Connection &connection) {
        if (mailed) {
            // The mailed password becomes the password, and every other session ends.
            UserStore::setPasswordHash(connection, user->id, *user->resetHash);
            UserStore::endAllSessions(connection, user->id);
        } else if (rehashed) {
            UserStore::setPasswordHash(connection, user->id, *rehashed);
        } else if (user->resetHash) {
            // Whoever knows the old password does not need the mailed one.
            UserStore::dropPendingReset(connection, user->id);
        }
        startSession(connection, user->id, token, now);
        const auto signedIn = UserStore::findById(connection, user->id);
        auto userData = userDictionary(*signedIn, UserView::own);
        userData["userToken"] = token;
        return success(request, "Login successfully.",
                       {{"user_data", nlohmann::json::array({userData})},
                        {"is_new_account", signedIn->profileComplete ? 0 : 1}});
    });
    if (mailed)
        sessions_.ended(user->id);
    return response;
}

net::Response AccountService::forgotPassword(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const std::string email = trimmed(fields.required("email", 254));
    throttle(forgotLimits_, request, accountKey(email));
    const auto user = users_.findByEmail(email);
    if (!user)
        throw BadRequest("Email does not exist.", status::not_found);
    refuseInactive(*user);

    const std::int64_t now = clock_.nowMs();
    std::optional<std::string> hash;
    Mail mail{user->email, "Your new Tailwise password", greeting(*user)};
    if (user->passwordHash) {
        const std::string password = newRandomPassword();
        hash = hasher_.hash(password);
        mail.body += "you asked for a new password. Sign in with:\n\n    " + password +
                     "\n\nwithin 24 hours, and change it in the settings afterwards. Until you "
                     "do, your old password keeps working; signing in with it cancels this "
                     "one.\n\nYour Tailwise team\n";
    } else {
        // The same answer as for a password account; only the owner learns the difference.
        mail.subject = "Signing in to Tailwise";
        mail.body += "you asked for a new password, but your account has none: it signs in "
                     "with " +
                     providerTitle(user->registerType) +
                     ". Use that button on the sign-in screen.\n\nYour Tailwise team\n";
    }
    outbox_.deliver(mail, now, [&](const std::string &fileName) {
        users_.write([&](Connection &connection) {
            if (hash)
                UserStore::setPendingReset(connection, user->id, *hash,
                                           now + rules_.resetLifetimeMs);
            UserStore::queueMail(connection, mail.to, mail.subject, mail.body, fileName, now);
        });
    });
    return success(request, "Please check your email: we have sent you a way to sign in.");
}

net::Response AccountService::changePassword(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.require(request, fields);
    throttle(changeLimits_, request, "user " + std::to_string(session.userId));
    const std::string oldPassword = fields.required("old_password", rules_.maxPasswordBytes);
    const std::string newPassword =
        checkedNewPassword(fields.text("new_password", rules_.maxPasswordBytes).value_or(""));

    const auto user = users_.findById(session.userId);
    if (!user)
        throw BadRequest("User does not exist.", status::not_found);
    if (!user->passwordHash)
        throw BadRequest(otherSignInMethod);
    // Guesses of the old password count toward the same lock as sign-in.
    const Attempt attempt = reserveAttempt(user->id, clock_.nowMs());
    if (!hasher_.verify(*user->passwordHash, oldPassword))
        refuseWrongPassword(user->id, attempt, "Old password is not correct.");

    const std::string hash = hasher_.hash(newPassword);
    net::Response response = users_.write([&](Connection &connection) {
        UserStore::setPasswordHash(connection, user->id, hash);
        // Whoever knew the old password is signed out everywhere else.
        UserStore::endOtherSessions(connection, user->id, session.tokenDigest);
        return success(request, "Password changed successfully.");
    });
    sessions_.ended(user->id);
    return response;
}

net::Response AccountService::logout(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.require(request, fields);
    users_.endSession(session.tokenDigest);
    sessions_.ended(session.userId);
    return success(request, "Logged out successfully.");
}

net::Response AccountService::deactivate(const net::Request &request)
{
    const Fields fields = Fields::fromRequest(request);
    const SignedIn session = sessions_.require(request, fields);
    const std::string reason = trimmed(fields.required("reason", shortText));
    const std::string message = fields.text("message", 4000).value_or("");
    users_.deactivate(session.userId, reason, message, clock_.nowMs());
    sessions_.ended(session.userId);
    return success(request, "Your account has been deactivated.");
}

} // namespace tailwise::backend
