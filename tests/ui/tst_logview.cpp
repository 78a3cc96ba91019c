#include "ui/logview.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <memory>

class TestLogView : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void showsRecentEntriesAndAppendsNewOnes();
    void filtersByMinimumLevel_data();
    void filtersByMinimumLevel();
    void entryFromAnotherThreadArrives();
    void clearEmptiesViewAndLog();

private:
    static QString shownText(const LogView &view) { return view.findChild<QPlainTextEdit *>()->toPlainText(); }
    static void log(AppLogger::Level level, const QString &message)
    {
        AppLogger::instance().log(level, QStringLiteral("Test"), message);
    }
};

void TestLogView::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    AppLogger::instance().setLevel(AppLogger::Debug);
    AppLogger::instance().clear();
}

void TestLogView::showsRecentEntriesAndAppendsNewOnes()
{
    log(AppLogger::Info, QStringLiteral("before one"));
    log(AppLogger::Warning, QStringLiteral("before two"));
    LogView view(AppLogger::instance());
    log(AppLogger::Error, QStringLiteral("after"));

    const QStringList lines = shownText(view).split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines[0].endsWith(QStringLiteral("[INFO] [Test] before one")));
    QVERIFY(lines[1].endsWith(QStringLiteral("[WARN] [Test] before two")));
    QVERIFY(lines[2].endsWith(QStringLiteral("[ERROR] [Test] after")));
}

void TestLogView::filtersByMinimumLevel_data()
{
    QTest::addColumn<AppLogger::Level>("minimum");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("debug") << AppLogger::Debug << QStringList{"d1", "i1", "w1", "e1", "d2", "w2"};
    QTest::newRow("info") << AppLogger::Info << QStringList{"i1", "w1", "e1", "w2"};
    QTest::newRow("warning") << AppLogger::Warning << QStringList{"w1", "e1", "w2"};
    QTest::newRow("error") << AppLogger::Error << QStringList{"e1"};
}

void TestLogView::filtersByMinimumLevel()
{
    QFETCH(AppLogger::Level, minimum);
    QFETCH(QStringList, expected);

    log(AppLogger::Debug, QStringLiteral("d1"));
    log(AppLogger::Info, QStringLiteral("i1"));
    LogView view(AppLogger::instance());
    log(AppLogger::Warning, QStringLiteral("w1"));
    log(AppLogger::Error, QStringLiteral("e1"));

    // Entries arriving while filtered are kept and shown again when the filter is relaxed.
    view.setMinimumLevel(AppLogger::Error);
    log(AppLogger::Debug, QStringLiteral("d2"));
    view.setMinimumLevel(minimum);
    log(AppLogger::Warning, QStringLiteral("w2"));

    QStringList shown;
    for (const QString &line : shownText(view).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        shown.append(line.section(QLatin1Char(' '), -1));
    QCOMPARE(shown, expected);
}

void TestLogView::entryFromAnotherThreadArrives()
{
    LogView view(AppLogger::instance());
    std::unique_ptr<QThread> worker(QThread::create([] { log(AppLogger::Info, QStringLiteral("from worker")); }));
    worker->start();
    QVERIFY(worker->wait(5000));
    QTRY_VERIFY_WITH_TIMEOUT(shownText(view).contains(QStringLiteral("[Test] from worker")), 5000);
    QCOMPARE(shownText(view).count(QStringLiteral("from worker")), 1);
}

void TestLogView::clearEmptiesViewAndLog()
{
    log(AppLogger::Info, QStringLiteral("old"));
    LogView view(AppLogger::instance());
    view.findChild<QPushButton *>(QStringLiteral("clearLog"))->click();
    QVERIFY(shownText(view).isEmpty());
    QVERIFY(AppLogger::instance().recentEntries(10).isEmpty());
    log(AppLogger::Info, QStringLiteral("new"));
    QVERIFY(shownText(view).endsWith(QStringLiteral("[INFO] [Test] new")));
}

QTEST_MAIN(TestLogView)
#include "tst_logview.moc"
