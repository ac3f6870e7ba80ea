#pragma once

#include "Platform/UI/ViewController.h"

#include <QStringList>

// How the user is told about messages: pushes at all, sound, vibration, the message text in
// the push, and the notification light's colour. The switches live in Notifications/{me},
// where senders read them; the light colour stays on the device ("LedColour").
class NotificationSettingsController : public ViewController
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Storyboards make the screens")
    Q_PROPERTY(bool pushes READ pushes WRITE setPushes NOTIFY settingsChanged)
    Q_PROPERTY(bool tone READ tone WRITE setTone NOTIFY settingsChanged)
    Q_PROPERTY(bool vibration READ vibration WRITE setVibration NOTIFY settingsChanged)
    Q_PROPERTY(bool preview READ preview WRITE setPreview NOTIFY settingsChanged)
    // 0 red, 1 green, 2 yellow (the TagColor texts); -1 none chosen.
    Q_PROPERTY(int lightColour READ lightColour WRITE setLightColour NOTIFY settingsChanged)
    Q_PROPERTY(QStringList lightColours READ lightColours CONSTANT)
    Q_PROPERTY(bool loaded READ loaded NOTIFY settingsChanged)

public:
    explicit NotificationSettingsController(QObject *parent = nullptr);

    bool pushes() const { return pushes_; }
    void setPushes(bool on);
    bool tone() const { return tone_; }
    void setTone(bool on);
    bool vibration() const { return vibration_; }
    void setVibration(bool on);
    bool preview() const { return preview_; }
    void setPreview(bool on);
    int lightColour() const;
    void setLightColour(int colour);
    QStringList lightColours() const;
    bool loaded() const { return loaded_; }

Q_SIGNALS:
    void settingsChanged();

protected:
    void viewDidLoad() override;

private:
    void write(const QString &key, const QString &value);

    bool pushes_ = true;
    bool tone_ = true;
    bool vibration_ = true;
    bool preview_ = true;
    bool loaded_ = false;
};
