#include "plan/simbriefservice.h"
#include "tests/support/localhttpserver.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

// OFP import through a local HTTP server playing the service, the two document shapes and the
// three failures.
class TestSimBriefService : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<SimBriefService::OFPData>(); }
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void realOfpByUserName();
    void flatDocumentFromUrl();
    void flatShapeRules_data();
    void flatShapeRules();
    void failures_data();
    void failures();
};

void TestSimBriefService::realOfpByUserName()
{
    QFile file(QStringLiteral(SHARED_TESTDATA_DIR "/simbrief/simbrief2fgfs-LEBLLQSA_XML_1607637506.xml"));
    if (!file.open(QIODevice::ReadOnly))
        QSKIP("shared test data not present");
    LocalHttpServer server;
    QVERIFY(server.listen());
    LocalHttpServer::Response response;
    response.body = file.readAll();
    response.contentType = "application/xml";
    server.setResponse(QStringLiteral("/api/xml.fetcher.php"), response);

    SimBriefService service;
    service.setHost(QUrl(server.baseUrl()));
    QSignalSpy received(&service, &SimBriefService::ofpReceived);
    QSignalSpy failed(&service, &SimBriefService::ofpError);
    service.fetchOFP(QStringLiteral(" pilot1 "));
    QVERIFY(received.wait(5000));
    QCOMPARE(failed.count(), 0);
    QCOMPARE(server.requests(), QList<QString>{QStringLiteral("/api/xml.fetcher.php?username=pilot1&json=0")});

    const auto ofp = received.at(0).at(0).value<SimBriefService::OFPData>();
    QVERIFY(ofp.valid);
    QCOMPARE(ofp.origin, QStringLiteral("LEBL"));
    QCOMPARE(ofp.destination, QStringLiteral("LQSA"));
    QCOMPARE(ofp.route,
             QStringLiteral("DCT SALON UM985 OBLAD UZ194 PELOS DCT IBROS DCT MEDAL DCT TIBER DCT ETRIN DCT XOLTA"));
    QCOMPARE(ofp.aircraftIcao, QStringLiteral("MD11"));
    QCOMPARE(ofp.aircraftName, QStringLiteral("MD-11"));
    QCOMPARE(ofp.flightLevel, 380);
    QCOMPARE(ofp.cruiseTas, 472);
    QCOMPARE(ofp.distance, 797.0);       // the route distance, not a leg of the log
    QCOMPARE(ofp.estFlightTimeMin, 106); // 6366 s
    QCOMPARE(ofp.estGroundTimeMin, 132); // 7926 s
    QCOMPARE(ofp.rampFuel, 45434.0);
    QCOMPARE(ofp.payload, 90680.0);
    QCOMPARE(ofp.zfw, 377967.0);
    QCOMPARE(ofp.tow, 421601.0);
    QCOMPARE(ofp.ldw, 395141.0);
    QCOMPARE(ofp.weightUnit, QStringLiteral("lbs"));
    QVERIFY(std::abs(ofp.toKg(ofp.rampFuel) - 20608.5) < 0.1);
    QCOMPARE(ofp.fixList, QStringLiteral("SALON AGENA MAROT LUMAS OBLAD OLNUL NIVDA UTORU PELOS IBROS MEDAL TIBER "
                                         "ETRIN XOLTA LQSA"));
    QCOMPARE(ofp.fixes.size(), 15);
    QCOMPARE(ofp.fixes.first().lat, 41.4945);
    QCOMPARE(ofp.fixes.first().lon, 3.187194);
    QCOMPARE(ofp.originRunway, QStringLiteral("25L"));
    QCOMPARE(ofp.destinationRunway, QStringLiteral("12"));
    QVERIFY(ofp.hasAirportPositions);
    QCOMPARE(ofp.destinationLat, 43.824472);
}

void TestSimBriefService::flatDocumentFromUrl()
{
    LocalHttpServer server;
    QVERIFY(server.listen());
    server.setBody(QStringLiteral("/plans/latest.xml"),
                   "<OFP><origin>ZSPD</origin><destination>ZBAA</destination><route>PIKAS G330 UNTAN</route>"
                   "<aircraftICAO>A320</aircraftICAO><flightlevel>291</flightlevel><cruisektas>447</cruisektas>"
                   "<fuel_plan_ramp>8600</fuel_plan_ramp><payload>12000</payload><estflighttime>1:55</estflighttime>"
                   "<navlog><fix><ident>PIKAS</ident></fix><fix><ident>UNTAN</ident></fix></navlog></OFP>");
    SimBriefService service;
    QSignalSpy received(&service, &SimBriefService::ofpReceived);
    service.importFromUrl(server.baseUrl() + QStringLiteral("/plans/latest.xml"));
    QVERIFY(received.wait(5000));
    const auto ofp = received.at(0).at(0).value<SimBriefService::OFPData>();
    QCOMPARE(ofp.origin, QStringLiteral("ZSPD"));
    QCOMPARE(ofp.flightLevel, 291);
    QCOMPARE(ofp.cruiseTas, 447);
    QCOMPARE(ofp.estFlightTimeMin, 115);
    QCOMPARE(ofp.fixList, QStringLiteral("PIKAS UNTAN"));
    QVERIFY(ofp.weightUnit.isEmpty());
    QCOMPARE(ofp.toKg(ofp.rampFuel), 8600.0);
}

void TestSimBriefService::flatShapeRules_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("origin");
    QTest::addColumn<double>("distance");
    QTest::addColumn<QString>("fixList");
    QTest::addColumn<int>("groundMinutes");

    QTest::newRow("distance n/a") << QByteArray("<a><origin>ZSPD</origin><destination>ZBAA</destination>"
                                                "<distance>n/a</distance></a>")
                                  << true << "ZSPD" << 0.0 << "" << 0;
    QTest::newRow("origin blanks and case") << QByteArray("<a><origin>  zsss </origin><destination>zbaa</destination>"
                                                          "<distance>642.5</distance></a>")
                                            << true << "ZSSS" << 642.5 << "" << 0;
    QTest::newRow("fixes A B C") << QByteArray("<a><origin>X</origin><destination>Y</destination><navlog>"
                                               "<fix><ident> A </ident></fix><fix><ident>B</ident></fix>"
                                               "<fix><name>n</name><ident>C</ident></fix></navlog></a>")
                                 << true << "X" << 0.0 << "A B C" << 0;
    QTest::newRow("pseudo-fixes kept in the flat shape")
        << QByteArray("<a><origin>X</origin><destination>Y</destination><navlog><fix><ident>TOC</ident></fix>"
                      "</navlog></a>")
        << true << "X" << 0.0 << "TOC" << 0;
    QTest::newRow("hours and minutes") << QByteArray("<a><origin>X</origin><destination>Y</destination>"
                                                     "<estgroundtime>2:07</estgroundtime></a>")
                                       << true << "X" << 0.0 << "" << 127;
    QTest::newRow("three parts keep the value") << QByteArray("<a><origin>X</origin><destination>Y</destination>"
                                                              "<estgroundtime>1:00</estgroundtime>"
                                                              "<estgroundtime>1:02:03</estgroundtime></a>")
                                                << true << "X" << 0.0 << "" << 60;
    // The value must follow the start tag: an element opening with a child yields nothing.
    QTest::newRow("nested value not read") << QByteArray("<a><origin><code>ZSPD</code></origin>"
                                                         "<destination>ZBAA</destination></a>")
                                           << false << "" << 0.0 << "" << 0;
    QTest::newRow("no destination") << QByteArray("<a><origin>ZSPD</origin></a>") << false << "ZSPD" << 0.0 << "" << 0;
    QTest::newRow("not XML at all") << QByteArray("\x01\x02 <<<") << false << "" << 0.0 << "" << 0;
}

void TestSimBriefService::flatShapeRules()
{
    QFETCH(QByteArray, xml);
    QFETCH(bool, valid);
    QFETCH(QString, origin);
    QFETCH(double, distance);
    QFETCH(QString, fixList);
    QFETCH(int, groundMinutes);
    const SimBriefService::OFPData ofp = SimBriefService::parseOFP(xml);
    QCOMPARE(ofp.valid, valid);
    QCOMPARE(ofp.origin, origin);
    QCOMPARE(ofp.distance, distance);
    QCOMPARE(ofp.fixList, fixList);
    QCOMPARE(ofp.estGroundTimeMin, groundMinutes);
}

void TestSimBriefService::failures_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("logged");

    QTest::newRow("empty user name") << "  " << 200 << QByteArray() << "用户名不能为空"
                                     << "";
    QTest::newRow("unknown user") << "nobody" << 400
                                  << QByteArray("<OFP><fetch><status>Error: Unknown UserID</status></fetch></OFP>")
                                  << "server replied"
                                  << "OFP request failed";
    QTest::newRow("no destination") << "pilot" << 200
                                    << QByteArray("<OFP><origin><icao_code>ZSPD</icao_code></origin></OFP>")
                                    << "解析 SimBrief XML 失败"
                                    << "OFP without origin or destination";
}

void TestSimBriefService::failures()
{
    QFETCH(QString, user);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, error);
    QFETCH(QString, logged);
    LocalHttpServer server;
    QVERIFY(server.listen());
    server.setBody(QStringLiteral("/api/xml.fetcher.php"), body, status);
    SimBriefService service;
    service.setHost(QUrl(server.baseUrl()));
    QSignalSpy received(&service, &SimBriefService::ofpReceived);
    QSignalSpy failed(&service, &SimBriefService::ofpError);
    if (!logged.isEmpty())
        testlog::expectLogged(QStringLiteral("SimBrief"), logged);
    service.fetchOFP(user);
    if (logged.isEmpty()) {
        QCOMPARE(failed.count(), 1); // at once, without a request
        QVERIFY(server.requests().isEmpty());
    } else {
        QVERIFY(failed.wait(5000));
    }
    QVERIFY2(failed.at(0).at(0).toString().contains(error, Qt::CaseInsensitive),
             qPrintable(failed.at(0).at(0).toString()));
    QCOMPARE(failed.count(), 1);
    QCOMPARE(received.count(), 0);
}

QTEST_GUILESS_MAIN(TestSimBriefService)
#include "tst_simbriefservice.moc"
