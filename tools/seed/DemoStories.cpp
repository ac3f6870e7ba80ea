#include "DemoStories.h"

#include <QStringList>

namespace {

// German count words read better than digits in a text about one's dog.
QString years(int count)
{
    static const QStringList words = {QString(),
                                      QStringLiteral("ein"),
                                      QStringLiteral("zwei"),
                                      QStringLiteral("drei"),
                                      QStringLiteral("vier"),
                                      QStringLiteral("fünf"),
                                      QStringLiteral("sechs"),
                                      QStringLiteral("sieben"),
                                      QStringLiteral("acht"),
                                      QStringLiteral("neun"),
                                      QStringLiteral("zehn"),
                                      QStringLiteral("elf"),
                                      QStringLiteral("zwölf")};
    const QString number = count < words.size() ? words[count] : QString::number(count);
    return number + (count == 1 ? QStringLiteral(" Jahr") : QStringLiteral(" Jahre"));
}

// "Beagle-Hündin", "Mischlingsrüde": breed and sex in one word, as owners write it.
QString breedWord(const DemoDog &dog)
{
    if (dog.breed == QLatin1String("Mischling"))
        return dog.female ? QStringLiteral("Mischlingshündin") : QStringLiteral("Mischlingsrüde");
    return dog.breed + (dog.female ? QStringLiteral("-Hündin") : QStringLiteral("-Rüde"));
}

QString pronoun(const DemoDog &dog)
{
    return dog.female ? QStringLiteral("sie") : QStringLiteral("er");
}

QString capitalised(QString text)
{
    if (!text.isEmpty())
        text[0] = text[0].toUpper();
    return text;
}

// Adjective stems; the endings follow the dog's grammatical gender.
const QList<QString> characters = {
    QStringLiteral("verspielt"),  QStringLiteral("verschmust"), QStringLiteral("neugierig"),
    QStringLiteral("ruhig"),      QStringLiteral("quirlig"),    QStringLiteral("gemütlich"),
    QStringLiteral("aufgeweckt"), QStringLiteral("sanft"),      QStringLiteral("freundlich"),
    QStringLiteral("verfressen"), QStringLiteral("anhänglich"), QStringLiteral("sportlich"),
    QStringLiteral("gelassen"),   QStringLiteral("frech")};

const QList<QString> degrees = {QStringLiteral("ziemlich"), QStringLiteral("sehr"),
                                QStringLiteral("unglaublich"), QStringLiteral("meistens"),
                                QStringLiteral("total")};

const QList<QString> pleasures = {QStringLiteral("lange Spaziergänge am Wasser"),
                                  QStringLiteral("Stöckchen und alles, was fliegt"),
                                  QStringLiteral("das Toben mit anderen Hunden"),
                                  QStringLiteral("ausgiebige Schnüffelrunden im Park"),
                                  QStringLiteral("Bällchen, Bällchen und nochmal Bällchen"),
                                  QStringLiteral("Kuscheleinheiten auf dem Sofa"),
                                  QStringLiteral("das Schwimmen im See"),
                                  QStringLiteral("Suchspiele mit Leckerlis"),
                                  QStringLiteral("Waldwege und Matschpfützen"),
                                  QStringLiteral("Frisbee auf der großen Wiese")};

// %1 is the dog's pronoun.
const QList<QString> habits = {
    QStringLiteral("Mit anderen Hunden ist %1 sehr verträglich."),
    QStringLiteral("Bei Regen will %1 am liebsten gar nicht vor die Tür."),
    QStringLiteral("Auf Rückruf kommt %1 zuverlässig, meistens jedenfalls."),
    QStringLiteral("An der Leine üben wir noch."),
    QStringLiteral("Für Leberwurst tut %1 alles."),
    QStringLiteral("Fremden gegenüber ist %1 anfangs schüchtern, taut aber schnell auf."),
    QStringLiteral("Kleine Hunde findet %1 besonders spannend."),
    QStringLiteral("Fahrräder jagt %1 zum Glück nicht mehr.")};

const QList<QString> greetings = {
    QStringLiteral("Hallo, ich bin %1!"), QStringLiteral("Hi, %1 hier."),
    QStringLiteral("Moin! Ich bin %1."), QStringLiteral("Servus, ich heiße %1."),
    QStringLiteral("Hallo zusammen!")};

const QList<QString> youngLives = {
    QStringLiteral("Ich studiere und bin nachmittags oft im Park."),
    QStringLiteral("Ich bin neu im Viertel und kenne noch kaum jemanden."),
    QStringLiteral("Ich arbeite im Café um die Ecke und habe vormittags Zeit.")};

// %1 is a number of years.
const QList<QString> middleLives = {
    QStringLiteral(
        "Ich arbeite im Homeoffice und freue mich über jede Pause an der frischen Luft."),
    QStringLiteral("Ich arbeite im Schichtdienst und habe oft vormittags Zeit."),
    QStringLiteral("Nach Feierabend drehen wir meistens eine große Runde."),
    QStringLiteral("Mit Familie und Hund ist bei uns immer etwas los."),
    QStringLiteral("Ich wohne seit %1 Jahren hier und kenne die schönsten Ecken.")};

const QList<QString> laterLives = {
    QStringLiteral("Seit ich in Rente bin, haben wir endlich Zeit für lange Runden."),
    QStringLiteral("Ich bin gern früh unterwegs, wenn die Wege noch leer sind."),
    QStringLiteral("Ich wohne seit %1 Jahren hier und kenne die schönsten Ecken.")};

// %1 is the dogs' names; the singular and the plural form.
const QList<std::pair<QString, QString>> bonds = {
    {QStringLiteral("%1 ist mein ganzer Stolz."), QStringLiteral("%1 sind mein ganzer Stolz.")},
    {QStringLiteral("Ohne %1 wäre mein Alltag nur halb so schön."),
     QStringLiteral("Ohne %1 wäre mein Alltag nur halb so schön.")},
    {QStringLiteral("%1 hat mir beigebracht, bei jedem Wetter rauszugehen."),
     QStringLiteral("%1 haben mir beigebracht, bei jedem Wetter rauszugehen.")}};

const QList<QString> wishes = {
    QStringLiteral("Ich suche nette Leute für gemeinsame Gassirunden am Wochenende."),
    QStringLiteral("Wir freuen uns über Spielkameraden in der Nachbarschaft."),
    QStringLiteral("Wer hat Lust auf eine feste Runde am Abend?"),
    QStringLiteral("Für gegenseitiges Hundesitting bin ich offen."),
    QStringLiteral("Gern auch spontan: schreibt mir einfach!"),
    QStringLiteral("Tipps für hundefreundliche Cafés nehme ich gern entgegen."),
    QStringLiteral("Ich würde gern mal mit jemandem zusammen eine Hundeschule ausprobieren.")};

const QList<QString> farewells = {
    QStringLiteral("Bis bald im Park!"), QStringLiteral("Liebe Grüße!"),
    QStringLiteral("Wuff und bis bald!"), QStringLiteral("Wir sehen uns auf der Hundewiese.")};

const QList<QString> streets = {QStringLiteral("Lindenstraße"), QStringLiteral("Kastanienallee"),
                                QStringLiteral("Am Stadtpark"), QStringLiteral("Gartenweg"),
                                QStringLiteral("Birkenweg"),    QStringLiteral("Schillerstraße"),
                                QStringLiteral("Goethestraße"), QStringLiteral("Ahornweg"),
                                QStringLiteral("Mühlenweg"),    QStringLiteral("Rosenstraße"),
                                QStringLiteral("Uferweg"),      QStringLiteral("Parkstraße"),
                                QStringLiteral("Wiesenweg"),    QStringLiteral("Am Kanal"),
                                QStringLiteral("Eichenallee"),  QStringLiteral("Fontanestraße"),
                                QStringLiteral("Heinestraße"),  QStringLiteral("Am Weiher")};

} // namespace

QString DemoStories::pick(const QList<QString> &choices)
{
    return choices[random_.bounded(int(choices.size()))];
}

QString DemoStories::dogIntroduction(const DemoDog &dog)
{
    const QString character = pick(characters);
    switch (random_.bounded(3)) {
    case 0:
        return QStringLiteral("%1 ist %2 %3 %4 und %5 alt.")
            .arg(dog.name, dog.female ? QStringLiteral("eine") : QStringLiteral("ein"),
                 character + (dog.female ? QStringLiteral("e") : QStringLiteral("er")),
                 breedWord(dog), years(dog.age));
    case 1:
        return QStringLiteral("%1, %2 %3, ist %4 alt und %5 %6.")
            .arg(dog.name, dog.female ? QStringLiteral("meine") : QStringLiteral("mein"),
                 breedWord(dog), years(dog.age), pick(degrees), character);
    default: {
        const QString stage = dog.age <= 2   ? QStringLiteral("noch ein echter Junghund")
                              : dog.age <= 8 ? QStringLiteral("im besten Alter")
                                             : QStringLiteral("schon ein älteres Semester");
        const QString inYears =
            dog.age == 1 ? QStringLiteral("einem Jahr") : years(dog.age) + QStringLiteral("n");
        return QStringLiteral("Mit %1 ist %2 %3: %4 %5 durch und durch.")
            .arg(inYears, dog.name, stage,
                 dog.female ? QStringLiteral("eine") : QStringLiteral("ein"), breedWord(dog));
    }
    }
}

QString DemoStories::aboutDogs(const QList<DemoDog> &dogs)
{
    QStringList sentences;
    for (const DemoDog &dog : dogs) {
        sentences << dogIntroduction(dog);
        sentences << QStringLiteral("%1 liebt %2.").arg(capitalised(pronoun(dog)), pick(pleasures));
        if (random_.bounded(2) == 0) {
            const QString habit = pick(habits);
            sentences << (habit.contains(QLatin1String("%1")) ? habit.arg(pronoun(dog)) : habit);
        }
    }
    if (dogs.size() == 2)
        sentences << QStringLiteral("Die beiden sind ein eingespieltes Team.");
    else if (dogs.size() == 3)
        sentences << QStringLiteral("Zu dritt sind sie ein ziemlich wilder Haufen.");
    return sentences.join(QLatin1Char(' '));
}

QString DemoStories::aboutOwner(const DemoPerson &person)
{
    QStringList sentences;
    const QString greeting = pick(greetings);
    sentences << (greeting.contains(QLatin1String("%1")) ? greeting.arg(person.firstName)
                                                         : greeting);
    const QList<QString> &lives = person.age <= 30   ? youngLives
                                  : person.age >= 60 ? laterLives
                                                     : middleLives;
    QString life = pick(lives);
    if (life.contains(QLatin1String("%1")))
        life = life.arg(2 + random_.bounded(qMax(1, person.age - 22)));
    sentences << life;
    const auto &[one, many] = bonds[random_.bounded(int(bonds.size()))];
    sentences << (person.dogs.size() == 1 ? one : many).arg(person.dogNames());
    sentences << pick(wishes);
    if (random_.bounded(3) != 0)
        sentences << pick(farewells);
    return sentences.join(QLatin1Char(' '));
}

QString DemoStories::address()
{
    return pick(streets) + QLatin1Char(' ') + QString::number(1 + random_.bounded(120));
}
