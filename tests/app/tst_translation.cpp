#include "widgettexts.h"

#include "app/mainwindow.h"
#include "app/startup.h"
#include "sim/simbackendmanager.h"
#include "tests/support/logexpect.h"
#include "ui/navimportdialog.h"
#include "ui/settingsdialog.h"
#include "ui/simstatuswidget.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>
#include <QXmlStreamReader>

using widgettexts::hasChinese;
using widgettexts::untranslated;
using widgettexts::visibleTexts;

class TestTranslation : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void tsFileIsComplete();
    void walkerSeesChineseSourceTexts();
    void englishCoversEveryWindowText();

private:
    // Texts of the window in every state it can show, and of its settings dialog.
    QStringList windowTexts();

    QTemporaryDir m_dir;
    QString m_settingsPath;
};

void TestTranslation::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_settingsPath = m_dir.filePath(QStringLiteral("Zobrel.ini"));
    QSettings(m_settingsPath, QSettings::IniFormat).setValue(SimBackendManager::kAutoConnectKey, false);
}

void TestTranslation::tsFileIsComplete()
{
    QFile file(QStringLiteral(ZOBREL_TS_FILE));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    int messages = 0;
    QStringList incomplete;
    QString source;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("source")) {
            source = xml.readElementText();
        } else if (xml.name() == QLatin1String("translation")) {
            const QString type = xml.attributes().value(QLatin1String("type")).toString();
            const QString text = xml.readElementText();
            ++messages;
            if (!type.isEmpty() || text.trimmed().isEmpty() || hasChinese(text))
                incomplete << source;
        }
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QVERIFY(messages > 50);
    QVERIFY2(incomplete.isEmpty(), qPrintable(incomplete.join(QLatin1String(" | "))));
}

QStringList TestTranslation::windowTexts()
{
    // Hosted in a plain window: a top-level with a layout gets its minimum size pushed to the
    // platform, which the offscreen platform answers with a warning.
    QWidget host;
    host.setAttribute(Qt::WA_DontShowOnScreen);
    MainWindow window(m_settingsPath, &host);
    window.setWindowFlags(Qt::Widget); // a main window is a window of its own unless told otherwise
    host.show();
    window.show();
    // Every tab in turn, with the live values that are words (flags, gear) in both of their states.
    QStringList texts;
    for (int tab = 0; tab < window.tabs()->count(); ++tab) {
        window.tabs()->setCurrentIndex(tab);
        AircraftData sample;
        emit window.backendManager()->aircraftDataChanged(sample);
        texts << visibleTexts(&window);
        sample.onGround = sample.gear = sample.apMaster = sample.engRun[0] = sample.engFire[0] = true;
        emit window.backendManager()->aircraftDataChanged(sample);
        texts << visibleTexts(&window);
    }

    auto *status = window.findChild<SimStatusWidget *>();
    for (const auto state : {SimStatusWidget::State::Disconnected, SimStatusWidget::State::Connecting,
                             SimStatusWidget::State::Connected}) {
        status->setStatus(SimType::XPlane12, state);
        texts << visibleTexts(status);
    }

    SettingsDialog *dialog = window.createSettingsDialog();
    texts << visibleTexts(dialog);
    delete dialog;

    // The import dialog relabels its folder rows for every simulator.
    NavImportDialog import(QDir::tempPath(), &window);
    auto *source = import.findChild<QComboBox *>(QStringLiteral("source"));
    for (int i = 0; i < source->count(); ++i) {
        source->setCurrentIndex(i);
        texts << visibleTexts(&import);
    }
    return texts;
}

void TestTranslation::walkerSeesChineseSourceTexts()
{
    // Without a translation the same walk must find the Chinese source texts, or the coverage
    // check below would pass on nothing.
    const QStringList found = untranslated(windowTexts());
    QVERIFY(found.contains(QStringLiteral("实时数据")));
    QVERIFY(found.contains(QStringLiteral("保存")));
    QVERIFY(found.contains(QStringLiteral("是"))); // a live value, drawn only once a sample arrived
    QVERIFY(found.contains(QStringLiteral("导入导航数据")));
    QVERIFY(found.size() > 50);
}

void TestTranslation::englishCoversEveryWindowText()
{
    QTranslator translator;
    QVERIFY(translator.load(translationResource(QStringLiteral("en_US"))));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    const QStringList texts = windowTexts();
    QCoreApplication::removeTranslator(&translator);

    QVERIFY(texts.contains(QStringLiteral("Live data")));
    const QStringList left = untranslated(texts);
    QVERIFY2(left.isEmpty(), qPrintable(left.join(QLatin1String(" | "))));
}

QTEST_MAIN(TestTranslation)
#include "tst_translation.moc"
