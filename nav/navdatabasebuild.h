#pragma once

#include "sim/simtype.h"

#include <QList>
#include <QMutex>
#include <QObject>
#include <QPair>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>

class DatabaseBuilder;
class QThread;

// The folders one whole build reads. Every member is optional, but at least one must be set.
struct NavBuildSources
{
    QString xplaneDir;      // an X-Plane 11/12 installation: navigation data, CIFP, scenery, cycle
    QString routeFinderDir; // a route-finder text export (Waypoints.txt, Airports.txt, ...)
    QString atcDir;         // Navigraph ATC frequency files
    QString openAirDir;     // OpenAir airspace files
    QString openAipDir;     // OpenAIP airspace exports

    // The scenery library of sceneryKind (Prepar3D, FSX or MSFS 2020), as runBglImport reads it:
    // the installation folder holding scenery.cfg, or the MSFS package folder, the folder holding
    // UserCfg.opt or that file. Either member set makes the build a scenery import, which writes
    // the whole database on its own and so is not combined with the folders above. Initialised
    // here so that brace-initialised sources may leave both out.
    QString sceneryDir = QString();
    SimType sceneryKind = SimType::None;
};

// Builds a complete navigation database from NavBuildSources, importer after importer (or, for a
// scenery library, in one runBglImport), into a temporary file beside the target
// ("<target>.building"), and replaces the target with it only when every step succeeded. A
// cancelled or failed build deletes the temporary file and leaves the previous database untouched
// and usable.
//
// Created by its user (the import dialog, the command-line tool) on any thread. run() works on the
// calling thread; start() runs the same on a worker thread of this object, and the signals then
// arrive from that thread (queued to receivers elsewhere). cancel() may be called from any thread
// and takes effect within a second. Destroying a running build cancels it and waits for it.
class NavDatabaseBuild : public QObject
{
    Q_OBJECT
public:
    explicit NavDatabaseBuild(QObject *parent = nullptr);
    ~NavDatabaseBuild() override;

    // Both must be set before run()/start(); they are ignored while a build runs.
    void setSources(const NavBuildSources &sources);
    void setTargetPath(const QString &path);
    QString targetPath() const;
    QString temporaryPath() const;

    // The stage keys the current sources lead to, in order: "schema", "navaids", "waypoints",
    // "airways", "airports", "procedures", "aptmeta", "cycle" (X-Plane), then "routefinder",
    // "atc", "openair", "openaip" (those set), and "finish"; for a scenery library "scenery"
    // (reading the BGL files) and "write". Progress and stageStarted use them.
    QStringList stages() const;

    bool run();
    bool start();
    void cancel();
    bool isRunning() const { return m_running.load(); }
    // Blocks until a started build has ended (the finished signal has been emitted).
    void wait();

    // After a successful build: rows per table of the new database.
    QList<QPair<QString, int>> counts() const;

signals:
    void stageStarted(const QString &stage, int index, int stageCount);
    void progress(const QString &stage, int current, int total);
    void finished(const QString &message, bool success);

private:
    struct Step
    {
        QString stage;
        std::function<bool(DatabaseBuilder &)> run;
    };

    QList<Step> plan() const;
    bool execute();
    bool checkSources(QString *message) const;
    bool buildFromSteps(QString *message);
    bool importScenery(QString *message);
    bool runSteps(DatabaseBuilder &builder, QString *message);
    bool replaceTarget(QString *message);
    void removeTemporary() const;

    NavBuildSources m_sources;
    QString m_targetPath;
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_cancelRequested{false};
    mutable QMutex m_mutex; // guards m_builder and m_counts
    DatabaseBuilder *m_builder = nullptr;
    QList<QPair<QString, int>> m_counts;
    QString m_lastImportMessage;
    std::unique_ptr<QThread> m_thread;
};
