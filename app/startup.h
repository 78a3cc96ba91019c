#pragma once

#include <QPalette>
#include <QPixmap>
#include <QString>

class QApplication;
class QCoreApplication;

// The steps of the station's start-up, each on its own so tests can run them one by one.
// runStation() (app/station.h) calls them in order. All of them run on the GUI thread.

constexpr char kApplicationName[] = "Zobrel";
constexpr char kOrganizationName[] = "Kovan";
constexpr char kSettingsFileName[] = "Zobrel.ini";
constexpr char kLogFolderName[] = "logs";
constexpr char kLogFileName[] = "zobrel.log";

// "0.3.0": the project version the build was configured with.
QString applicationVersion();

// Application name, version and organisation on the application object.
void setApplicationIdentity();

// Fusion style, the dark palette, the style sheet and the application font. The font falls back
// to an installed CJK font where "Microsoft YaHei" is missing, so Chinese never shows as boxes.
void applyLook(QApplication &app);
QPalette darkPalette();
QString styleSheet();

// Creates <workingDir>/logs if needed and points the application log at zobrel.log in it
// (truncating it). Returns the log file's path.
QString setUpLogFile(const QString &workingDir);

// True when a file can really be created in dir (not just judged by permission bits).
bool canCreateFilesIn(const QString &dir);

// Zobrel.ini in appDir, or in the per-user configuration folder (created) when appDir cannot be
// written, as for an installed package. Logs the file it chose.
QString settingsFilePath(const QString &appDir);

// "Starting Zobrel... v0.3.0" for "en_US", the Chinese text for every other language.
QString splashText(const QString &language);
QPixmap paintSplash(const QString &language);

// The embedded translation file for language, or empty for the Chinese source texts.
QString translationResource(const QString &language);
// Installs the station's translation (and Qt's own, where available) for language on app. The
// translators are children of app. False when the station's translation could not be loaded.
bool installTranslation(QCoreApplication &app, const QString &language);
// Replaces the translators installTranslation() installed with those for language. Every widget
// then receives QEvent::LanguageChange (posted) and retranslates itself.
bool switchLanguage(QCoreApplication &app, const QString &language);
