#include "Module/Common/ProfileFormViewController.h"

#include "AppDelegate.h"
#include "Common/Extensions/Localizable.h"
#include "Common/Models/UserEnums.h"
#include "LoginDefaults.h"

#include <QFileInfo>
#include <QImageReader>

namespace {
// Larger files are refused before they are read: no phone picture comes near this.
constexpr qint64 maxPictureFileBytes = 30 * 1024 * 1024;
constexpr int minimumAge = 14;
constexpr int maximumAge = 120;
} // namespace

ProfileFormViewController::ProfileFormViewController(QObject *parent) : ViewController(parent) {}

void ProfileFormViewController::viewDidLoad()
{
    AppDelegate *app = runningAppDelegate();
    if (!app)
        return;
    // The address is where the device is, until the person writes another.
    const auto fillAddress = [this, app] {
        if (address.isEmpty() && !app->stringAddress.isEmpty()) {
            address = app->stringAddress;
            Q_EMIT
            formChanged();
        }
    };
    fillAddress();
    connect(app, &AppDelegate::locationChanged, this, fillAddress);
}

void ProfileFormViewController::choosePicture(const QUrl &file)
{
    const QString path = file.isLocalFile() ? file.toLocalFile() : file.toString();
    const QFileInfo info(path);
    QString problem;
    QImage image;
    if (!info.isFile() || !info.isReadable()) {
        problem = languageSelectedStringForKey(QStringLiteral("The picture could not be opened."));
    } else if (info.size() > maxPictureFileBytes) {
        problem = languageSelectedStringForKey(
            QStringLiteral("The picture is too large (at most 30 MB)."));
    } else {
        QImageReader reader(path);
        reader.setAutoTransform(true);
        const QByteArray format = reader.format();
        if (format != "png" && format != "jpeg")
            problem = languageSelectedStringForKey(
                QStringLiteral("Please choose a PNG or JPEG picture."));
        else if (!reader.read(&image))
            problem =
                languageSelectedStringForKey(QStringLiteral("The picture could not be opened."));
    }
    if (!problem.isEmpty()) {
        showAlert(languageSelectedStringForKey(QStringLiteral("Profile picture")), problem);
        return;
    }
    if (image.width() > pictureSide || image.height() > pictureSide)
        image =
            image.scaled(pictureSide, pictureSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    picture_ = image;
    pictureUrl_ = QUrl::fromLocalFile(info.absoluteFilePath());
    Q_EMIT
    pictureChanged();
}

std::optional<QString> ProfileFormViewController::formProblem() const
{
    const auto [valid, message] = dataManager_.isUserDataValid({
        {languageSelectedStringForKey(QStringLiteral("Name")), name.trimmed()},
        {languageSelectedStringForKey(QStringLiteral("Gender")), gender},
        {languageSelectedStringForKey(QStringLiteral("Age")), age.trimmed()},
        {languageSelectedStringForKey(QStringLiteral("Number of dogs")), numberOfDogs},
        {languageSelectedStringForKey(QStringLiteral("Dog's name")), dogName.trimmed()},
        {languageSelectedStringForKey(QStringLiteral("About my dog")), aboutDog.trimmed()},
        {languageSelectedStringForKey(QStringLiteral("About me")), aboutMe.trimmed()},
        {languageSelectedStringForKey(QStringLiteral("Address")), address.trimmed()},
    });
    if (!valid)
        return message;
    bool isNumber = false;
    const int years = age.trimmed().toInt(&isNumber);
    if (!isNumber || years < minimumAge || years > maximumAge)
        return languageSelectedStringForKey(
            QStringLiteral("Please enter your age in years (14 to 120)."));
    if (!fromRawValue<UserFilter>(gender))
        return languageSelectedStringForKey(QStringLiteral("Please choose your gender."));
    if (!fromRawValue<NumberOfDogs>(numberOfDogs))
        return languageSelectedStringForKey(
            QStringLiteral("Please choose how many dogs you have."));
    if (!hasPicture())
        return languageSelectedStringForKey(QStringLiteral("Please choose a profile picture."));
    return std::nullopt;
}

QVariantMap ProfileFormViewController::profileParameters() const
{
    QVariantMap parameters{
        {QStringLiteral("user_id"), LoginDefaults().userId().value_or(QString())},
        {QStringLiteral("username"), name.trimmed()},
        {QStringLiteral("gender"), gender},
        {QStringLiteral("user_age"), age.trimmed()},
        {QStringLiteral("dogs_count"), numberOfDogs},
        {QStringLiteral("dog_name"), dogName.trimmed()},
        {QStringLiteral("dogInfo"), aboutDog.trimmed()},
        {QStringLiteral("about"), aboutMe.trimmed()},
        {QStringLiteral("dog_address"), address.trimmed()},
    };
    // Where the device is: the partner search measures from here.
    if (const AppDelegate *app = runningAppDelegate()) {
        parameters.insert(QStringLiteral("latitude"),
                          QString::number(app->locationCoordinates.latitude, 'f', 6));
        parameters.insert(QStringLiteral("longitude"),
                          QString::number(app->locationCoordinates.longitude, 'f', 6));
    }
    return parameters;
}

void ProfileFormViewController::forgetChosenPicture()
{
    picture_.reset();
    pictureUrl_ = QUrl();
    Q_EMIT
    pictureChanged();
}
