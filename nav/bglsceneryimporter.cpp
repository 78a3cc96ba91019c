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

const QString kCategory = QStringLiteral("NavBuilder");

// What reading a library's files gave.
struct LibraryRead
{
    int readable = 0;
    int unreadable = 0;
    QString firstProblem; // the first file that did not read, and why
};

// Parses files in order into one reader (load order kept for the precedence above). False when
// cancelled. A file that does not read, or reads cut short, is counted and skipped whole, as the
// simulator skips a file it cannot load.
bool parseBglFiles(DatabaseBuilder &builder, const QStringList &files, BglReader &into, LibraryRead *read)
{
    const int total = int(files.size());
    for (int i = 0; i < total; ++i) {
        if (builder.isCancelRequested())
            return false;
        BglReader one(into.simType());
        const bool parsed = one.parseFile(files.at(i));
        if (parsed && !one.wasTruncated()) {
            into.mergeFrom(one);
            ++read->readable;
        } else {
            ++read->unreadable;
            if (read->firstProblem.isEmpty())
                read->firstProblem = parsed ? QStringLiteral("%1 is cut short").arg(files.at(i))
                                     : one.lastError().isEmpty()
                                         ? QStringLiteral("%1 is not a scenery BGL").arg(files.at(i))
                                         : one.lastError();
        }
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

// Reads the library and decides whether it may replace the database's scenery: at least one file
// must read and give records. Empty on success, else the reason.
QString readLibrary(DatabaseBuilder &builder, const QString &op, const QStringList &files, const QString &source,
                    BglReader &reader)
{
    if (files.isEmpty())
        return QStringLiteral("%1: no scenery BGL files found in %2").arg(op, source);
    LibraryRead read;
    if (!parseBglFiles(builder, files, reader, &read))
        return QStringLiteral("%1: cancelled").arg(op);
    AppLogger::instance().log(
        AppLogger::Info, kCategory,
        QStringLiteral("%1: read %2 BGL files (%3 not readable) from %4%5")
            .arg(op)
            .arg(read.readable)
            .arg(read.unreadable)
            .arg(source, read.firstProblem.isEmpty()
                             ? QString()
                             : QStringLiteral("; first not readable: %1").arg(read.firstProblem)));
    if (read.readable == 0)
        return QStringLiteral("%1: no readable scenery BGL files in %2 (%3)").arg(op, source, read.firstProblem);
    if (reader.isEmpty())
        return QStringLiteral("%1: the BGL files in %2 hold no airports, navaids, fixes or airspaces").arg(op, source);
    reader.resolveAirwayEndpoints();
    return QString();
}

} // namespace

bool BglSceneryImporter::importP3D(const QString &path, const QString &simDir)
{
    const QString op = QStringLiteral("importP3DScenery");
    QStringList files = filesOf(SceneryLocator::p3dSceneryPaths(simDir));
    if (files.isEmpty() && SceneryLocator::p3dSceneryPaths(simDir).isEmpty()) {
        // Neither scenery.cfg nor add-on packages: a plain folder, an add-on's scenery say.
        AppLogger::instance().log(
            AppLogger::Info, kCategory,
            QStringLiteral("%1: no scenery.cfg or add-on packages in %2, reading the BGL files under it")
                .arg(op, simDir));
        files = SceneryLocator::bglFiles(simDir);
    }
    // FSX and Prepar3D share the record layouts; the reader tells the versions apart by record id.
    BglReader reader(SimType::Prepar3D);
    const QString problem = readLibrary(m_builder, op, files, simDir, reader);
    if (!problem.isEmpty())
        return failWith(m_builder, path, op, problem);
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
    if (packagesPath.isEmpty()) {
        // Not a package folder nor a UserCfg.opt: one package, or a plain folder of BGL files.
        AppLogger::instance().log(
            AppLogger::Info, kCategory,
            QStringLiteral("%1: no MSFS package folder at %2, reading the BGL files under it").arg(op, location));
        scenery = {location};
    }
    BglReader reader(SimType::Msfs2020);
    const QString problem = readLibrary(m_builder, op, filesOf(scenery), location, reader);
    if (!problem.isEmpty())
        return failWith(m_builder, path, op, problem);
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
    BglReader reader(SimType::Msfs2020);
    const QString problem = readLibrary(m_builder, op, SceneryLocator::bglFiles(dir), dir, reader);
    if (!problem.isEmpty())
        return failWith(m_builder, path, op, problem);
    return BglRecordImporter(m_builder).importNavigraph(path, reader);
}
