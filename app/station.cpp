#include "app/station.h"

#include "app/bridgewiring.h"
#include "app/fakesimconnectwiring.h"
#include "app/licensingservices.h"
#include "app/log/applogger.h"
#include "app/mainwindow.h"
#include "app/screenshottaker.h"
#include "app/startup.h"
#include "nav/bglimportjob.h"
#include "nav/consoleprogressbar.h"
#include "nav/databasebuilder.h"
#include "sim/simbackendmanager.h"
#include "ui/language.h"
#include "ui/licensedialog.h"
#include "ui/updatedialog.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QNetworkProxy>
#include <QSettings>
#include <QSplashScreen>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kExitUsage = 2;

struct StationOptions
{
    bool screenshot = false;
    bool importBgl = false;
    bool fakeSimConnect = false;
    bool bridgeServer = false;
    quint16 bridgePort = 0;      // 0: the port in the settings
    QStringList importArguments; // source folder, target database
    QString settingsFile;
};

// Handles --help and --version itself (printing and exiting, as Qt's parser does).
StationOptions parseCommandLine(const QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Zobrel flight simulator instructor station"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Write one PNG per tab into the folder \"screenshots\" "
                                                       "under the working directory, then exit."));
    const QCommandLineOption settings(QStringLiteral("settings"),
                                      QStringLiteral("Use <file> as the settings file instead of Zobrel.ini in the "
                                                     "application folder."),
                                      QStringLiteral("file"));
    const QCommandLineOption importBgl(
        QStringLiteral("import-bgl"),
        QStringLiteral("Build the navigation database <target> from the BGL scenery of a Prepar3D/FSX installation "
                       "(the folder holding scenery.cfg) or an MSFS 2020 package folder <source>, then exit."));
    parser.addPositionalArgument(QStringLiteral("source"), QStringLiteral("With --import-bgl: the scenery source."),
                                 QStringLiteral("[source"));
    parser.addPositionalArgument(QStringLiteral("target"), QStringLiteral("With --import-bgl: the database file."),
                                 QStringLiteral("target]"));
    const QCommandLineOption fakeSimConnect(
        QStringLiteral("fake-simconnect"),
        QStringLiteral("Play MSFS 2020/2024, Prepar3D and FSX with the built-in fake simulator (no simulator or "
                       "SimConnect library needed) and connect to it at once."));
    const QCommandLineOption bridgeServer(
        QStringLiteral("bridge-server"),
        QStringLiteral("Start with the instructor server listening, on [port] when a port number follows."));
    parser.addOptions({screenshot, settings, importBgl, fakeSimConnect, bridgeServer});
    parser.process(app);

    StationOptions options;
    options.screenshot = parser.isSet(screenshot);
    options.importBgl = parser.isSet(importBgl);
    options.fakeSimConnect = parser.isSet(fakeSimConnect);
    options.bridgeServer = parser.isSet(bridgeServer);
    options.importArguments = parser.positionalArguments();
    // The port is optional, so it arrives as the first positional argument.
    if (options.bridgeServer && !options.importBgl && !options.importArguments.isEmpty()) {
        bool ok = false;
        const uint port = options.importArguments.first().toUInt(&ok);
        if (ok && port > 0 && port <= 65535) {
            options.bridgePort = quint16(port);
            options.importArguments.removeFirst();
        }
    }
    options.settingsFile = parser.value(settings);
    return options;
}

void logMain(const QString &message)
{
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("Main"), message);
}

void startScreenshots(MainWindow &window, const QString &settingsPath)
{
    const QSettings settings(settingsPath, QSettings::IniFormat);
    const bool autoConnect = settings.value(SimBackendManager::kAutoConnectKey, true).toBool();
    auto *taker =
        new ScreenshotTaker(&window, window.tabs(), QDir::current().filePath(QStringLiteral("screenshots")), &window);
    QObject::connect(taker, &ScreenshotTaker::finished, &window,
                     [](bool ok) { QCoreApplication::exit(ok ? EXIT_SUCCESS : EXIT_FAILURE); });
    LicensingServices *licensing = window.licensing();
    taker->addDialog(QStringLiteral("licenseDialog"), [licensing] { return licensing->showLicenseDialog(); });
    taker->addDialog(QStringLiteral("updateDialog"), [licensing] { return licensing->showUpdateDialog(); });
    QTimer::singleShot(0, taker, [taker, &window, autoConnect] { taker->start(window.backendManager(), autoConnect); });
}

int runImportBgl(const QString &source, const QString &target)
{
    logMain(QStringLiteral("Importing BGL from: %1 to %2").arg(source, target));
    // An MSFS package folder is recognised by its layout; anything else is read as Prepar3D/FSX scenery.
    const SimType kind = DatabaseBuilder::getMsfsPackagesPath(source).isEmpty() ? SimType::Prepar3D : SimType::Msfs2020;
    ConsoleProgressBar progress;
    QString message;
    const bool ok = runBglImport(
        source, target, kind,
        [&progress](const QString &stage, int current, int total) { progress.update(stage, current, total); }, nullptr,
        &message);
    progress.finish();
    AppLogger::instance().log(
        ok ? AppLogger::Info : AppLogger::Error, QStringLiteral("Main"),
        QStringLiteral("BGL import %1: %2").arg(ok ? QStringLiteral("finished") : QStringLiteral("failed"), message));
    std::printf("%s\n", message.toUtf8().constData());
    return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int runStation(int &argc, char **argv)
{
    QApplication app(argc, argv);
    setApplicationIdentity();
    const StationOptions options = parseCommandLine(app);
    if (!options.importBgl && !options.importArguments.isEmpty()) {
        std::fprintf(stderr, "zobrel: unexpected argument: %s\n",
                     options.importArguments.first().toLocal8Bit().constData());
        return kExitUsage;
    }
    if (options.importBgl && options.importArguments.size() != 2) {
        std::fputs("zobrel: --import-bgl needs a scenery source and a target database: "
                   "zobrel --import-bgl <source> <target>\n",
                   stderr);
        return kExitUsage;
    }

    applyLook(app);
    setUpLogFile(QDir::currentPath());
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    AppLogger::instance().setLevel(AppLogger::Info);
    logMain(QStringLiteral("Zobrel v%1 started").arg(applicationVersion()));

    QString settingsPath = options.settingsFile;
    if (settingsPath.isEmpty())
        settingsPath = settingsFilePath(QCoreApplication::applicationDirPath());
    else
        logMain(
            QStringLiteral("Settings file (from the command line): %1").arg(QDir::toNativeSeparators(settingsPath)));
    if (options.importBgl) {
        const int code = runImportBgl(options.importArguments.at(0), options.importArguments.at(1));
        logMain(QStringLiteral("Zobrel exiting with code %1").arg(code));
        return code;
    }
    // An update downloaded by the last run is installed before anything else uses the program files.
    if (!LicensingServices::installStagedUpdate(settingsPath, QCoreApplication::arguments().mid(1))) {
        logMain(QStringLiteral("Zobrel exiting with code %1").arg(EXIT_SUCCESS));
        return EXIT_SUCCESS;
    }
    const QString language = readLanguage(settingsPath);
    installTranslation(app, language);

    QSplashScreen splash(paintSplash(language));
    splash.show();
    QCoreApplication::processEvents();

    MainWindow window(settingsPath);
    if (options.fakeSimConnect)
        (new FakeSimConnectWiring(window.backendManager(), &window))->connectNow(settingsPath);
    splash.close();
    window.show();
    window.licensing()->runStartupChecks();
    if (options.bridgeServer)
        window.bridgeServices()->startServer(options.bridgePort);
    if (options.screenshot)
        startScreenshots(window, settingsPath);

    const int code = QApplication::exec();
    logMain(QStringLiteral("Zobrel exiting with code %1").arg(code));
    if (window.licensing()->isRestartRequested())
        LicensingServices::restart(QCoreApplication::applicationFilePath(), QCoreApplication::arguments().mid(1));
    return code;
}
