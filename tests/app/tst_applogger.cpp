#include "app/log/applogger.h"

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

class TestAppLogger : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        AppLogger::instance().setLevel(AppLogger::Debug);
        AppLogger::instance().clear();
    }

    void cleanupTestCase() { AppLogger::instance().setLevel(AppLogger::Info); }

    void entriesBelowLevelLeaveNoTrace()
    {
        AppLogger &log = AppLogger::instance();
        QTemporaryDir dir;
        const QString path = dir.filePath("below.log");
        log.setLogToFile(path);
        log.setLevel(AppLogger::Warning);
        QSignalSpy added(&log, &AppLogger::entryAdded);
        log.log(AppLogger::Info, "Main", "quiet");
        log.log(AppLogger::Debug, "Main", "quieter");
        QCOMPARE(added.count(), 0);
        QCOMPARE(log.recentEntries(100).size(), 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray());

        log.log(AppLogger::Warning, "Main", "loud");
        QCOMPARE(added.count(), 1);
        QCOMPARE(log.recentEntries(100).size(), 1);
        log.setLogToFile(QString());
    }

    void lineFormatKeepsMessageVerbatim_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("tail");
        QTest::newRow("warn word") << int(AppLogger::Warning) << "bind failed"
                                   << "[WARN] [XPlane] bind failed";
        QTest::newRow("placeholders") << int(AppLogger::Info) << "%1 %2 %4"
                                      << "[INFO] [XPlane] %1 %2 %4";
        QTest::newRow("debug") << int(AppLogger::Debug) << "x"
                               << "[DEBUG] [XPlane] x";
        QTest::newRow("error chinese") << int(AppLogger::Error) << QString::fromUtf8("连接失败 %1")
                                       << QString::fromUtf8("[ERROR] [XPlane] 连接失败 %1");
    }

    void lineFormatKeepsMessageVerbatim()
    {
        QFETCH(int, level);
        QFETCH(QString, message);
        QFETCH(QString, tail);
        AppLogger &log = AppLogger::instance();
        QTemporaryDir dir;
        const QString path = dir.filePath("format.log");
        log.setLogToFile(path);
        log.log(AppLogger::Level(level), "XPlane", message);
        log.setLogToFile(QString());

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString line = QString::fromUtf8(file.readAll());
        const QRegularExpression shape(QStringLiteral("^\\[\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d\\] (.*)\\n$"));
        const auto match = shape.match(line);
        QVERIFY2(match.hasMatch(), qPrintable(line));
        QCOMPARE(match.captured(1), tail);
        QCOMPARE(log.recentEntries(1).first().message, message);
    }

    void capKeepsNewest2000()
    {
        AppLogger &log = AppLogger::instance();
        for (int i = 1; i <= 2001; ++i)
            log.log(AppLogger::Debug, "Cap", QString::number(i));
        const auto all = log.recentEntries(5000);
        QCOMPARE(all.size(), 2000);
        QCOMPARE(all.first().message, QStringLiteral("2"));
        QCOMPARE(all.last().message, QStringLiteral("2001"));
        const auto last10 = log.recentEntries(10);
        QCOMPARE(last10.size(), 10);
        QCOMPARE(last10.first().message, QStringLiteral("1992"));
        QCOMPARE(last10.last().message, QStringLiteral("2001"));
        QCOMPARE(log.recentEntries(0).size(), 0);
    }

    void reopeningTruncates()
    {
        AppLogger &log = AppLogger::instance();
        QTemporaryDir dir;
        const QString path = dir.filePath("run.log");
        log.setLogToFile(path);
        log.log(AppLogger::Info, "Main", "first run");
        log.setLogToFile(path);
        log.log(AppLogger::Info, "Main", "second run");
        log.setLogToFile(QString());
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        QVERIFY(!text.contains("first run"));
        QCOMPARE(text.count('\n'), 1);
        QVERIFY(text.contains("second run"));
    }

    // A slot that logs again must not deadlock, and entries from other threads all arrive.
    void reentrantAndThreadSafe()
    {
        AppLogger &log = AppLogger::instance();
        int echoes = 0;
        auto connection = QObject::connect(
            &log, &AppLogger::entryAdded, &log,
            [&](const AppLogger::Entry &e) {
                if (e.category == "Ping") {
                    ++echoes;
                    AppLogger::instance().log(AppLogger::Info, "Echo", e.message);
                }
            },
            Qt::DirectConnection);

        QList<QThread *> threads;
        for (int t = 0; t < 4; ++t) {
            threads << QThread::create([t] {
                for (int i = 0; i < 100; ++i)
                    AppLogger::instance().log(AppLogger::Info, "Ping", QStringLiteral("%1-%2").arg(t).arg(i));
            });
            threads.last()->start();
        }
        for (QThread *thread : threads) {
            QVERIFY(thread->wait(10000));
            delete thread;
        }
        QObject::disconnect(connection);
        QCOMPARE(echoes, 400);
        const auto entries = log.recentEntries(2000);
        QCOMPARE(entries.size(), 800);
        int pings = 0;
        for (const auto &e : entries)
            pings += e.category == "Ping";
        QCOMPARE(pings, 400);
    }
};

QTEST_GUILESS_MAIN(TestAppLogger)
#include "tst_applogger.moc"
