#pragma once

#include "sim/weatherstate.h"
#include "weather/metardata.h"

#include <QPointer>
#include <QWidget>

class INavDataProvider;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class WeatherService;

// The weather tab: the METARs of the plan's departure and destination and of the watched airports,
// fetched on request or on the service's timer, each shown decoded group by group with its raw
// text and injectable as it is; and a weather the instructor sets (wind, gust, visibility, three
// cloud layers, temperature, dew point, QNH, precipitation, turbulence; presets for low cloud,
// crosswind, fog and thunderstorms) and injects instead.
//
// Created by the planning services in app/, GUI thread only. The weather service (fetching,
// watching, injecting) and the navigation data (airport elevations for cloud bases, runway
// headings for the crosswind preset) are borrowed.
class WeatherTab : public QWidget
{
    Q_OBJECT
public:
    enum class Preset { Clear, LowCloud, Crosswind, Fog, Thunderstorm };

    explicit WeatherTab(QWidget *parent = nullptr);

    void setWeatherService(WeatherService *service);
    void setNavData(const INavDataProvider *nav) { m_nav = nav; }
    // The plan's airports lead the list; the runway is the one the crosswind preset crosses.
    void setRouteAirports(const QString &departure, const QString &departureRunway, const QString &destination);

    // Airports in the list: departure, destination, then the watched ones.
    QStringList airports() const;
    QString selectedAirport() const;
    void selectAirport(const QString &icao);
    // The weather the editor holds; setManualWeather fills the editor.
    WeatherState manualWeather() const;
    void setManualWeather(const WeatherState &weather);
    void applyPreset(Preset preset);
    // The weather the selected METAR describes (cloud bases above the airport's elevation).
    WeatherState selectedMetarWeather() const;
    QString decodedText() const;
    QString statusText() const;

public slots:
    void fetchAll();
    void injectSelectedMetar();
    void injectManual();

protected:
    void changeEvent(QEvent *event) override;

private:
    QWidget *createAirportPanel();
    QWidget *createMetarPanel();
    QWidget *createManualPanel();
    void retranslateUi();
    void rebuildList();
    void showSelected();
    void onMetarReceived(const QString &icao, const MetarData &metar);
    void onMetarFailed(const QString &icao, const QString &error);
    void addWatched();
    void removeWatched();
    double elevationFt(const QString &icao) const;
    void setStatus(const QString &text);

    QPointer<WeatherService> m_service;
    const INavDataProvider *m_nav = nullptr;
    QString m_departure;
    QString m_departureRunway;
    QString m_destination;
    QHash<QString, QString> m_failures; // last fetch error per airport

    QGroupBox *m_airportBox = nullptr;
    QListWidget *m_list = nullptr;
    QLineEdit *m_addEdit = nullptr;
    QPushButton *m_addButton = nullptr;
    QPushButton *m_removeButton = nullptr;
    QPushButton *m_fetchButton = nullptr;
    QCheckBox *m_autoRefresh = nullptr;

    QGroupBox *m_metarBox = nullptr;
    QLabel *m_decoded = nullptr;
    QPlainTextEdit *m_raw = nullptr;
    QPushButton *m_injectMetarButton = nullptr;
    QPushButton *m_copyButton = nullptr;

    QGroupBox *m_manualBox = nullptr;
    QLabel *m_presetLabel = nullptr;
    QComboBox *m_preset = nullptr;
    QList<QLabel *> m_fieldLabels;
    QSpinBox *m_windDir = nullptr;
    QSpinBox *m_windSpeed = nullptr;
    QSpinBox *m_windGust = nullptr;
    QSpinBox *m_visibility = nullptr;
    QComboBox *m_cloudCover[3] = {};
    QSpinBox *m_cloudBase[3] = {};
    QDoubleSpinBox *m_temperature = nullptr;
    QDoubleSpinBox *m_dewpoint = nullptr;
    QDoubleSpinBox *m_qnh = nullptr;
    QComboBox *m_precipitation = nullptr;
    QComboBox *m_turbulence = nullptr;
    QPushButton *m_injectManualButton = nullptr;
    QLabel *m_status = nullptr;
};
