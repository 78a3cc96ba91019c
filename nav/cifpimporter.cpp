#include "nav/cifpimporter.h"

#include "nav/cifpparser.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/textinput.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

// X-Plane CIFP folders: one "<ICAO>.dat" per airport with SID, STAR and APPCH legs (one leg per
// line) and RWY threshold records. The files are parsed on a helper thread, which also gives each
// leg the position of its fix; this thread writes procedures and legs.

using namespace navimport;

bool CifpImporter::import(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importXPlaneCifp");
    const QString stage = QStringLiteral("procedures");
    ImportSession session(m_builder, QStringLiteral("cifp_import"), path, op);
    const QDir folder(dir);
    if (dir.isEmpty() || !folder.exists()) {
        session.fail(QStringLiteral("CIFP directory not found: %1").arg(dir));
        return session.finish(QString());
    }
    QStringList files;
    const QFileInfoList entries =
        folder.entryInfoList({QStringLiteral("*.dat"), QStringLiteral("*.DAT")}, QDir::Files, QDir::Name);
    for (const QFileInfo &entry : entries)
        files.append(entry.filePath());
    files.removeDuplicates();
    if (files.isEmpty()) {
        session.fail(QStringLiteral("%1: no *.dat files in %2").arg(op, dir));
        return session.finish(QString());
    }

    m_builder.createSchema(path);
    FixLookup lookup;
    CachedInsert insertProcedure;
    CachedInsert insertLeg;
    int skipped = 0;
    int unresolved = 0;
    // The legs table is recreated in its schema form with its lookup index: keeping the index up
    // to date while the legs (which arrive grouped by airport and procedure) go in costs no more
    // than building it afterwards, and leaves no long uninterruptible statement at the end.
    if (session.open() && session.begin() && session.exec(QStringLiteral("DROP TABLE IF EXISTS procedure_legs")) &&
        createTables(session, {&schema::ProcedureLegs, &schema::ProcedureLegsLookup}) &&
        session.exec(QStringLiteral("DELETE FROM procedure_legs")) &&
        session.exec(QStringLiteral("DELETE FROM procedures"))) {
        if (!loadCifpLookup(session.db(), &lookup))
            session.fail(QStringLiteral("%1: cannot read fixes and navaids").arg(op));
        else if (!insertProcedure.prepare(session.db(), QLatin1String(schema::insert::Procedure), 4) ||
                 !insertLeg.prepare(session.db(), QLatin1String(schema::insert::ProcedureLeg), 15))
            session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insertLeg.errorText()));
    }
    if (!session.failed()) {
        session.progress(stage, 0, files.size());
        runPipeline<CifpBatch>(
            [&](BatchQueue<CifpBatch> &queue) { produceCifp(files, lookup, queue); },
            [&](CifpBatch &batch) {
                if (session.cancelled())
                    return false;
                if (!batch.error.isEmpty()) {
                    session.fail(batch.error);
                    return false;
                }
                skipped += batch.skipped;
                unresolved += batch.unresolved;
                for (const ProcedureRow &p : batch.procedures) {
                    insertProcedure.bind(0, p.airport);
                    insertProcedure.bind(1, p.type);
                    insertProcedure.bind(2, p.runway);
                    insertProcedure.bind(3, p.name);
                    if (!insertProcedure.exec()) {
                        session.fail(QStringLiteral("%1: insert failed: %2").arg(op, insertProcedure.errorText()));
                        return false;
                    }
                }
                for (const LegRow &leg : batch.legs) {
                    const ProcedureRow &p = leg.procedure;
                    insertLeg.bind(0, p.airport);
                    insertLeg.bind(1, p.name);
                    insertLeg.bind(2, p.type);
                    insertLeg.bind(3, p.runway);
                    insertLeg.bindInt(4, leg.seq);
                    insertLeg.bind(5, leg.fixIdent);
                    insertLeg.bind(6, leg.fixRegion);
                    insertLeg.bind(7, leg.fixType1);
                    insertLeg.bind(8, leg.fixType2);
                    insertLeg.bind(9, leg.fixType3);
                    insertLeg.bind(10, leg.legType);
                    insertLeg.bind(11, leg.lat);
                    insertLeg.bind(12, leg.lon);
                    insertLeg.bind(13, leg.altitudeFt);
                    insertLeg.bindInt(14, leg.speedKts);
                    if (!insertLeg.exec()) {
                        session.fail(QStringLiteral("%1: insert failed: %2").arg(op, insertLeg.errorText()));
                        return false;
                    }
                }
                session.progress(stage, batch.filesDone, files.size());
                return true;
            });
    }
    // A cancel that came after the last batch still rolls the import back.
    session.cancelled();
    const QString message =
        QStringLiteral("importXPlaneCifp: imported %1 procedures, %2 legs from %3 files%4%5")
            .arg(insertProcedure.rows())
            .arg(insertLeg.rows())
            .arg(files.size())
            .arg(skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString())
            .arg(unresolved > 0 ? QStringLiteral(", %1 fixes without a known position").arg(unresolved) : QString());
    return session.finish(message);
}
