#include "app/log/applogger.h"
#include "app/navdatacontroller.h"
#include "nav/navdatafiles.h"
#include "nav/navdataprovider.h"
#include "tests/nav/navtestdb.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// Which navigation data the station shows: real databases by source, the sample set otherwise.
class TestNavDataController : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_ini;

    // A small real database whose one airport names the file it is in.
    QString makeDatabase(int source, const QString &icao)
    {
        const QString path = navDataFilePath(source, m_dir.path());
        QFile::remove(path);
        if (!navtest::createFullSchema(path))
            return {};
        DatabaseBuilder builder;
        if (!builder.executeSql(path, {QStringLiteral("INSERT INTO airports (icao, name, lat, lon, elevation) "
                                                      "VALUES ('%1', 'Test %1', 30.5, 120.5, 12)")
                                           .arg(icao)}))
            return {};
        return path;
    }

    void writeSettings(bool autoSwitch, int source)
    {
        QSettings settings(m_ini, QSettings::IniFormat);
        settings.setValue(kNavDataAutoSwitchKey, autoSwitch);
        settings.setValue(kNavDataSourceKey, source);
    }

    static bool logged(const QString &fragment)
    {
        for (const auto &entry : AppLogger::instance().recentEntries(50))
            if (entry.category == QLatin1String("NavData") && entry.message.contains(fragment))
                return true;
        return false;
    }

private slots:
    void init()
    {
        // "SQL error:" is the schema's deliberate first stop while the fixtures are built.
        QTest::failOnWarning(QRegularExpression("^(?!SQL error:).*"));
        testlog::failOnLoggedProblems();
        QVERIFY(m_dir.isValid());
        m_ini = m_dir.filePath(QStringLiteral("%1.ini").arg(QTest::currentTestFunction()));
        for (int i = 0; i < kNavDataSourceCount; ++i)
            QFile::remove(navDataFilePath(i, m_dir.path()));
        AppLogger::instance().clear();
    }

    void missingFileFallsBackToSampleData()
    {
        writeSettings(true, 0);
        NavDataProvider provider;
        provider.initializeOffline();
        NavDataController controller(&provider, m_ini, m_dir.path());
        QSignalSpy loaded(&controller, &NavDataController::dataLoaded);
        controller.refresh(SimType::None);
        QCOMPARE(loaded.count(), 1);
        QCOMPARE(loaded.first().first().toInt(), int(NavDataController::kSampleData));
        QVERIFY(!provider.airport("ZSPD").icao.isEmpty());
        QVERIFY(logged("using the built-in sample data"));
        // Asking again for the same missing source changes nothing.
        controller.refresh(SimType::None);
        QCOMPARE(loaded.count(), 1);
    }

    void loadsInBackgroundAndFollowsSimulator()
    {
        writeSettings(true, 0);
        const QString xp11 = makeDatabase(0, "XPEL");
        const QString xp12 = makeDatabase(1, "XPTW");
        QVERIFY(!xp11.isEmpty() && !xp12.isEmpty());
        NavDataProvider provider;
        provider.initializeOffline();
        NavDataController controller(&provider, m_ini, m_dir.path());
        QSignalSpy loaded(&controller, &NavDataController::dataLoaded);

        controller.refresh(SimType::None);
        QVERIFY(controller.isLoading());
        // A request during the load is served once it ends.
        controller.refresh(SimType::XPlane12);
        QTRY_COMPARE_WITH_TIMEOUT(loaded.count(), 2, 5000);
        QCOMPARE(loaded.at(0).at(0).toInt(), 0);
        QCOMPARE(loaded.at(1).at(0).toInt(), 1);
        QCOMPARE(loaded.at(1).at(1).toString(), xp12);
        QCOMPARE(provider.airport("XPTW").name, QStringLiteral("Test XPTW"));
        QVERIFY(provider.airport("XPEL").icao.isEmpty());

        // Already loaded: nothing happens.
        controller.refresh(SimType::XPlane12);
        QVERIFY(!controller.isLoading());

        // A fixed source ignores the simulator.
        writeSettings(false, 0);
        controller.refresh(SimType::XPlane12);
        QTRY_COMPARE_WITH_TIMEOUT(loaded.count(), 3, 5000);
        QVERIFY(!provider.airport("XPEL").icao.isEmpty());
    }

    void brokenFileKeepsWhatIsShown()
    {
        writeSettings(true, 0);
        const QString good = makeDatabase(0, "GOOD");
        QVERIFY(!good.isEmpty());
        QFile broken(navDataFilePath(1, m_dir.path()));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("this is not a database");
        broken.close();

        NavDataProvider provider;
        provider.initializeOffline();
        NavDataController controller(&provider, m_ini, m_dir.path());
        QSignalSpy loaded(&controller, &NavDataController::dataLoaded);
        controller.refresh(SimType::None);
        QTRY_COMPARE_WITH_TIMEOUT(loaded.count(), 1, 5000);

        testlog::expectLogged("NavData", "airports query failed: file is not a database");
        testlog::expectLogged("NavData", "could not be loaded; keeping the data loaded before");
        controller.refresh(SimType::XPlane12);
        QTRY_VERIFY_WITH_TIMEOUT(!controller.isLoading(), 5000);
        QCOMPARE(loaded.count(), 1);
        QCOMPARE(controller.loadedSource(), 0);
        QVERIFY(!provider.airport("GOOD").icao.isEmpty());
        QVERIFY(logged("keeping the data loaded before"));

        // With nothing loaded yet, a broken file leaves the sample data on the map.
        NavDataProvider fresh;
        fresh.initializeOffline();
        NavDataController second(&fresh, m_ini, m_dir.path());
        QSignalSpy secondLoaded(&second, &NavDataController::dataLoaded);
        testlog::expectLogged("NavData", "airports query failed: file is not a database");
        second.refresh(SimType::XPlane12);
        QTRY_COMPARE_WITH_TIMEOUT(secondLoaded.count(), 1, 5000);
        QCOMPARE(secondLoaded.first().first().toInt(), int(NavDataController::kSampleData));
        QVERIFY(!fresh.airport("ZSPD").icao.isEmpty());
    }

    void reloadPicksUpARebuiltFile()
    {
        writeSettings(false, 2);
        NavDataProvider provider;
        provider.initializeOffline();
        NavDataController controller(&provider, m_ini, m_dir.path());
        QSignalSpy loaded(&controller, &NavDataController::dataLoaded);
        controller.refresh(SimType::None);
        QCOMPARE(controller.loadedSource(), int(NavDataController::kSampleData));

        QVERIFY(!makeDatabase(2, "P3DA").isEmpty());
        controller.reload();
        QTRY_COMPARE_WITH_TIMEOUT(controller.loadedSource(), 2, 5000);
        QVERIFY(!provider.airport("P3DA").icao.isEmpty());
        QVERIFY(provider.airport("ZSPD").icao.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestNavDataController)
#include "tst_navdatacontroller.moc"
