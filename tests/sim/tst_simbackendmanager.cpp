#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimworld.h"
#include "sim/simdetector.h"
#include "tests/fakes/fakexplane.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QSysInfo>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

Q_DECLARE_METATYPE(ISimBackend *)

namespace {

SimBackendManager::Timings fastTimings()
{
    SimBackendManager::Timings t;
    t.autoConnectDelayMs = 50;
    t.detectIntervalMs = 100;
    t.reconnectIntervalMs = 200;
    return t;
}

// Plays the bridge helper: greets every client that connects.
class BridgePeer : public QObject
{
public:
    BridgePeer()
    {
        server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *client = server.nextPendingConnection()) {
                clients << client;
                client->write("{\"type\":\"connected\",\"app\":\"Lockheed Martin Prepar3D v5\"}\n");
            }
        });
    }
    QTcpServer server;
    QList<QTcpSocket *> clients;
};

} // namespace

class TestSimBackendManager : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_ini;
    QString m_processList;

    std::unique_ptr<SimBackendManager> makeManager(const QString &helperDir = QString())
    {
        return std::make_unique<SimBackendManager>(
            m_ini, fastTimings(), [this] { return m_processList; }, helperDir.isEmpty() ? m_dir.path() : helperDir);
    }

    void writeSettings(const QVariantMap &values)
    {
        QSettings settings(m_ini, QSettings::IniFormat);
        for (auto it = values.begin(); it != values.end(); ++it)
            settings.setValue(it.key(), it.value());
    }

private slots:
    void initTestCase() { qRegisterMetaType<ISimBackend *>(); }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        QVERIFY(m_dir.isValid());
        m_ini = m_dir.filePath(QStringLiteral("Zobrel-%1.ini").arg(QTest::currentTestFunction()));
        QFile::remove(m_ini);
        m_processList.clear();
        writeSettings({{"autoConnect", false}});
    }

    void detection_data()
    {
        QTest::addColumn<QString>("processes");
        QTest::addColumn<QList<SimType>>("expected");
        QTest::newRow("nothing") << "explorer.exe\nbash" << QList<SimType>{};
        QTest::newRow("x-plane 12 only") << "\"X-Plane 12.exe\",\"4412\",\"Console\",\"1\",\"2,100,000 K\""
                                         << QList<SimType>{SimType::XPlane12};
        QTest::newRow("x-plane12 no space") << "/opt/X-Plane12/X-Plane-x86_64" << QList<SimType>{SimType::XPlane12};
        QTest::newRow("x-plane 11 any case")
            << "x-plane-x86_64\t/home/a/X-Plane 11/x-plane-x86_64" << QList<SimType>{SimType::XPlane11};
        QTest::newRow("lowest first") << "X-Plane.exe\nFlightSimulator.exe\nfsx.exe"
                                      << QList<SimType>{SimType::Msfs2020, SimType::Fsx, SimType::XPlane11};
        QTest::newRow("msfs 2024 under proton")
            << "FlightSimulator2024.exe\tZ:\\\\FlightSimulator2024.exe" << QList<SimType>{SimType::Msfs2024};
        QTest::newRow("prepar3d once") << "Prepar3D.exe\nprepar3d helper" << QList<SimType>{SimType::Prepar3D};
    }

    void detection()
    {
        QFETCH(QString, processes);
        QFETCH(QList<SimType>, expected);
        m_processList = processes;
        SimDetector detector([this] { return m_processList; });
        QCOMPARE(detector.detect(), expected);

        QSignalSpy changed(&detector, &SimDetector::simulatorsChanged);
        detector.startWatching(20);
        // Emitted on every tick, changed or not.
        QTRY_VERIFY_WITH_TIMEOUT(changed.count() >= 2, 2000);
        QCOMPARE(changed.first().first().value<QList<SimType>>(), expected);
        detector.stopWatching();
    }

    void autoConnectPicksLowestAndKeepsRetryingUnreachable()
    {
        writeSettings({{"autoConnect", true}});
        m_processList = "X-Plane.exe\nFlightSimulator.exe";
        auto manager = makeManager();
        // MSFS is listed as running, but its SimConnect does not answer.
        FakeSimWorld world(SimType::Msfs2020);
        world.setRunning(false);
        manager->setSimConnectPortFactory([&world](SimType) { return std::make_unique<FakeSimConnect>(&world); });
        QSignalSpy changed(manager.get(), &SimBackendManager::backendChanged);
        QSignalSpy failed(manager.get(), &SimBackendManager::connectionFailed);

        QVERIFY(failed.wait(2000));
        QCOMPARE(manager->currentSimType(), SimType::Msfs2020);
        QVERIFY(failed.first().first().toString().contains("not running"));
        QVERIFY(!manager->isConnected());
        // The failure counts as a loss: null backend, then a fresh attempt on the next tick.
        QTRY_VERIFY_WITH_TIMEOUT(failed.count() >= 2, 2000);
        QVERIFY(changed.count() >= 3);
        bool sawNull = false;
        for (const auto &args : changed)
            sawNull |= args.first().value<ISimBackend *>() == nullptr;
        QVERIFY(sawNull);
        QCOMPARE(manager->currentSimType(), SimType::Msfs2020);
        // Once the simulator answers, the next attempt connects.
        world.setRunning(true);
        QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 3000);
        QCOMPARE(manager->currentSimType(), SimType::Msfs2020);
        manager.reset();
    }

    void connectToNoneUsesLastSimType_data()
    {
        QTest::addColumn<QString>("saved");
        QTest::addColumn<SimType>("expected");
        QTest::newRow("nothing saved") << QString() << SimType::XPlane11;
        QTest::newRow("default name") << "xplane" << SimType::XPlane11;
        QTest::newRow("xplane12") << "xplane12" << SimType::XPlane12;
        QTest::newRow("p3d") << "p3d" << SimType::Prepar3D;
        QTest::newRow("fsx") << "fsx" << SimType::Fsx;
        QTest::newRow("msfs2024") << "msfs2024" << SimType::Msfs2024;
        QTest::newRow("garbage") << "flightgear" << SimType::XPlane11;
    }

    void connectToNoneUsesLastSimType()
    {
        QFETCH(QString, saved);
        QFETCH(SimType, expected);
        if (!saved.isEmpty())
            writeSettings({{"lastSimType", saved}});
        // Keep the links local and idle: unused ports, no helper.
        writeSettings({{"xplaneLocalPort", 0}, {"bridgePort", 1}});
        auto manager = makeManager();
        QSignalSpy changed(manager.get(), &SimBackendManager::backendChanged);
        if (expected == SimType::Fsx || expected == SimType::Prepar3D)
            testlog::expectLogged(QStringLiteral("SimManager"), QStringLiteral("Bridge helper not found"));
        manager->connectTo(SimType::None);
        QCOMPARE(manager->currentSimType(), expected);
        QVERIFY(changed.count() >= 1);
        auto *backend = changed.first().first().value<ISimBackend *>();
        QVERIFY(backend);
        // The bridge client learns P3D or FSX from the helper's greeting; the others know at once.
        if (expected != SimType::Fsx && expected != SimType::Prepar3D)
            QCOMPARE(backend->simType(), expected);
        manager->disconnect();
    }

    void bridgeHelperArguments_data()
    {
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("arguments");
        QTest::newRow("default port") << 48448 << QString();
        QTest::newRow("other port") << 50000 << QStringLiteral("50000");
    }

    // The helper is a real program in the helper folder that records how it was started.
    void bridgeHelperArguments()
    {
        QFETCH(int, port);
        QFETCH(QString, arguments);
        if (QSysInfo::productType() == QLatin1String("windows"))
            QSKIP("The recording helper is a shell script");
        QTemporaryDir helperDir;
        const QString record = helperDir.filePath("args.txt");
        QFile script(helperDir.filePath("simconnect-bridge"));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(QStringLiteral("#!/bin/sh\necho \"$#:$*\" > '%1.tmp' && mv '%1.tmp' '%1'\n").arg(record).toUtf8());
        script.close();
        script.setPermissions(script.permissions() | QFileDevice::ExeOwner);

        writeSettings({{"bridgePort", port}});
        auto manager = makeManager(helperDir.path());
        manager->connectTo(SimType::Fsx);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(record), 5000);
        QFile result(record);
        QVERIFY(result.open(QIODevice::ReadOnly));
        const QString expected = arguments.isEmpty() ? QStringLiteral("0:") : QStringLiteral("1:") + arguments;
        QCOMPARE(QString::fromUtf8(result.readAll()).trimmed(), expected);
        manager->disconnect();
        QTest::qWait(0);
    }

    // Connected: detection stops, lastSimType is saved, and later ticks never swap the backend.
    void connectedBackendIsKept()
    {
        // Answers every RREF subscription at once with one record for its index, as X-Plane does.
        FakeXPlane peer;
        peer.setAnswer([](const FakeXPlane::Subscription &) { return 31.0f; });
        writeSettings({{"xplanePort", peer.port()}, {"xplaneLocalPort", 0}});
        m_processList = "X-Plane.exe";
        auto manager = makeManager();
        QSignalSpy changed(manager.get(), &SimBackendManager::backendChanged);
        QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
        manager->connectTo(SimType::XPlane11);
        QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 3000);
        QVERIFY(samples.count() >= 1);
        QCOMPARE(manager->aircraftData().lat, 31.0);
        QVERIFY(!manager->detector()->isWatching());
        QCOMPARE(QSettings(m_ini, QSettings::IniFormat).value("lastSimType").toString(), QStringLiteral("xplane11"));

        // Even a lower simulator appearing does not replace a live link.
        m_processList = "X-Plane.exe\nFlightSimulator.exe";
        const int before = changed.count();
        QTest::qWait(400);
        QCOMPARE(changed.count(), before);
        QVERIFY(manager->isConnected());
        manager->onSimulatorsChanged({SimType::XPlane11});
        QCOMPARE(changed.count(), before);
        manager->onSimulatorsChanged({});
        QCOMPARE(changed.count(), before);
        QVERIFY(manager->isConnected());
    }

    // The helper drops the link; the manager reports the loss and reconnects by itself.
    void reconnectsAfterLoss()
    {
        BridgePeer peer;
        writeSettings({{"bridgePort", peer.server.serverPort()}});
        auto manager = makeManager();
        QSignalSpy changed(manager.get(), &SimBackendManager::backendChanged);
        // No helper program here: each attempt says so and connects to the peer standing in for it.
        testlog::expectLogged(QStringLiteral("SimManager"), QStringLiteral("Bridge helper not found"));
        testlog::expectLogged(QStringLiteral("SimManager"), QStringLiteral("Bridge helper not found"));
        manager->connectTo(SimType::Prepar3D);
        QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 3000);
        QCOMPARE(QSettings(m_ini, QSettings::IniFormat).value("lastSimType").toString(), QStringLiteral("p3d"));

        changed.clear();
        peer.clients.first()->disconnectFromHost();
        QTRY_VERIFY_WITH_TIMEOUT(!manager->isConnected(), 3000);
        QTRY_VERIFY_WITH_TIMEOUT(!changed.isEmpty(), 1000);
        QCOMPARE(changed.first().first().value<ISimBackend *>(), nullptr);
        QVERIFY(manager->detector()->isWatching());

        QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 3000);
        QCOMPARE(peer.clients.size(), 2);
        // The helper is not in the (empty) process list; the type still comes back from the link.
        QCOMPARE(manager->currentSimType(), SimType::Prepar3D);
        QCOMPARE(QSettings(m_ini, QSettings::IniFormat).value("lastSimType").toString(), QStringLiteral("p3d"));
        QVERIFY(!manager->detector()->isWatching());
    }

    // Detection and the reconnect timer firing together after a loss start one attempt, not two.
    void oneAttemptAtATimeAfterLoss()
    {
        BridgePeer peer;
        writeSettings({{"bridgePort", peer.server.serverPort()}});
        m_processList = "Prepar3D.exe";
        SimBackendManager::Timings timings = fastTimings();
        timings.detectIntervalMs = 200;
        timings.reconnectIntervalMs = 200;
        SimBackendManager manager(
            m_ini, timings, [this] { return m_processList; }, m_dir.path());
        testlog::expectLogged(QStringLiteral("SimManager"), QStringLiteral("Bridge helper not found"));
        testlog::expectLogged(QStringLiteral("SimManager"), QStringLiteral("Bridge helper not found"));
        manager.connectTo(SimType::Prepar3D);
        QTRY_VERIFY_WITH_TIMEOUT(manager.isConnected(), 3000);
        QCOMPARE(peer.clients.size(), 1);

        peer.clients.first()->disconnectFromHost();
        QTRY_VERIFY_WITH_TIMEOUT(!manager.isConnected(), 3000);
        QTRY_VERIFY_WITH_TIMEOUT(manager.isConnected(), 3000);
        QTest::qWait(600); // further ticks of both timers
        QCOMPARE(peer.clients.size(), 2);
        QVERIFY(manager.isConnected());
        manager.disconnect();
    }

    void operatorDisconnectStaysDisconnected()
    {
        BridgePeer peer;
        writeSettings({{"bridgePort", peer.server.serverPort()}});
        m_processList = "Prepar3D.exe";
        auto manager = makeManager();
        testlog::expectLogged(QStringLiteral("SimManager"), QStringLiteral("Bridge helper not found"));
        manager->connectTo(SimType::Prepar3D);
        QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 3000);
        QSignalSpy changed(manager.get(), &SimBackendManager::backendChanged);
        manager->disconnect();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().first().value<ISimBackend *>(), nullptr);
        QCOMPARE(manager->aircraftData().lat, 0.0);
        QTest::qWait(600);
        QVERIFY(!manager->isConnected());
        QCOMPARE(peer.clients.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestSimBackendManager)
#include "tst_simbackendmanager.moc"
