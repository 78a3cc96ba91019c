#include "app/log/applogger.h"
#include "nav/bglreader.h"
#include "nav/databasebuilder.h"
#include "nav/importsupport_p.h"

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
        files += DatabaseBuilder::sceneryBglFiles(folder);
    return files;
}

} // namespace

bool DatabaseBuilder::importP3DScenery(const QString &path, const QString &simDir)
{
    const QString op = QStringLiteral("importP3DScenery");
    const QStringList files = filesOf(getP3DSceneryPaths(simDir));
    if (files.isEmpty())
        return failWith(*this, path, op, QStringLiteral("%1: no scenery BGL files found in %2").arg(op, simDir));
    // FSX and Prepar3D share the record layouts; the reader tells the versions apart by record id.
    BglReader reader(SimType::Prepar3D);
    int skipped = 0;
    if (!parseBglFiles(*this, files, reader, &skipped))
        return failWith(*this, path, op, QStringLiteral("%1: cancelled").arg(op));
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("NavBuilder"),
                              QStringLiteral("%1: read %2 BGL files (%3 not readable) from %4")
                                  .arg(op)
                                  .arg(files.size() - skipped)
                                  .arg(skipped)
                                  .arg(simDir));
    reader.resolveAirwayEndpoints();
    return importBglRecords(path, reader);
}

bool DatabaseBuilder::importMsfsScenery(const QString &path, const QString &location)
{
    const QString op = QStringLiteral("importMsfsScenery");
    const QString packagesPath = getMsfsPackagesPath(location);
    QStringList scenery;
    QStringList navigraph;
    for (const QString &package : getMsfsPackagePaths(packagesPath))
        (isNavigraphMsfsDir(package) ? navigraph : scenery).append(package);
    const QStringList files = filesOf(scenery);
    if (files.isEmpty())
        return failWith(*this, path, op, QStringLiteral("%1: no scenery BGL files found in %2").arg(op, location));
    BglReader reader(SimType::Msfs2020);
    int skipped = 0;
    if (!parseBglFiles(*this, files, reader, &skipped))
        return failWith(*this, path, op, QStringLiteral("%1: cancelled").arg(op));
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("NavBuilder"),
                              QStringLiteral("%1: read %2 BGL files (%3 not readable) from %4")
                                  .arg(op)
                                  .arg(files.size() - skipped)
                                  .arg(skipped)
                                  .arg(packagesPath));
    reader.resolveAirwayEndpoints();
    if (!importBglRecords(path, reader))
        return false;
    for (const QString &package : navigraph) {
        if (!importNavigraphMsfs(path, package))
            return false;
    }
    return true;
}

bool DatabaseBuilder::importNavigraphMsfs(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importNavigraphMsfs");
    const QStringList files = sceneryBglFiles(dir);
    if (files.isEmpty())
        return failWith(*this, path, op, QStringLiteral("%1: no BGL files found in %2").arg(op, dir));
    BglReader reader(SimType::Msfs2020);
    int skipped = 0;
    if (!parseBglFiles(*this, files, reader, &skipped))
        return failWith(*this, path, op, QStringLiteral("%1: cancelled").arg(op));
    reader.resolveAirwayEndpoints();
    return importNavigraphMsfsRecords(path, reader);
}
