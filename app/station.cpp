#include "app/station.h"

#include "app/log/applogger.h"
#include "app/mainwindow.h"
#include "app/screenshottaker.h"
#include "app/startup.h"
#include "sim/simbackendmanager.h"
#include "ui/language.h"

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
    const QCommandLineOption importBgl(QStringLiteral("import-bgl"),
                                       QStringLiteral("Import BGL scenery into a navigation database (not available "
                                                      "in this version)."));
    parser.addOptions({screenshot, settings, importBgl});
    parser.process(app);

    StationOptions options;
    options.screenshot = parser.isSet(screenshot);
    options.importBgl = parser.isSet(importBgl);
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
    QTimer::singleShot(0, taker, [taker, &window, autoConnect] { taker->start(window.backendManager(), autoConnect); });
}

} // namespace

int runStation(int &argc, char **argv)
{
    QApplication app(argc, argv);
    setApplicationIdentity();
    const StationOptions options = parseCommandLine(app);
    if (options.importBgl) {
        std::fputs("zobrel: --import-bgl is not available in this version; no scenery importer is built in.\n", stderr);
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
    const QString language = readLanguage(settingsPath);
    installTranslation(app, language);

    QSplashScreen splash(paintSplash(language));
    splash.show();
    QCoreApplication::processEvents();

    MainWindow window(settingsPath);
    splash.close();
    window.show();
    if (options.screenshot)
        startScreenshots(window, settingsPath);

    const int code = QApplication::exec();
    logMain(QStringLiteral("Zobrel exiting with code %1").arg(code));
    return code;
}
