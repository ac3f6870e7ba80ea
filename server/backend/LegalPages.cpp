#include "LegalPages.h"

#include <string>

namespace tailwise::backend {

namespace {
constexpr std::string_view head = R"(<!doctype html>
<html lang="de"><head><meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<style>body{font-family:sans-serif;max-width:40em;margin:2em auto;padding:0 1em;line-height:1.5;color:#2B2118}h1,h2{color:#7A4E2D}</style>
)";
} // namespace

std::string_view termsOfUsePage()
{
    static const std::string page =
        std::string(head) +
        R"(<title>Tailwise – Nutzungsbedingungen / Terms of Use</title></head><body>
<h1>Nutzungsbedingungen</h1>
<p>Tailwise bringt Hundebesitzer in der Nähe zusammen. Wer sich registriert, gibt wahre Angaben
über sich und seine Hunde, behandelt andere freundlich und teilt nur Bilder, an denen er die
Rechte hat. Wir dürfen Konten sperren, die andere belästigen oder täuschen. Du kannst dein Konto
jederzeit in den Einstellungen löschen.</p>
<h2>Terms of Use</h2>
<p>Tailwise brings dog owners near each other together. By registering you give true details
about yourself and your dogs, treat others kindly and share only pictures you hold the rights
to. We may block accounts that harass or deceive others. You can delete your account at any
time in the settings.</p>
</body></html>
)";
    return page;
}

std::string_view privacyPolicyPage()
{
    static const std::string page =
        std::string(head) +
        R"(<title>Tailwise – Datenschutzerklärung / Privacy Policy</title></head><body>
<h1>Datenschutzerklärung</h1>
<p>Wir speichern, was du in dein Profil schreibst, dein Profilbild, deine ungefähre Position
(für Entfernungen zu anderen Hundebesitzern), deine Favoriten und deine Nachrichten. Passwörter
speichern wir nur als Hash. Wer dein Bild und deinen letzten Besuch sehen darf, bestimmst du in
den Einstellungen. Wir geben keine Daten an Dritte weiter. Beim Löschen deines Kontos wird es
deaktiviert und nicht mehr angezeigt.</p>
<h2>Privacy Policy</h2>
<p>We keep what you write in your profile, your picture, your approximate position (for
distances to other dog owners), your favourites and your messages. Passwords are stored only as
a hash. You decide in the settings who may see your picture and your last visit. We pass no
data to third parties. Deleting your account deactivates it and hides it from everyone.</p>
</body></html>
)";
    return page;
}

} // namespace tailwise::backend
