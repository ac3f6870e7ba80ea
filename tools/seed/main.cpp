// tailwise-seed: fills a running Tailwise stack with demo dog owners, so that a person who
// signs in finds a living neighbourhood.

#include "DemoPeople.h"
#include "SeedRunner.h"
#include "StackClient.h"

#include "Deployment.h"
#include "Platform/Location.h"
#include "Platform/Print.h"

#include <QCommandLineParser>
#include <QGuiApplication>

namespace {

constexpr CLLocationCoordinate2D berlin{52.5200, 13.4050};
constexpr int largestCount = 1000;

struct Options
{
    QUrl backend;
    QUrl database;
    QUrl uploads;
    int count = 48;
    CLLocationCoordinate2D near = berlin;
    quint64 seed = 1;
};

std::optional<QUrl> serviceUrl(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() ||
        (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")) ||
        url.host().isEmpty())
        return std::nullopt;
    return url;
}

// The defaults are the app's, so that the seeder and the app meet the same stack.
std::optional<Options> parse(const QCoreApplication &app, QString &problem)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Creates demo dog owners in a running Tailwise stack. Running it again "
                       "adds nothing."));
    parser.addHelpOption();
    const QCommandLineOption backend(QStringLiteral("backend"),
                                     QStringLiteral("Backend address (default TAILWISE_BACKEND, "
                                                    "else http://127.0.0.1:8080)."),
                                     QStringLiteral("URL"));
    const QCommandLineOption database(
        QStringLiteral("database"),
        QStringLiteral("Realtime database address (default TAILWISE_DATABASE, else "
                       "http://127.0.0.1:9000)."),
        QStringLiteral("URL"));
    const QCommandLineOption count(QStringLiteral("count"),
                                   QStringLiteral("How many dog owners (default 48)."),
                                   QStringLiteral("N"), QStringLiteral("48"));
    const QCommandLineOption near(
        QStringLiteral("near"),
        QStringLiteral("Where they live around (default TAILWISE_LOCATION, else Berlin "
                       "52.5200,13.4050)."),
        QStringLiteral("LAT,LON"));
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("Chooses the people; the same seed gives the "
                                                 "same people (default 1)."),
                                  QStringLiteral("S"), QStringLiteral("1"));
    parser.addOptions({backend, database, count, near, seed});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty()) {
        problem = QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments()[0]);
        return std::nullopt;
    }

    Options options;
    options.backend = Deployment::backendUrl();
    options.database = Deployment::databaseUrl();
    for (const auto &[option, target] :
         {std::pair{&backend, &options.backend}, std::pair{&database, &options.database}}) {
        if (!parser.isSet(*option))
            continue;
        const auto url = serviceUrl(parser.value(*option));
        if (!url) {
            problem = QStringLiteral("--%1 needs an http:// or https:// address")
                          .arg(option->names().first());
            return std::nullopt;
        }
        *target = *url;
    }
    // Pictures come from where the app downloads them: TAILWISE_UPLOADS, else the backend.
    options.uploads =
        qEnvironmentVariableIsEmpty("TAILWISE_UPLOADS") ? options.backend : Deployment::uploadUrl();

    bool countOk = false;
    options.count = parser.value(count).toInt(&countOk);
    if (!countOk || options.count < 1 || options.count > largestCount) {
        problem = QStringLiteral("--count needs a whole number from 1 to %1").arg(largestCount);
        return std::nullopt;
    }
    bool seedOk = false;
    options.seed = parser.value(seed).toULongLong(&seedOk);
    if (!seedOk) {
        problem = QStringLiteral("--seed needs a whole number");
        return std::nullopt;
    }
    const QString place =
        parser.isSet(near) ? parser.value(near) : Deployment::configuredLocation();
    if (parser.isSet(near) || !place.isEmpty()) {
        if (const auto coordinate = coordinateFromText(place))
            options.near = *coordinate;
        else if (parser.isSet(near) || Deployment::locationServicesEnabled())
            print(QStringLiteral("tailwise-seed: \"%1\" is not \"latitude,longitude\"; using "
                                 "Berlin")
                      .arg(place));
    }
    return options;
}

} // namespace

int main(int argc, char *argv[])
{
    // The pictures are painted off screen; the seeder never shows a window.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tailwise-seed"));

    QString problem;
    const std::optional<Options> options = parse(app, problem);
    if (!options) {
        print(QStringLiteral("tailwise-seed: ") + problem);
        return 2;
    }
    StackClient client(options->backend, options->database, Deployment::requestTimeout());
    const DemoPeople people(options->seed, options->near);
    SeedRunner runner(client, people, options->uploads);
    return runner.run(options->count);
}
