// zobrel-navd as a station sees it: a real process on loopback serving a database of the offline
// schema, asked over HTTP(S) with and without a valid token, and with hostile requests.

#include "../support/logexpect.h"
#include "../support/navservicefixture.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QByteArray kToken("station-token-1");

struct HttpResult
{
    int status = 0;
    QJsonObject json;
    qint64 bytes = 0;
};

} // namespace

class TestNavd : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_db;
    QString m_tokens;
    navservicetest::NavdProcess m_navd;
    QNetworkAccessManager m_net;

    HttpResult get(const QString &base, const QString &pathAndQuery, const QByteArray &token = kToken,
                   const QByteArray &verb = "GET")
    {
        QNetworkRequest request(QUrl(base + pathAndQuery));
        if (!token.isNull())
            request.setRawHeader("Authorization", "Bearer " + token);
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setPeerVerifyMode(QSslSocket::VerifyNone); // the test's own self-signed certificate
        request.setSslConfiguration(ssl);
        QNetworkReply *reply = m_net.sendCustomRequest(request, verb);
        QSignalSpy done(reply, &QNetworkReply::finished);
        done.wait(10000);
        HttpResult result;
        result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const QByteArray body = reply->readAll();
        result.bytes = body.size();
        result.json = QJsonDocument::fromJson(body).object();
        reply->deleteLater();
        return result;
    }
    HttpResult get(const QString &pathAndQuery) { return get(m_navd.baseUrl(), pathAndQuery); }

    QStringList serveArgs(const QString &db) const { return {"--db", "xplane11=" + db, "--tokens", m_tokens}; }

    // A self-signed certificate and its key for 127.0.0.1, made once; false when openssl is missing.
    bool makeCertificate(QString *cert, QString *key)
    {
        *cert = m_dir.filePath("cert.pem");
        *key = m_dir.filePath("key.pem");
        if (QFile::exists(*cert) && QFile::exists(*key))
            return true;
        const QString openssl = QStandardPaths::findExecutable("openssl");
        if (openssl.isEmpty())
            return false;
        QProcess make;
        make.start(openssl, {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", *key, "-out", *cert, "-days",
                             "2", "-subj", "/CN=127.0.0.1"});
        return make.waitForFinished(30000) && make.exitCode() == 0;
    }

    // Resident memory of a process in kB, from /proc (Linux).
    static qint64 residentKb(qint64 pid)
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(pid));
        if (!status.open(QIODevice::ReadOnly))
            return -1;
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:"))
                return line.mid(6).trimmed().split(' ').value(0).toLongLong();
        }
        return -1;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath("served.db");
        m_tokens = m_dir.filePath("tokens.txt");
        QVERIFY(navservicetest::writeSampleDatabase(m_db));
        QVERIFY(navservicetest::writeTokens(m_tokens, "# instructor stations\n  " + kToken + "  \n\nother # lab\n"));
        QVERIFY2(m_navd.start(ZOBREL_NAVD_EXECUTABLE, serveArgs(m_db) << "--rate"
                                                                      << "0"),
                 m_navd.errors());
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    // Every path answers with the keys the station reads, filled from the database.
    void servesEveryPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("listKey");
        QTest::addColumn<QString>("firstField");
        QTest::addColumn<QString>("expected");
        const QString p = "/api/v1/zobrel/nav/";
        QTest::newRow("box airports") << p + "query?source=xplane11&minLat=31&minLon=121&maxLat=31.3&maxLon=122"
                                             "&zoom=10&layers=airports,navaids,waypoints,airways,runways,airspaces"
                                      << "airports"
                                      << "icao"
                                      << "ZSPD";
        QTest::newRow("box runways at zoom 10") << p + "query?source=xplane11&minLat=31.1&minLon=121.7&maxLat=31.2"
                                                       "&maxLon=121.9&zoom=10"
                                                << "runways"
                                                << "ident"
                                                << "16L";
        QTest::newRow("box airways") << p + "query?source=xplane11&minLat=31&minLon=121&maxLat=31.3&maxLon=122&zoom=8"
                                     << "airways"
                                     << "to_ident"
                                     << "ODULO";
        QTest::newRow("box airspace boundary") << p + "query?source=xplane11&minLat=31&minLon=121&maxLat=31.3"
                                                      "&maxLon=122&zoom=8&layers=airspaces"
                                               << "airspaces"
                                               << "name"
                                               << "Shanghai TMA";
        QTest::newRow("search navaid") << p + "search?source=xplane11&type=navaids&q=pud"
                                       << "navaids"
                                       << "ident"
                                       << "PUD";
        QTest::newRow("search airport by city") << p + "search?source=xplane11&q=beijing"
                                                << "airports"
                                                << "icao"
                                                << "ZBAA";
        QTest::newRow("details runways") << p + "airport/ZSPD/details?source=xplane11"
                                         << "runways"
                                         << "reciprocal_ident"
                                         << "34R";
        QTest::newRow("details taxiway edges") << p + "airport/ZSPD/details?source=xplane11"
                                               << "taxiway_edges"
                                               << "taxiway_name"
                                               << "A";
        QTest::newRow("details parkings") << p + "airport/ZSPD/details?source=xplane11"
                                          << "parkings"
                                          << "name"
                                          << "G101";
        QTest::newRow("runways") << p + "airport/ZSSS/runways?source=xplane11"
                                 << "runways"
                                 << "ident"
                                 << "18L";
        QTest::newRow("sids") << p + "route/sids?source=xplane11&icao=ZSPD"
                              << "sids"
                              << "runway_ident"
                              << "16L";
        QTest::newRow("stars") << p + "route/stars?source=xplane11&icao=ZSPD"
                               << "stars"
                               << "name"
                               << "DUM2B";
        QTest::newRow("version") << p + "version?source=xplane11"
                                 << "versions"
                                 << "source"
                                 << "xplane11";
    }
    void servesEveryPath()
    {
        QFETCH(QString, path);
        QFETCH(QString, listKey);
        QFETCH(QString, firstField);
        QFETCH(QString, expected);
        const HttpResult r = get(path);
        QCOMPARE(r.status, 200);
        const QJsonArray list = r.json.value(listKey).toArray();
        QVERIFY2(!list.isEmpty(), qPrintable(QJsonDocument(r.json).toJson()));
        QCOMPARE(list.first().toObject().value(firstField).toString(), expected);
    }

    void repliesCarryTheValuesOfTheDatabase()
    {
        const HttpResult version = get("/api/v1/zobrel/nav/version?source=xplane11");
        QCOMPARE(version.json.value("source").toString(), QString("xplane11"));
        QCOMPARE(version.json.value("cycle").toObject().value("major").toInt(), 24);
        QCOMPARE(version.json.value("cycle").toObject().value("minor").toInt(), 3);

        const HttpResult details = get("/api/v1/zobrel/nav/airport/ZSPD/details?source=xplane11");
        QCOMPARE(details.json.value("tower").toObject().value("frequency").toDouble(), 118.1);
        QCOMPARE(details.json.value("taxiway_nodes").toArray().size(), 2);
        QCOMPARE(details.json.value("frequencies").toArray().first().toObject().value("type").toString(),
                 QString("TWR"));

        const HttpResult box = get("/api/v1/zobrel/nav/query?source=xplane11&minLat=31&minLon=121&maxLat=31.3"
                                   "&maxLon=122&zoom=10&layers=airspaces,navaids");
        QVERIFY(!box.json.contains("airports")); // only the layers asked for
        const QJsonArray boundary =
            box.json.value("airspaces").toArray().first().toObject().value("boundary").toArray();
        QCOMPARE(boundary.size(), 4);
        QCOMPARE(boundary.at(1).toObject().value("lon").toDouble(), 122.2);
        QCOMPARE(boundary.at(1).toObject().value("lat").toDouble(), 30.8);
        const QJsonObject ndb = box.json.value("navaids").toArray().at(1).toObject();
        QCOMPARE(ndb.value("airport_icao").toString(), QString("ZSSS"));

        const HttpResult sids = get("/api/v1/zobrel/nav/route/sids?source=xplane11&icao=ZSPD");
        const QJsonArray legs = sids.json.value("sids").toArray().first().toObject().value("legs").toArray();
        QCOMPARE(legs.size(), 1);
        QCOMPARE(legs.first().toObject().value("altitude").toDouble(), 5000.0);

        const HttpResult route = get("/api/v1/zobrel/nav/route?source=xplane11&origin=ZSPD&destination=ZBAA"
                                     "&origin_runway=16L&departure_procedure=PIK1A&dest_runway=&arrival_procedure=");
        QCOMPARE(route.status, 200);
        QCOMPARE(route.json.value("departure").toObject().value("legs").toArray().size(), 1);
        QVERIFY(qAbs(route.json.value("distance").toDouble() - 581.0) < 15.0); // Shanghai-Beijing, ~580 nm
    }

    // Hostile or broken requests get their status and a JSON error; nothing else happens.
    void rejectsBadRequests_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("token");
        QTest::addColumn<QByteArray>("verb");
        QTest::addColumn<int>("status");
        const QString q = "/api/v1/zobrel/nav/query?source=xplane11&zoom=7&";
        const QByteArray none;
        QTest::newRow("no token") << "/api/v1/zobrel/nav/version?source=xplane11" << none << QByteArray("GET") << 401;
        QTest::newRow("wrong token") << "/api/v1/zobrel/nav/version?source=xplane11" << QByteArray("station-token-2")
                                     << QByteArray("GET") << 401;
        QTest::newRow("token prefix") << "/api/v1/zobrel/nav/version?source=xplane11" << QByteArray("station")
                                      << QByteArray("GET") << 401;
        QTest::newRow("comment is no token")
            << "/api/v1/zobrel/nav/version?source=xplane11" << QByteArray("lab") << QByteArray("GET") << 401;
        QTest::newRow("second token works")
            << "/api/v1/zobrel/nav/version?source=xplane11" << QByteArray("other") << QByteArray("GET") << 200;
        QTest::newRow("unknown path") << "/api/v1/zobrel/nav/admin" << kToken << QByteArray("GET") << 404;
        QTest::newRow("outside the api") << "/etc/passwd" << kToken << QByteArray("GET") << 404;
        QTest::newRow("unknown source") << "/api/v1/zobrel/nav/version?source=fs98" << kToken << QByteArray("GET")
                                        << 404;
        QTest::newRow("missing source") << "/api/v1/zobrel/nav/version" << kToken << QByteArray("GET") << 400;
        QTest::newRow("unknown airport") << "/api/v1/zobrel/nav/airport/KJFK/details?source=xplane11" << kToken
                                         << QByteArray("GET") << 404;
        QTest::newRow("malformed airport")
            << "/api/v1/zobrel/nav/airport/%3Cx%3E/runways?source=xplane11" << kToken << QByteArray("GET") << 400;
        QTest::newRow("not a number") << q + "minLat=abc&minLon=121&maxLat=32&maxLon=122" << kToken << QByteArray("GET")
                                      << 400;
        QTest::newRow("nan") << q + "minLat=nan&minLon=121&maxLat=32&maxLon=122" << kToken << QByteArray("GET") << 400;
        QTest::newRow("latitude 91") << q + "minLat=30&minLon=121&maxLat=91&maxLon=122" << kToken << QByteArray("GET")
                                     << 400;
        QTest::newRow("inverted box") << q + "minLat=32&minLon=121&maxLat=30&maxLon=122" << kToken << QByteArray("GET")
                                      << 400;
        QTest::newRow("missing corner") << q + "minLat=30&minLon=121&maxLat=32" << kToken << QByteArray("GET") << 400;
        QTest::newRow("unknown layer") << q + "minLat=30&minLon=121&maxLat=32&maxLon=122&layers=airports,secrets"
                                       << kToken << QByteArray("GET") << 400;
        QTest::newRow("empty search") << "/api/v1/zobrel/nav/search?source=xplane11&q=" << kToken << QByteArray("GET")
                                      << 400;
        QTest::newRow("huge search") << "/api/v1/zobrel/nav/search?source=xplane11&q=" + QString(5000, 'A') << kToken
                                     << QByteArray("GET") << 400;
        QTest::newRow("post") << "/api/v1/zobrel/nav/version?source=xplane11" << kToken << QByteArray("POST") << 405;
    }
    void rejectsBadRequests()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, token);
        QFETCH(QByteArray, verb);
        QFETCH(int, status);
        const HttpResult r = get(m_navd.baseUrl(), path, token, verb);
        QCOMPARE(r.status, status);
        if (status != 200)
            QVERIFY2(!r.json.value("error").toString().isEmpty(), qPrintable(path));
    }

    // The whole world at zoom 3 keeps the airports the map would draw: the most important ones,
    // as many as twice the map's cap; zoomed in, every field of the cluster comes.
    void thinsLargeBoxesAsTheMapWould()
    {
        const HttpResult world = get("/api/v1/zobrel/nav/query?source=xplane11&minLat=-90&minLon=-180&maxLat=90"
                                     "&maxLon=180&zoom=3");
        QCOMPARE(world.status, 200);
        QStringList icaos;
        for (const QJsonValue &a : world.json.value("airports").toArray())
            icaos << a.toObject().value("icao").toString();
        QCOMPARE(icaos.size(), 400);
        // Towered, hard and long first; among the equal small fields the identifier decides, so
        // the last three of the cluster are left out.
        QStringList leading = icaos.mid(0, 3);
        leading.sort();
        QCOMPARE(leading, QStringList({"ZBAA", "ZSPD", "ZSSS"}));
        QVERIFY(icaos.contains("X396") && !icaos.contains("X397") && !icaos.contains("X399"));
        QVERIFY(world.json.value("runways").toArray().isEmpty());

        const HttpResult close = get("/api/v1/zobrel/nav/query?source=xplane11&minLat=31.4&minLon=122.4&maxLat=32.6"
                                     "&maxLon=123.5&zoom=12&layers=airports");
        QCOMPARE(close.json.value("airports").toArray().size(), 400);
    }

    // A client that sends half a request and stalls does not hold up anyone else.
    void slowClientDoesNotBlockOthers()
    {
        QTcpSocket slow;
        slow.connectToHost(QHostAddress::LocalHost, m_navd.port());
        QVERIFY(slow.waitForConnected(5000));
        slow.write("GET /api/v1/zobrel/nav/version?source=xplane11 HTTP/1.1\r\nHost: x\r\nAuthor");
        QVERIFY(slow.waitForBytesWritten(5000));
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 5; ++i)
            QCOMPARE(get("/api/v1/zobrel/nav/version?source=xplane11").status, 200);
        QVERIFY2(timer.elapsed() < 3000, qPrintable(QString::number(timer.elapsed())));
        // Finished late, the slow request is still answered (and refused: no token).
        slow.write("ization: Bearer wrong\r\n\r\n");
        QVERIFY(slow.waitForReadyRead(5000));
        QVERIFY(slow.readAll().startsWith("HTTP/1.1 401"));
    }

    // Clients that hold a connection without using it are let go after the idle timeout, while
    // others are served: one that never sends, one that stops half-way through a request, and one
    // that asks for reply after reply without reading any.
    void closesIdleConnections_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("repeat");
        QTest::addColumn<bool>("reads");
        QTest::newRow("sends nothing") << QByteArray() << 0 << true;
        QTest::newRow("half a request") << QByteArray("GET /api/v1/zobrel/nav/version?source=xplane11 HTTP/1.1\r\nHo")
                                        << 1 << true;
        QTest::newRow("reads nothing") << "GET /api/v1/zobrel/nav/query?source=xplane11&minLat=31.4&minLon=122.4"
                                          "&maxLat=32.6&maxLon=123.5&zoom=12&layers=airports HTTP/1.1\r\nHost: x\r\n"
                                          "Authorization: Bearer " +
                                              kToken + "\r\n\r\n"
                                       << 100 << false;
    }
    void closesIdleConnections()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, repeat);
        QFETCH(bool, reads);
        navservicetest::NavdProcess navd;
        QVERIFY2(navd.start(ZOBREL_NAVD_EXECUTABLE, serveArgs(m_db) << "--rate"
                                                                    << "0"
                                                                    << "--idle-timeout"
                                                                    << "1"),
                 navd.errors());
        QTcpSocket client;
        if (!reads) {
            // Takes nothing in beyond a few kilobytes, so the replies back up to the server.
            client.setReadBufferSize(4096);
            client.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 4096);
        }
        client.connectToHost(QHostAddress::LocalHost, navd.port());
        QVERIFY(client.waitForConnected(5000));
        for (int i = 0; i < repeat; ++i)
            client.write(request);
        QElapsedTimer timer;
        timer.start();
        // Others are served meanwhile.
        QCOMPARE(get(navd.baseUrl(), "/api/v1/zobrel/nav/version?source=xplane11").status, 200);
        if (!reads) {
            // 100 replies of about 100 kB are far more than the sockets buffer: only a closed
            // connection lets this end before all of them were read.
            QTest::qWait(3000);
            client.setReadBufferSize(0);
        }
        QByteArray received;
        while (client.state() == QAbstractSocket::ConnectedState && timer.elapsed() < 8000) {
            client.waitForReadyRead(200);
            received += client.readAll();
        }
        received += client.readAll();
        QCOMPARE(client.state(), QAbstractSocket::UnconnectedState);
        QVERIFY2(timer.elapsed() >= 900, qPrintable(QString::number(timer.elapsed()))); // not at once
        QVERIFY2(received.count("HTTP/1.1 200") < repeat || repeat <= 1,
                 qPrintable(QString::number(received.count("HTTP/1.1 200"))));
        if (reads)
            QVERIFY(received.isEmpty());
    }

    void limitsTheRateOfOneClient()
    {
        navservicetest::NavdProcess limited;
        QVERIFY2(limited.start(ZOBREL_NAVD_EXECUTABLE, serveArgs(m_db) << "--rate"
                                                                       << "5"),
                 limited.errors());
        QList<int> statuses;
        for (int i = 0; i < 20; ++i)
            statuses << get(limited.baseUrl(), "/api/v1/zobrel/nav/version?source=xplane11").status;
        // A burst of twice the rate passes, then the client is told to slow down.
        QCOMPARE(statuses.first(), 200);
        QVERIFY(statuses.count(200) >= 10);
        QVERIFY(statuses.count(429) >= 5);
        QCOMPARE(statuses.count(200) + statuses.count(429), 20);
    }

    // A database replaced by rename is read again; requests meanwhile keep being answered.
    void reloadsAReplacedDatabase()
    {
        const QString next = m_dir.filePath("next.db");
        QVERIFY(navservicetest::writeSampleDatabase(next, "07"));
        {
            // The new file has one airport more, which box replies must show once it is read.
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "reload_next");
            db.setDatabaseName(next);
            QVERIFY(db.open());
            QVERIFY(QSqlQuery(db).exec("INSERT INTO airports (icao,name,lat,lon,elevation,city,country,has_tower,"
                                       "runway_count) VALUES ('ZSNT','Nantong',32.07,120.98,5,'Nantong','CN',1,1)"));
        }
        QSqlDatabase::removeDatabase("reload_next");
        const QString served = m_dir.filePath("reload.db");
        QVERIFY(QFile::copy(m_db, served));
        navservicetest::NavdProcess navd;
        QVERIFY2(navd.start(ZOBREL_NAVD_EXECUTABLE, serveArgs(served) << "--rate"
                                                                      << "0"),
                 navd.errors());
        const QString version = "/api/v1/zobrel/nav/version?source=xplane11";
        QCOMPARE(get(navd.baseUrl(), version).json.value("cycle").toObject().value("minor").toInt(), 3);
        const QString box = "/api/v1/zobrel/nav/query?source=xplane11&minLat=31.9&minLon=120.8&maxLat=32.2"
                            "&maxLon=121.1&zoom=10&layers=airports";
        QVERIFY(get(navd.baseUrl(), box).json.value("airports").toArray().isEmpty());
        QVERIFY(std::rename(qPrintable(next), qPrintable(served)) == 0);
        int minor = 3;
        QElapsedTimer timer;
        timer.start();
        while (minor == 3 && timer.elapsed() < 10000) {
            const HttpResult r = get(navd.baseUrl(), version);
            QCOMPARE(r.status, 200);
            minor = r.json.value("cycle").toObject().value("minor").toInt();
            QTest::qWait(50);
        }
        QCOMPARE(minor, 7);
        const QJsonArray airports = get(navd.baseUrl(), box).json.value("airports").toArray();
        QCOMPARE(airports.size(), 1);
        QCOMPARE(airports.first().toObject().value("icao").toString(), QString("ZSNT"));
    }

    void servesHttpsWithACertificate()
    {
        QString cert;
        QString key;
        if (!makeCertificate(&cert, &key))
            QSKIP("openssl is not installed; it makes the test certificate");
        navservicetest::NavdProcess secure;
        QVERIFY2(secure.start(ZOBREL_NAVD_EXECUTABLE, serveArgs(m_db) << "--cert" << cert << "--key" << key),
                 secure.errors());
        const QString base = QStringLiteral("https://127.0.0.1:%1").arg(secure.port());
        const HttpResult r = get(base, "/api/v1/zobrel/nav/version?source=xplane11");
        QCOMPARE(r.status, 200);
        QCOMPARE(r.json.value("source").toString(), QString("xplane11"));
        QCOMPARE(get(base, "/api/v1/zobrel/nav/version?source=xplane11", "bad").status, 401);
    }

    // A client that streams without pause (a huge body, or header line after header line) is cut
    // off after a bounded amount, over HTTP and HTTPS; the service's memory stays where it was and
    // everyone else is served during and after.
    void cutsOffEndlessRequests_data()
    {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<QByteArray>("filler");
        const QByteArray get("GET /api/v1/zobrel/nav/version?source=xplane11 HTTP/1.1\r\nHost: x\r\n"
                             "Authorization: Bearer " +
                             kToken + "\r\n");
        const QByteArray body = get + "Content-Length: 268435456\r\n\r\n";
        const QByteArray chunked = get + "Transfer-Encoding: chunked\r\n\r\n";
        const QByteArray chunk = "1000\r\n" + QByteArray(0x1000, 'b') + "\r\n";
        const QByteArray headers = QByteArray("X-Filler: ") + QByteArray(990, 'h') + "\r\n";
        for (const bool tls : {false, true}) {
            const char *scheme = tls ? "https" : "http";
            QTest::addRow("%s body", scheme) << tls << body << QByteArray(4096, 'b');
            QTest::addRow("%s chunked body", scheme) << tls << chunked << chunk;
            QTest::addRow("%s endless headers", scheme) << tls << get << headers;
        }
    }
    void cutsOffEndlessRequests()
    {
        QFETCH(bool, tls);
        QFETCH(QByteArray, head);
        QFETCH(QByteArray, filler);
        QStringList args = serveArgs(m_db) << "--rate"
                                           << "0";
        if (tls) {
            QString cert;
            QString key;
            if (!makeCertificate(&cert, &key))
                QSKIP("openssl is not installed; it makes the test certificate");
            args << "--cert" << cert << "--key" << key;
        }
        navservicetest::NavdProcess navd;
        QVERIFY2(navd.start(ZOBREL_NAVD_EXECUTABLE, args), navd.errors());
        const QString base = QStringLiteral("%1://127.0.0.1:%2").arg(tls ? "https" : "http").arg(navd.port());
        const QString version = QStringLiteral("/api/v1/zobrel/nav/version?source=xplane11");
        QCOMPARE(get(base, version).status, 200); // the first TLS handshake's allocations are made
        const qint64 pid = navd.process().processId();
        const qint64 before = residentKb(pid);
        QVERIFY(before > 0);

        QSslSocket client;
        client.setPeerVerifyMode(QSslSocket::VerifyNone);
        if (tls) {
            client.connectToHostEncrypted(QStringLiteral("127.0.0.1"), navd.port());
            QVERIFY2(client.waitForEncrypted(5000), qPrintable(client.errorString()));
        } else {
            client.connectToHost(QHostAddress::LocalHost, navd.port());
            QVERIFY(client.waitForConnected(5000));
        }
        const qint64 total = 256LL * 1024 * 1024;
        QByteArray batch = head;
        while (batch.size() < 1024 * 1024)
            batch += filler;
        qint64 written = 0;
        bool othersAsked = false;
        QElapsedTimer timer;
        timer.start();
        // As fast as the connection takes it: the next batch goes as soon as the last one is out.
        while (client.state() == QAbstractSocket::ConnectedState && written < total && timer.elapsed() < 20000) {
            client.write(batch);
            batch = filler.repeated(1024 * 1024 / filler.size());
            const auto pending = [&client] { return client.bytesToWrite() + client.encryptedBytesToWrite(); };
            while (pending() > 0 && client.state() == QAbstractSocket::ConnectedState)
                client.waitForBytesWritten(1000);
            if (pending() == 0)
                written += 1024 * 1024;
            if (!othersAsked) {
                othersAsked = true;
                QCOMPARE(get(base, version).status, 200);
            }
        }
        QCOMPARE(client.state(), QAbstractSocket::UnconnectedState);
        // The kernel's socket buffers on both ends take a few megabytes before the service reads.
        QVERIFY2(written < 32LL * 1024 * 1024, qPrintable(QString::number(written)));
        const qint64 after = residentKb(pid);
        QVERIFY2(after - before < 4096, qPrintable(QStringLiteral("%1 kB -> %2 kB").arg(before).arg(after)));
        QCOMPARE(get(base, version).status, 200);
    }

    // The bound is per request: requests near it are answered one after another on the same
    // connection, though together they send more.
    void answersLargeRequestsWithinTheBound_data()
    {
        QTest::addColumn<bool>("tls");
        QTest::newRow("http") << false;
        QTest::newRow("https") << true;
    }
    void answersLargeRequestsWithinTheBound()
    {
        QFETCH(bool, tls);
        QStringList args = serveArgs(m_db) << "--rate"
                                           << "0";
        if (tls) {
            QString cert;
            QString key;
            if (!makeCertificate(&cert, &key))
                QSKIP("openssl is not installed; it makes the test certificate");
            args << "--cert" << cert << "--key" << key;
        }
        navservicetest::NavdProcess navd;
        QVERIFY2(navd.start(ZOBREL_NAVD_EXECUTABLE, args), navd.errors());
        QSslSocket client;
        client.setPeerVerifyMode(QSslSocket::VerifyNone);
        if (tls) {
            client.connectToHostEncrypted(QStringLiteral("127.0.0.1"), navd.port());
            QVERIFY2(client.waitForEncrypted(5000), qPrintable(client.errorString()));
        } else {
            client.connectToHost(QHostAddress::LocalHost, navd.port());
            QVERIFY(client.waitForConnected(5000));
        }
        // About 40 kB each: two are more than the bound.
        QByteArray request = "GET /api/v1/zobrel/nav/version?source=xplane11 HTTP/1.1\r\nHost: x\r\n"
                             "Authorization: Bearer " +
                             kToken + "\r\n";
        for (int i = 0; i < 40; ++i)
            request += "X-Filler-" + QByteArray::number(i) + ": " + QByteArray(1000, 'h') + "\r\n";
        request += "\r\n";
        for (int round = 0; round < 3; ++round) {
            client.write(request);
            QByteArray reply;
            QElapsedTimer timer;
            timer.start();
            while (!reply.contains("\"source\":\"xplane11\"") && client.state() == QAbstractSocket::ConnectedState &&
                   timer.elapsed() < 5000) {
                client.waitForReadyRead(200);
                reply += client.readAll();
            }
            QVERIFY2(reply.startsWith("HTTP/1.1 200"), qPrintable(QString::number(round)));
        }
    }

    void refusesToStartWithoutItsFiles_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        QTest::newRow("no tokens file") << QStringList{"--db", "xplane11=x.db", "--tokens", "/nonexistent/t"}
                                        << "cannot read the tokens file";
        QTest::newRow("bad db argument") << QStringList{"--db", "xplane11", "--tokens", "TOKENS"} << "--db takes";
        QTest::newRow("missing db") << QStringList{"--db", "xplane11=/nonexistent.db", "--tokens", "TOKENS"}
                                    << "cannot load the navigation database";
        QTest::newRow("cert without key") << QStringList{"--db", "xplane11=DB", "--tokens", "TOKENS", "--cert", "c"}
                                          << "--cert and --key go together";
    }
    void refusesToStartWithoutItsFiles()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        args.replaceInStrings("TOKENS", m_tokens).replaceInStrings("DB", m_db);
        QProcess p;
        p.start(ZOBREL_NAVD_EXECUTABLE, QStringList{"--port", "0"} + args);
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitCode(), 2);
        const QString err = QString::fromUtf8(p.readAllStandardError());
        QVERIFY2(err.contains(message), qPrintable(err));
    }
};

QTEST_GUILESS_MAIN(TestNavd)
#include "tst_navd.moc"
