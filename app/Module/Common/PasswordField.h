#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// A password entry with its eye button: the text is hidden until the eye is pressed, the eye
// is hidden while the field is empty, and any edit hides the text again. The button's tag
// tells which way the next press goes, as the phone screens keep it.
class PasswordField : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Screens own their password fields")
    Q_PROPERTY(QString text READ text WRITE textFieldDidChange NOTIFY changed)
    Q_PROPERTY(bool secureTextEntry READ isSecureTextEntry NOTIFY changed)
    Q_PROPERTY(bool eyeVisible READ isEyeVisible NOTIFY changed)
    Q_PROPERTY(QString eyeImage READ eyeImage NOTIFY changed)

public:
    explicit PasswordField(QObject *parent = nullptr) : QObject(parent) {}

    QString text() const { return text_; }
    bool isSecureTextEntry() const { return secure_; }
    bool isEyeVisible() const { return !text_.isEmpty(); }
    // "ic_show_password" while the text is visible, "ic_hide_password" while it is hidden.
    QString eyeImage() const;
    int tag() const { return tag_; }

    Q_INVOKABLE void showPassword();
    void textFieldDidChange(const QString &text);

Q_SIGNALS:
    void changed();

private:
    QString text_;
    bool secure_ = true;
    int tag_ = 0;
};
