#include "nav/routefinderimporter.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/geodesy.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/textinput.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

#include <cmath>
#include <vector>

// Route-finder text exports (the comma-separated navdata set of GNS430-style add-ons):
// Waypoints.txt, Airports.txt, Navaids.txt, ATS.txt and a PROC folder with one "<ICAO>.txt" of
// SIDs and STARs per airport. Each file is one import step with its own connection; a step that
// fails stops the import, the steps before it stay done.

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

// Reads a comma-separated file line by line, skipping blank and '#' lines; calls row() with the
// fields (trailing empty fields dropped). row() returns false for a malformed line.
template <typename Row> bool forEachRow(ImportSession &session, const QString &file, int *skipped, Row row)
{
    LineReader reader;
    if (!reader.open(file)) {
        session.fail(QStringLiteral("Cannot open %1: %2").arg(file, reader.errorText()));
        return false;
    }
    QByteArrayView line;
    bool overlong = false;
    QByteArrayView f[40];
    int lines = 0;
    while (reader.next(&line, &overlong)) {
        const QByteArrayView text = trimmed(line);
        if (!overlong && (text.isEmpty() || text.startsWith('#')))
            continue;
        int count = overlong ? 0 : splitAt(text, ',', f, 40);
        while (count > 0 && count <= 40 && f[count - 1].isEmpty())
            --count;
        if (count == 0 || count > 40 || !row(f, count))
            ++*skipped;
        if ((++lines & 4095) == 0 && session.cancelled())
            return false;
        if (session.failed())
            return false;
    }
    return !session.failed();
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
                // IDENT,lat,lon[,region[,flag]]
                double lat = 0.0;
                double lon = 0.0;
                if (count < 3 || f[0].isEmpty() || !toDouble(f[1], &lat) || !toDouble(f[2], &lon) ||
                    !validLatLon(lat, lon))
                    return false;
                insert.bind(0, latin1(f[0]));
                insert.bind(1, lat);
                insert.bind(2, lon);
                if (!insert.exec())
                    session.fail(QStringLiteral("RouteFinder waypoints: insert failed: %1").arg(insert.errorText()));
                return true;
            });
    }
    return session.finish(
        QStringLiteral("RouteFinder: imported %1 waypoints%2").arg(insert.rows()).arg(skippedText(skipped)), report);
}

struct RfRunway
{
    QString ident;
    int lengthFt = 0;
    int widthFt = 0;
    double headingDeg = 0.0;
    double lat = 0.0;
    double lon = 0.0;
    QString surface;
};

struct RfAirport
{
    QString icao;
    QString name;
    double lat = 0.0;
    double lon = 0.0;
    int elevationFt = 0;
    std::vector<RfRunway> runways;
};

QString rfSurface(QByteArrayView code)
{
    int value = -1;
    toInt(code, &value);
    switch (value) {
    case 0:
        return QStringLiteral("CONCRETE");
    case 1:
        return QStringLiteral("ASPHALT");
    case 2:
        return QStringLiteral("GRAVEL");
    default:
        return QStringLiteral("OTHER");
    }
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
                    // A,ICAO,name,lat,lon,elevation,transition altitude,transition level,longest runway
                    flush();
                    RfAirport a;
                    if (count < 6 || f[1].isEmpty() || !toDouble(f[3], &a.lat) || !toDouble(f[4], &a.lon) ||
                        !validLatLon(a.lat, a.lon) || !toInt(f[5], &a.elevationFt))
                        return false;
                    a.icao = latin1(f[1]);
                    a.name = utf8(f[2]);
                    current = a;
                    return true;
                }
                if (equals(f[0], "R")) {
                    // R,ident,heading,length,width,ils,ils freq,ils course,lat,lon,elevation,gs,tch,surface,usage
                    RfRunway r;
                    if (current.icao.isEmpty() || count < 10 || !toDouble(f[2], &r.headingDeg) ||
                        !toInt(f[3], &r.lengthFt) || !toInt(f[4], &r.widthFt) || !toDouble(f[8], &r.lat) ||
                        !toDouble(f[9], &r.lon) || !validLatLon(r.lat, r.lon))
                        return false;
                    r.ident = latin1(f[1]);
                    r.surface = count > 13 ? rfSurface(f[13]) : QStringLiteral("OTHER");
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

// VOR when the VOR flag is set; else a localizer-band frequency (108-112 MHz, odd tenths) is an
// ILS, a DME flag alone a DME, and the rest NDBs.
QString rfNavaidType(bool hasVor, bool hasDme, double freq)
{
    if (hasVor)
        return QStringLiteral("VOR");
    const int tenths = int(std::floor(freq * 10.0 + 1e-6));
    if (freq >= 108.0 && freq < 112.0 && tenths % 2 == 1)
        return QStringLiteral("ILS");
    if (hasDme)
        return QStringLiteral("DME");
    return QStringLiteral("NDB");
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
                // ident,name,freq,vor,dme,range,lat,lon,elevation,region,...
                double freq = 0.0, range = 0.0, lat = 0.0, lon = 0.0;
                int vor = 0;
                int dme = 0;
                if (count < 8 || f[0].isEmpty() || !toDouble(f[2], &freq) || !toInt(f[3], &vor) || !toInt(f[4], &dme) ||
                    !toDouble(f[5], &range) || !toDouble(f[6], &lat) || !toDouble(f[7], &lon) || !validLatLon(lat, lon))
                    return false;
                insert.bind(0, latin1(f[0]));
                insert.bind(1, rfNavaidType(vor != 0, dme != 0, freq));
                insert.bind(2, lat);
                insert.bind(3, lon);
                insert.bind(4, freq);
                insert.bind(5, range);
                insert.bind(6, QString());
                if (!insert.exec())
                    session.fail(QStringLiteral("RouteFinder navaids: insert failed: %1").arg(insert.errorText()));
                return true;
            });
    }
    return session.finish(
        QStringLiteral("RouteFinder: imported %1 navaids%2").arg(insert.rows()).arg(skippedText(skipped)), report);
}

QString rfLevel(const QByteArrayView *f, int count)
{
    for (int i = 2; i < count; ++i) {
        if (equals(f[i], "HIGH") || equals(f[i], "H"))
            return QStringLiteral("HIGH");
        if (equals(f[i], "LOW") || equals(f[i], "L"))
            return QStringLiteral("LOW");
        if (equals(f[i], "BOTH") || equals(f[i], "B"))
            return QStringLiteral("BOTH");
    }
    return QStringLiteral("BOTH");
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
                    if (equals(f[0], "A")) {
                        // A,name,segment count[,level]
                        if (count < 2 || f[1].isEmpty())
                            return false;
                        name = latin1(f[1]);
                        level = rfLevel(f, count);
                        return true;
                    }
                    // S,from,lat,lon,to,lat,lon,inbound course,outbound course,length[,min alt,max alt]
                    double fromLat = 0, fromLon = 0, toLat = 0, toLon = 0, length = 0;
                    if (!equals(f[0], "S") || name.isEmpty() || count < 7 || !toDouble(f[2], &fromLat) ||
                        !toDouble(f[3], &fromLon) || !toDouble(f[5], &toLat) || !toDouble(f[6], &toLon) ||
                        !validLatLon(fromLat, fromLon) || !validLatLon(toLat, toLon))
                        return false;
                    if (count < 10 || !toDouble(f[9], &length) || length <= 0.0)
                        length = geodesy::distanceNm(fromLat, fromLon, toLat, toLon, geodesy::kNavSphereRadiusNm);
                    insert.bind(0, name);
                    insert.bind(1, level);
                    insert.bind(2, fromLat);
                    insert.bind(3, fromLon);
                    insert.bind(4, toLat);
                    insert.bind(5, toLon);
                    insert.bind(6, latin1(f[1]));
                    insert.bind(7, latin1(f[4]));
                    insert.bind(8, count > 10 ? latin1(f[10]) : QString());
                    insert.bind(9, count > 11 ? latin1(f[11]) : QString());
                    insert.bind(10, length);
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

struct RfLeg
{
    QString legType;
    QString fix;
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    int speedKts = 0;
};

struct RfProcedure
{
    QString airport;
    QString kind; // "SID" or "STAR"
    QString name;
    QString runway; // a runway, a transition, or "ALL" for all runways
    std::vector<RfLeg> legs;
};

bool isRfPathTerminator(QByteArrayView code)
{
    static const char *const kKnown[] = {"IF", "TF", "CF", "DF", "FM", "FC", "FA", "FD", "AF",
                                         "RF", "VA", "CA", "VM", "HM", "HA", "HF", "PI"};
    for (const char *known : kKnown) {
        if (equals(code, known))
            return true;
    }
    return false;
}

// One leg: the path terminator, the fix with its position (legs that end at a fix), and the
// constraint block of eight numbers that closes every leg.
bool parseRfLeg(const QByteArrayView *f, int count, RfLeg *leg)
{
    if (!isRfPathTerminator(f[0]) || count < 9)
        return false;
    leg->legType = latin1(f[0]);
    const bool withoutFix = equals(f[0], "VA") || equals(f[0], "CA") || equals(f[0], "VM");
    if (!withoutFix) {
        if (count < 12 || f[1].isEmpty() || !toDouble(f[2], &leg->lat) || !toDouble(f[3], &leg->lon) ||
            !validLatLon(leg->lat, leg->lon))
            return false;
        leg->fix = latin1(f[1]);
    }
    int numbers[6] = {0, 0, 0, 0, 0, 0};
    for (int i = 0; i < 6; ++i) {
        if (!toInt(f[count - 8 + i], &numbers[i]))
            return false;
    }
    // altitude type, altitude 1, altitude 2, speed type, speed 1, speed 2; which altitude is the
    // upper one of a window differs between providers, so the larger is kept.
    if (numbers[0] != 0)
        leg->altitudeFt = qMax(numbers[1], numbers[2]);
    if (numbers[3] != 0)
        leg->speedKts = numbers[4] != 0 ? numbers[4] : numbers[5];
    return true;
}

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
    QStringList files;
    for (const QFileInfo &entry : QDir(procDir).entryInfoList({QStringLiteral("*.txt")}, QDir::Files, QDir::Name))
        files.append(entry.filePath());
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
    const QString procDir = findEntry(folder, QStringLiteral("PROC"), QDir::Dirs);
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
