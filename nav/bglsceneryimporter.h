#pragma once

#include <QString>

class DatabaseBuilder;

// A simulator's scenery library into the navigation database: finds its BGL files
// (SceneryLocator), parses them in load order into one reader and hands the records to
// BglRecordImporter. Unreadable or foreign files are counted and skipped, as the simulator skips
// them. Used by DatabaseBuilder, whose signals it reports through and whose cancel it obeys.
class BglSceneryImporter
{
public:
    explicit BglSceneryImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    // A Prepar3D/FSX installation (the folder holding scenery.cfg).
    bool importP3D(const QString &path, const QString &simDir);
    // An MSFS 2020 package folder (or UserCfg.opt); Navigraph packages are written afterwards.
    bool importMsfs(const QString &path, const QString &location);
    // One Navigraph navigation-data package into a database that already holds the scenery.
    bool importNavigraph(const QString &path, const QString &dir);

private:
    DatabaseBuilder &m_builder;
};
