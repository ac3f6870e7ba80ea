#include "Module/Common/PasswordField.h"

QString PasswordField::eyeImage() const
{
    return secure_ ? QStringLiteral("ic_hide_password") : QStringLiteral("ic_show_password");
}

void PasswordField::showPassword()
{
    secure_ = tag_ != 0;
    tag_ = tag_ == 0 ? 1 : 0;
    Q_EMIT
    changed();
}

void PasswordField::textFieldDidChange(const QString &text)
{
    if (text == text_)
        return;
    text_ = text;
    secure_ = true;
    tag_ = 0;
    Q_EMIT
    changed();
}
