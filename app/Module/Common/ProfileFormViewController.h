#pragma once

#include "Module/Register/ProfileRegister/RegisterProfileDataManager.h"
#include "Platform/UI/ViewController.h"

#include <QImage>
#include <QUrl>

#include <optional>

// A screen with the profile form: who the person is, their dogs, where they are and a
// picture, each field checked with a localised reason. Subclasses decide what saving does.
class ProfileFormViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString name MEMBER name NOTIFY formChanged)
    Q_PROPERTY(QString gender MEMBER gender NOTIFY formChanged)
    Q_PROPERTY(QString age MEMBER age NOTIFY formChanged)
    Q_PROPERTY(QString numberOfDogs MEMBER numberOfDogs NOTIFY formChanged)
    Q_PROPERTY(QString dogName MEMBER dogName NOTIFY formChanged)
    Q_PROPERTY(QString aboutDog MEMBER aboutDog NOTIFY formChanged)
    Q_PROPERTY(QString aboutMe MEMBER aboutMe NOTIFY formChanged)
    Q_PROPERTY(QString address MEMBER address NOTIFY formChanged)
    Q_PROPERTY(QUrl pictureUrl READ pictureUrl NOTIFY pictureChanged)
    Q_PROPERTY(bool hasPicture READ hasPicture NOTIFY pictureChanged)

public:
    // Pictures are scaled down to this many pixels on the longer side before they are sent.
    static constexpr int pictureSide = 1024;

    explicit ProfileFormViewController(QObject *parent = nullptr);

    // The form, as typed; gender and number of dogs hold the texts the backend takes
    // ("male"/"female"; "0", "1", "2", "pack").
    QString name;
    QString gender;
    QString age;
    QString numberOfDogs;
    QString dogName;
    QString aboutDog;
    QString aboutMe;
    QString address;

    // The picture chosen here, else the one the profile has.
    virtual QUrl pictureUrl() const { return pictureUrl_; }
    virtual bool hasPicture() const { return picture_.has_value(); }

    // A picture file chosen on disk: kept for saving and shown at once, or an alert that says
    // why it cannot be used.
    Q_INVOKABLE void choosePicture(const QUrl &file);
    // The first problem of the form as a localised text; none when it can be saved.
    std::optional<QString> formProblem() const;
    QVariantMap profileParameters() const;
    Q_INVOKABLE virtual void save() = 0;

Q_SIGNALS:
    void formChanged();
    void pictureChanged();

protected:
    void viewDidLoad() override;
    // The picture chosen on this screen, if any.
    const std::optional<QImage> &chosenPicture() const { return picture_; }
    void forgetChosenPicture();

    RegisterProfileDataManager dataManager_;

private:
    std::optional<QImage> picture_;
    QUrl pictureUrl_;
};
