#include "nav/routefinderimporter.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/routefinderrows.h"
#include "nav/textinput.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

#include <vector>

// Route-finder text exports (the comma-separated navdata set of GNS430-style add-ons):
// Waypoints.txt, Airports.txt, Navaids.txt, ATS.txt and a PROC folder with one "<ICAO>.txt" of
// SIDs and STARs per airport. Every file is checked first; then each file is one import step with
// its own connection, and a step that fails stops the import (the steps before it stay done).

using namespace navimport;

namespace {

const QString kCategory = QStringLiteral("NavBuilder");

// A file of the export, found whatever the case of its name.
QString findEntry(const QDir &dir, const QString &name, QDir::Filters filters)
{
    for (const QFileInfo &entry : dir.entryInfoList(filters | QDir::NoDotAndDotDot)) {
        if (entry.fileName().compare(name, Qt::CaseInsensitive) == 0)
            return entry.filePath();
    }
    return QString();
}

// Reads the lines of file through row() within the session: a cancel or a failed write stops it.
template <typename Row> bool forEachRow(ImportSession &session, const QString &file, int *skipped, Row row)
{
    QString error;
    const bool read = forEachRfLine(
        file, row, skipped, nullptr, [&] { return session.cancelled() || session.failed(); }, &error);
    if (!read && !error.isEmpty())
        session.fail(error);
    return read && !session.failed();
}

QStringList procedureFiles(const QString &procDir)
{
    QStringList files;
    if (procDir.isEmpty())
        return files;
    for (const QFileInfo &entry : QDir(procDir).entryInfoList({QStringLiteral("*.txt")}, QDir::Files, QDir::Name))
        files.append(entry.filePath());
    return files;
}

QString skippedText(int skipped)
{
    return skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString();
}

// ---- the steps --------------------------------------------------------------------------------

bool importWaypoints(DatabaseBuilder &builder, const QString &path, const QString &file, QString *report)
{
    ImportSession session(builder, QStringLiteral("rf_wp"), path, QStringLiteral("importRouteFinderData"));
    CachedInsert insert;
    int skipped = 0;
    if (session.open() && session.begin() && session.exec(QStringLiteral("DELETE FROM waypoints"))) {
        if (!insert.prepare(session.db(), QLatin1String(schema::insert::RouteFinderWaypoint), 3))
            session.fail(QStringLiteral("RouteFinder waypoints: prepare failed: %1").arg(insert.errorText()));
        else
            forEachRow(session, file, &skipped, [&](const QByteArrayView *f, int count) {
                RfWaypoint w;
                if (!parseRfWaypoint(f, count, &w))
                    return false;
                insert.bind(0, w.ident);
                insert.bind(1, w.lat);
                insert.bind(2, w.lon);
                if (!insert.exec())
                    session.fail(QStringLiteral("RouteFinder waypoints: insert failed: %1").arg(insert.errorText()));
                return true;
            });
    }
    return session.finish(
        QStringLiteral("RouteFinder: imported %1 waypoints%2").arg(insert.rows()).arg(skippedText(skipped)), report);
}

bool importAirports(DatabaseBuilder &builder, const QString &path, const QString &file, QString *report)
{
    ImportSession session(builder, QStringLiteral("rf_apt"), path, QStringLiteral("importRouteFinderData"));
    CachedInsert airportInsert;
    CachedInsert runwayInsert;
    QSqlQuery removeRunways;
    int skipped = 0;
    RfAirport current;
    const auto flush = [&]() {
        if (current.icao.isEmpty() || session.failed())
            return;
        airportInsert.bind(0, current.icao);
        airportInsert.bind(1, current.name);
        airportInsert.bind(2, current.lat);
        airportInsert.bind(3, current.lon);
        airportInsert.bindInt(4, current.elevationFt);
        airportInsert.bindInt(5, 0);
        // Each runway end has a row of its own.
        airportInsert.bindInt(6, int(current.runways.size() + 1) / 2);
        removeRunways.bindValue(0, current.icao);
        if (!airportInsert.exec() || !removeRunways.exec()) {
            session.fail(QStringLiteral("RouteFinder airports: write failed: %1").arg(airportInsert.errorText()));
            return;
        }
        for (const RfRunway &r : current.runways) {
            runwayInsert.bind(0, current.icao);
            runwayInsert.bind(1, r.ident);
            runwayInsert.bindInt(2, r.lengthFt);
            runwayInsert.bindInt(3, r.widthFt);
            runwayInsert.bind(4, r.headingDeg);
            runwayInsert.bind(5, r.lat);
            runwayInsert.bind(6, r.lon);
            runwayInsert.bind(7, r.surface);
            if (!runwayInsert.exec()) {
                session.fail(QStringLiteral("RouteFinder runways: insert failed: %1").arg(runwayInsert.errorText()));
                return;
            }
        }
        current = RfAirport();
    };
    if (session.open() && createTables(session, {&schema::RunwaysAirport}) && session.begin()) {
        removeRunways = QSqlQuery(session.db());
        if (!airportInsert.prepare(session.db(), QLatin1String(schema::insert::Airport), 7) ||
            !runwayInsert.prepare(session.db(), QLatin1String(schema::insert::Runway), 8) ||
            !removeRunways.prepare(QStringLiteral("DELETE FROM runways WHERE airport_icao=?")))
            session.fail(QStringLiteral("RouteFinder airports: prepare failed: %1").arg(airportInsert.errorText()));
        else
            forEachRow(session, file, &skipped, [&](const QByteArrayView *f, int count) {
                if (equals(f[0], "A")) {
                    flush();
                    RfAirport a;
                    if (!parseRfAirport(f, count, &a))
                        return false;
                    current = a;
                    return true;
                }
                if (equals(f[0], "R")) {
                    RfRunway r;
                    if (current.icao.isEmpty() || !parseRfRunway(f, count, &r))
                        return false;
                    current.runways.push_back(r);
                    return true;
                }
                // L (ILS) and X (cycle) rows carry nothing the airport tables hold.
                return equals(f[0], "L") || equals(f[0], "X");
            });
        flush();
    }
    return session.finish(QStringLiteral("RouteFinder: imported %1 airports, %2 runway ends%3")
                              .arg(airportInsert.rows())
                              .arg(runwayInsert.rows())
                              .arg(skippedText(skipped)),
                          report);
}

bool importNavaids(DatabaseBuilder &builder, const QString &path, const QString &file, QString *report)
{
    ImportSession session(builder, QStringLiteral("rf_nav"), path, QStringLiteral("importRouteFinderData"));
    CachedInsert insert;
    int skipped = 0;
    if (session.open() && session.begin() && session.exec(QStringLiteral("DELETE FROM navaids"))) {
        if (!insert.prepare(session.db(), QLatin1String(schema::insert::Navaid), 7))
            session.fail(QStringLiteral("RouteFinder navaids: prepare failed: %1").arg(insert.errorText()));
        else
            forEachRow(session, file, &skipped, [&](const QByteArrayView *f, int count) {
                RfNavaid n;
                if (!parseRfNavaid(f, count, &n))
                    return false;
                insert.bind(0, n.ident);
                insert.bind(1, n.type);
                insert.bind(2, n.lat);
                insert.bind(3, n.lon);
                insert.bind(4, n.freq);
                insert.bind(5, n.rangeNm);
                insert.bind(6, QString());
                if (!insert.exec())
                    session.fail(QStringLiteral("RouteFinder navaids: insert failed: %1").arg(insert.errorText()));
                return true;
            });
    }
    return session.finish(
        QStringLiteral("RouteFinder: imported %1 navaids%2").arg(insert.rows()).arg(skippedText(skipped)), report);
}

bool importAirways(DatabaseBuilder &builder, const QString &path, const QString &file, QString *report)
{
    ImportSession session(builder, QStringLiteral("rf_ats"), path, QStringLiteral("importRouteFinderData"));
    CachedInsert insert;
    int skipped = 0;
    QString name;
    QString level;
    if (session.open()) {
        addAirwayColumns(session, true);
        if (session.begin() && session.exec(QStringLiteral("DELETE FROM airways"))) {
            if (!insert.prepare(session.db(), QLatin1String(schema::insert::RouteFinderAirway), 12))
                session.fail(QStringLiteral("RouteFinder airways: prepare failed: %1").arg(insert.errorText()));
            else
                forEachRow(session, file, &skipped, [&](const QByteArrayView *f, int count) {
                    if (equals(f[0], "A"))
                        return parseRfAirwayHeader(f, count, &name, &level);
                    RfSegment seg;
                    if (name.isEmpty() || !parseRfSegment(f, count, &seg))
                        return false;
                    insert.bind(0, name);
                    insert.bind(1, level);
                    insert.bind(2, seg.fromLat);
                    insert.bind(3, seg.fromLon);
                    insert.bind(4, seg.toLat);
                    insert.bind(5, seg.toLon);
                    insert.bind(6, seg.fromIdent);
                    insert.bind(7, seg.toIdent);
                    insert.bind(8, seg.minAlt);
                    insert.bind(9, seg.maxAlt);
                    insert.bind(10, seg.lengthNm);
                    insert.bind(11, QStringLiteral("B"));
                    if (!insert.exec())
                        session.fail(QStringLiteral("RouteFinder airways: insert failed: %1").arg(insert.errorText()));
                    return true;
                });
        }
    }
    return session.finish(
        QStringLiteral("RouteFinder: imported %1 airway segments%2").arg(insert.rows()).arg(skippedText(skipped)),
        report);
}

// ---- procedures -------------------------------------------------------------------------------

struct RfProcedure
{
    QString airport;
    QString kind; // "SID" or "STAR"
    QString name;
    QString runway; // a runway, a transition, or "ALL" for all runways
    std::vector<RfLeg> legs;
};

// Reads every "<ICAO>.txt" of the PROC folder: SID and STAR blocks (a header, then its legs).
// Approach blocks (APPTR, FINAL) are passed over.
bool readRfProcedures(ImportSession &session, const QStringList &files, std::vector<RfProcedure> *out, int *skipped)
{
    for (const QString &file : files) {
        const QString airport = QFileInfo(file).completeBaseName().toUpper();
        bool inApproach = false;
        const bool ok = forEachRow(session, file, skipped, [&](const QByteArrayView *f, int count) {
            if (equals(f[0], "SID") || equals(f[0], "STAR")) {
                inApproach = false;
                if (count < 3 || f[1].isEmpty())
                    return false;
                out->push_back(
                    {airport, latin1(f[0]), latin1(f[1]), f[2].isEmpty() ? QStringLiteral("ALL") : latin1(f[2]), {}});
                return true;
            }
            if (equals(f[0], "APPTR") || equals(f[0], "FINAL")) {
                inApproach = true;
                return true;
            }
            if (inApproach)
                return true;
            RfLeg leg;
            if (out->empty() || out->back().airport != airport || !parseRfLeg(f, count, &leg))
                return false;
            out->back().legs.push_back(leg);
            return true;
        });
        if (!ok)
            return false;
    }
    return true;
}

bool importRouteFinderProcedures(DatabaseBuilder &builder, const QString &path, const QString &procDir, QString *report)
{
    const QString op = QStringLiteral("importRouteFinderData");
    const QStringList files = procedureFiles(procDir);
    {
        ImportSession drop(builder, QStringLiteral("drop_old_legs"), path, op);
        if (drop.open() && drop.begin() && drop.exec(QStringLiteral("DROP TABLE IF EXISTS procedure_legs")) &&
            createTables(drop, {&schema::ProcedureLegs, &schema::ProcedureLegsLookup}))
            drop.exec(QStringLiteral("DELETE FROM procedures"));
        if (!drop.finish(QStringLiteral("RouteFinder: old procedures removed"), report))
            return false;
    }
    std::vector<RfProcedure> procedures;
    int skipped = 0;
    int legs = 0;
    {
        ImportSession session(builder, QStringLiteral("rf_proc"), path, op);
        CachedInsert insert;
        if (session.open() && session.begin() && readRfProcedures(session, files, &procedures, &skipped)) {
            if (!insert.prepare(session.db(), QLatin1String(schema::insert::ProcedureLeg), 15))
                session.fail(QStringLiteral("RouteFinder procedures: prepare failed: %1").arg(insert.errorText()));
            for (int i = 6; i <= 9 && !session.failed(); ++i)
                insert.bind(i, QString());
            for (const RfProcedure &p : procedures) {
                int seq = 0;
                for (const RfLeg &leg : p.legs) {
                    if (session.failed())
                        break;
                    insert.bind(0, p.airport);
                    insert.bind(1, p.name);
                    insert.bind(2, p.kind);
                    insert.bind(3, p.runway);
                    insert.bindInt(4, ++seq);
                    insert.bind(5, leg.fix);
                    insert.bind(10, leg.legType);
                    insert.bind(11, leg.lat);
                    insert.bind(12, leg.lon);
                    insert.bind(13, leg.altitudeFt);
                    insert.bindInt(14, leg.speedKts);
                    if (!insert.exec())
                        session.fail(
                            QStringLiteral("RouteFinder procedures: insert failed: %1").arg(insert.errorText()));
                }
            }
        }
        legs = insert.rows();
        if (!session.finish(QStringLiteral("RouteFinder: imported %1 procedure legs").arg(legs), report))
            return false;
    }
    ImportSession session(builder, QStringLiteral("rf_procedures"), path, op);
    CachedInsert insert;
    if (session.open() && session.begin()) {
        if (!insert.prepare(session.db(), QLatin1String(schema::insert::Procedure), 4))
            session.fail(QStringLiteral("RouteFinder procedures: prepare failed: %1").arg(insert.errorText()));
        for (const RfProcedure &p : procedures) {
            if (session.failed())
                break;
            insert.bind(0, p.airport);
            insert.bind(1, p.kind);
            insert.bind(2, p.runway);
            insert.bind(3, p.name);
            if (!insert.exec())
                session.fail(QStringLiteral("RouteFinder procedures: insert failed: %1").arg(insert.errorText()));
        }
    }
    return session.finish(QStringLiteral("RouteFinder: imported %1 procedures, %2 legs from %3 files%4")
                              .arg(insert.rows())
                              .arg(legs)
                              .arg(files.size())
                              .arg(skippedText(skipped)),
                          report);
}

} // namespace

bool RouteFinderImporter::import(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importRouteFinderData");
    const QString stage = QStringLiteral("routefinder");
    const QDir folder(dir);
    const auto failWith = [&](const QString &reason) {
        AppLogger::instance().log(AppLogger::Error, kCategory, reason);
        emit m_builder.importFinished(reason, false);
        return false;
    };
    if (dir.isEmpty() || !folder.exists())
        return failWith(QStringLiteral("RouteFinder navdata dir not found: %1").arg(dir));
    QStringList files;
    for (const char *name : {"Waypoints.txt", "Airports.txt", "Navaids.txt", "ATS.txt"}) {
        const QString file = findEntry(folder, QLatin1String(name), QDir::Files);
        if (file.isEmpty())
            return failWith(QStringLiteral("RouteFinder file not found: %1").arg(folder.filePath(QLatin1String(name))));
        files.append(file);
    }
    // Every file is read through before anything is replaced: each step commits on its own, so a
    // bad file found later would leave the tables half replaced.
    const QString procDir = findEntry(folder, QStringLiteral("PROC"), QDir::Dirs);
    const RfFile kinds[] = {RfFile::Waypoints, RfFile::Airports, RfFile::Navaids, RfFile::Airways};
    for (int i = 0; i < 4; ++i) {
        const QString problem = checkRfFile(kinds[i], files.at(i));
        if (!problem.isEmpty())
            return failWith(QStringLiteral("%1: %2").arg(op, problem));
    }
    for (const QString &file : procedureFiles(procDir)) {
        const QString problem = checkRfFile(RfFile::Procedures, file);
        if (!problem.isEmpty())
            return failWith(QStringLiteral("%1: %2").arg(op, problem));
    }
    m_builder.createSchema(path);
    QStringList reports;
    QString report;
    const auto step = [&](int done, bool ok) {
        reports.append(report);
        if (ok)
            emit m_builder.importProgress(stage, done, 5);
        return ok;
    };
    emit m_builder.importProgress(stage, 0, 5);
    if (!step(1, importWaypoints(m_builder, path, files.at(0), &report)) ||
        !step(2, importAirports(m_builder, path, files.at(1), &report)) ||
        !step(3, importNavaids(m_builder, path, files.at(2), &report)) ||
        !step(4, importAirways(m_builder, path, files.at(3), &report)))
        return failWith(reports.last());
    // With the airway columns in place the rest of the schema can be created.
    m_builder.createSchema(path);
    if (procDir.isEmpty()) {
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("RouteFinder PROC directory not found in %1").arg(dir));
    } else if (!step(5, importRouteFinderProcedures(m_builder, path, procDir, &report))) {
        return failWith(reports.last());
    }
    emit m_builder.importProgress(stage, 5, 5);
    const QString message = QStringLiteral("importRouteFinderData: %1").arg(reports.join(QStringLiteral("; ")));
    emit m_builder.importFinished(message, true);
    return true;
}
