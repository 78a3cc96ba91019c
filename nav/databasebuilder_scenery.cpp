#include "nav/aptdatparser.h"
#include "nav/databasebuilder.h"
#include "nav/importsupport_p.h"
#include "nav/xplanedatafolder.h"

#include <QFileInfo>
#include <QSet>

#include <vector>

// X-Plane airport layouts (apt.dat): airports, runways (one row per end), frequencies, towers,
// parkings and taxi networks. The files are parsed on a helper thread in precedence order; this
// thread writes the airports batch by batch.

using namespace navimport;

namespace {

constexpr int kAirportsPerBatch = 512;

struct AptBatch
{
    std::vector<AptAirport> airports;
    int skipped = 0;
    int hidden = 0;
    qint64 bytesDone = 0;
};

void produceAirports(const QStringList &files, BatchQueue<AptBatch> &queue)
{
    QSet<QString> seen;
    AptDatParser parser(&seen);
    AptBatch batch;
    qint64 bytesBefore = 0;
    int skippedReported = 0;
    int hiddenReported = 0;
    const auto push = [&](qint64 bytesDone) {
        batch.skipped = parser.skippedRows() - skippedReported;
        batch.hidden = parser.hiddenAirports() - hiddenReported;
        skippedReported = parser.skippedRows();
        hiddenReported = parser.hiddenAirports();
        batch.bytesDone = bytesDone;
        const bool ok = queue.push(std::move(batch));
        batch = AptBatch();
        return ok;
    };
    for (const QString &file : files) {
        XPlaneTextReader reader;
        if (!reader.open(file))
            continue; // checked before the import started
        QByteArrayView row;
        bool overlong = false;
        int rowsSinceCheck = 0;
        while (reader.next(&row, &overlong)) {
            if (overlong)
                parser.addUnreadableRow();
            else
                parser.addRow(row, &batch.airports);
            if (int(batch.airports.size()) >= kAirportsPerBatch && !push(bytesBefore + reader.position()))
                return;
            // Long stretches of hidden airports produce no batches; still stop soon when asked.
            if (++rowsSinceCheck == 65536) {
                rowsSinceCheck = 0;
                if (queue.aborted())
                    return;
            }
        }
        parser.finishFile(&batch.airports);
        reader.logHeaderNotes(QStringLiteral("importXPlaneScenery"), file, {1000, 1050, 1100, 1130, 1200});
        bytesBefore += reader.size();
    }
    push(bytesBefore);
}

// The prepared inserts of one import, bound airport by airport.
class AirportWriter
{
public:
    bool prepare(QSqlDatabase &db)
    {
        return m_airport.prepare(db,
                                 QStringLiteral("INSERT OR REPLACE INTO airports (icao, name, lat, lon, elevation, "
                                                "has_tower, runway_count) VALUES (?, ?, ?, ?, ?, ?, ?)"),
                                 7) &&
               m_runway.prepare(db,
                                QStringLiteral("INSERT INTO runways (airport_icao, ident, length, width, heading, lat, "
                                               "lon, surface) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
                                8) &&
               m_frequency.prepare(db,
                                   QStringLiteral("INSERT OR REPLACE INTO frequencies (airport_icao, type, frequency, "
                                                  "name) VALUES (?, ?, ?, ?)"),
                                   4) &&
               m_tower.prepare(db,
                               QStringLiteral("INSERT OR REPLACE INTO towers (airport_icao, lat, lon, frequency, name) "
                                              "VALUES (?, ?, ?, ?, ?)"),
                               5) &&
               m_parking.prepare(db,
                                 QStringLiteral("INSERT INTO parkings (airport_icao, name, type, lat, lon, heading) "
                                                "VALUES (?, ?, ?, ?, ?, ?)"),
                                 6) &&
               m_node.prepare(db,
                              QStringLiteral("INSERT OR REPLACE INTO taxiway_nodes (airport_icao, node_id, lat, lon, "
                                             "node_type, node_name) VALUES (?, ?, ?, ?, ?, ?)"),
                              6) &&
               m_edge.prepare(db,
                              QStringLiteral("INSERT INTO taxiway_edges (airport_icao, from_node_id, to_node_id, "
                                             "direction, restriction, taxiway_name) VALUES (?, ?, ?, ?, ?, ?)"),
                              6);
    }

    // False with errorText() set when a row could not be written.
    bool write(const AptAirport &a)
    {
        m_airport.bind(0, a.icao);
        m_airport.bind(1, a.name);
        m_airport.bind(2, a.lat);
        m_airport.bind(3, a.lon);
        m_airport.bindInt(4, a.elevationFt);
        m_airport.bindInt(5, a.hasTower ? 1 : 0);
        m_airport.bindInt(6, a.runwayCount);
        if (!run(m_airport))
            return false;
        for (const AptAirport::Runway &r : a.runways) {
            m_runway.bind(0, a.icao);
            m_runway.bind(1, r.ident);
            m_runway.bindInt(2, r.lengthFt);
            m_runway.bindInt(3, r.widthFt);
            m_runway.bind(4, r.headingDeg);
            m_runway.bind(5, r.lat);
            m_runway.bind(6, r.lon);
            m_runway.bind(7, r.surface);
            if (!run(m_runway))
                return false;
        }
        for (const AptAirport::Frequency &f : a.frequencies) {
            m_frequency.bind(0, a.icao);
            m_frequency.bind(1, f.type);
            m_frequency.bind(2, f.mhz);
            m_frequency.bind(3, f.name);
            if (!run(m_frequency))
                return false;
        }
        if (a.hasTower) {
            m_tower.bind(0, a.icao);
            m_tower.bind(1, a.towerLat);
            m_tower.bind(2, a.towerLon);
            m_tower.bind(3, a.towerMhz);
            m_tower.bind(4, a.towerName);
            if (!run(m_tower))
                return false;
        }
        return writeGround(a);
    }

    QString errorText() const { return m_error; }
    int airports() const { return m_airport.rows(); }
    int runways() const { return m_runway.rows(); }
    int parkings() const { return m_parking.rows(); }
    int frequencies() const { return m_frequency.rows(); }
    int nodes() const { return m_node.rows(); }

private:
    bool writeGround(const AptAirport &a)
    {
        for (const AptAirport::Parking &p : a.parkings) {
            m_parking.bind(0, a.icao);
            m_parking.bind(1, p.name);
            m_parking.bind(2, p.type);
            m_parking.bind(3, p.lat);
            m_parking.bind(4, p.lon);
            m_parking.bind(5, p.headingDeg);
            if (!run(m_parking))
                return false;
        }
        for (const AptAirport::Node &n : a.nodes) {
            m_node.bind(0, a.icao);
            m_node.bindInt(1, n.id);
            m_node.bind(2, n.lat);
            m_node.bind(3, n.lon);
            m_node.bind(4, n.usage);
            m_node.bind(5, n.name);
            if (!run(m_node))
                return false;
        }
        for (const AptAirport::Edge &e : a.edges) {
            m_edge.bind(0, a.icao);
            m_edge.bindInt(1, e.from);
            m_edge.bindInt(2, e.to);
            m_edge.bind(3, e.direction);
            m_edge.bind(4, e.restriction);
            m_edge.bind(5, e.name);
            if (!run(m_edge))
                return false;
        }
        return true;
    }

    bool run(CachedInsert &insert)
    {
        if (insert.exec())
            return true;
        m_error = insert.errorText();
        return false;
    }

    CachedInsert m_airport;
    CachedInsert m_runway;
    CachedInsert m_frequency;
    CachedInsert m_tower;
    CachedInsert m_parking;
    CachedInsert m_node;
    CachedInsert m_edge;
    QString m_error;
};

} // namespace

bool DatabaseBuilder::importXPlaneScenery(const QString &path, const QString &xplaneDir)
{
    const XPlaneDataFolder folder(xplaneDir);
    const QStringList files = folder.exists() ? folder.aptFiles() : QStringList();
    if (files.isEmpty()) {
        ImportSession session(*this, QStringLiteral("apt_import"), path, QStringLiteral("importXPlaneScenery"));
        session.fail(QStringLiteral("importXPlaneScenery: no apt.dat found in the scenery of %1").arg(xplaneDir));
        return session.finish(QString());
    }
    return importXPlaneAptFiles(path, files);
}

bool DatabaseBuilder::importXPlaneAptFiles(const QString &path, const QStringList &aptFiles)
{
    const QString op = QStringLiteral("importXPlaneScenery");
    const QString stage = QStringLiteral("airports");
    ImportSession session(*this, QStringLiteral("apt_import"), path, op);
    qint64 totalBytes = 0;
    for (const QString &file : aptFiles) {
        const QFileInfo info(file);
        if (!info.isFile() || !info.isReadable()) {
            session.fail(QStringLiteral("%1: cannot open %2").arg(op, file));
            return session.finish(QString());
        }
        totalBytes += info.size();
    }
    createSchema(path);
    AirportWriter writer;
    // A new file's schema stops before the ground tables; they are made here when missing.
    if (session.open() && session.begin() && runSchemaStatements(session, {15, 16, 17, 19, 20, 21, 23, 24, 25})) {
        for (const char *table : {"airports", "runways", "towers", "parkings", "taxiway_nodes", "taxiway_edges"}) {
            if (!session.exec(QStringLiteral("DELETE FROM %1").arg(QLatin1String(table))))
                break;
        }
        if (!session.failed() && !writer.prepare(session.db()))
            session.fail(QStringLiteral("%1: prepare failed").arg(op));
    }
    int skipped = 0;
    int hidden = 0;
    totalBytes = qMax<qint64>(1, totalBytes);
    if (!session.failed()) {
        session.progress(stage, 0, totalBytes);
        runPipeline<AptBatch>([&](BatchQueue<AptBatch> &queue) { produceAirports(aptFiles, queue); },
                              [&](AptBatch &batch) {
                                  if (session.cancelled())
                                      return false;
                                  skipped += batch.skipped;
                                  hidden += batch.hidden;
                                  for (const AptAirport &airport : batch.airports) {
                                      if (!writer.write(airport)) {
                                          session.fail(
                                              QStringLiteral("%1: insert failed: %2").arg(op, writer.errorText()));
                                          return false;
                                      }
                                  }
                                  session.progress(stage, batch.bytesDone, totalBytes);
                                  return true;
                              });
    }
    const QString message =
        QStringLiteral("importXPlaneScenery: imported %1 airports, %2 runway ends, %3 parkings, %4 frequencies, %5 "
                       "taxi nodes from %6 files (%7 hidden by scenery of higher priority)%8")
            .arg(writer.airports())
            .arg(writer.runways())
            .arg(writer.parkings())
            .arg(writer.frequencies())
            .arg(writer.nodes())
            .arg(aptFiles.size())
            .arg(hidden)
            .arg(skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString());
    return session.finish(message);
}
