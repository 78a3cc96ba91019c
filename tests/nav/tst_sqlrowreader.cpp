#include "nav/navtexttable.h"
#include "nav/sqlconnection.h"
#include "nav/sqlrowreader.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

// Both ways of reading (the C API on the driver's handle, and plain Qt SQL) must give the same
// values for every storage class SQLite can hand back, and must report a damaged file.
class TestSqlRowReader : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    // utf16: the text encoding a build gives a new file.
    QString makeDatabase(const QString &name, const QStringList &statements, bool utf16 = false)
    {
        const QString path = m_dir.filePath(name);
        ScopedSqlConnection connection(QStringLiteral("make_%1").arg(name), path);
        if (!connection.open())
            return QString();
        QSqlQuery q(connection.database());
        if (utf16)
            q.exec(QStringLiteral("PRAGMA encoding='UTF-16le'"));
        for (const QString &sql : statements) {
            if (!q.exec(sql))
                return QString();
        }
        return path;
    }

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void nativeWhereBuilt()
    {
        ScopedSqlConnection connection(QStringLiteral("native"), m_dir.filePath(QStringLiteral("empty.db")));
        QVERIFY(connection.open());
        SqlRowReader best(connection.database());
        SqlRowReader portable(connection.database(), SqlRowReader::Access::QtSql);
#ifdef ZOBREL_SQLITE_NATIVE
        QVERIFY(best.isNative());
#else
        QVERIFY(!best.isNative());
#endif
        QVERIFY(!portable.isNative());
    }

    void valuesOfEveryStorageClass_data()
    {
        QTest::addColumn<SqlRowReader::Access>("access");
        QTest::addColumn<bool>("utf16");
        QTest::newRow("best") << SqlRowReader::Access::Best << false;
        QTest::newRow("qtsql") << SqlRowReader::Access::QtSql << false;
        QTest::newRow("best, UTF-16 file") << SqlRowReader::Access::Best << true;
        QTest::newRow("qtsql, UTF-16 file") << SqlRowReader::Access::QtSql << true;
    }
    void valuesOfEveryStorageClass()
    {
        QFETCH(SqlRowReader::Access, access);
        QFETCH(bool, utf16);
        // Column t has no affinity, so each row keeps the storage class it was given.
        const QString path = makeDatabase(
            QStringLiteral("values_%1_%2.db").arg(int(access)).arg(utf16),
            {QStringLiteral("CREATE TABLE v (id INTEGER, t, r REAL, n INTEGER)"),
             QStringLiteral("INSERT INTO v VALUES (1, 'ZSPD', 121.8052, 13), (2, 'ZSPD', -0.5, -7), "
                            "(3, NULL, NULL, NULL), (4, 42, 1e300, 2147483647), (5, '北京', 0, 0), (6, '', 3, 3)")},
            utf16);
        QVERIFY(!path.isEmpty());
        ScopedSqlConnection connection(QStringLiteral("values"), path);
        QVERIFY(connection.open());
        SqlRowReader rows(connection.database(), access);
        QVERIFY(rows.select(QStringLiteral("SELECT id, t, r, n FROM v ORDER BY id")));

        QStringList texts;
        QList<double> reals;
        QList<int> integers;
        QList<const QChar *> storage;
        NavTextTable table;
        QList<quint32> ids;
        while (rows.next()) {
            ids << rows.textId(1, table);
            const QString t = rows.text(1);
            texts << (t.isNull() ? QStringLiteral("<null>") : t);
            storage << t.constData();
            reals << rows.real(2);
            integers << rows.integer(3);
            QCOMPARE(rows.plainText(1), t.isNull() ? QString() : t);
        }
        QVERIFY2(!rows.failed(), qPrintable(rows.errorText()));
        QCOMPARE(texts, (QStringList{"ZSPD", "ZSPD", "<null>", "42", QString::fromUtf8("北京"), "<null>"}));
        QCOMPARE(reals, (QList<double>{121.8052, -0.5, 0.0, 1e300, 0.0, 3.0}));
        QCOMPARE(integers, (QList<int>{13, -7, 0, 2147483647, 0, 3}));
        // Equal texts of one column share their storage, and one id of the text table.
        QCOMPARE(storage[0], storage[1]);
        QCOMPARE(ids[0], ids[1]);
        QCOMPARE(ids[2], 0u);
        QCOMPARE(ids[5], 0u);
        QCOMPARE(QSet<quint32>(ids.begin(), ids.end()).size(), 4); // ZSPD, 42, 北京 and the empty text
        QCOMPARE(table.text(ids[4]), QString::fromUtf8("北京"));
        QCOMPARE(table.text(ids[3]), QStringLiteral("42"));
    }

    // The overlapped read copies every cell for the other thread and converts it there; it must
    // give exactly what reading the statement directly gives, across block boundaries.
    void overlappedReadGivesTheDirectValues_data()
    {
        valuesOfEveryStorageClass_data();
    }
    void overlappedReadGivesTheDirectValues()
    {
        QFETCH(SqlRowReader::Access, access);
        QFETCH(bool, utf16);
        const QString path = makeDatabase(
            QStringLiteral("overlap_%1_%2.db").arg(int(access)).arg(utf16),
            {QStringLiteral("CREATE TABLE v (id INTEGER, t, r REAL)"),
             QStringLiteral("INSERT INTO v VALUES (1, 'ZSPD', 1.5), (2, NULL, NULL), (3, 42, -7), (4, 3.0, 2.75), "
                            "(5, -0.5, 0), (6, ' 12.7 ', 1e15), (7, '北京', -2.5), (8, x'414243', 8)"),
             // Enough rows for several blocks, in a column of mixed storage classes.
             QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 9 UNION ALL SELECT i + 1 FROM n WHERE i < 7000) "
                            "INSERT INTO v SELECT i, CASE i % 3 WHEN 0 THEN printf('FIX%d', i % 50) WHEN 1 THEN i "
                            "ELSE i / 4.0 END, i * 0.25 FROM n")},
            utf16);
        QVERIFY(!path.isEmpty());
        ScopedSqlConnection connection(QStringLiteral("overlap"), path);
        QVERIFY(connection.open());

        const auto rowText = [](SqlRowReader &q) {
            QStringList cells;
            for (int c = 0; c < 3; ++c)
                cells << q.text(c) << q.plainText(c) << QString::number(q.real(c), 'g', 17)
                      << QString::number(q.integer(c));
            return cells.join(QLatin1Char('|'));
        };
        const QString sql = QStringLiteral("SELECT id, t, r FROM v ORDER BY id");
        QStringList direct;
        SqlRowReader first(connection.database(), access);
        QVERIFY(first.select(sql));
        while (first.next())
            direct << rowText(first);
        QVERIFY(!first.failed());

        QStringList overlapped;
        SqlRowReader second(connection.database(), access);
        QVERIFY(second.readAllOverlapped(sql, [&](SqlRowReader &q) { overlapped << rowText(q); }));
        QCOMPARE(overlapped.size(), 7000);
        for (int i = 0; i < direct.size(); ++i)
            QCOMPARE(overlapped.at(i), direct.at(i));
        QCOMPARE(direct.at(0), QStringLiteral("1|1|1|1|ZSPD|ZSPD|0|0|1.5|1.5|1.5|1"));
        QCOMPARE(direct.at(2).section(QLatin1Char('|'), 4, 7), QStringLiteral("42|42|42|42"));
        QCOMPARE(direct.at(5).section(QLatin1Char('|'), 6, 7), QStringLiteral("12.699999999999999|12"));

        // A failing statement reports like a direct one and never calls back.
        bool called = false;
        QVERIFY(
            !second.readAllOverlapped(QStringLiteral("SELECT nothing FROM v"), [&](SqlRowReader &) { called = true; }));
        QVERIFY(second.failed());
        QVERIFY(!called);
    }

    void poolsOutliveStatements()
    {
        const QString path =
            makeDatabase(QStringLiteral("pools.db"),
                         {QStringLiteral("CREATE TABLE a (ident TEXT)"), QStringLiteral("CREATE TABLE b (ident TEXT)"),
                          QStringLiteral("INSERT INTO a VALUES ('DUMET'), ('ODULO')"),
                          QStringLiteral("INSERT INTO b VALUES ('ODULO'), ('DUMET')")});
        ScopedSqlConnection connection(QStringLiteral("pools"), path);
        QVERIFY(connection.open());
        SqlRowReader rows(connection.database());
        QList<QString> first;
        QVERIFY(rows.select(QStringLiteral("SELECT ident FROM a")));
        while (rows.next())
            first << rows.text(0);
        QVERIFY(rows.select(QStringLiteral("SELECT ident FROM b")));
        QVERIFY(rows.next());
        QCOMPARE(rows.text(0), QStringLiteral("ODULO"));
        QCOMPARE(rows.text(0).constData(), first[1].constData());
        QVERIFY(rows.next());
        QCOMPARE(rows.text(0).constData(), first[0].constData());
        QVERIFY(!rows.next());
        QVERIFY(!rows.failed());
    }

    void errorsAreReported_data()
    {
        QTest::addColumn<SqlRowReader::Access>("access");
        QTest::newRow("best") << SqlRowReader::Access::Best;
        QTest::newRow("qtsql") << SqlRowReader::Access::QtSql;
    }
    void errorsAreReported()
    {
        QFETCH(SqlRowReader::Access, access);
        const QString path =
            makeDatabase(QStringLiteral("errors_%1.db").arg(int(access)), {QStringLiteral("CREATE TABLE t (x TEXT)")});
        ScopedSqlConnection connection(QStringLiteral("errors"), path);
        QVERIFY(connection.open());
        SqlRowReader rows(connection.database(), access);
        QVERIFY(!rows.select(QStringLiteral("SELECT missing_column FROM t")));
        QVERIFY(rows.failed());
        QVERIFY2(rows.errorText().contains(QStringLiteral("missing_column")), qPrintable(rows.errorText()));
        QVERIFY(!rows.next());
        // A later statement on the same reader starts clean.
        QVERIFY(rows.select(QStringLiteral("SELECT x FROM t")));
        QVERIFY(!rows.failed());
        QVERIFY(!rows.next());
        QVERIFY(!rows.failed());
    }

    void damagedPagesEndTheReadWithAnError_data()
    {
        QTest::addColumn<SqlRowReader::Access>("access");
        QTest::newRow("best") << SqlRowReader::Access::Best;
        QTest::newRow("qtsql") << SqlRowReader::Access::QtSql;
    }
    void damagedPagesEndTheReadWithAnError()
    {
        QFETCH(SqlRowReader::Access, access);
        // Enough rows for many pages; then everything after the first few pages is overwritten.
        QStringList statements{QStringLiteral("CREATE TABLE t (x TEXT)")};
        statements << QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
                                     "INSERT INTO t SELECT printf('row %08d padding padding', i) FROM n");
        const QString path = makeDatabase(QStringLiteral("damaged_%1.db").arg(int(access)), statements);
        QVERIFY(!path.isEmpty());
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.size() > 64 * 1024);
            QVERIFY(file.seek(3 * 4096));
            file.write(QByteArray(int(file.size() - 3 * 4096), '\xA5'));
        }
        ScopedSqlConnection connection(QStringLiteral("damaged"), path);
        QVERIFY(connection.open());
        SqlRowReader rows(connection.database(), access);
        int read = 0;
        if (rows.select(QStringLiteral("SELECT x FROM t"))) {
            while (rows.next())
                ++read;
        }
        QVERIFY(rows.failed());
        QVERIFY(read < 20000);

        read = 0;
        SqlRowReader overlapped(connection.database(), access);
        QVERIFY(!overlapped.readAllOverlapped(QStringLiteral("SELECT x FROM t"), [&](SqlRowReader &) { ++read; }));
        QVERIFY(overlapped.failed());
        QVERIFY(read < 20000);
    }
};

QTEST_GUILESS_MAIN(TestSqlRowReader)
#include "tst_sqlrowreader.moc"
