#include "app/startup.h"

#include "app/log/applogger.h"
#include "ui/language.h"

#include <QApplication>
#include <QDir>
#include <QFont>
#include <QLibraryInfo>
#include <QLinearGradient>
#include <QPainter>
#include <QStandardPaths>
#include <QStyleFactory>
#include <QTemporaryFile>
#include <QTranslator>

namespace {

constexpr char kFontFamily[] = "Microsoft YaHei";
constexpr char kLogCategory[] = "Main";
constexpr QSize kSplashSize(520, 300);
// Object names of the translators installTranslation() makes, so that a switch finds them again.
constexpr char kStationTranslator[] = "zobrelStationTranslator";
constexpr char kQtTranslator[] = "zobrelQtTranslator";

// Where "Microsoft YaHei" is not installed (Linux, older Windows) these CJK families stand in.
void installFontFallbacks()
{
    QFont::insertSubstitutions(QString::fromLatin1(kFontFamily),
                               {QStringLiteral("WenQuanYi Micro Hei"), QStringLiteral("Noto Sans CJK SC"),
                                QStringLiteral("Source Han Sans SC"), QStringLiteral("Droid Sans Fallback"),
                                QStringLiteral("SimHei")});
}

void logInfo(const QString &message)
{
    AppLogger::instance().log(AppLogger::Info, QString::fromLatin1(kLogCategory), message);
}

} // namespace

QString applicationVersion()
{
    return QStringLiteral(ZOBREL_VERSION);
}

void setApplicationIdentity()
{
    QCoreApplication::setApplicationName(QString::fromLatin1(kApplicationName));
    QCoreApplication::setApplicationVersion(applicationVersion());
    QCoreApplication::setOrganizationName(QString::fromLatin1(kOrganizationName));
}

void applyLook(QApplication &app)
{
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(darkPalette());
    app.setStyleSheet(styleSheet());
    installFontFallbacks();
    QFont font = QApplication::font();
    font.setFamily(QString::fromLatin1(kFontFamily));
    QApplication::setFont(font);
}

QPalette darkPalette()
{
    const QColor text(0xdc, 0xdc, 0xdc);
    const QColor disabledText(0x70, 0x70, 0x70);
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x2d, 0x2d, 0x30));
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, QColor(0x1e, 0x1e, 0x1e));
    palette.setColor(QPalette::AlternateBase, QColor(0x2d, 0x2d, 0x30));
    palette.setColor(QPalette::ToolTipBase, QColor(0x25, 0x25, 0x26));
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x80, 0x80, 0x80));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x3c, 0x3c, 0x3c));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, QColor(0xff, 0x55, 0x55));
    palette.setColor(QPalette::Link, QColor(0x4e, 0xa1, 0xff));
    palette.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabledText);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(0x50, 0x50, 0x50));
    return palette;
}

QString styleSheet()
{
    return QStringLiteral(
        "QGroupBox { font-weight: bold; border: 1px solid #808080; border-radius: 4px;"
        " margin-top: 10px; padding: 8px 6px 6px 6px; }"
        "QGroupBox::title { subcontrol-origin: margin; subcontrol-position: top left; left: 8px; padding: 0 4px; }"
        "QTabWidget::pane { border: 1px solid #3f3f46; top: -1px; }"
        "QTabBar::tab { background: #252526; color: #b4b4b4; border: 1px solid #3f3f46; padding: 5px 18px;"
        " margin-right: 2px; border-top-left-radius: 4px; border-top-right-radius: 4px; }"
        "QTabBar::tab:selected { background: #3c3c3c; color: #ffffff; border-bottom-color: #3c3c3c; }"
        "QTabBar::tab:hover:!selected { background: #333337; }");
}

QString setUpLogFile(const QString &workingDir)
{
    const QDir dir(workingDir);
    dir.mkpath(QString::fromLatin1(kLogFolderName));
    const QString path =
        dir.filePath(QStringLiteral("%1/%2").arg(QLatin1String(kLogFolderName), QLatin1String(kLogFileName)));
    AppLogger::instance().setLogToFile(path);
    return path;
}

bool canCreateFilesIn(const QString &dir)
{
    // Permission bits say nothing for root or on network shares; only a real attempt tells.
    QTemporaryFile probe(QDir(dir).filePath(QStringLiteral(".zobrel-write-check-XXXXXX")));
    return probe.open();
}

QString settingsFilePath(const QString &appDir)
{
    QString path;
    if (canCreateFilesIn(appDir)) {
        path = QDir(appDir).filePath(QString::fromLatin1(kSettingsFileName));
    } else {
        const QString userDir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
        QDir().mkpath(userDir);
        path = QDir(userDir).filePath(QString::fromLatin1(kSettingsFileName));
        logInfo(QStringLiteral("Application folder %1 is not writable; using the per-user settings file")
                    .arg(QDir::toNativeSeparators(appDir)));
    }
    logInfo(QStringLiteral("Settings file: %1").arg(QDir::toNativeSeparators(path)));
    return path;
}

QString splashText(const QString &language)
{
    const QString start =
        isEnglish(language) ? QStringLiteral("Starting Zobrel... v") : QStringLiteral("正在启动 Zobrel... v");
    return start + applicationVersion();
}

QPixmap paintSplash(const QString &language)
{
    installFontFallbacks();
    QPixmap pixmap(kSplashSize);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    QLinearGradient gradient(0, 0, kSplashSize.width(), kSplashSize.height());
    gradient.setColorAt(0.0, QColor(0x0b, 0x1f, 0x3a));
    gradient.setColorAt(1.0, QColor(0x1d, 0x5a, 0x8c));
    painter.fillRect(pixmap.rect(), gradient);

    QFont title(QString::fromLatin1(kFontFamily));
    title.setPixelSize(56);
    title.setBold(true);
    painter.setFont(title);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, 60, kSplashSize.width(), 90), Qt::AlignCenter, QString::fromLatin1(kApplicationName));

    QFont status(QString::fromLatin1(kFontFamily));
    status.setPixelSize(18);
    painter.setFont(status);
    painter.setPen(QColor(0xe8, 0xee, 0xf5));
    painter.drawText(QRect(0, 190, kSplashSize.width(), 40), Qt::AlignCenter, splashText(language));

    painter.setPen(QPen(QColor(0x8f, 0xb8, 0xde), 2));
    painter.drawLine(60, 165, kSplashSize.width() - 60, 165);
    painter.end();
    return pixmap;
}

QString translationResource(const QString &language)
{
    return isEnglish(language) ? QStringLiteral(":/i18n/zobrel_en_US.qm") : QString();
}

bool installTranslation(QCoreApplication &app, const QString &language)
{
    logInfo(QStringLiteral("Language: %1").arg(language));
    const QString resource = translationResource(language);
    if (resource.isEmpty()) {
        // The source texts are Chinese; only Qt's own dialogs need a translation.
        auto *qtTranslator = new QTranslator(&app);
        qtTranslator->setObjectName(QString::fromLatin1(kQtTranslator));
        if (qtTranslator->load(QStringLiteral("qtbase_zh_CN"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
            QCoreApplication::installTranslator(qtTranslator);
        else
            delete qtTranslator;
        return true;
    }
    auto *translator = new QTranslator(&app);
    translator->setObjectName(QString::fromLatin1(kStationTranslator));
    if (!translator->load(resource)) {
        delete translator;
        AppLogger::instance().log(AppLogger::Warning, QString::fromLatin1(kLogCategory),
                                  QStringLiteral("Translation %1 could not be loaded").arg(resource));
        return false;
    }
    QCoreApplication::installTranslator(translator);
    return true;
}

bool switchLanguage(QCoreApplication &app, const QString &language)
{
    const QList<QTranslator *> translators = app.findChildren<QTranslator *>(Qt::FindDirectChildrenOnly);
    for (QTranslator *translator : translators) {
        if (translator->objectName() == QLatin1String(kStationTranslator) ||
            translator->objectName() == QLatin1String(kQtTranslator)) {
            QCoreApplication::removeTranslator(translator);
            delete translator;
        }
    }
    return installTranslation(app, language);
}
