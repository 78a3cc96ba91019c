#include "syntheticflight.h"

#include "recording/flightstatistics.h"
#include "recording/trackexchange.h"
#include "tests/support/logexpect.h"

#include <QBuffer>
#include <QRegularExpression>
#include <QTest>
#include <QXmlStreamReader>

#include <cmath>

// Tracks out to GPX, KML and CSV and back in, and files written by other programs, good and bad.
class TestTrackExchange : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void roundTrip_data();
    void roundTrip();
    void kmlHoldsTheTrackAndMarks();
    void foreignFiles_data();
    void foreignFiles();
    void badFiles_data();
    void badFiles();
};

namespace {

constexpr qint64 kStart = 1714550400000; // 2024-05-01 08:00:00 UTC

RecordedFlight knownFlight()
{
    RecordedFlight flight;
    flight.info.id = 5;
    flight.info.callsign = QStringLiteral("B-1234");
    flight.info.simulator = QStringLiteral("X-Plane 12");
    flight.info.startMs = kStart;
    for (int i = 0; i <= 240; ++i) {
        AircraftData d = synthetic::at(i);
        d.bank = 12.5;
        d.mach = 0.167;
        d.apHdg = 275.0;
        d.apSpd = 120.0;
        TrackSample s = trackSampleFrom(d, kStart + i * 1000 + 250);
        s.seq = i;
        flight.samples << s;
    }
    flight.info.endMs = flight.samples.last().timeMs;
    for (const auto &[t, kind, text] :
         {std::tuple{30, "failure", "发动机 1 失效"}, std::tuple{120, "fuel", "加油 50 加仑"}}) {
        FlightEvent e;
        e.seq = flight.events.size();
        e.timeMs = kStart + t * 1000 + 250;
        e.kind = QString::fromLatin1(kind);
        e.text = QString::fromUtf8(text);
        flight.events << e;
    }
    flight.info.stats = FlightStatsCalculator::compute(flight.samples, &flight.landings);
    return flight;
}

std::optional<ImportedTrack> read(TrackFormat format, const QByteArray &bytes, QString *error)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return readTrack(format, &buffer, error);
}

QByteArray written(const RecordedFlight &flight, TrackFormat format)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QString error;
    if (!writeTrack(flight, format, &buffer, &error))
        qWarning() << error;
    return buffer.data();
}

} // namespace

void TestTrackExchange::roundTrip_data()
{
    QTest::addColumn<TrackFormat>("format");
    QTest::newRow("GPX") << TrackFormat::Gpx;
    QTest::newRow("CSV") << TrackFormat::Csv;
}

void TestTrackExchange::roundTrip()
{
    QFETCH(TrackFormat, format);
    const RecordedFlight flight = knownFlight();
    QString error;
    const std::optional<ImportedTrack> track = read(format, written(flight, format), &error);
    QVERIFY2(track, qPrintable(error));
    QCOMPARE(track->skippedRows, 0);
    QCOMPARE(track->samples.size(), flight.samples.size());
    for (int i = 0; i < flight.samples.size(); ++i) {
        const TrackSample &a = flight.samples.at(i);
        const TrackSample &b = track->samples.at(i);
        QCOMPARE(b.seq, qint64(i));
        QCOMPARE(b.timeMs, a.timeMs);
        QVERIFY(std::fabs(b.lat - a.lat) < 1e-7 && std::fabs(b.lon - a.lon) < 1e-7);
        QVERIFY(std::fabs(b.altFt - a.altFt) < 0.051);
        QVERIFY(std::fabs(b.iasKt - a.iasKt) < 0.006 && std::fabs(b.gsKt - a.gsKt) < 0.006);
        QVERIFY(std::fabs(b.vsFpm - a.vsFpm) < 0.051);
        QVERIFY(std::fabs(b.bankDeg - a.bankDeg) < 0.006 && std::fabs(b.mach - a.mach) < 0.00006);
        QVERIFY(std::fabs(b.gLoad - a.gLoad) < 0.0006 && std::fabs(b.fuelGal - a.fuelGal) < 0.006);
        QVERIFY(std::fabs(b.apHdgDeg - a.apHdgDeg) < 0.06 && std::fabs(b.apSpdKt - a.apSpdKt) < 0.06);
        QCOMPARE(b.flags, a.flags);
    }
    // The statistics worked out again from the file are the recording's.
    QList<LandingRecord> landings;
    const FlightStatistics stats = FlightStatsCalculator::compute(track->samples, &landings);
    QCOMPARE(stats.landingCount, 1);
    QCOMPARE(landings.first().vsFpm, flight.landings.first().vsFpm);
    QVERIFY(std::fabs(stats.distanceNm - flight.info.stats.distanceNm) < 1e-4);
    if (format == TrackFormat::Gpx) {
        QCOMPARE(track->events.size(), 2);
        QCOMPARE(track->events.at(0).kind, QStringLiteral("failure"));
        QCOMPARE(track->events.at(0).text, QStringLiteral("发动机 1 失效"));
        QCOMPARE(track->events.at(1).timeMs, kStart + 120250);
        QVERIFY(track->name.contains(QLatin1String("B-1234")));
    }
}

void TestTrackExchange::kmlHoldsTheTrackAndMarks()
{
    const RecordedFlight flight = knownFlight();
    QXmlStreamReader xml(written(flight, TrackFormat::Kml));
    QStringList lineCoordinates;
    QStringList pointCoordinates;
    bool inLine = false;
    QString root;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && root.isEmpty()) {
            root = xml.name().toString();
            QCOMPARE(xml.namespaceUri().toString(), QStringLiteral("http://www.opengis.net/kml/2.2"));
        }
        if (xml.isStartElement() && xml.name() == QLatin1String("LineString"))
            inLine = true;
        if (xml.isEndElement() && xml.name() == QLatin1String("LineString"))
            inLine = false;
        if (xml.isStartElement() && xml.name() == QLatin1String("coordinates")) {
            const QString text = xml.readElementText();
            if (inLine)
                lineCoordinates = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
            else
                pointCoordinates << text;
        }
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(root, QStringLiteral("kml"));
    QCOMPARE(lineCoordinates.size(), flight.samples.size());
    for (int i = 0; i < lineCoordinates.size(); ++i) {
        const QStringList lonLatAlt = lineCoordinates.at(i).split(QLatin1Char(','));
        QCOMPARE(lonLatAlt.size(), 3);
        const TrackSample &s = flight.samples.at(i);
        QVERIFY(std::fabs(lonLatAlt.at(0).toDouble() - s.lon) < 1e-7);
        QVERIFY(std::fabs(lonLatAlt.at(1).toDouble() - s.lat) < 1e-7);
        QVERIFY(std::fabs(lonLatAlt.at(2).toDouble() - s.altFt * 0.3048) < 0.051);
    }
    // Two events and one landing, each at the aircraft's place then.
    QCOMPARE(pointCoordinates.size(), 3);
    const QStringList touchdown = pointCoordinates.last().split(QLatin1Char(','));
    QVERIFY(std::fabs(touchdown.at(1).toDouble() - flight.landings.first().lat) < 1e-7);
}

void TestTrackExchange::foreignFiles_data()
{
    QTest::addColumn<TrackFormat>("format");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("points");
    QTest::addColumn<double>("firstAltFt");
    QTest::addColumn<double>("secondGsKt"); // given or worked out from the points
    QTest::addColumn<int>("skipped");
    QTest::addColumn<qint64>("secondTimeMs");
    QTest::addColumn<double>("secondHdg"); // worked out from the points where the file has no speeds
    const double eastNm = 3440.065 * 0.01 * M_PI / 180.0 * std::cos(31.0 * M_PI / 180.0); // 0.01 deg east

    // GPX 1.0 with speed in m/s; no extensions.
    QTest::newRow("GPX 1.0")
        << TrackFormat::Gpx
        << QByteArray(
               "<?xml version=\"1.0\"?><gpx version=\"1.0\" xmlns=\"http://www.topografix.com/GPX/1/0\"><trk><trkseg>"
               "<trkpt lat=\"31.0\" "
               "lon=\"121.0\"><ele>100</ele><time>2024-05-01T08:00:00Z</time><speed>51.4444</speed></trkpt>"
               "<trkpt lat=\"31.01\" "
               "lon=\"121.0\"><ele>130</ele><time>2024-05-01T08:00:10Z</time><speed>51.4444</speed></trkpt>"
               "</trkseg></trk></gpx>")
        << 2 << 100 / 0.3048 << 100.0 << 0 << qint64(1714550410000) << 0.0;
    // Route points without times: one second apart; speed and track from the points.
    QTest::newRow("GPX route, no times") << TrackFormat::Gpx
                                         << QByteArray(
                                                "<gpx version=\"1.1\" xmlns=\"http://www.topografix.com/GPX/1/1\"><rte>"
                                                "<rtept lat=\"31.0\" lon=\"121.0\"/><rtept lat=\"31.0\" "
                                                "lon=\"121.01\"/><rtept lat=\"95\" lon=\"0\"/></rte></gpx>")
                                         << 2 << 0.0 << eastNm * 3600.0 << 1 << qint64(-1) << 90.0;
    // Semicolons, units in the header, quoted fields, metres, a bad row in the middle.
    QTest::newRow("CSV semicolons") << TrackFormat::Csv
                                    << QByteArray("Time;Latitude;Longitude;Altitude (m);Note\n"
                                                  "2024-05-01T08:00:00Z;31.0;121.0;100;\"takeoff; flaps 10\"\n"
                                                  "2024-05-01T08:00:05Z;north;121.0;110;x\n"
                                                  "2024-05-01T08:00:10Z;31.0;121.01;130;\"said \"\"hello\"\"\"\n")
                                    << 2 << 100 / 0.3048 << eastNm * 360.0 << 1 << qint64(1714550410000) << 90.0;
    // Epoch seconds, and our own column names with a ground speed given.
    QTest::newRow("CSV epoch seconds")
        << TrackFormat::Csv
        << QByteArray(
               "timestamp,lat,lon,alt_ft,gs_kt\n1714550400,31.0,121.0,500,150\n1714550401.5,31.001,121.0,505,151\n")
        << 2 << 500.0 << 151.0 << 0 << qint64(1714550401500) << 0.0;
}

void TestTrackExchange::foreignFiles()
{
    QFETCH(TrackFormat, format);
    QFETCH(QByteArray, bytes);
    QFETCH(int, points);
    QFETCH(double, firstAltFt);
    QFETCH(double, secondGsKt);
    QFETCH(int, skipped);
    QFETCH(qint64, secondTimeMs);
    QFETCH(double, secondHdg);
    QString error;
    const std::optional<ImportedTrack> track = read(format, bytes, &error);
    QVERIFY2(track, qPrintable(error));
    QCOMPARE(track->samples.size(), points);
    QCOMPARE(track->skippedRows, skipped);
    QCOMPARE(track->firstProblem.isEmpty(), skipped == 0);
    QVERIFY(std::fabs(track->samples.first().altFt - firstAltFt) < 0.01);
    QVERIFY2(std::fabs(track->samples.at(1).gsKt - secondGsKt) < 0.5,
             qPrintable(QString::number(track->samples.at(1).gsKt)));
    if (secondTimeMs >= 0)
        QCOMPARE(track->samples.at(1).timeMs, secondTimeMs);
    else
        QCOMPARE(track->samples.at(1).timeMs - track->samples.at(0).timeMs, qint64(1000));
    QVERIFY2(std::fabs(angleDifferenceDeg(secondHdg, track->samples.at(1).hdgTrueDeg)) < 0.1,
             qPrintable(QString::number(track->samples.at(1).hdgTrueDeg)));
}

void TestTrackExchange::badFiles_data()
{
    QTest::addColumn<TrackFormat>("format");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("why");
    QTest::newRow("empty CSV") << TrackFormat::Csv << QByteArray() << QStringLiteral("empty file");
    QTest::newRow("CSV without positions")
        << TrackFormat::Csv << QByteArray("time,speed\n1,2\n") << QStringLiteral("no latitude and longitude");
    QTest::newRow("CSV with only bad rows") << TrackFormat::Csv << QByteArray("lat,lon\n91,0\nx,y\n\"open,1\n")
                                            << QStringLiteral("no usable rows (line 2: no valid position)");
    QTest::newRow("CSV line too long") << TrackFormat::Csv
                                       << QByteArray("lat,lon\n31,121\n") + QByteArray(70000, '1') + QByteArray("\n")
                                       << QStringLiteral("line 3 is longer than");
    QTest::newRow("not XML") << TrackFormat::Gpx << QByteArray("lat,lon\n") << QStringLiteral("line 1");
    QTest::newRow("not GPX") << TrackFormat::Gpx << QByteArray("<kml/>") << QStringLiteral("not a GPX file");
    QTest::newRow("truncated GPX") << TrackFormat::Gpx
                                   << QByteArray("<gpx>\n<trk><trkseg>\n<trkpt lat=\"31\" lon=\"121\"><ele>1</ele>")
                                   << QStringLiteral("line 3");
    QTest::newRow("GPX without points") << TrackFormat::Gpx << QByteArray("<gpx><trk/></gpx>")
                                        << QStringLiteral("no track points");
    QTest::newRow("KML") << TrackFormat::Kml << QByteArray("<kml/>") << QStringLiteral("written, not read");
}

void TestTrackExchange::badFiles()
{
    QFETCH(TrackFormat, format);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, why);
    QString error;
    QVERIFY(!read(format, bytes, &error));
    QVERIFY2(error.contains(why), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestTrackExchange)
#include "tst_trackexchange.moc"

#include "tests/support/logexpect.h"
