#include "control/fuelmanager.h"

#include "sim/aircraftdata.h"
#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"

#include <QSettings>
#include <QVariantList>
#include <QVariantMap>

#include <algorithm>
#include <cmath>

namespace {

const char *const kSimConnectTankNames[] = {"Left Main", "Left Aux",   "Left Tip",  "Center",   "Center2",
                                            "Center3",   "Right Main", "Right Aux", "Right Tip"};
const char *const kSimConnectTankPositions[] = {"LEFT MAIN", "LEFT AUX",  "LEFT TIP",   "CENTER",
                                                "CENTER2",   "CENTER3",   "RIGHT MAIN", "RIGHT AUX",
                                                "RIGHT TIP", "EXTERNAL1", "EXTERNAL2"};
constexpr int kSimConnectNamedTanks = 9;

bool isXPlane(SimType type)
{
    return type == SimType::XPlane11 || type == SimType::XPlane12;
}

// X-Plane's tanks hold mass; its write is m_fuel[i] = g × 6.6 with g in the X-Plane tank unit
// (mass ÷ 6.6), so g comes from the gallons through the fuel density.
double xplaneTankUnits(double gallons)
{
    return gallons * kFuelKgPerUsGallon / FuelManager::kPoundsPerGallon;
}

double clampPercent(double percent)
{
    return std::clamp(percent, 0.0, 100.0);
}

QString percentsText(const QList<double> &percents)
{
    QStringList parts;
    for (double percent : percents)
        parts.append(QString::number(percent, 'g', 10));
    return parts.join(QLatin1Char(';'));
}

} // namespace

FuelManager::FuelManager(const QString &settingsPath, QObject *parent) : QObject(parent), m_settingsPath(settingsPath)
{
    for (const char *name : {"Forward Cargo", "Aft Cargo", "Fwd Cabin", "Aft Cabin", "Cockpit"})
        m_stations.append({QString::fromLatin1(name), 0.0});
    rebuildDefaultPresets();
}

void FuelManager::setBackend(ISimBackend *backend)
{
    if (m_backend)
        QObject::disconnect(m_backend, nullptr, this, nullptr);
    m_backend = backend;
    if (!backend)
        return;
    connect(backend, &ISimBackend::fuelConfigChanged, this, &FuelManager::buildTanksFromSim);
    connect(backend, &ISimBackend::tankQuantitiesReceived, this, &FuelManager::updateTankQuantities);
}

void FuelManager::setDispatcher(SimOperationDispatcher *dispatcher)
{
    m_dispatcher = dispatcher;
}

bool FuelManager::remote() const
{
    return m_dispatcher && m_dispatcher->isRemote();
}

bool FuelManager::canWriteLocally() const
{
    return m_backend && m_backend->isConnected();
}

SimType FuelManager::targetSimType() const
{
    if (remote())
        return m_dispatcher->simType();
    return m_backend ? m_backend->simType() : SimType::None;
}

void FuelManager::writeValue(const QString &name, double value, const QString &units)
{
    if (remote()) {
        if (units.isEmpty())
            m_dispatcher->setData(name, value);
        else
            m_dispatcher->setData(name, value, units);
    } else if (canWriteLocally()) {
        if (units.isEmpty())
            m_backend->setData(name, value);
        else
            m_backend->setData(name, value, units);
    }
}

void FuelManager::setTanks(const QList<TankInfo> &tanks)
{
    m_tanks = tanks;
    rebuildDefaultPresets();
    emit tanksChanged();
}

void FuelManager::addTank(const QString &name, double capacityGal)
{
    m_tanks.append({name, std::max(0.0, capacityGal), 0.0, 0.0});
    rebuildDefaultPresets();
    emit tanksChanged();
}

void FuelManager::setTanksFromSim(const QList<double> &capacitiesGal, const QList<double> &quantitiesGal)
{
    QList<TankInfo> tanks;
    double total = 0;
    for (double capacity : capacitiesGal)
        total += std::max(0.0, capacity);
    for (int i = 0; i < capacitiesGal.size(); ++i) {
        TankInfo tank;
        tank.name = i < kSimConnectNamedTanks ? QString::fromLatin1(kSimConnectTankNames[i])
                                              : QStringLiteral("Tank %1").arg(i + 1);
        tank.capacity = std::max(0.0, capacitiesGal[i]);
        tank.current = std::clamp(quantitiesGal.value(i), 0.0, tank.capacity);
        tank.ratio = total > 0 ? tank.capacity / total : 0.0;
        tanks.append(tank);
    }
    setTanks(tanks);
}

void FuelManager::setPayloadStations(const QList<PayloadStation> &stations)
{
    m_stations = stations;
    emit payloadChanged();
}

void FuelManager::setPayloadStationsFromSim(const QStringList &names, const QList<double> &weightsKg)
{
    QList<PayloadStation> stations;
    for (int i = 0; i < names.size(); ++i)
        stations.append({names[i], std::max(0.0, weightsKg.value(i))});
    setPayloadStations(stations);
}

void FuelManager::buildTanksFromSim(double totalCapacity, const QList<double> &ratios)
{
    const bool xplane = isXPlane(m_backend ? m_backend->simType() : SimType::None);
    const double totalGal = xplane ? totalCapacity / kFuelKgPerUsGallon : totalCapacity / kFuelConfigPoundsPerGallon;
    QList<TankInfo> tanks;
    for (int i = 0; i < ratios.size(); ++i) {
        TankInfo tank;
        if (!xplane && i < kSimConnectNamedTanks)
            tank.name = QString::fromLatin1(kSimConnectTankNames[i]);
        else
            tank.name = QStringLiteral("Tank %1").arg(i + 1);
        tank.ratio = std::max(0.0, ratios[i]);
        tank.capacity = totalGal * tank.ratio;
        // What the simulator reported before its layout arrived is kept.
        tank.current = std::min(i < m_tanks.size() ? m_tanks[i].current : 0.0, tank.capacity);
        tanks.append(tank);
    }
    setTanks(tanks);
}

void FuelManager::updateTankQuantities(const QList<double> &quantities)
{
    const bool xplane = isXPlane(m_backend ? m_backend->simType() : SimType::None);
    bool added = false;
    for (int i = 0; i < quantities.size(); ++i) {
        if (i >= m_tanks.size()) {
            // Contents before the layout: named by position, capacity unknown until it arrives.
            m_tanks.append({QStringLiteral("Tank %1").arg(i + 1), 0.0, 0.0, 0.0});
            added = true;
        }
        const double gallons = std::max(0.0, xplane ? quantities[i] / kFuelKgPerUsGallon : quantities[i]);
        m_tanks[i].current = gallons;
    }
    if (added)
        rebuildDefaultPresets();
    emit tanksChanged();
}

void FuelManager::updateTankLevels(const QList<double> &percents)
{
    for (int i = 0; i < percents.size() && i < m_tanks.size(); ++i)
        m_tanks[i].current = m_tanks[i].capacity * clampPercent(percents[i]) / 100.0;
    emit tanksChanged();
}

void FuelManager::finishLoad()
{
    writeFuelToSim();
    emit tanksChanged();
    emit fuelLoaded(totalCurrent(), fuelPercent());
}

void FuelManager::loadFuel(int percent)
{
    percent = std::clamp(percent, 0, 100);
    for (TankInfo &tank : m_tanks)
        tank.current = tank.capacity * percent / 100.0;
    writeFuelToSim();
    emit tanksChanged();
    emit fuelLoaded(totalCurrent(), percent);
}

void FuelManager::loadFuelGallons(double gallons)
{
    const double capacity = totalCapacity();
    const double fraction = capacity > 0 ? std::clamp(gallons / capacity, 0.0, 1.0) : 0.0;
    for (TankInfo &tank : m_tanks)
        tank.current = tank.capacity * fraction;
    finishLoad();
}

void FuelManager::loadTank(int index, int percent)
{
    if (index < 0 || index >= m_tanks.size())
        return;
    m_tanks[index].current = m_tanks[index].capacity * clampPercent(percent) / 100.0;
    finishLoad();
}

void FuelManager::drainFuel()
{
    for (TankInfo &tank : m_tanks)
        tank.current = 0;
    finishLoad();
}

QList<FuelManager::FuelPreset> FuelManager::presets() const
{
    return m_defaultPresets + m_extraPresets + m_userPresets;
}

void FuelManager::applyPreset(const QString &name)
{
    const QList<FuelPreset> all = presets();
    auto it = std::find_if(all.cbegin(), all.cend(), [&name](const FuelPreset &preset) { return preset.name == name; });
    if (it == all.cend())
        return;
    for (int i = 0; i < m_tanks.size(); ++i)
        m_tanks[i].current = m_tanks[i].capacity * clampPercent(it->tankPercents.value(i)) / 100.0;
    if (it->hasPayload)
        loadPayloadTotal(it->payloadKg);
    finishLoad();
}

void FuelManager::addPreset(const FuelPreset &preset)
{
    m_extraPresets.append(preset);
    emit presetsChanged();
}

void FuelManager::rebuildDefaultPresets()
{
    m_defaultPresets.clear();
    const QList<QPair<const char *, double>> levels{
        {"__full", 100.0}, {"__3/4", 75.0}, {"__half", 50.0}, {"__1/4", 25.0}, {"__min", kMinPresetPercent}};
    for (const auto &level : levels) {
        FuelPreset preset;
        preset.name = QString::fromLatin1(level.first);
        preset.tankPercents = QList<double>(m_tanks.size(), level.second);
        m_defaultPresets.append(preset);
    }
    emit presetsChanged();
}

void FuelManager::loadPayloadTotal(double kg)
{
    if (m_stations.isEmpty())
        return;
    const double each = std::max(0.0, kg) / m_stations.size();
    for (PayloadStation &station : m_stations)
        station.weightKg = each;
    writePayloadToSim();
    emit payloadChanged();
    emit payloadLoaded(totalPayloadKg());
}

void FuelManager::loadPayloadStation(int index, double kg)
{
    if (index < 0 || index >= m_stations.size())
        return;
    m_stations[index].weightKg = std::max(0.0, kg);
    writePayloadToSim();
    emit payloadChanged();
    emit payloadLoaded(totalPayloadKg());
}

void FuelManager::writePayloadToSim()
{
    const bool xplane = isXPlane(targetSimType());
    for (int i = 0; i < m_stations.size(); ++i) {
        if (xplane) {
            writeValue(QStringLiteral("sim/flightmodel/weight/m_fixed[%1]").arg(i), m_stations[i].weightKg, QString());
        } else {
            // SimConnect numbers payload stations from 1.
            writeValue(QStringLiteral("PAYLOAD STATION WEIGHT:%1").arg(i + 1), m_stations[i].weightKg * kPoundsPerKg,
                       QStringLiteral("pounds"));
        }
    }
}

void FuelManager::setFuelFreeze(bool frozen)
{
    m_frozen = frozen;
    if (isXPlane(targetSimType())) {
        writeValue(QStringLiteral("sim/operation/failures/fuel"), frozen ? 6.0 : 0.0, QString());
    } else if (remote()) {
        m_dispatcher->transmitEvent(QStringLiteral("FUEL_FREEZE_TOGGLE"), frozen ? 1 : 0);
    } else if (canWriteLocally()) {
        m_backend->transmitEvent(QStringLiteral("FUEL_FREEZE_TOGGLE"), frozen ? 1 : 0);
    }
    emit fuelFrozenChanged(frozen);
}

void FuelManager::writeFuelToSim()
{
    if (remote()) {
        if (m_tanks.isEmpty()) {
            // The remote station's tanks are not known here: let it spread the overall level.
            m_dispatcher->loadFuel(fuelPercent());
            return;
        }
        QVariantList tanks;
        for (int i = 0; i < m_tanks.size(); ++i) {
            const TankInfo &tank = m_tanks[i];
            tanks.append(QVariantMap{
                {QStringLiteral("index"), i},
                {QStringLiteral("gallons"), tank.current},
                {QStringLiteral("percent"), tank.capacity > 0 ? tank.current / tank.capacity * 100.0 : 0.0}});
        }
        m_dispatcher->sendAgentCommand(QStringLiteral("set_fuel"), {{QStringLiteral("tanks"), tanks}});
        return;
    }
    if (!canWriteLocally())
        return;
    const SimType type = m_backend->simType();
    if (isXPlane(type)) {
        for (int i = 0; i < m_tanks.size(); ++i)
            m_backend->setData(QStringLiteral("sim/flightmodel/weight/m_fuel[%1]").arg(i),
                               xplaneTankUnits(m_tanks[i].current) * kPoundsPerGallon);
        return;
    }
    const bool level = type == SimType::Msfs2020;
    for (int i = 0; i < m_tanks.size() && i < kMaxSimConnectTanks; ++i) {
        const TankInfo &tank = m_tanks[i];
        const QString position = QString::fromLatin1(kSimConnectTankPositions[i]);
        if (level) {
            const double percent = tank.capacity > 0 ? tank.current / tank.capacity * 100.0 : 0.0;
            m_backend->setData(QStringLiteral("FUEL TANK %1 LEVEL").arg(position), percent, QStringLiteral("percent"));
        } else {
            m_backend->setData(QStringLiteral("FUEL TANK %1 QUANTITY").arg(position), tank.current,
                               QStringLiteral("gallons"));
        }
    }
}

void FuelManager::saveUserPreset(const QString &name)
{
    if (name.trimmed().isEmpty())
        return;
    FuelPreset preset;
    preset.name = name.trimmed();
    for (const TankInfo &tank : std::as_const(m_tanks))
        preset.tankPercents.append(tank.capacity > 0 ? tank.current / tank.capacity * 100.0 : 0.0);
    preset.payloadKg = totalPayloadKg();
    preset.hasPayload = true;
    preset.user = true;
    auto it = std::find_if(m_userPresets.begin(), m_userPresets.end(),
                           [&preset](const FuelPreset &other) { return other.name == preset.name; });
    if (it != m_userPresets.end())
        *it = preset;
    else
        m_userPresets.append(preset);
    storeUserPresets();
    emit presetsChanged();
}

void FuelManager::deleteUserPreset(const QString &name)
{
    const auto removed = m_userPresets.removeIf([&name](const FuelPreset &preset) { return preset.name == name; });
    if (removed == 0)
        return;
    storeUserPresets();
    emit presetsChanged();
}

void FuelManager::storeUserPresets() const
{
    // One entry per preset in each list, in the same order; percents as "100;75;0".
    QStringList names;
    QStringList percents;
    QStringList payloads;
    for (const FuelPreset &preset : m_userPresets) {
        names.append(preset.name);
        percents.append(percentsText(preset.tankPercents));
        payloads.append(QString::number(preset.payloadKg, 'g', 10));
    }
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    settings.beginGroup(QLatin1String(kSettingsGroup));
    settings.setValue(QLatin1String(kPresetNamesKey), names);
    settings.setValue(QLatin1String(kTankPercentsKey), percents);
    settings.setValue(QLatin1String(kPayloadKgKey), payloads);
    settings.endGroup();
}

void FuelManager::loadUserPresetsFromSettings()
{
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    settings.beginGroup(QLatin1String(kSettingsGroup));
    const QStringList names = settings.value(QLatin1String(kPresetNamesKey)).toStringList();
    const QStringList percents = settings.value(QLatin1String(kTankPercentsKey)).toStringList();
    const QStringList payloads = settings.value(QLatin1String(kPayloadKgKey)).toStringList();
    settings.endGroup();

    m_userPresets.clear();
    for (int i = 0; i < names.size(); ++i) {
        if (names[i].trimmed().isEmpty())
            continue;
        FuelPreset preset;
        preset.name = names[i].trimmed();
        preset.user = true;
        // A hand-edited entry that does not parse loads as empty tanks, not as garbage.
        for (const QString &part : percents.value(i).split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
            bool ok = false;
            const double value = part.toDouble(&ok);
            preset.tankPercents.append(ok && std::isfinite(value) ? clampPercent(value) : 0.0);
        }
        bool ok = false;
        const double payload = payloads.value(i).toDouble(&ok);
        preset.payloadKg = ok && std::isfinite(payload) ? std::max(0.0, payload) : 0.0;
        preset.hasPayload = ok;
        m_userPresets.append(preset);
    }
    emit presetsChanged();
}

int FuelManager::fuelPercent() const
{
    const double capacity = totalCapacity();
    if (capacity <= 0)
        return 0;
    // Truncated, but not below a whole percent that the simulator's single-precision values or
    // the unit conversions left a hair short (49.99999…).
    return static_cast<int>(totalCurrent() / capacity * 100.0 + 1e-4);
}

double FuelManager::totalCapacity() const
{
    double sum = 0;
    for (const TankInfo &tank : m_tanks)
        sum += tank.capacity;
    return sum;
}

double FuelManager::totalCurrent() const
{
    double sum = 0;
    for (const TankInfo &tank : m_tanks)
        sum += tank.current;
    return sum;
}

double FuelManager::totalCapacityLbs() const
{
    return totalCapacity() * kPoundsPerGallon;
}

double FuelManager::totalFuelWeightKg() const
{
    return totalCurrent() * kFuelKgPerUsGallon;
}

double FuelManager::totalPayloadKg() const
{
    double sum = 0;
    for (const PayloadStation &station : m_stations)
        sum += station.weightKg;
    return sum;
}
