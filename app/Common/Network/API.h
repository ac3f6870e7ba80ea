#pragma once

#include <QString>

// The backend's addresses and endpoint words. An endpoint's address is baseURL() followed
// directly by its word.
namespace API {

// Read from Deployment on every use rather than once, so that a backend configured after
// start-up (tests on ephemeral ports) is honoured.
QString baseURL();
QString imageBaseURL();
// Where a stored picture reference is shown from: social sign-ins bring a full address, our
// own uploads are names under the image base. Empty for no picture.
QString pictureAddress(const QString &reference);

inline const QString login = QStringLiteral("login");
// "register" is a C++ keyword.
inline const QString register_ = QStringLiteral("register");
inline const QString forgotPassword = QStringLiteral("forgot_password");
inline const QString changePassword = QStringLiteral("change_password");
inline const QString saveUserProfile = QStringLiteral("update");
inline const QString fetchUserProfile = QStringLiteral("get_profile");
inline const QString findDogPartner = QStringLiteral("all_users");
inline const QString createFavUser = QStringLiteral("create_user_favourite");
inline const QString getFavUser = QStringLiteral("get_user_favourite");
inline const QString setUserProfile = QStringLiteral("userprofile");
inline const QString deleteAccount = QStringLiteral("deactivate");
inline const QString updateStatus = QStringLiteral("statusUpdate");
inline const QString logout = QStringLiteral("logout");

} // namespace API
