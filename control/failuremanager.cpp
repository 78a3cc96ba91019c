#include "control/failuremanager.h"

#include "app/log/applogger.h"
#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QRandomGenerator>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

const char *const kContext = "FailureManager";

struct CatalogueRow
{
    const char *id;
    const char *name;
    const char *category;
    const char *key; // after "XPlaneFailure"
    const char *event;
};

// clang-format off
const CatalogueRow kCatalogue[] = {
    {"engine1", QT_TRANSLATE_NOOP("FailureManager", "引擎 1 故障"), QT_TRANSLATE_NOOP("FailureManager", "引擎"), "Engfai1", "TOGGLE_ENGINE1_FAILURE"},
    {"engine2", QT_TRANSLATE_NOOP("FailureManager", "引擎 2 故障"), "引擎", "Engfai2", "TOGGLE_ENGINE2_FAILURE"},
    {"engine_flame1", QT_TRANSLATE_NOOP("FailureManager", "引擎 1 熄火"), "引擎", "Engfla1", "TOGGLE_ENGINE1_FAILURE"},
    {"engine_flame2", QT_TRANSLATE_NOOP("FailureManager", "引擎 2 熄火"), "引擎", "Engfla2", "TOGGLE_ENGINE2_FAILURE"},
    {"engine_fire1", QT_TRANSLATE_NOOP("FailureManager", "引擎 1 着火"), "引擎", "Engfir1", "TOGGLE_ENGINE1_FAILURE"},
    {"engine_fire2", QT_TRANSLATE_NOOP("FailureManager", "引擎 2 着火"), "引擎", "Engfir2", "TOGGLE_ENGINE2_FAILURE"},
    {"fuel_pump1", QT_TRANSLATE_NOOP("FailureManager", "燃油泵 1 故障"), "引擎", "Fuepmp1", "TOGGLE_ELECT_FUEL_PUMP1"},
    {"fuel_pump2", QT_TRANSLATE_NOOP("FailureManager", "燃油泵 2 故障"), "引擎", "Fuepmp2", "TOGGLE_ELECT_FUEL_PUMP2"},
    {"starter1", QT_TRANSLATE_NOOP("FailureManager", "启动机 1 故障"), "引擎", "Startr1", "TOGGLE_STARTER1"},
    {"starter2", QT_TRANSLATE_NOOP("FailureManager", "启动机 2 故障"), "引擎", "Startr2", "TOGGLE_STARTER2"},
    {"compressor_stall1", QT_TRANSLATE_NOOP("FailureManager", "压气机喘振 1"), "引擎", "Comsta1", "TOGGLE_ENGINE1_FAILURE"},
    {"compressor_stall2", QT_TRANSLATE_NOOP("FailureManager", "压气机喘振 2"), "引擎", "Comsta2", "TOGGLE_ENGINE2_FAILURE"},
    {"gen_elec", QT_TRANSLATE_NOOP("FailureManager", "全机断电"), QT_TRANSLATE_NOOP("FailureManager", "电气"), "GenEsys", "TOGGLE_ELECTRICAL_FAILURE"},
    {"gen_avionics", QT_TRANSLATE_NOOP("FailureManager", "航电总线失效"), "电气", "GenAvio", ""},
    {"generator1", QT_TRANSLATE_NOOP("FailureManager", "发电机 1 故障"), "电气", "Genera1", "TOGGLE_MASTER_ALTERNATOR"},
    {"generator2", QT_TRANSLATE_NOOP("FailureManager", "发电机 2 故障"), "电气", "Genera2", "TOGGLE_MASTER_ALTERNATOR"},
    {"battery1", QT_TRANSLATE_NOOP("FailureManager", "电瓶 1 故障"), "电气", "Batter1", "TOGGLE_MASTER_BATTERY"},
    {"battery2", QT_TRANSLATE_NOOP("FailureManager", "电瓶 2 故障"), "电气", "Batter2", "TOGGLE_MASTER_BATTERY"},
    {"inverter1", QT_TRANSLATE_NOOP("FailureManager", "变流器 1 故障"), "电气", "Invert1", ""},
    {"inverter2", QT_TRANSLATE_NOOP("FailureManager", "变流器 2 故障"), "电气", "Invert2", ""},
    {"autopilot", QT_TRANSLATE_NOOP("FailureManager", "自动驾驶失效"), QT_TRANSLATE_NOOP("FailureManager", "自动驾驶"), "Otto", ""},
    {"yaw_damper", QT_TRANSLATE_NOOP("FailureManager", "偏航阻尼器失效"), "自动驾驶", "ServoRudd", ""},
    {"auto_runaway", QT_TRANSLATE_NOOP("FailureManager", "自动驾驶失控"), "自动驾驶", "AutoRunaway", ""},
    {"autothrottle", QT_TRANSLATE_NOOP("FailureManager", "自动油门失效"), "自动驾驶", "ServoThro", ""},
    {"flap_act", QT_TRANSLATE_NOOP("FailureManager", "襟翼作动筒失效"), QT_TRANSLATE_NOOP("FailureManager", "飞控"), "FlapAct", ""},
    {"slats", QT_TRANSLATE_NOOP("FailureManager", "缝翼失效"), "飞控", "FcSlt", ""},
    {"yaw_left", QT_TRANSLATE_NOOP("FailureManager", "左偏航控制失效"), "飞控", "FcRudL", ""},
    {"yaw_right", QT_TRANSLATE_NOOP("FailureManager", "右偏航控制失效"), "飞控", "FcRudR", ""},
    {"roll_left", QT_TRANSLATE_NOOP("FailureManager", "左滚转控制失效"), "飞控", "FcAilL", ""},
    {"roll_right", QT_TRANSLATE_NOOP("FailureManager", "右滚转控制失效"), "飞控", "FcAilR", ""},
    {"pitch_up", QT_TRANSLATE_NOOP("FailureManager", "俯仰向上失效"), "飞控", "FcElvU", ""},
    {"pitch_down", QT_TRANSLATE_NOOP("FailureManager", "俯仰向下失效"), "飞控", "FcElvD", ""},
    {"rudder_trim", QT_TRANSLATE_NOOP("FailureManager", "方向舵配平失效"), "飞控", "TrimRud", ""},
    {"aileron_trim", QT_TRANSLATE_NOOP("FailureManager", "副翼配平失效"), "飞控", "TrimAil", ""},
    {"elevator_trim", QT_TRANSLATE_NOOP("FailureManager", "升降舵配平失效"), "飞控", "TrimElv", ""},
    {"gear_act", QT_TRANSLATE_NOOP("FailureManager", "起落架作动筒失效"), QT_TRANSLATE_NOOP("FailureManager", "起落架"), "GearAct", ""},
    {"gear_ind", QT_TRANSLATE_NOOP("FailureManager", "起落架指示失效"), "起落架", "GearInd", ""},
    {"nosewheel_jam", QT_TRANSLATE_NOOP("FailureManager", "前轮卡阻"), "起落架", "Lagear1", ""},
    {"left_gear_jam", QT_TRANSLATE_NOOP("FailureManager", "左主轮卡阻"), "起落架", "Lagear2", ""},
    {"right_gear_jam", QT_TRANSLATE_NOOP("FailureManager", "右主轮卡阻"), "起落架", "Lagear3", ""},
    {"left_brakes", QT_TRANSLATE_NOOP("FailureManager", "左刹车失效"), "起落架", "Lbrakes", ""},
    {"right_brakes", QT_TRANSLATE_NOOP("FailureManager", "右刹车失效"), "起落架", "Rbrakes", ""},
    {"pitot_heat1", QT_TRANSLATE_NOOP("FailureManager", "皮托管加温 1 失效"), QT_TRANSLATE_NOOP("FailureManager", "除冰"), "IcePitotHeat1", ""},
    {"pitot_heat2", QT_TRANSLATE_NOOP("FailureManager", "皮托管加温 2 失效"), "除冰", "IcePitotHeat2", ""},
    {"anti_ice", QT_TRANSLATE_NOOP("FailureManager", "防冰系统失效"), "除冰", "Antice", ""},
    {"wing_heat_l", QT_TRANSLATE_NOOP("FailureManager", "左机翼加温失效"), "除冰", "IceSurfHeat1", ""},
    {"wing_heat_r", QT_TRANSLATE_NOOP("FailureManager", "右机翼加温失效"), "除冰", "IceSurfHeat2", ""},
    {"nav_lights", QT_TRANSLATE_NOOP("FailureManager", "航行灯失效"), QT_TRANSLATE_NOOP("FailureManager", "灯光"), "LitesNav", ""},
    {"strobe_lights", QT_TRANSLATE_NOOP("FailureManager", "频闪灯失效"), "灯光", "LitesStrobe", ""},
    {"beacon_lights", QT_TRANSLATE_NOOP("FailureManager", "信标灯失效"), "灯光", "LitesBeac", ""},
    {"landing_lights", QT_TRANSLATE_NOOP("FailureManager", "着陆灯失效"), "灯光", "LitesLand", ""},
    {"taxi_lights", QT_TRANSLATE_NOOP("FailureManager", "滑行灯失效"), "灯光", "LitesTaxi", ""},
    {"bird_strike", QT_TRANSLATE_NOOP("FailureManager", "鸟击"), QT_TRANSLATE_NOOP("FailureManager", "紧急"), "BirdStrike", ""},
    {"wind_shear", QT_TRANSLATE_NOOP("FailureManager", "微下击暴流"), "紧急", "WindShear", ""},
    {"smoke_cockpit", QT_TRANSLATE_NOOP("FailureManager", "座舱冒烟"), "紧急", "SmokeCpit", ""},
    {"controls_lock", QT_TRANSLATE_NOOP("FailureManager", "操纵锁死"), "紧急", "Conlock", ""},
};

struct PresetRow
{
    const char *name;
    const char *ids;
};

const PresetRow kPresets[] = {
    {QT_TRANSLATE_NOOP("FailureManager", "单发故障"), "engine1"},
    {QT_TRANSLATE_NOOP("FailureManager", "双发故障"), "engine1 engine2"},
    {QT_TRANSLATE_NOOP("FailureManager", "引擎熄火"), "engine_flame1"},
    {QT_TRANSLATE_NOOP("FailureManager", "引擎着火"), "engine_fire1"},
    {QT_TRANSLATE_NOOP("FailureManager", "双引擎着火"), "engine_fire1 engine_fire2"},
    {QT_TRANSLATE_NOOP("FailureManager", "全机断电"), "gen_elec"},
    {QT_TRANSLATE_NOOP("FailureManager", "航电失效"), "gen_avionics"},
    {QT_TRANSLATE_NOOP("FailureManager", "发电机失效"), "generator1"},
    {QT_TRANSLATE_NOOP("FailureManager", "双发电机故障"), "generator1 generator2"},
    {QT_TRANSLATE_NOOP("FailureManager", "电瓶耗尽"), "battery1"},
    {QT_TRANSLATE_NOOP("FailureManager", "自动驾驶失效"), "autopilot"},
    {QT_TRANSLATE_NOOP("FailureManager", "自动驾驶失控"), "auto_runaway"},
    {QT_TRANSLATE_NOOP("FailureManager", "襟翼失效"), "flap_act"},
    {QT_TRANSLATE_NOOP("FailureManager", "缝翼失效"), "slats"},
    {QT_TRANSLATE_NOOP("FailureManager", "全飞控故障"), "flap_act slats yaw_left roll_left pitch_up"},
    {QT_TRANSLATE_NOOP("FailureManager", "起落架故障"), "gear_act"},
    {QT_TRANSLATE_NOOP("FailureManager", "起落架卡阻"), "nosewheel_jam left_gear_jam right_gear_jam"},
    {QT_TRANSLATE_NOOP("FailureManager", "刹车失效"), "left_brakes right_brakes"},
    {QT_TRANSLATE_NOOP("FailureManager", "皮托管结冰"), "pitot_heat1"},
    {QT_TRANSLATE_NOOP("FailureManager", "防冰系统失效"), "anti_ice"},
    {QT_TRANSLATE_NOOP("FailureManager", "鸟击"), "bird_strike"},
    {QT_TRANSLATE_NOOP("FailureManager", "微下击暴流"), "wind_shear"},
    {QT_TRANSLATE_NOOP("FailureManager", "座舱冒烟"), "smoke_cockpit"},
    {QT_TRANSLATE_NOOP("FailureManager", "极端情况"), "engine1 engine2 gen_elec gear_act autopilot"},
};
// clang-format on

const char *const kActionTrigger = QT_TRANSLATE_NOOP("FailureManager", "触发");
const char *const kActionReset = QT_TRANSLATE_NOOP("FailureManager", "重置");
const char *const kModeManual = QT_TRANSLATE_NOOP("FailureManager", "手动");

bool isXPlane(SimType type)
{
    return type == SimType::XPlane11 || type == SimType::XPlane12;
}

// The system number at the end of an id ("engine_fire2" -> 2), 0 when it has none.
int trailingIndex(const QString &id)
{
    int start = id.size();
    while (start > 0 && id.at(start - 1).isDigit())
        --start;
    return start < id.size() ? id.mid(start).toInt() : 0;
}

} // namespace

FailureManager::FailureManager(QObject *parent) : QObject(parent)
{
    for (const CatalogueRow &row : kCatalogue) {
        FailureDef def;
        def.id = QString::fromLatin1(row.id);
        def.name = QString::fromUtf8(row.name);
        def.category = QString::fromUtf8(row.category);
        def.xplaneKey = QStringLiteral("XPlaneFailure") + QLatin1String(row.key);
        def.simEvent = QString::fromLatin1(row.event);
        def.mode = QString::fromUtf8(kModeManual);
        m_catalogue.insert(def.id, def);
    }
    for (const PresetRow &row : kPresets)
        m_presets.append({QString::fromUtf8(row.name), QString::fromLatin1(row.ids).split(QLatin1Char(' '))});

    m_elapsedTimer = new QTimer(this);
    m_elapsedTimer->setInterval(kElapsedTickMs);
    connect(m_elapsedTimer, &QTimer::timeout, this, &FailureManager::onElapsedTick);
    m_elapsedTimer->start();
    m_conditionTimer = new QTimer(this);
    m_conditionTimer->setInterval(kConditionCheckMs);
    connect(m_conditionTimer, &QTimer::timeout, this, &FailureManager::onConditionCheck);
    m_conditionTimer->start();
    m_randomTimer = new QTimer(this);
    m_randomTimer->setInterval(kRandomCheckMs);
    connect(m_randomTimer, &QTimer::timeout, this, &FailureManager::onRandomCheck);
}

void FailureManager::setBackend(ISimBackend *backend)
{
    m_backend = backend;
}

void FailureManager::setDispatcher(SimOperationDispatcher *dispatcher)
{
    m_dispatcher = dispatcher;
}

QString FailureManager::displayText(const QString &sourceText)
{
    return QCoreApplication::translate(kContext, sourceText.toUtf8().constData());
}

void FailureManager::write(const FailureDef &def, bool fail)
{
    const double value = fail ? def.failValue : def.resetValue;
    if (m_dispatcher && m_dispatcher->isRemote()) {
        m_dispatcher->setFailure(def.id, trailingIndex(def.id), fail);
        return;
    }
    if (!m_backend || !m_backend->isConnected())
        return;
    if (isXPlane(m_backend->simType()) || def.simEvent.isEmpty()) {
        // The X-Plane backend maps the key to its dataref; one it cannot map is reported there.
        m_backend->setData(def.xplaneKey, value);
    } else {
        m_backend->transmitEvent(def.simEvent, static_cast<quint32>(static_cast<int>(value)));
    }
}

void FailureManager::appendLog(const FailureDef &def, const QString &action)
{
    m_log.append({QDateTime::currentMSecsSinceEpoch(), def.id, def.name, action});
    while (m_log.size() > kMaxLogEntries)
        m_log.removeFirst();
    emit historyChanged();
}

void FailureManager::triggerFailure(const QString &id)
{
    auto it = m_catalogue.find(id);
    if (it == m_catalogue.end())
        return;
    it->state = 2;
    it->elapsed = 0;
    write(*it, true);
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("Failure"),
                              QStringLiteral("Failure triggered: %1").arg(id));
    appendLog(*it, QString::fromUtf8(kActionTrigger));
    emit failureTriggered(id);
}

void FailureManager::resetFailure(const QString &id)
{
    auto it = m_catalogue.find(id);
    if (it == m_catalogue.end())
        return;
    it->state = 0;
    it->elapsed = 0;
    write(*it, false);
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("Failure"), QStringLiteral("Failure reset: %1").arg(id));
    appendLog(*it, QString::fromUtf8(kActionReset));
    emit failureReset(id);
}

void FailureManager::resetAll()
{
    for (FailureDef &def : m_catalogue) {
        if (def.state != 2)
            continue;
        def.state = 0;
        def.elapsed = 0;
        write(def, false);
    }
    emit allReset();
}

void FailureManager::loadPreset(const QString &name)
{
    resetAll();
    for (const FailurePreset &preset : std::as_const(m_presets)) {
        if (preset.name != name)
            continue;
        for (const QString &id : preset.failureIds)
            triggerFailure(id);
        return;
    }
}

void FailureManager::setRandomFailuresEnabled(bool enabled)
{
    m_randomEnabled = enabled;
    if (enabled)
        m_randomTimer->start();
    else
        m_randomTimer->stop();
}

void FailureManager::setMtbf(int minutes)
{
    m_mtbfMinutes = minutes <= 0 ? 1 : minutes;
}

void FailureManager::addConditionTrigger(const ConditionTrigger &trigger)
{
    m_triggers.append(trigger);
}

void FailureManager::clearConditionTriggers()
{
    m_triggers.clear();
}

void FailureManager::clearHistory()
{
    m_log.clear();
    emit historyChanged();
}

QList<FailureDef> FailureManager::failures() const
{
    return m_catalogue.values();
}

FailureDef FailureManager::failure(const QString &id) const
{
    return m_catalogue.value(id);
}

int FailureManager::activeCount() const
{
    return static_cast<int>(
        std::count_if(m_catalogue.cbegin(), m_catalogue.cend(), [](const FailureDef &def) { return def.state == 2; }));
}

QStringList FailureManager::categories() const
{
    QStringList out;
    for (const CatalogueRow &row : kCatalogue) {
        const QString category = QString::fromUtf8(row.category);
        if (!out.contains(category))
            out.append(category);
    }
    return out;
}

bool FailureManager::isAvailable(const QString &id) const
{
    if (!m_catalogue.contains(id))
        return false;
    if (!m_backend || (m_dispatcher && m_dispatcher->isRemote()))
        return true;
    const FailureDef &def = m_catalogue[id];
    if (!isXPlane(m_backend->simType()) && !def.simEvent.isEmpty())
        return true;
    return m_backend->canSetData(def.xplaneKey);
}

void FailureManager::onElapsedTick()
{
    bool any = false;
    for (FailureDef &def : m_catalogue) {
        if (def.state == 2) {
            ++def.elapsed;
            any = true;
        }
    }
    if (any)
        emit elapsedChanged();
}

void FailureManager::onRandomCheck()
{
    if (!m_randomEnabled)
        return;
    // Per second of MTBF although the check runs once a minute: the effective mean time between
    // failures is sixty times the setting. Intended.
    const double p = 1.0 / (m_mtbfMinutes * 60.0);
    if (QRandomGenerator::global()->generateDouble() >= p)
        return;
    QStringList candidates;
    for (const FailureDef &def : std::as_const(m_catalogue))
        if (def.state == 0)
            candidates.append(def.id);
    if (candidates.isEmpty())
        return;
    const QString id = candidates.at(static_cast<int>(QRandomGenerator::global()->bounded(candidates.size())));
    triggerFailure(id);
    emit randomFailureTriggered(id, m_catalogue.value(id).name);
}

bool FailureManager::conditionValue(const QString &parameter, double &value) const
{
    const AircraftData d = m_backend->aircraftData();
    if (parameter == QLatin1String("altitude") || parameter == QLatin1String("ALT"))
        value = d.alt;
    else if (parameter == QLatin1String("speed") || parameter == QLatin1String("IAS"))
        value = d.ias;
    else if (parameter == QLatin1String("vs") || parameter == QLatin1String("VS"))
        value = d.vs;
    else if (parameter == QLatin1String("gear"))
        value = d.gear ? 1.0 : 0.0;
    else if (parameter == QLatin1String("onGround"))
        value = d.onGround ? 1.0 : 0.0;
    else if (parameter == QLatin1String("engine1_n1"))
        value = d.engN1[0];
    else if (parameter == QLatin1String("engine2_n1"))
        value = d.engN1[1];
    else
        return false;
    return true;
}

void FailureManager::onConditionCheck()
{
    if (!m_backend || !m_backend->isConnected())
        return;
    for (int i = 0; i < m_triggers.size(); ++i) {
        ConditionTrigger &trigger = m_triggers[i];
        if (!trigger.armed)
            continue;
        auto it = m_catalogue.constFind(trigger.failureId);
        if (it != m_catalogue.cend() && it->state == 2)
            continue;
        double value = 0;
        if (!conditionValue(trigger.parameter, value))
            continue;
        bool fires = false;
        switch (trigger.comparison) {
        case 0:
            fires = value > trigger.threshold;
            break;
        case 1:
            fires = value < trigger.threshold;
            break;
        case 2:
            // Relative equality; a threshold of 0 never matches, not even a value of exactly 0.
            fires = trigger.threshold != 0.0 && std::abs(value - trigger.threshold) * 1e12 <=
                                                    std::min(std::abs(value), std::abs(trigger.threshold));
            break;
        default:
            break;
        }
        if (!fires)
            continue;
        trigger.armed = false;
        const QString id = trigger.failureId;
        const QString parameter = trigger.parameter;
        triggerFailure(id);
        emit conditionTriggered(id, parameter);
    }
}
