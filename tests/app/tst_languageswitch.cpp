#include "widgettexts.h"

#include "app/mainwindow.h"
#include "app/startup.h"
#include "sim/simbackendmanager.h"
#include "tests/support/logexpect.h"
#include "ui/language.h"
#include "ui/maptab.h"

#include <QApplication>
#include <QDialog>
#include <QMenuBar>
#include <QRegularExpression>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using widgettexts::untranslated;
using widgettexts::visibleTexts;

namespace {

// One main window as the station shows it, hosted in a plain widget: a top-level main window with
// a layout gets its minimum size pushed to the platform, which offscreen answers with a warning.
struct HostedWindow
{
    QWidget host;
    MainWindow *window;

    explicit HostedWindow(const QString &settingsPath)
    {
        host.setAttribute(Qt::WA_DontShowOnScreen);
        window = new MainWindow(settingsPath, &host);
        window->setWindowFlags(Qt::Widget);
        // Plain map style: no tile requests to the internet.
        window->findChild<MapTab *>()->setMapStyle(MapWidget::DarkPlain);
        host.show();
        window->show();
    }
};

QList<QAction *> menuActions(const QList<QAction *> &actions)
{
    QList<QAction *> all;
    for (QAction *action : actions) {
        all << action;
        if (action->menu())
            all << menuActions(action->menu()->actions());
    }
    return all;
}

// Opens every dialog the window's menus offer: by convention the actions whose text ends in an
// ellipsis. A dialog that blocks in its own event loop (a file dialog, a message box) is closed
// again, so only the dialogs that stay open remain.
void openMenuDialogs(MainWindow *window)
{
    bool triggering = false;
    QTimer guard;
    guard.setInterval(50);
    QObject::connect(&guard, &QTimer::timeout, [&triggering] {
        if (triggering && QApplication::activeModalWidget())
            QApplication::activeModalWidget()->close();
    });
    guard.start();
    for (QAction *action : menuActions(window->menuBar()->actions())) {
        const QString text = action->text();
        if (action->menu() || !(text.endsWith(QChar(0x2026)) || text.endsWith(QLatin1String("..."))))
            continue;
        triggering = true;
        action->trigger();
        triggering = false;
    }
}

// The texts of the window and of its open dialogs with each tab shown in turn (every tab page
// retranslates while shown or hidden), after one live sample with words among its values.
QStringList walkTabs(MainWindow *window)
{
    QStringList texts;
    QList<QTabWidget *> tabWidgets = window->findChildren<QTabWidget *>();
    for (QTabWidget *tabs : std::as_const(tabWidgets)) {
        for (int i = 0; i < tabs->count(); ++i) {
            tabs->setCurrentIndex(i);
            AircraftData sample;
            sample.onGround = sample.gear = sample.apMaster = true;
            emit window->backendManager()->aircraftDataChanged(sample);
            QCoreApplication::processEvents();
            texts << visibleTexts(window);
        }
    }
    texts.sort();
    return texts;
}

QStringList difference(const QStringList &a, const QStringList &b)
{
    QStringList only;
    for (const QString &text : a) {
        if (!b.contains(text))
            only << text;
    }
    only.removeDuplicates();
    return only;
}

// The dialogs are real top-level windows; the offscreen platform answers their size hints and
// raise() with these notes, which say nothing about the station. Everything else still reaches
// QTest, whose failOnWarning fails the test.
QtMessageHandler g_testHandler = nullptr;

void dropOffscreenPlatformNotes(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && (message == QLatin1String("This plugin does not support propagateSizeHints()") ||
                                 message == QLatin1String("This plugin does not support raise()")))
        return;
    g_testHandler(type, context, message);
}

} // namespace

class TestLanguageSwitch : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void switchRetranslatesEveryTabAndDialog();

private:
    // The texts a window built from scratch in language shows, with the same dialogs open.
    QStringList freshWindowTexts(const QString &language);
    void compareWithFresh(MainWindow *switched, const QString &language);

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_settingsPath;
};

void TestLanguageSwitch::initTestCase()
{
    g_testHandler = qInstallMessageHandler(dropOffscreenPlatformNotes);
}

void TestLanguageSwitch::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_dir = std::make_unique<QTemporaryDir>();
    m_settingsPath = m_dir->filePath(QStringLiteral("Zobrel.ini"));
    QSettings(m_settingsPath, QSettings::IniFormat).setValue(SimBackendManager::kAutoConnectKey, false);
}

void TestLanguageSwitch::cleanup()
{
    switchLanguage(*QCoreApplication::instance(), QString::fromLatin1(kLanguageChinese));
}

QStringList TestLanguageSwitch::freshWindowTexts(const QString &language)
{
    switchLanguage(*QCoreApplication::instance(), language);
    QCoreApplication::processEvents();
    HostedWindow fresh(m_settingsPath);
    openMenuDialogs(fresh.window);
    // Once through to reach the state the switched window is in (every tab shown with the sample).
    walkTabs(fresh.window);
    return walkTabs(fresh.window);
}

void TestLanguageSwitch::compareWithFresh(MainWindow *switched, const QString &language)
{
    const QStringList texts = walkTabs(switched);
    const QStringList expected = freshWindowTexts(language);
    // Missing texts are the ones left in the old language (stale); extra ones show which.
    const QStringList stale = difference(texts, expected);
    const QStringList missing = difference(expected, texts);
    QVERIFY2(stale.isEmpty() && missing.isEmpty(),
             qPrintable(QStringLiteral("%1: stale [%2] missing [%3]")
                            .arg(language, stale.join(QLatin1String(" | ")), missing.join(QLatin1String(" | ")))));
}

void TestLanguageSwitch::switchRetranslatesEveryTabAndDialog()
{
    HostedWindow station(m_settingsPath);
    MainWindow *window = station.window;
    openMenuDialogs(window);
    const QList<QDialog *> dialogs = window->findChildren<QDialog *>();
    QVERIFY2(dialogs.size() >= 4, "settings, import, licence and update dialogs are open");
    QVERIFY(walkTabs(window).contains(QStringLiteral("实时数据")));

    switchLanguage(*QCoreApplication::instance(), QString::fromLatin1(kLanguageEnglish));
    const QStringList english = walkTabs(window);
    QVERIFY(english.contains(QStringLiteral("Live data")));
    QVERIFY(english.contains(QStringLiteral("Licence")));
    const QStringList left = untranslated(english);
    QVERIFY2(left.isEmpty(), qPrintable(left.join(QLatin1String(" | "))));
    compareWithFresh(window, QString::fromLatin1(kLanguageEnglish));

    switchLanguage(*QCoreApplication::instance(), QString::fromLatin1(kLanguageChinese));
    compareWithFresh(window, QString::fromLatin1(kLanguageChinese));
    QCOMPARE(window->findChildren<QDialog *>().size(), dialogs.size());
}

QTEST_MAIN(TestLanguageSwitch)
#include "tst_languageswitch.moc"
