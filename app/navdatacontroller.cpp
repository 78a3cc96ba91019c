#include "app/navdatacontroller.h"

#include "app/log/applogger.h"
#include "nav/navdatafiles.h"
#include "nav/navdataprovider.h"
#include "nav/onlinenavdataprovider.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace {

void logNav(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("NavData"), message);
}

} // namespace

NavDataController::NavDataController(NavDataProvider *provider, const QString &settingsPath, const QString &dataDir,
                                     QObject *parent)
    : QObject(parent), m_provider(provider), m_settingsPath(settingsPath), m_dataDir(dataDir)
{
    connect(m_provider, &NavDataProvider::databaseLoadFinished, this, &NavDataController::onLoadFinished);
}

int NavDataController::wantedSource(SimType simType) const
{
    const QSettings settings(m_settingsPath, QSettings::IniFormat);
    int fixed = settings.value(kNavDataSourceKey, 0).toInt();
    if (fixed < 0 || fixed >= kNavDataSourceCount)
        fixed = 0;
    if (!settings.value(kNavDataAutoSwitchKey, true).toBool())
        return fixed;
    return navDataSourceForSimType(simType, fixed);
}

bool NavDataController::isLoading() const
{
    return m_loadingSource != -2;
}

void NavDataController::refresh(SimType simType)
{
    m_simType = simType;
    const int source = wantedSource(simType);
    if (useOnlineService(source))
        return;
    if (isLoading())
        return; // onLoadFinished looks again
    if (!m_forceReload && (source == m_loadedSource || source == m_unavailableSource))
        return;
    m_forceReload = false;
    load(source);
}

bool NavDataController::useOnlineService(int source)
{
    const QSettings settings(m_settingsPath, QSettings::IniFormat);
    const bool online = settings.value(kNavDataModeKey).toString() == QLatin1String(kNavDataModeOnline);
    if (!online) {
        if (m_provider->mode() == NavDataProvider::Online) {
            // Back to the local database: start over with a fresh offline provider.
            m_provider->initializeOffline();
            m_onlineService.clear();
            m_loadedSource = -2;
            m_unavailableSource = -2;
        }
        return false;
    }
    const QString url = settings.value(kNavServiceUrlKey).toString();
    const QString token = settings.value(kNavServiceTokenKey).toString();
    const QString sourceName = OnlineNavDataProvider::sourceNameForDatabaseIndex(source);
    const QString service = url + QLatin1Char('\n') + token + QLatin1Char('\n') + sourceName;
    if (m_provider->mode() == NavDataProvider::Online && service == m_onlineService)
        return true;
    m_loadingSource = -2; // a background load, if any, is abandoned with its provider
    m_onlineService = service;
    m_provider->initializeOnline(url, token, sourceName);
    m_loadedSource = source;
    logNav(AppLogger::Info, QStringLiteral("Using the navigation service %1 (source %2)").arg(url, sourceName));
    emit dataLoaded(source, url);
    return true;
}

void NavDataController::reload()
{
    m_forceReload = true;
    m_unavailableSource = -2;
    refresh(m_simType);
}

void NavDataController::load(int source)
{
    const QString path = navDataFilePath(source, m_dataDir);
    if (!QFileInfo::exists(path)) {
        useSampleData(source, QStringLiteral("No navigation database at %1").arg(QDir::toNativeSeparators(path)));
        return;
    }
    if (!m_provider->loadFromDatabaseAsync(path)) {
        m_forceReload = true; // the facade is busy with a load of its own; try again when it ends
        return;
    }
    m_loadingSource = source;
    logNav(AppLogger::Info,
           QStringLiteral("Loading navigation database %1 in the background").arg(QDir::toNativeSeparators(path)));
}

void NavDataController::onLoadFinished(const QString &path, bool success)
{
    const int source = m_loadingSource;
    m_loadingSource = -2;
    if (success) {
        m_loadedSource = source;
        m_unavailableSource = -2;
        emit dataLoaded(source, path);
    } else if (m_loadedSource == -2 || m_loadedSource == kSampleData) {
        useSampleData(source,
                      QStringLiteral("Navigation database %1 could not be loaded").arg(QDir::toNativeSeparators(path)));
    } else {
        // The provider kept the data it had; say what is still shown.
        m_unavailableSource = source;
        logNav(AppLogger::Warning,
               QStringLiteral("Navigation database %1 could not be loaded; keeping the data loaded before")
                   .arg(QDir::toNativeSeparators(path)));
    }
    refresh(m_simType);
}

void NavDataController::useSampleData(int source, const QString &reason)
{
    m_unavailableSource = source;
    if (m_loadedSource == kSampleData) {
        logNav(AppLogger::Info, reason + QStringLiteral("; still showing the built-in sample data"));
        return;
    }
    logNav(AppLogger::Info, reason + QStringLiteral("; using the built-in sample data"));
    m_provider->loadSampleData();
    m_loadedSource = kSampleData;
    emit dataLoaded(kSampleData, QString());
}
