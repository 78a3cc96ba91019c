#include "nav/databasebuilder.h"
#include "tests/support/logexpect.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

// Scenery folder discovery of Prepar3D/FSX: scenery.cfg in its encodings and path forms, and
// add-on.xml packages with and without a layer, giving the simulator's load order.

namespace {

void put(const QString &path, const QByteArray &bytes)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QCOMPARE(f.write(bytes), bytes.size());
}

QByteArray utf16le(const QString &text)
{
    QByteArray bytes("\xFF\xFE", 2);
    for (QChar c : text) {
        bytes.append(char(c.unicode() & 0xFF));
        bytes.append(char(c.unicode() >> 8));
    }
    return bytes;
}

QByteArray addOnXml(const QString &path, const QString &layer)
{
    return QStringLiteral("<?xml version=\"1.0\"?><SimBase.Document Type=\"AddOnXml\"><AddOn.Component>"
                          "<Category>Scenery</Category><Path>%1</Path>%2</AddOn.Component></SimBase.Document>")
        .arg(path, layer.isEmpty() ? QString() : QStringLiteral("<Layer>%1</Layer>").arg(layer))
        .toUtf8();
}

} // namespace

class TestSceneryLocator : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void loadOrder_data()
    {
        QTest::addColumn<bool>("utf16");
        QTest::addColumn<QString>("addOnLayer");
        QTest::addColumn<QStringList>("expected"); // folders relative to the root, "@" = absolute area
        QTest::newRow("ANSI cfg, add-on on top")
            << false << QString() << QStringList{"Scenery/Base/scenery", "@", "Pkg/scn"};
        QTest::newRow("UTF-16 cfg, add-on on top")
            << true << QString() << QStringList{"Scenery/Base/scenery", "@", "Pkg/scn"};
        QTest::newRow("add-on below the library")
            << false << QStringLiteral("0") << QStringList{"Pkg/scn", "Scenery/Base/scenery", "@"};
        QTest::newRow("add-on between the areas")
            << true << QStringLiteral("5") << QStringList{"Scenery/Base/scenery", "Pkg/scn", "@"};
    }

    void loadOrder()
    {
        QFETCH(bool, utf16);
        QFETCH(QString, addOnLayer);
        QFETCH(QStringList, expected);
        QTemporaryDir dir;
        QTemporaryDir elsewhere; // an area outside the installation, given by absolute path
        const QString root = dir.path();
        put(root + "/Scenery/Base/scenery/a.bgl", "x");
        put(elsewhere.path() + "/b.bgl", "x"); // no "scenery" subfolder: the area itself holds the files
        put(root + "/Add-ons/pkg/Pkg/scn/c.bgl", "x");
        put(root + "/Add-ons/pkg/add-on.xml", addOnXml("Pkg\\scn", addOnLayer));
        const QString cfg = QStringLiteral("[General]\nTitle=x\n[Area.002]\nLocal=%1\nLayer=9\nActive=TRUE\n"
                                           "[Area.001]\nTitle=Base\nLocal=SCENERY\\base\nLayer=1\nActive=TRUE\n"
                                           "[Area.003]\nLocal=Scenery\\Missing\nLayer=2\nActive=TRUE\n")
                                .arg(QDir::toNativeSeparators(elsewhere.path()));
        put(root + "/SCENERY.CFG", utf16 ? utf16le(cfg) : cfg.toUtf8());

        QStringList expectedPaths;
        for (const QString &e : expected)
            expectedPaths << (e == "@" ? elsewhere.path() : root + (e.startsWith("Pkg") ? "/Add-ons/pkg/" : "/") + e);
        QCOMPARE(DatabaseBuilder::getP3DSceneryPaths(root), expectedPaths);
    }

    void noSceneryCfgGivesOnlyAddOns()
    {
        QTemporaryDir dir;
        QVERIFY(DatabaseBuilder::getP3DSceneryPaths(dir.path()).isEmpty());
        put(dir.path() + "/extra/pkg/add-on.xml", addOnXml(dir.path() + "/abs", QString()));
        put(dir.path() + "/abs/scenery/x.bgl", "x");
        QCOMPARE(DatabaseBuilder::getP3DSceneryPaths(dir.path(), {dir.path() + "/extra"}),
                 QStringList{dir.path() + "/abs/scenery"});
    }
};

QTEST_GUILESS_MAIN(TestSceneryLocator)
#include "tst_scenerylocator.moc"
