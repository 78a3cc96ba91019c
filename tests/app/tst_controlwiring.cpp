#include "fakexplane.h"

#include "app/controlwiring.h"
#include "app/mainwindow.h"
#include "app/startup.h"
#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "map/mapwidget.h"
#include "nav/navdataprovider.h"
#include "sim/simbackendmanager.h"
#include "tests/support/logexpect.h"
#include "ui/aircrafttab.h"
#include "ui/failurestab.h"
#include "ui/fueltab.h"
#include "ui/maptab.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>
#include <QTreeWidget>
#include <QtEndian>

#include <cmath>
#include <memory>

namespace {

bool hasChinese(const QString &text)
{
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if ((u >= 0x4E00 && u <= 0x9FFF) || (u >= 0x3000 && u <= 0x303F) || (u >= 0xFF00 && u <= 0xFFEF))
            return true;
    }
    return false;
}

// Texts of root's widgets a user can read: labels, buttons, titles, combo items, headers, tree
// and table cells, placeholders and tips.
QStringList visibleTexts(QWidget *root)
{
    QStringList texts;
    QList<QWidget *> widgets = root->findChildren<QWidget *>();
    widgets.prepend(root);
    for (QWidget *w : std::as_const(widgets)) {
        texts << w->toolTip();
        if (auto *label = qobject_cast<QLabel *>(w))
            texts << label->text();
        if (auto *button = qobject_cast<QAbstractButton *>(w))
            texts << button->text();
        if (auto *group = qobject_cast<QGroupBox *>(w))
            texts << group->title();
        if (auto *combo = qobject_cast<QComboBox *>(w)) {
            texts << combo->placeholderText();
            for (int i = 0; i < combo->count(); ++i)
                texts << combo->itemText(i);
        }
        if (auto *line = qobject_cast<QLineEdit *>(w))
            texts << line->placeholderText();
        if (auto *tree = qobject_cast<QTreeWidget *>(w)) {
            for (int c = 0; c < tree->columnCount(); ++c)
                texts << tree->headerItem()->text(c);
            for (QTreeWidgetItemIterator it(tree); *it; ++it)
                for (int c = 0; c < tree->columnCount(); ++c)
                    texts << (*it)->text(c) << (*it)->toolTip(c);
        }
        if (auto *table = qobject_cast<QTableWidget *>(w)) {
            for (int c = 0; c < table->columnCount(); ++c)
                texts << (table->horizontalHeaderItem(c) ? table->horizontalHeaderItem(c)->text() : QString());
            for (int r = 0; r < table->rowCount(); ++r)
                for (int c = 0; c < table->columnCount(); ++c)
                    texts << (table->item(r, c) ? table->item(r, c)->text() : QString());
        }
    }
    QStringList chinese;
    for (const QString &text : std::as_const(texts))
        if (hasChinese(text))
            chinese << text;
    chinese.removeDuplicates();
    return chinese;
}

double le64(const QByteArray &d, int offset)
{
    return qFromLittleEndian<double>(d.constData() + offset);
}

} // namespace

class TestControlWiring : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void tabsReachTheSimulator();
    void tabsFollowALanguageSwitch();

private:
    bool connectStation();

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<FakeXPlane> m_sim;
    std::unique_ptr<QWidget> m_host;
    MainWindow *m_window = nullptr;
};

void TestControlWiring::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_dir = std::make_unique<QTemporaryDir>();
    m_sim = std::make_unique<FakeXPlane>();
    const QString settingsPath = m_dir->filePath(QStringLiteral("Zobrel.ini"));
    {
        QSettings settings(settingsPath, QSettings::IniFormat);
        settings.setValue(SimBackendManager::kAutoConnectKey, false);
        settings.setValue(SimBackendManager::kXPlaneHostKey, QStringLiteral("127.0.0.1"));
        settings.setValue(SimBackendManager::kXPlanePortKey, m_sim->port());
        settings.setValue(SimBackendManager::kXPlaneLocalPortKey, 0);
    }
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_window = new MainWindow(settingsPath, m_host.get());
    m_window->setWindowFlags(Qt::Widget);
    m_window->findChild<MapTab *>()->setMapStyle(MapWidget::DarkPlain); // no tile traffic
    m_host->resize(1280, 800);
    m_host->show();
    m_window->show();
    // The sample navigation data loads in the background.
    QTRY_VERIFY_WITH_TIMEOUT(!m_window->navDataProvider()->runways(QStringLiteral("ZSPD")).isEmpty(), 10000);
}

void TestControlWiring::cleanup()
{
    m_host.reset();
    m_sim.reset();
    m_dir.reset();
}

bool TestControlWiring::connectStation()
{
    m_window->backendManager()->connectTo(SimType::XPlane12);
    if (!QTest::qWaitFor([this] { return m_sim->clientPort() != 0; }, 5000))
        return false;
    m_sim->reply({{0, 31.15f}, {1, 121.80f}, {2, 4.0f}, {8, 344.0f}});
    return QTest::qWaitFor([this] { return m_window->backendManager()->isConnected(); }, 5000);
}

void TestControlWiring::tabsReachTheSimulator()
{
    QVERIFY(connectStation());
    ControlServices *controls = m_window->controls();

    // Aircraft tab: a short final on ZSPD 35L arrives as one PREL at the geometry's point.
    AircraftTab *aircraft = controls->aircraftTab();
    m_window->tabs()->setCurrentWidget(aircraft);
    QVERIFY(aircraft->setAirport(QStringLiteral("zspd")));
    aircraft->setPreset(AircraftTab::ShortFinal);
    auto *runway = aircraft->findChild<QComboBox *>(QStringLiteral("runway"));
    runway->setCurrentIndex(runway->findData(QStringLiteral("35L")));
    QTest::mouseClick(aircraft->findChild<QPushButton *>(QStringLiteral("applyPosition")), Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(m_sim->receivedOfType("PREL").size(), 1, 3000);
    RunwayRecord rwy;
    for (const RunwayRecord &record : m_window->navDataProvider()->runways(QStringLiteral("ZSPD")))
        if (record.ident == QLatin1String("35L"))
            rwy = record;
    const PositionResult expected = controls->positioning()->calcFinalPosition(
        rwy.lat, rwy.lon, rwy.heading, m_window->navDataProvider()->airport(QStringLiteral("ZSPD")).elevation, 3, 0);
    const QByteArray prel = m_sim->receivedOfType("PREL").first();
    QVERIFY(std::abs(le64(prel, 29) - expected.lat) < 1e-9);
    QVERIFY(std::abs(le64(prel, 37) - expected.lon) < 1e-9);
    QVERIFY(std::abs(le64(prel, 45) - expected.alt * 0.3048) < 1e-6);
    QVERIFY(aircraft->findChild<QLabel *>(QStringLiteral("positionResult"))
                ->text()
                .startsWith(QStringLiteral("35L Final 3.0nm")));

    // The map's "position here": free coordinates at the point, the aircraft's altitude.
    emit m_window->findChild<MapWidget *>()->positionHereRequested(31.3, 121.6);
    QTRY_COMPARE_WITH_TIMEOUT(m_sim->receivedOfType("PREL").size(), 2, 3000);
    QVERIFY(std::abs(le64(m_sim->receivedOfType("PREL").last(), 29) - 31.3) < 1e-9);
    QVERIFY(std::abs(le64(m_sim->receivedOfType("PREL").last(), 45) - 4.0) < 1e-3);

    // Failures tab: a preset writes its failure.
    FailuresTab *failures = controls->failuresTab();
    m_window->tabs()->setCurrentWidget(failures);
    auto *preset = failures->findChild<QComboBox *>(QStringLiteral("failurePreset"));
    preset->setCurrentIndex(preset->findData(QStringLiteral("单发故障")));
    QTest::mouseClick(failures->findChild<QPushButton *>(QStringLiteral("loadFailurePreset")), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!m_sim->drefWrites().isEmpty(), 3000);
    QCOMPARE(m_sim->drefWrites(), (QList<QPair<QString, float>>{{"sim/operation/failures/rel_engfai0", 6.0f}}));
    QCOMPARE(controls->failures()->failure(QStringLiteral("engine1")).state, 2);
    // X-Plane 12 has no dataref for the avionics bus failure: marked in the catalogue, never written.
    QStringList marked;
    auto *tree = failures->findChild<QTreeWidget *>(QStringLiteral("failureCatalogue"));
    for (QTreeWidgetItemIterator it(tree); *it; ++it)
        if (!(*it)->text(3).isEmpty())
            marked << (*it)->text(0);
    QCOMPARE(marked, QStringList{QStringLiteral("航电总线失效")});

    // Fuel tab: the simulator reports 3000 kg in two tanks (40/60 %), holding 600 and 900 kg;
    // the half preset writes half of each tank's mass.
    FuelTab *fuel = controls->fuelTab();
    m_window->tabs()->setCurrentWidget(fuel);
    m_sim->clearReceived();
    QList<FakeXPlane::Record> report{{130, 3000.0f}, {92, 600.0f}, {93, 900.0f}};
    for (int i = 0; i < 9; ++i)
        report.append({131 + i, i == 0 ? 0.4f : i == 1 ? 0.6f : 0.0f});
    m_sim->reply(report);
    m_sim->reply({{92, 600.0f}, {93, 900.0f}});
    QTRY_COMPARE_WITH_TIMEOUT(controls->fuel()->fuelPercent(), 50, 3000);
    QCOMPARE(fuel->findChild<QTableWidget *>(QStringLiteral("tanks"))->rowCount(), 2);
    auto *fuelPreset = fuel->findChild<QComboBox *>(QStringLiteral("fuelPreset"));
    fuelPreset->setCurrentIndex(fuelPreset->findData(QStringLiteral("__full")));
    QTest::mouseClick(fuel->findChild<QPushButton *>(QStringLiteral("applyFuelPreset")), Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(m_sim->drefWrites().size(), 9, 3000);
    const QList<QPair<QString, float>> writes = m_sim->drefWrites();
    QCOMPARE(writes[0].first, QStringLiteral("sim/flightmodel/weight/m_fuel[0]"));
    QVERIFY(std::abs(writes[0].second - 1200.0f) < 0.1f);
    QCOMPARE(writes[1].first, QStringLiteral("sim/flightmodel/weight/m_fuel[1]"));
    QVERIFY(std::abs(writes[1].second - 1800.0f) < 0.1f);
    QCOMPARE(writes[8].second, 0.0f);
}

void TestControlWiring::tabsFollowALanguageSwitch()
{
    ControlServices *controls = m_window->controls();
    controls->failures()->triggerFailure(QStringLiteral("engine1"));
    controls->fuel()->setTanks(
        {{QStringLiteral("Left Main"), 100, 50, 0.5}, {QStringLiteral("Right Main"), 100, 50, 0.5}});
    const QList<QWidget *> tabs{controls->aircraftTab(), controls->failuresTab(), controls->fuelTab()};
    for (QWidget *tab : tabs)
        QVERIFY2(!visibleTexts(tab).isEmpty(), qPrintable(tab->objectName())); // Chinese to begin with

    QTranslator translator;
    QVERIFY(translator.load(translationResource(QStringLiteral("en_US"))));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    QCoreApplication::processEvents();
    QStringList left;
    for (QWidget *tab : tabs)
        left << visibleTexts(tab);
    QCOMPARE(m_window->tabs()->tabText(m_window->tabs()->indexOf(controls->failuresTab())), QStringLiteral("Failures"));
    QCoreApplication::removeTranslator(&translator);
    QVERIFY2(left.isEmpty(), qPrintable(left.join(QLatin1String(" | "))));
    QCoreApplication::processEvents();
    QVERIFY(visibleTexts(controls->failuresTab()).contains(QStringLiteral("正常")));
}

QTEST_MAIN(TestControlWiring)
#include "tst_controlwiring.moc"
