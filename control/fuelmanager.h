#pragma once

#include "sim/simtype.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class ISimBackend;
class SimOperationDispatcher;

// Holds the user aircraft's fuel tanks and payload stations, loads fuel (overall percent,
// gallons, one tank, a preset) and payload, freezes fuel, and writes the result to the simulator
// directly or, with a remote target on the dispatcher, to that station.
//
// Owned by the main window (GUI thread). Backend and dispatcher are borrowed; setBackend follows
// the backend's fuelConfigChanged/tankQuantitiesReceived. User presets live in the settings group
// "FuelPresets" of the INI file whose path the owner gives.
//
// Units: tank quantities are US gallons, payload kilograms, whatever the simulator. Conversions
// happen where values enter and leave:
// - X-Plane reports tank capacity and contents as fuel mass in kg (converted with
//   kFuelKgPerUsGallon). It is written as m_fuel[i] = g × 6.6, g being the quantity in the
//   X-Plane tank unit (the mass ÷ 6.6), so the simulator receives the mass the gallons stand for.
// - The SimConnect simulators report total capacity in pounds (÷ 6.6 lb/gal) and are written in
//   gallons (QUANTITY) or percent (MSFS 2020, LEVEL); payload in pounds (kg × 2.20462).
class FuelManager : public QObject
{
    Q_OBJECT
public:
    struct TankInfo
    {
        QString name;
        double capacity = 0; // US gal
        double current = 0;  // US gal
        double ratio = 0;    // share of the aircraft's total capacity as the simulator reported it
    };
    struct PayloadStation
    {
        QString name;
        double weightKg = 0;
    };
    struct FuelPreset
    {
        QString name; // "__full", "__3/4", "__half", "__1/4", "__min" for the built-in ones
        QList<double> tankPercents;
        double payloadKg = 0;
        bool hasPayload = false; // the built-in presets leave the payload alone
        bool user = false;
    };

    static constexpr const char *kSettingsGroup = "FuelPresets";
    static constexpr const char *kPresetNamesKey = "preset_names";
    static constexpr const char *kTankPercentsKey = "tank_percents";
    static constexpr const char *kPayloadKgKey = "payload_kg";
    static constexpr double kPoundsPerGallon = 6.6;
    static constexpr double kPoundsPerKg = 2.20462;
    static constexpr int kMaxSimConnectTanks = 11;
    static constexpr double kMinPresetPercent = 10.0;

    explicit FuelManager(const QString &settingsPath, QObject *parent = nullptr);

    void setBackend(ISimBackend *backend);
    void setDispatcher(SimOperationDispatcher *dispatcher);

    QList<TankInfo> tanks() const { return m_tanks; }
    void setTanks(const QList<TankInfo> &tanks);
    void addTank(const QString &name, double capacityGal);
    // SimConnect tank data by position: named "Left Main" … "Right Tip".
    void setTanksFromSim(const QList<double> &capacitiesGal, const QList<double> &quantitiesGal);
    QList<PayloadStation> payloadStations() const { return m_stations; }
    void setPayloadStations(const QList<PayloadStation> &stations);
    void setPayloadStationsFromSim(const QStringList &names, const QList<double> &weightsKg);

    // fuelConfigChanged: totalCapacity in the backend's unit (X-Plane kg, otherwise pounds).
    void buildTanksFromSim(double totalCapacity, const QList<double> &ratios);
    // tankQuantitiesReceived: per-tank contents in the backend's unit (X-Plane kg, otherwise gal).
    void updateTankQuantities(const QList<double> &quantities);
    // Per-tank percent of capacity.
    void updateTankLevels(const QList<double> &percents);

    // Every tank to percent (clamped 0..100) of its capacity, then written.
    void loadFuel(int percent);
    // gallons spread over the tanks in proportion to capacity (clamped to what fits).
    void loadFuelGallons(double gallons);
    void loadTank(int index, int percent);
    void drainFuel();
    void applyPreset(const QString &name);
    void addPreset(const FuelPreset &preset);
    QList<FuelPreset> presets() const;

    // Split equally over the stations.
    void loadPayloadTotal(double kg);
    void loadPayloadStation(int index, double kg);
    void writePayloadToSim();
    void setFuelFreeze(bool frozen);
    bool fuelFrozen() const { return m_frozen; }
    void writeFuelToSim();

    // Stores the current tank percentages and payload under name (replacing one of that name).
    void saveUserPreset(const QString &name);
    void deleteUserPreset(const QString &name);
    void loadUserPresetsFromSettings();

    int fuelPercent() const;
    double totalCapacity() const;
    double totalCurrent() const;
    double totalCapacityLbs() const;
    double totalFuelWeightKg() const;
    double totalPayloadKg() const;

signals:
    void fuelLoaded(double gallons, int percent);
    void fuelFrozenChanged(bool frozen);
    void payloadLoaded(double totalKg);
    // The tank list or its contents changed (also on every simulator report).
    void tanksChanged();
    void payloadChanged();
    void presetsChanged();

private:
    SimType targetSimType() const;
    bool remote() const;
    bool canWriteLocally() const;
    void writeValue(const QString &name, double value, const QString &units);
    void rebuildDefaultPresets();
    void storeUserPresets() const;
    void finishLoad();

    QString m_settingsPath;
    QPointer<ISimBackend> m_backend;
    QPointer<SimOperationDispatcher> m_dispatcher;
    QList<TankInfo> m_tanks;
    QList<PayloadStation> m_stations;
    QList<FuelPreset> m_defaultPresets;
    QList<FuelPreset> m_extraPresets;
    QList<FuelPreset> m_userPresets;
    bool m_frozen = false;
};
