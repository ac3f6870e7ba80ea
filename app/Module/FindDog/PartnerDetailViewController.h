#pragma once

#include "Common/Models/User.h"
#include "Module/FindDog/FavouriteMarker.h"
#include "Module/FindDog/PartnerListModel.h"
#include "Platform/UI/ViewController.h"

// One dog owner up close: picture and presence as the owner allows, the dogs, the about
// text, the favourite mark and the way into a chat.
class PartnerDetailViewController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(QString partnerId READ partnerId NOTIFY partnerChanged)
    Q_PROPERTY(QString name READ name NOTIFY partnerChanged)
    Q_PROPERTY(QString ageText READ ageLine NOTIFY partnerChanged)
    Q_PROPERTY(QString genderText READ genderText NOTIFY partnerChanged)
    Q_PROPERTY(QString distanceText READ distanceLine NOTIFY partnerChanged)
    Q_PROPERTY(QString dogName READ dogName NOTIFY partnerChanged)
    Q_PROPERTY(QString dogsText READ dogsLine NOTIFY partnerChanged)
    Q_PROPERTY(QString dogDescription READ dogDescription NOTIFY partnerChanged)
    Q_PROPERTY(QString about READ about NOTIFY partnerChanged)
    Q_PROPERTY(QString pictureUrl READ pictureUrl NOTIFY visibilityChanged)
    Q_PROPERTY(bool online READ online NOTIFY visibilityChanged)
    Q_PROPERTY(QString presenceText READ presenceText NOTIFY visibilityChanged)
    Q_PROPERTY(bool favourite READ favourite NOTIFY favouriteChanged)
    Q_PROPERTY(bool favouriteBusy READ favouriteBusy NOTIFY favouriteChanged)

public:
    explicit PartnerDetailViewController(QObject *parent = nullptr);

    void setPartner(const User &partner);
    const User &partner() const { return partner_; }

    QString partnerId() const { return partner_.userId; }
    QString name() const { return partner_.Name; }
    QString ageLine() const;
    QString genderText() const;
    QString distanceLine() const;
    QString dogName() const { return partner_.dogsName; }
    QString dogsLine() const;
    QString dogDescription() const { return partner_.dogInfo; }
    QString about() const { return partner_.about; }
    QString pictureUrl() const;
    bool online() const { return visibility_.presenceVisible && visibility_.online; }
    // "Online", "Last Seen: …", or nothing when the partner keeps it to themselves.
    QString presenceText() const;
    bool favourite() const { return favourite_; }
    bool favouriteBusy() const { return favouriteBusy_; }

    // Marks or unmarks at once; the backend and the database follow, and a refusal puts the
    // mark back with an alert that says why.
    Q_INVOKABLE void toggleFavourite();
    Q_INVOKABLE void openChat();

Q_SIGNALS:
    void partnerChanged();
    void visibilityChanged();
    void favouriteChanged();

protected:
    void viewWillAppear() override;

private:
    User partner_;
    PartnerVisibility visibility_;
    QString lastSeen_;
    bool favourite_ = false;
    bool favouriteBusy_ = false;
    FavouriteMarker marker_;
};
