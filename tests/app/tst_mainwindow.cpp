#include "app/aircraftdatafanout.h"
#include "app/mainwindow.h"
#include "recording/recordingdatabase.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "tests/fakes/fakexplane.h"
#include "tests/support/logexpect.h"
#include "ui/simstatuswidget.h"

#include <QLabel>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

// A consumer that counts what the fan-out hands it.
struct CountingConsumer : QObject
{
    QList<double> latitudes;
    void registerWith(AircraftDataFanOut *fanOut)
    {
        fanOut->addConsumer(this, [this](const AircraftData &data) { latitudes.append(data.lat); });
    }
};

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void eachConsumerGetsEachSampleOnce();
    void destroyedConsumerDropsOut();
    void backendSwitchKeepsSamplesSingleAndStatusCurrent();

private:
    void writeSettings(const QVariantMap &values);

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_settingsPath;
};

void TestMainWindow::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_dir = std::make_unique<QTemporaryDir>();
    m_settingsPath = m_dir->filePath(QStringLiteral("Zobrel.ini"));
    // Flights the connected backends record stay in the test's folder.
    writeSettings({{SimBackendManager::kAutoConnectKey, false},
                   {RecordingDatabaseConfig::kFileKey, m_dir->filePath(QStringLiteral("recordings.db"))}});
}

void TestMainWindow::writeSettings(const QVariantMap &values)
{
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        settings.setValue(it.key(), it.value());
}

void TestMainWindow::eachConsumerGetsEachSampleOnce()
{
    // Hosted in a plain window: a top-level with a layout gets its minimum size pushed to the
    // platform, which the offscreen platform answers with a warning.
    QWidget host;
    host.setAttribute(Qt::WA_DontShowOnScreen);
    MainWindow window(m_settingsPath, &host);
    window.setWindowFlags(Qt::Widget); // a main window is a window of its own unless told otherwise
    host.show();
    window.show();
    window.tabs()->setCurrentWidget(window.findChild<QWidget *>(QStringLiteral("liveDataTab")));
    CountingConsumer first, second, third;
    first.registerWith(window.aircraftDataFanOut());
    second.registerWith(window.aircraftDataFanOut());
    second.registerWith(window.aircraftDataFanOut()); // registering again must not double it
    third.registerWith(window.aircraftDataFanOut());

    const QList<double> sent{1, 2, 3, 4, 5};
    for (const double lat : sent) {
        AircraftData sample;
        sample.lat = lat;
        emit window.backendManager()->aircraftDataChanged(sample);
    }

    QCOMPARE(first.latitudes, sent);
    QCOMPARE(second.latitudes, sent);
    QCOMPARE(third.latitudes, sent);
    // The window's own consumer, the live-data tab, got them as well.
    QCOMPARE(window.findChild<QLabel *>(QStringLiteral("lat"))->text(), QStringLiteral("5.000000° N"));
}

void TestMainWindow::destroyedConsumerDropsOut()
{
    MainWindow window(m_settingsPath);
    AircraftDataFanOut *fanOut = window.aircraftDataFanOut();
    const int before = fanOut->consumerCount();
    CountingConsumer kept;
    kept.registerWith(fanOut);
    auto *gone = new CountingConsumer;
    gone->registerWith(fanOut);
    QCOMPARE(fanOut->consumerCount(), before + 2);

    delete gone;
    QCOMPARE(fanOut->consumerCount(), before + 1);
    emit window.backendManager()->aircraftDataChanged(AircraftData());
    QCOMPARE(kept.latitudes.size(), 1);
}

void TestMainWindow::backendSwitchKeepsSamplesSingleAndStatusCurrent()
{
    FakeXPlane simulator;
    QVERIFY(simulator.isBound());
    writeSettings({{SimBackendManager::kXPlaneHostKey, "127.0.0.1"},
                   {SimBackendManager::kXPlanePortKey, simulator.port()},
                   {SimBackendManager::kXPlaneLocalPortKey, 0}});
    MainWindow window(m_settingsPath);
    auto *status = window.findChild<SimStatusWidget *>();
    QVERIFY(status);
    CountingConsumer consumer;
    consumer.registerWith(window.aircraftDataFanOut());
    const QString latitude = QStringLiteral("sim/flightmodel/position/latitude");

    window.backendManager()->connectTo(SimType::XPlane11);
    QCOMPARE(status->simType(), SimType::XPlane11);
    QCOMPARE(status->state(), SimStatusWidget::State::Connecting);
    QVERIFY(FakeXPlane::waitFor([&] { return simulator.subscription(latitude).has_value(); }));
    const FakeXPlane::Subscription first = *simulator.subscription(latitude);
    simulator.reply({{first.index, 47.5f}}, first.fromPort);
    QTRY_COMPARE_WITH_TIMEOUT(consumer.latitudes, QList<double>{47.5}, 5000);
    QCOMPARE(status->state(), SimStatusWidget::State::Connected);

    // A new backend replaces the old one; its samples must not arrive twice.
    window.backendManager()->connectTo(SimType::XPlane12);
    QCOMPARE(status->simType(), SimType::XPlane12);
    QCOMPARE(status->state(), SimStatusWidget::State::Connecting);
    QVERIFY(FakeXPlane::waitFor([&] { return simulator.subscription(latitude, first.fromPort).has_value(); }));
    const FakeXPlane::Subscription second = *simulator.subscription(latitude, first.fromPort);
    simulator.reply({{second.index, 48.5f}}, second.fromPort);
    simulator.reply({{second.index, 49.5f}}, second.fromPort);
    QTRY_COMPARE_WITH_TIMEOUT(consumer.latitudes, (QList<double>{47.5, 48.5, 49.5}), 5000);
    QCOMPARE(status->state(), SimStatusWidget::State::Connected);

    window.backendManager()->disconnect();
    QCOMPARE(status->state(), SimStatusWidget::State::Disconnected);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
