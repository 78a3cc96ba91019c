#pragma once

#include "sim/simtype.h"

#include <QObject>
#include <QString>

class NavDataProvider;

// Decides which navigation data the station shows. In online mode (navDataMode "online") that is
// the navigation service named in the settings, asked for the wanted source. Otherwise it loads a
// database in the background: the file of the source chosen in the settings, or of the connected simulator when
// automatic switching is on. Without a database file for that source it loads the built-in sample data and says so in
// the log, so the map is never empty.
//
// Created by the main window (its parent) on the GUI thread; borrows the provider. One background
// load at a time: a request made while one runs is served when it ends.
class NavDataController : public QObject
{
    Q_OBJECT
public:
    static constexpr int kSampleData = -1;

    // dataDir holds the zobrel_navdata_*.db files (the application's folder in the station).
    NavDataController(NavDataProvider *provider, const QString &settingsPath, const QString &dataDir,
                      QObject *parent = nullptr);

    // The source the settings ask for while simType is connected (None: nothing connected).
    int wantedSource(SimType simType) const;
    // The source whose data the provider holds, kSampleData for the sample set, or -2 before any load.
    int loadedSource() const { return m_loadedSource; }
    bool isLoading() const;

public slots:
    // Loads what the settings ask for, unless it is already loaded or loading.
    void refresh(SimType simType);
    // Reloads the current source's file (after an import rebuilt it).
    void reload();

signals:
    // The provider holds new data: source index (or kSampleData) and the file it came from.
    void dataLoaded(int source, const QString &path);

private:
    // In online mode (settings): makes sure the provider is the service's, for this source; true
    // then. Otherwise returns false, after going back to an offline provider if needed.
    bool useOnlineService(int source);
    void load(int source);
    void onLoadFinished(const QString &path, bool success);
    void useSampleData(int source, const QString &reason);

    NavDataProvider *m_provider;
    QString m_settingsPath;
    QString m_dataDir;
    SimType m_simType = SimType::None;
    int m_loadedSource = -2;
    int m_loadingSource = -2;
    // Source whose file was found missing or unloadable; not tried again until reload().
    int m_unavailableSource = -2;
    bool m_forceReload = false;
    // Address, token and source of the online provider in use; empty offline.
    QString m_onlineService;
};
