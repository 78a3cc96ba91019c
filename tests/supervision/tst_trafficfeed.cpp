#include "sharedtestdata.h"

#include "supervision/trafficfeed.h"
#include "tests/support/logexpect.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

namespace {

// A small HTTP server on 127.0.0.1: every request gets the response set last (status, body,
// optional declared length) and the connection is closed. (Qt may send a GET again on its own, so
// responses are not queued per request.)
class FeedServer : public QObject
{
public:
    struct Response
    {
        int status = 200;
        QByteArray body;
        qint64 declaredLength = -1; // -1: the body's own length
    };

    FeedServer()
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onRequest(socket); });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    bool listen() { return m_server.listen(QHostAddress::LocalHost, 0); }
    QUrl url() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/v3/feed.json").arg(m_server.serverPort())); }
    void setResponse(const Response &response) { m_response = response; }
    int requests() const { return m_requests; }

private:
    void onRequest(QTcpSocket *socket)
    {
        m_pending[socket] += socket->readAll();
        if (!m_pending[socket].contains("\r\n\r\n"))
            return;
        m_pending.remove(socket);
        ++m_requests;
        const Response r = m_response;
        const qint64 length = r.declaredLength >= 0 ? r.declaredLength : r.body.size();
        socket->write(QStringLiteral("HTTP/1.1 %1 X\r\nContent-Type: application/json\r\nContent-Length: %2\r\n"
                                     "Connection: close\r\n\r\n")
                          .arg(r.status)
                          .arg(length)
                          .toLatin1());
        socket->write(r.body);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    Response m_response{404, "nothing here", -1};
    QHash<QTcpSocket *, QByteArray> m_pending;
    int m_requests = 0;
};

// The snapshot with a new update time and the first pilot moved up 1000 ft.
QByteArray nextFeed(const QByteArray &feed)
{
    QJsonObject root = QJsonDocument::fromJson(feed).object();
    QJsonObject general = root.value("general").toObject();
    general.insert("update_timestamp", "2024-02-20T23:20:06.1234567Z");
    root.insert("general", general);
    QJsonArray pilots = root.value("pilots").toArray();
    QJsonObject first = pilots.at(0).toObject();
    first.insert("altitude", first.value("altitude").toInt() + 1000);
    pilots.replace(0, first);
    root.insert("pilots", pilots);
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

} // namespace

class TestTrafficFeed : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void snapshotParsed();
    void malformedReplies_data();
    void malformedReplies();
    void refreshKeepsLastGoodTrafficAndNeverLogsNamesOrIds();
    void timerNeverFasterThanTheFeed();
};

void TestTrafficFeed::snapshotParsed()
{
    REQUIRE_SHARED_TESTDATA();
    const QByteArray bytes = shareddata::read(QStringLiteral("sectors/vatsim-data-feed-v3-2024-02-20.json"));
    QString error;
    const auto snapshot = TrafficFeedParser::parse(bytes, &error);
    QVERIFY2(snapshot, qPrintable(error));
    const QJsonObject root = QJsonDocument::fromJson(bytes).object();
    QCOMPARE(snapshot->pilots.size(), root.value("pilots").toArray().size());
    QCOMPARE(snapshot->pilots.size(), 702);
    int observers = 0;
    for (const QJsonValue &c : root.value("controllers").toArray())
        observers += c.toObject().value("facility").toInt() == 0 ? 1 : 0;
    QCOMPARE(observers, 29);
    QCOMPARE(snapshot->controllers.size(), 62 - observers + 35);
    QCOMPARE(snapshot->skippedRecords, 0);
    QCOMPARE(snapshot->updateTimestamp, QStringLiteral("2024-02-20T23:19:51.9474401Z"));
    const TrafficPilot &first = snapshot->pilots.first();
    QCOMPARE(first.callsign, QStringLiteral("SXS2TT"));
    QCOMPARE(first.lat, 38.71946);
    QCOMPARE(first.lon, 28.42596);
    QCOMPARE(first.altitudeFt, 35196.0);
    QCOMPARE(first.groundSpeedKts, 449.0);
    QCOMPARE(first.headingDeg, 132.0);
    QCOMPARE(first.aircraftType, root.value("pilots")
                                     .toArray()
                                     .at(0)
                                     .toObject()
                                     .value("flight_plan")
                                     .toObject()
                                     .value("aircraft_short")
                                     .toString());
}

void TestTrafficFeed::malformedReplies_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("pilots"); // -1: refused as a whole
    QTest::addColumn<int>("skipped");
    const QByteArray head = R"({"general":{"version":3,"update_timestamp":"t"},"controllers":[],"pilots":[)";
    QTest::newRow("not JSON") << QByteArray("<html>busy</html>") << -1 << 0;
    QTest::newRow("truncated") << QByteArray(head + R"({"callsign":"AB1","latitude":1)") << -1 << 0;
    QTest::newRow("version 2") << QByteArray(R"({"general":{"version":2},"pilots":[],"controllers":[]})") << -1 << 0;
    QTest::newRow("no pilots list") << QByteArray(R"({"general":{"version":3},"controllers":[]})") << -1 << 0;
    QTest::newRow("bad records skipped")
        << QByteArray(head + R"({"callsign":"OK1","latitude":10,"longitude":20,"altitude":1000,"groundspeed":100},)"
                             R"({"callsign":"LAT","latitude":95,"longitude":20,"altitude":1000,"groundspeed":100},)"
                             R"({"callsign":"STR","latitude":"10","longitude":20,"altitude":1000,"groundspeed":1},)"
                             R"({"latitude":10,"longitude":20,"altitude":1000,"groundspeed":100},)"
                             R"({"callsign":"WAYTOOLONGCALLSIGN","latitude":1,"longitude":2,"altitude":0,)"
                             R"("groundspeed":0},)"
                             R"({"callsign":"FAST","latitude":1,"longitude":2,"altitude":0,"groundspeed":1e9}]})")
        << 1 << 5;
}

void TestTrafficFeed::malformedReplies()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, pilots);
    QFETCH(int, skipped);
    QString error;
    const auto snapshot = TrafficFeedParser::parse(reply, &error);
    QCOMPARE(snapshot.has_value(), pilots >= 0);
    if (!snapshot) {
        QVERIFY(!error.isEmpty());
        // The reason never quotes the reply.
        QVERIFY(!error.contains(QLatin1String("busy")) && !error.contains(QLatin1String("AB1")));
        return;
    }
    QCOMPARE(snapshot->pilots.size(), pilots);
    QCOMPARE(snapshot->skippedRecords, skipped);
}

void TestTrafficFeed::refreshKeepsLastGoodTrafficAndNeverLogsNamesOrIds()
{
    REQUIRE_SHARED_TESTDATA();
    const QByteArray feed = shareddata::read(QStringLiteral("sectors/vatsim-data-feed-v3-2024-02-20.json"));
    FeedServer server;
    QVERIFY(server.listen());
    TrafficFeed traffic;
    traffic.setUrl(server.url());
    QSignalSpy updated(&traffic, &TrafficFeed::trafficUpdated);
    QSignalSpy failed(&traffic, &TrafficFeed::feedFailed);

    server.setResponse({200, feed, -1});
    traffic.refresh();
    QVERIFY(updated.wait(5000));
    QCOMPARE(traffic.snapshot().pilots.size(), 702);
    const double firstAltitude = traffic.snapshot().pilots.first().altitudeFt;

    const struct
    {
        FeedServer::Response response;
        const char *reason;
    } failures[] = {{{200, feed.left(feed.size() / 3), -1}, "not JSON"}, // cut off mid-way
                    {{503, "overloaded", -1}, "server replied"},
                    {{200, "x", 64LL * 1024 * 1024}, "larger than 32 MB"}}; // more than a feed can be
    for (const auto &[response, reason] : failures) {
        server.setResponse(response);
        testlog::expectLogged("Supervision", QStringLiteral("keeping the last traffic: .*(%1)").arg(reason));
        traffic.refresh();
        QVERIFY(failed.wait(5000));
        QCOMPARE(traffic.snapshot().pilots.size(), 702);
        QCOMPARE(traffic.snapshot().pilots.first().altitudeFt, firstAltitude);
    }
    QCOMPARE(updated.size(), 1);

    // The same update time again is not news.
    server.setResponse({200, feed, -1});
    QSignalSpy finished(&traffic, &TrafficFeed::refreshFinished);
    traffic.refresh();
    QVERIFY(finished.wait(5000));
    QCOMPARE(finished.first().first().toBool(), true);
    QCOMPARE(updated.size(), 1);
    QVERIFY(traffic.lastError().isEmpty());
    server.setResponse({200, nextFeed(feed), -1});
    traffic.refresh();
    QVERIFY(updated.wait(5000));
    QCOMPARE(traffic.snapshot().pilots.first().altitudeFt, firstAltitude + 1000);
    QCOMPARE(traffic.findCallsign(QStringLiteral("sxs2")).value(0).callsign, QStringLiteral("SXS2TT"));

    // Nothing of the feed's names and network ids reached the log.
    QStringList logged;
    for (const AppLogger::Entry &entry : AppLogger::instance().recentEntries(AppLogger::kMaxEntries))
        logged << entry.message;
    const QString log = logged.join('\n');
    QVERIFY(log.contains(QLatin1String("702 pilots")));
    const QJsonObject root = QJsonDocument::fromJson(feed).object();
    int checked = 0;
    for (const char *list : {"pilots", "controllers", "atis", "prefiles"}) {
        for (const QJsonValue &value : root.value(list).toArray()) {
            const QJsonObject record = value.toObject();
            const QString cid = QString::number(record.value("cid").toInteger());
            QVERIFY2(!log.contains(cid), "a network id was logged");
            const QString name = record.value("name").toString();
            if (name.size() >= 4)
                QVERIFY2(!log.contains(name), "a name was logged");
            ++checked;
        }
    }
    QVERIFY(checked > 800);
}

void TestTrafficFeed::timerNeverFasterThanTheFeed()
{
    FeedServer server;
    QVERIFY(server.listen());
    TrafficFeed traffic;
    traffic.setUrl(server.url());
    traffic.setIntervalSec(5);
    QCOMPARE(traffic.intervalSec(), TrafficFeed::kFeedIntervalSec);
    const QTimer *timer = traffic.findChild<QTimer *>();
    QVERIFY(timer);
    QCOMPARE(timer->interval(), TrafficFeed::kFeedIntervalSec * 1000);
    // Switching on fetches at once; switching off stops the timer.
    testlog::expectLogged("Supervision", "keeping the last traffic");
    QSignalSpy failed(&traffic, &TrafficFeed::feedFailed);
    traffic.setEnabled(true);
    QVERIFY(timer->isActive());
    QVERIFY(failed.wait(5000)); // the server answers 404
    QVERIFY(server.requests() >= 1);
    traffic.setEnabled(false);
    QVERIFY(!timer->isActive());
}

QTEST_GUILESS_MAIN(TestTrafficFeed)
#include "tst_trafficfeed.moc"
