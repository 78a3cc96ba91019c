#include "nav/bglsceneryimporter.h"

#include "app/log/applogger.h"
#include "nav/bglreader.h"
#include "nav/bglrecordimporter.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/scenerylocator.h"

// The scenery library of an installation or a package folder: its BGL files are parsed in load
// order into one reader, which importBglRecords / importNavigraphMsfsRecords then write.

using namespace navimport;

namespace {

// Parses files in order into one reader (load order kept for the precedence above). False when
// cancelled; unreadable or foreign files are counted and skipped, as the simulator skips them.
bool parseBglFiles(DatabaseBuilder &builder, const QStringList &files, BglReader &into, int *skipped)
{
    const int total = int(files.size());
    for (int i = 0; i < total; ++i) {
        if (builder.isCancelRequested())
            return false;
        BglReader one(into.simType());
        if (one.parseFile(files.at(i)))
            into.mergeFrom(one);
        else
            ++*skipped;
        emit builder.importProgress(QStringLiteral("scenery"), i + 1, total);
    }
    return true;
}

bool failWith(DatabaseBuilder &builder, const QString &path, const QString &op, const QString &reason)
{
    ImportSession session(builder, QStringLiteral("bgl_import"), path, op);
    session.fail(reason);
    return session.finish(QString());
}

QStringList filesOf(const QStringList &folders)
{
    QStringList files;
    for (const QString &folder : folders)
        files += SceneryLocator::bglFiles(folder);
    return files;
}

} // namespace

bool BglSceneryImporter::importP3D(const QString &path, const QString &simDir)
{
    const QString op = QStringLiteral("importP3DScenery");
    const QStringList files = filesOf(SceneryLocator::p3dSceneryPaths(simDir));
    if (files.isEmpty())
        return failWith(m_builder, path, op, QStringLiteral("%1: no scenery BGL files found in %2").arg(op, simDir));
    // FSX and Prepar3D share the record layouts; the reader tells the versions apart by record id.
    BglReader reader(SimType::Prepar3D);
    int skipped = 0;
    if (!parseBglFiles(m_builder, files, reader, &skipped))
        return failWith(m_builder, path, op, QStringLiteral("%1: cancelled").arg(op));
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("NavBuilder"),
                              QStringLiteral("%1: read %2 BGL files (%3 not readable) from %4")
                                  .arg(op)
                                  .arg(files.size() - skipped)
                                  .arg(skipped)
                                  .arg(simDir));
    reader.resolveAirwayEndpoints();
    return BglRecordImporter(m_builder).importAll(path, reader);
}

bool BglSceneryImporter::importMsfs(const QString &path, const QString &location)
{
    const QString op = QStringLiteral("importMsfsScenery");
    const QString packagesPath = SceneryLocator::msfsPackagesPath(location);
    QStringList scenery;
    QStringList navigraph;
    for (const QString &package : SceneryLocator::msfsPackagePaths(packagesPath))
        (SceneryLocator::isNavigraphPackage(package) ? navigraph : scenery).append(package);
    const QStringList files = filesOf(scenery);
    if (files.isEmpty())
        return failWith(m_builder, path, op, QStringLiteral("%1: no scenery BGL files found in %2").arg(op, location));
    BglReader reader(SimType::Msfs2020);
    int skipped = 0;
    if (!parseBglFiles(m_builder, files, reader, &skipped))
        return failWith(m_builder, path, op, QStringLiteral("%1: cancelled").arg(op));
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("NavBuilder"),
                              QStringLiteral("%1: read %2 BGL files (%3 not readable) from %4")
                                  .arg(op)
                                  .arg(files.size() - skipped)
                                  .arg(skipped)
                                  .arg(packagesPath));
    reader.resolveAirwayEndpoints();
    if (!BglRecordImporter(m_builder).importAll(path, reader))
        return false;
    for (const QString &package : navigraph) {
        if (!importNavigraph(path, package))
            return false;
    }
    return true;
}

bool BglSceneryImporter::importNavigraph(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importNavigraphMsfs");
    const QStringList files = SceneryLocator::bglFiles(dir);
    if (files.isEmpty())
        return failWith(m_builder, path, op, QStringLiteral("%1: no BGL files found in %2").arg(op, dir));
    BglReader reader(SimType::Msfs2020);
    int skipped = 0;
    if (!parseBglFiles(m_builder, files, reader, &skipped))
        return failWith(m_builder, path, op, QStringLiteral("%1: cancelled").arg(op));
    reader.resolveAirwayEndpoints();
    return BglRecordImporter(m_builder).importNavigraph(path, reader);
}
