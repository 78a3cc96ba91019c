#pragma once

#include "sim/weatherstate.h"
#include "weather/metardata.h"
#include "weather/metardecoder.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;
class QSettings;
class SimOperationDispatcher;

// Fetches current METARs from the online network's METAR endpoint ("/metar.php?id=<ICAO>" on a
// configurable host), decodes them, keeps the last report per station, refreshes a list of
// watched airports on a timer, and turns a report into the weather to inject (WeatherState) and
// injects it through the operation dispatcher.
//
// Created by the main window's planning services on the GUI thread; replies arrive through its
// own network manager. A reply larger than kMaxReplyBytes is abandoned, so a misbehaving host
// cannot make it buffer without bound. The dispatcher is borrowed.
class WeatherService : public QObject
{
    Q_OBJECT
public:
    static constexpr char kDefaultHost[] = "https://metar.vatsim.net";
    static constexpr char kMetarHostKey[] = "metarHost";
    static constexpr char kWatchedAirportsKey[] = "watchedAirports";
    static constexpr char kAutoRefreshKey[] = "metarAutoRefresh";
    static constexpr char kRefreshMinutesKey[] = "metarRefreshMinutes";
    static constexpr int kDefaultRefreshMinutes = 15;
    static constexpr qint64 kMaxReplyBytes = 64 * 1024;
    static constexpr int kTimeoutMs = 15000;

    explicit WeatherService(QObject *parent = nullptr);

    // Reads the host, the watched airports and the auto-refresh choice; missing keys keep the
    // defaults. storeSettings writes the watched airports and the auto-refresh choice back.
    void applySettings(const QSettings &settings);
    void storeSettings(QSettings &settings) const;

    void setHost(const QUrl &host);
    QUrl host() const { return m_host; }

    // Asynchronous: metarReceived on success, metarFailed (with the reason) otherwise.
    void fetchMetar(const QString &icao);
    // The last report received for the station; an invalid record when none came yet.
    MetarData lastMetar(const QString &icao) const;

    void addWatchedAirport(const QString &icao);
    void removeWatchedAirport(const QString &icao);
    QStringList watchedAirports() const { return m_watched; }

    // While on, every watched airport is fetched each interval (default 15 minutes: METARs are
    // issued every half hour, specials in between).
    void setAutoRefresh(bool enabled);
    bool autoRefresh() const { return m_timer.isActive(); }
    void setRefreshIntervalMinutes(int minutes);
    int refreshIntervalMinutes() const { return m_timer.interval() / 60000; }

    // The weather a report describes, to inject. Cloud bases become heights above sea level with
    // the station's elevation; precipitation comes from the rain, snow, drizzle and freezing
    // groups, turbulence from gusts, squalls and thunderstorms. A visibility the decoder leaves
    // empty is taken from "CAVOK" or a statute-mile group when the report has one.
    static WeatherState injectionFromMetar(const MetarData &metar, double stationElevationFt = 0.0);

    // Borrowed. Injection goes through the dispatcher: to the local simulator, or to the remote
    // station it targets.
    void setDispatcher(SimOperationDispatcher *dispatcher);
    // Sends the weather to the simulator. False (and injectionFailed) when there is no connected
    // simulator or it cannot take weather.
    bool injectWeather(const WeatherState &weather);

public slots:
    // Fetches every watched airport, in the order they were added.
    void onRefreshTimer();

signals:
    void metarReceived(const QString &icao, const MetarData &metar);
    void metarFailed(const QString &icao, const QString &error);
    void weatherInjected(const WeatherState &weather);
    void injectionFailed(const QString &error);

private:
    void onReplyFinished(QNetworkReply *reply, const QString &icao);

    QNetworkAccessManager *m_network = nullptr;
    QUrl m_host;
    MetarDecoder m_decoder;
    QHash<QString, MetarData> m_last;
    QStringList m_watched;
    QTimer m_timer;
    QPointer<SimOperationDispatcher> m_dispatcher;
};
