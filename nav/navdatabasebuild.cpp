#include "nav/navdatabasebuild.h"

#include "app/log/applogger.h"
#include "nav/bglimportjob.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/textinput.h"
#include "nav/xplanedatafolder.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

namespace {

const QString kCategory = QStringLiteral("NavBuilder");
// The stages runBglImport reports under.
const QString kSceneryStage = QStringLiteral("scenery");
const QString kWriteStage = QStringLiteral("write");

void logLine(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

// A scenery simulator chosen before its folder already plans the scenery stages.
bool readsScenery(const NavBuildSources &sources)
{
    return !sources.sceneryDir.isEmpty() || sources.sceneryKind != SimType::None;
}

} // namespace

NavDatabaseBuild::NavDatabaseBuild(QObject *parent) : QObject(parent) {}

NavDatabaseBuild::~NavDatabaseBuild()
{
    cancel();
    wait();
}

void NavDatabaseBuild::setSources(const NavBuildSources &sources)
{
    if (!isRunning())
        m_sources = sources;
}

void NavDatabaseBuild::setTargetPath(const QString &path)
{
    if (!isRunning())
        m_targetPath = path;
}

QString NavDatabaseBuild::targetPath() const
{
    return m_targetPath;
}

QString NavDatabaseBuild::temporaryPath() const
{
    return m_targetPath + QStringLiteral(".building");
}

QStringList NavDatabaseBuild::stages() const
{
    if (readsScenery(m_sources))
        return {kSceneryStage, kWriteStage};
    QStringList keys;
    for (const Step &step : plan())
        keys.append(step.stage);
    return keys;
}

QList<NavDatabaseBuild::Step> NavDatabaseBuild::plan() const
{
    const QString temp = temporaryPath();
    QList<Step> steps;
    steps.append({QStringLiteral("schema"), [temp](DatabaseBuilder &b) { return b.createCompleteSchema(temp); }});
    if (!m_sources.xplaneDir.isEmpty()) {
        const XPlaneDataFolder folder(m_sources.xplaneDir);
        // A navigation file that is missing fails its step with the place it was looked for.
        const auto required = [folder](const QString &file, const QString &name) {
            return file.isEmpty() ? folder.expectedDataPath(name) : file;
        };
        const QString nav = required(folder.navFile(), QStringLiteral("earth_nav.dat"));
        const QString fix = required(folder.fixFile(), QStringLiteral("earth_fix.dat"));
        const QString awy = required(folder.airwayFile(), QStringLiteral("earth_awy.dat"));
        const QString root = folder.root();
        const QString cifp = folder.cifpDir();
        const QString cycleDir = folder.cycleInfoDir();
        steps.append({QStringLiteral("navaids"), [=](DatabaseBuilder &b) { return b.importXPlaneNavData(temp, nav); }});
        steps.append(
            {QStringLiteral("waypoints"), [=](DatabaseBuilder &b) { return b.importXPlaneWaypoints(temp, fix); }});
        steps.append({QStringLiteral("airways"), [=](DatabaseBuilder &b) { return b.importXPlaneAirways(temp, awy); }});
        steps.append(
            {QStringLiteral("airports"), [=](DatabaseBuilder &b) { return b.importXPlaneScenery(temp, root); }});
        steps.append(
            {QStringLiteral("procedures"), [=](DatabaseBuilder &b) { return b.importXPlaneCifp(temp, cifp); }});
        const QString aptMeta = folder.aptMetaFile();
        if (!aptMeta.isEmpty())
            steps.append(
                {QStringLiteral("aptmeta"), [=](DatabaseBuilder &b) { return b.importAptMeta(temp, aptMeta); }});
        steps.append({QStringLiteral("cycle"), [=](DatabaseBuilder &b) { return b.importCycleInfo(temp, cycleDir); }});
    }
    const NavBuildSources s = m_sources;
    if (!s.routeFinderDir.isEmpty())
        steps.append({QStringLiteral("routefinder"),
                      [=](DatabaseBuilder &b) { return b.importRouteFinderData(temp, s.routeFinderDir); }});
    if (!s.atcDir.isEmpty())
        steps.append({QStringLiteral("atc"), [=](DatabaseBuilder &b) { return b.importNavigraphAtc(temp, s.atcDir); }});
    if (!s.openAirDir.isEmpty())
        steps.append({QStringLiteral("openair"),
                      [=](DatabaseBuilder &b) { return b.importOpenAirAirspaces(temp, s.openAirDir); }});
    if (!s.openAipDir.isEmpty())
        steps.append({QStringLiteral("openaip"),
                      [=](DatabaseBuilder &b) { return b.importOpenAIPAirspaces(temp, s.openAipDir); }});
    // Every table and index, whatever the sources left out.
    steps.append({QStringLiteral("finish"), [temp](DatabaseBuilder &b) { return b.createCompleteSchema(temp); }});
    return steps;
}

bool NavDatabaseBuild::start()
{
    if (m_running.exchange(true))
        return false;
    // A cancel that came just as the previous build ended must not stop this one.
    m_cancelRequested.store(false);
    if (m_thread)
        m_thread->wait();
    m_thread.reset(QThread::create([this] { execute(); }));
    m_thread->setObjectName(QStringLiteral("NavDatabaseBuild"));
    m_thread->start();
    return true;
}

void NavDatabaseBuild::wait()
{
    if (m_thread)
        m_thread->wait();
}

void NavDatabaseBuild::cancel()
{
    if (!m_running.load())
        return;
    QMutexLocker locker(&m_mutex);
    m_cancelRequested.store(true);
    if (m_builder)
        m_builder->requestCancel();
}

QList<QPair<QString, int>> NavDatabaseBuild::counts() const
{
    QMutexLocker locker(&m_mutex);
    return m_counts;
}

bool NavDatabaseBuild::run()
{
    if (m_running.exchange(true))
        return false;
    m_cancelRequested.store(false);
    return execute();
}

bool NavDatabaseBuild::execute()
{
    QElapsedTimer clock;
    clock.start();
    {
        QMutexLocker locker(&m_mutex);
        m_counts.clear();
    }
    const bool scenery = readsScenery(m_sources);
    QString message;
    const bool checked = checkSources(&message);
    bool ok = checked && (scenery ? importScenery(&message) : buildFromSteps(&message));
    const bool cancelled = !ok && m_cancelRequested.load();
    {
        QMutexLocker locker(&m_mutex);
        m_cancelRequested.store(false);
        if (ok)
            m_counts = DatabaseBuilder().tableCounts(m_targetPath);
    }
    // The scenery import logs its own outcome.
    const bool logged = checked && scenery;
    if (ok) {
        QStringList parts;
        for (const auto &count : counts())
            parts.append(QStringLiteral("%1 %2").arg(count.first).arg(count.second));
        message = QStringLiteral("Navigation database built in %1 s: %2 (%3)")
                      .arg(clock.elapsed() / 1000.0, 0, 'f', 1)
                      .arg(m_targetPath, parts.join(QStringLiteral(", ")));
        if (!logged)
            logLine(AppLogger::Info, message);
    } else if (!logged) {
        // A cancel is the user's choice, not a problem to report.
        logLine(cancelled ? AppLogger::Info : AppLogger::Error,
                QStringLiteral("Navigation database build failed: %1").arg(message));
    }
    m_running.store(false);
    emit finished(message, ok);
    return ok;
}

bool NavDatabaseBuild::checkSources(QString *message) const
{
    if (m_targetPath.isEmpty()) {
        *message = QStringLiteral("No database file given");
        return false;
    }
    const NavBuildSources &s = m_sources;
    const bool folders = !s.xplaneDir.isEmpty() || !s.routeFinderDir.isEmpty() || !s.atcDir.isEmpty() ||
                         !s.openAirDir.isEmpty() || !s.openAipDir.isEmpty();
    if (!folders && s.sceneryDir.isEmpty()) {
        *message = QStringLiteral("No data source given");
        return false;
    }
    if (folders && readsScenery(s)) {
        *message = QStringLiteral("A scenery library is imported on its own, without other sources");
        return false;
    }
    if (!s.xplaneDir.isEmpty() && !QFileInfo(s.xplaneDir).isDir()) {
        *message = QStringLiteral("X-Plane folder not found: %1").arg(s.xplaneDir);
        return false;
    }
    return true;
}

bool NavDatabaseBuild::buildFromSteps(QString *message)
{
    DatabaseBuilder builder;
    {
        QMutexLocker locker(&m_mutex);
        m_builder = &builder;
        if (m_cancelRequested.load())
            builder.requestCancel();
    }
    connect(
        &builder, &DatabaseBuilder::importProgress, &builder,
        [this](const QString &stage, int current, int total) { emit progress(stage, current, total); },
        Qt::DirectConnection);
    connect(
        &builder, &DatabaseBuilder::importFinished, &builder,
        [this](const QString &text, bool) { m_lastImportMessage = text; }, Qt::DirectConnection);

    bool ok = runSteps(builder, message);
    if (ok)
        ok = replaceTarget(message);
    if (!ok)
        removeTemporary();
    QMutexLocker locker(&m_mutex);
    m_builder = nullptr;
    return ok;
}

bool NavDatabaseBuild::importScenery(QString *message)
{
    const QStringList keys = stages();
    int active = 0;
    emit stageStarted(keys.at(active), active, int(keys.size()));
    // The import names its stages itself; a later one starts when it first reports.
    const auto report = [&](const QString &stage, int current, int total) {
        const int index = int(keys.indexOf(stage));
        if (index > active) {
            active = index;
            emit stageStarted(stage, index, int(keys.size()));
        }
        emit progress(stage, current, total);
    };
    // runBglImport polls the same flag that cancel() sets.
    return runBglImport(m_sources.sceneryDir, m_targetPath, m_sources.sceneryKind, report, &m_cancelRequested, message);
}

bool NavDatabaseBuild::runSteps(DatabaseBuilder &builder, QString *message)
{
    // A file left by an interrupted build is of no use.
    removeTemporary();
    if (QFileInfo::exists(temporaryPath())) {
        *message = QStringLiteral("Cannot remove the old temporary file %1").arg(temporaryPath());
        return false;
    }
    const QList<Step> steps = plan();
    for (int i = 0; i < steps.size(); ++i) {
        if (builder.isCancelRequested()) {
            *message = QStringLiteral("Build cancelled");
            return false;
        }
        emit stageStarted(steps.at(i).stage, i, int(steps.size()));
        m_lastImportMessage.clear();
        if (!steps.at(i).run(builder)) {
            if (builder.isCancelRequested())
                *message = QStringLiteral("Build cancelled");
            else if (!m_lastImportMessage.isEmpty())
                *message = m_lastImportMessage;
            else
                *message = QStringLiteral("Cannot create database %1: %2").arg(temporaryPath(), builder.lastSqlError());
            return false;
        }
    }
    return true;
}

bool NavDatabaseBuild::replaceTarget(QString *message)
{
    return navimport::replaceDatabaseFile(temporaryPath(), m_targetPath, message);
}

void NavDatabaseBuild::removeTemporary() const
{
    navimport::removeDatabaseFiles(temporaryPath());
}
