#include "nav/aptdatimporter.h"

#include "nav/aptdatparser.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/scenerywriter.h"
#include "nav/textinput.h"
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
    QString error; // a file that proved unusable ends the import
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
        InputCheck check;
        while (reader.next(&row, &overlong)) {
            const int skippedBefore = parser.skippedRows();
            if (overlong)
                parser.addUnreadableRow();
            else
                parser.addRow(row, &batch.airports);
            check.note(reader.lineNumber(), parser.skippedRows() == skippedBefore, reader.lineComplete());
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
        check.noteFrame(reader);
        batch.error = check.problem(file);
        if (!batch.error.isEmpty()) {
            queue.push(std::move(batch));
            return;
        }
        reader.logHeaderNotes(QStringLiteral("importXPlaneScenery"), file, {1000, 1050, 1100, 1130, 1200});
        bytesBefore += reader.size();
    }
    push(bytesBefore);
}

// One airport with everything it owns, through the shared scenery writer.
bool writeAirport(SceneryWriter &writer, const AptAirport &a)
{
    if (!writer.writeAirport({a.icao, a.name, a.lat, a.lon, a.elevationFt, a.hasTower, a.runwayCount}))
        return false;
    for (const AptAirport::Runway &r : a.runways) {
        if (!writer.writeRunwayEnd(a.icao, {r.ident, r.lengthFt, r.widthFt, r.headingDeg, r.lat, r.lon, r.surface}))
            return false;
    }
    for (const AptAirport::Frequency &f : a.frequencies) {
        if (!writer.writeFrequency(a.icao, f.type, f.mhz, f.name))
            return false;
    }
    if (a.hasTower && !writer.writeTower(a.icao, a.towerLat, a.towerLon, a.towerMhz, a.towerName))
        return false;
    for (const AptAirport::Parking &p : a.parkings) {
        if (!writer.writeParking(a.icao, p.name, p.type, p.lat, p.lon, p.headingDeg))
            return false;
    }
    for (const AptAirport::Node &n : a.nodes) {
        if (!writer.writeNode(a.icao, n.id, n.lat, n.lon, n.usage, n.name))
            return false;
    }
    for (const AptAirport::Edge &e : a.edges) {
        if (!writer.writeEdge(a.icao, e.from, e.to, e.direction, e.restriction, e.name))
            return false;
    }
    return true;
}

} // namespace

bool AptDatImporter::importInstallation(const QString &path, const QString &xplaneDir)
{
    const XPlaneDataFolder folder(xplaneDir);
    const QStringList files = folder.exists() ? folder.aptFiles() : QStringList();
    if (files.isEmpty()) {
        ImportSession session(m_builder, QStringLiteral("apt_import"), path, QStringLiteral("importXPlaneScenery"));
        session.fail(QStringLiteral("importXPlaneScenery: no apt.dat found in the scenery of %1").arg(xplaneDir));
        return session.finish(QString());
    }
    return importFiles(path, files);
}

bool AptDatImporter::importFiles(const QString &path, const QStringList &aptFiles)
{
    const QString op = QStringLiteral("importXPlaneScenery");
    const QString stage = QStringLiteral("airports");
    ImportSession session(m_builder, QStringLiteral("apt_import"), path, op);
    qint64 totalBytes = 0;
    for (const QString &file : aptFiles) {
        const QFileInfo info(file);
        if (!info.isFile() || !info.isReadable()) {
            session.fail(QStringLiteral("%1: cannot open %2").arg(op, file));
            return session.finish(QString());
        }
        totalBytes += info.size();
    }
    m_builder.createSchema(path);
    SceneryWriter writer;
    // A new file's schema stops before the ground tables; they are made here when missing.
    if (session.open() && session.begin() &&
        createTables(session, {&schema::RunwaysAirport, &schema::TaxiwayNodes, &schema::TaxiwayEdges, &schema::Parkings,
                               &schema::Towers, &schema::Frequencies, &schema::TaxiwayNodesAirport,
                               &schema::TaxiwayEdgesAirport, &schema::ParkingsAirport})) {
        for (const char *table : {"airports", "runways", "towers", "parkings", "taxiway_nodes", "taxiway_edges"}) {
            if (!session.exec(QStringLiteral("DELETE FROM %1").arg(QLatin1String(table))))
                break;
        }
        if (!session.failed())
            writer.prepare(session, SceneryWriter::Source::AptDat);
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
                                  if (!batch.error.isEmpty()) {
                                      session.fail(QStringLiteral("%1: %2").arg(op, batch.error));
                                      return false;
                                  }
                                  skipped += batch.skipped;
                                  hidden += batch.hidden;
                                  for (const AptAirport &airport : batch.airports) {
                                      if (!writeAirport(writer, airport)) {
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
            .arg(writer.runwayEnds())
            .arg(writer.parkings())
            .arg(writer.frequencies())
            .arg(writer.nodes())
            .arg(aptFiles.size())
            .arg(hidden)
            .arg(skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString());
    return session.finish(message);
}
