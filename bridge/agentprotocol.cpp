#include "bridge/agentprotocol.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace agentprotocol {

namespace {

constexpr int kMaxEngines = 4;
// Texts a peer sends are cut to these lengths, so a hostile status cannot grow the station's copy.
constexpr int kMaxTextChars = 64;
constexpr int kMaxFailures = 256;
constexpr int kMaxFailureIdChars = 128;

// Every status key with its member, in protocol order. Writing and reading both walk this one list.
template <typename Aircraft, typename Visitor> void visitStatusKeys(Aircraft &a, Visitor &&v)
{
    v("agentId", a.agentId);
    v("callsign", a.callsign);
    v("lat", a.lat);
    v("lon", a.lon);
    v("alt", a.alt);
    v("hdg", a.hdg);
    v("hdg_true", a.hdgTrue);
    v("gs", a.gs);
    v("track", a.track);
    v("vs", a.vs);
    v("pitch", a.pitch);
    v("roll", a.roll);
    v("on_ground", a.onGround);
    v("paused", a.paused);
    v("frozen_pos", a.frozenPos);
    v("ias", a.ias);
    v("tas", a.tas);
    v("mach", a.mach);
    v("agl", a.agl);
    v("g_force", a.gForce);
    v("eng_count", a.engCount);
    v("eng_type", a.engType);
    v("eng_running", a.engRunning);
    v("eng_n1", a.engN1);
    v("eng_n2", a.engN2);
    v("eng_rpm", a.engRpm);
    v("eng_egt", a.engEgt);
    v("eng_ff", a.engFf);
    v("throttle", a.throttle);
    v("eng_on_fire", a.engOnFire);
    v("gear_down", a.gearDown);
    v("flaps", a.flaps);
    v("spoiler", a.spoiler);
    v("brake", a.brake);
    v("com1", a.com1);
    v("com1_stby", a.com1Stby);
    v("com2", a.com2);
    v("com2_stby", a.com2Stby);
    v("nav1", a.nav1);
    v("nav1_stby", a.nav1Stby);
    v("nav2", a.nav2);
    v("nav2_stby", a.nav2Stby);
    v("adf", a.adf);
    v("xpdr", a.xpdr);
    v("xpdr_mode", a.xpdrMode);
    v("ap_on", a.apOn);
    v("ap_hdg", a.apHdg);
    v("ap_alt", a.apAlt);
    v("ap_vs", a.apVs);
    v("ap_spd", a.apSpd);
    v("ap_vnav", a.apVnav);
    v("ap_lnav", a.apLnav);
    v("ap_app", a.apApp);
    v("ap_nav", a.apNav);
    v("ap_tgt_alt", a.apTgtAlt);
    v("ap_tgt_hdg", a.apTgtHdg);
    v("ap_tgt_spd", a.apTgtSpd);
    v("ap_tgt_vs", a.apTgtVs);
    v("trim_elv", a.trimElv);
    v("trim_rud", a.trimRud);
    v("trim_ail", a.trimAil);
    v("fuel_total", a.fuelTotal);
    v("fuel_left", a.fuelLeft);
    v("fuel_right", a.fuelRight);
    v("weight", a.weight);
    v("cg", a.cg);
    v("temp", a.temp);
    v("baro", a.baro);
    v("wind_dir", a.windDir);
    v("wind_spd", a.windSpd);
    v("failures", a.failures);
    v("ts", a.ts);
}

// The members a "position" message carries.
template <typename Aircraft, typename Visitor> void visitPositionKeys(Aircraft &a, Visitor &&v)
{
    v("lat", a.lat);
    v("lon", a.lon);
    v("alt", a.alt);
    v("hdg", a.hdg);
    v("gs", a.gs);
    v("vs", a.vs);
    v("pitch", a.pitch);
    v("roll", a.roll);
}

struct Writer
{
    QJsonObject &object;

    template <typename T> void operator()(const char *key, const T &value) const
    {
        const QString name = QString::fromLatin1(key);
        if constexpr (std::is_same_v<T, QString> || std::is_same_v<T, bool> || std::is_same_v<T, double> ||
                      std::is_same_v<T, int>) {
            object.insert(name, value);
        } else if constexpr (std::is_same_v<T, qint64>) {
            object.insert(name, QJsonValue(value));
        } else if constexpr (std::is_same_v<T, QStringList>) {
            object.insert(name, QJsonArray::fromStringList(value));
        } else {
            QJsonArray array;
            for (const auto &item : value)
                array.append(item);
            object.insert(name, array);
        }
    }
};

struct Reader
{
    const QJsonObject &object;

    static QString text(const QJsonValue &value, int maxChars) { return value.toString().left(maxChars); }

    template <typename T> void operator()(const char *key, T &member) const
    {
        const QJsonValue value = object.value(QLatin1String(key));
        if constexpr (std::is_same_v<T, QString>) {
            if (value.isString())
                member = text(value, kMaxTextChars);
        } else if constexpr (std::is_same_v<T, bool>) {
            if (value.isBool())
                member = value.toBool();
        } else if constexpr (std::is_same_v<T, double>) {
            if (value.isDouble())
                member = value.toDouble();
        } else if constexpr (std::is_same_v<T, int>) {
            if (value.isDouble())
                member = int(std::clamp(value.toDouble(), -1e9, 1e9));
        } else if constexpr (std::is_same_v<T, qint64>) {
            if (value.isDouble())
                member = qint64(std::clamp(value.toDouble(), -9e15, 9e15));
        } else if constexpr (std::is_same_v<T, QStringList>) {
            if (!value.isArray())
                return;
            member.clear();
            for (const QJsonValue &item : value.toArray()) {
                if (member.size() >= kMaxFailures)
                    break;
                if (item.isString())
                    member.append(text(item, kMaxFailureIdChars));
            }
        } else {
            if (!value.isArray())
                return;
            using Item = typename T::value_type;
            member.clear();
            for (const QJsonValue &item : value.toArray()) {
                if (member.size() >= kMaxEngines)
                    break;
                if constexpr (std::is_same_v<Item, bool>)
                    member.append(item.toBool());
                else
                    member.append(item.toDouble());
            }
        }
    }
};

} // namespace

bool isKnownInstructionMode(const QString &mode)
{
    return mode == QLatin1String(kModeAuto) || mode == QLatin1String(kModeObserve);
}

QByteArray encodeLine(const QJsonObject &message)
{
    QByteArray line = QJsonDocument(message).toJson(QJsonDocument::Compact);
    line.append('\n');
    return line;
}

bool LineFramer::append(const QByteArray &data, QList<QByteArray> &lines)
{
    if (m_overflow)
        return false;
    m_buffer.append(data);
    qsizetype start = 0;
    for (;;) {
        const qsizetype end = m_buffer.indexOf('\n', std::max(start, m_scanned));
        if (end < 0)
            break;
        qsizetype length = end - start;
        if (length > 0 && m_buffer.at(end - 1) == '\r')
            --length;
        if (length > m_maxLineBytes) {
            m_overflow = true;
            break;
        }
        lines.append(m_buffer.mid(start, length));
        start = end + 1;
    }
    m_buffer.remove(0, start);
    m_scanned = m_buffer.size();
    // One byte of slack: the tail may end in the CR of a line of exactly the cap.
    if (m_buffer.size() > m_maxLineBytes + 1)
        m_overflow = true;
    if (m_overflow)
        m_buffer.clear();
    return !m_overflow;
}

QString simText(SimType type)
{
    switch (type) {
    case SimType::Prepar3D:
        return QStringLiteral("P3D");
    case SimType::None:
        return QStringLiteral("none");
    default:
        return simTypeName(type);
    }
}

QJsonObject statusMessage(const RemoteAircraft &aircraft)
{
    QJsonObject message{{QStringLiteral("type"), QLatin1String(kStatus)}};
    visitStatusKeys(aircraft, Writer{message});
    return message;
}

QJsonObject positionMessage(const RemoteAircraft &aircraft)
{
    QJsonObject message{{QStringLiteral("type"), QLatin1String(kPosition)},
                        {QStringLiteral("agentId"), aircraft.agentId}};
    visitPositionKeys(aircraft, Writer{message});
    return message;
}

RemoteAircraft aircraftFromStatus(const QJsonObject &message)
{
    RemoteAircraft aircraft;
    visitStatusKeys(aircraft, Reader{message});
    return aircraft;
}

void applyPosition(RemoteAircraft &aircraft, const QJsonObject &message)
{
    visitPositionKeys(aircraft, Reader{message});
}

RemoteAircraft aircraftFromSample(const AircraftData &data, const QString &agentId, const QString &callsign,
                                  const AgentExtras &extras)
{
    RemoteAircraft a;
    a.agentId = agentId;
    a.callsign = callsign;
    a.lat = data.lat;
    a.lon = data.lon;
    a.alt = data.alt;
    a.hdg = data.hdg;
    a.hdgTrue = data.hdgTrue;
    a.gs = data.gs;
    a.track = data.track;
    a.vs = data.vs;
    a.pitch = data.pitch;
    a.roll = data.bank;
    a.onGround = data.onGround;
    a.paused = extras.paused;
    a.frozenPos = extras.frozenPos;
    a.ias = data.ias;
    a.tas = data.tas;
    a.mach = data.mach;
    a.agl = data.altAGL;
    a.gForce = data.gForce;
    a.engCount = std::clamp(int(data.engCnt), 0, kMaxEngines);
    a.engType = data.engType;
    for (int i = 0; i < a.engCount; ++i) {
        a.engRunning.append(data.engRun[i]);
        a.engN1.append(data.engN1[i]);
        a.engN2.append(data.engN2[i]);
        a.engRpm.append(data.rpm[i]);
        a.engEgt.append(data.egt[i]);
        a.engFf.append(data.ff[i]);
        // The sample has two throttle levers; engines beyond the second follow the second lever.
        a.throttle.append(i == 0 ? data.thr1 : data.thr2);
        a.engOnFire.append(i < 2 && data.engFire[i]);
    }
    a.gearDown = data.gear;
    a.flaps = data.flaps;
    a.spoiler = data.spoiler;
    a.brake = data.parkBrake;
    a.com1 = data.com1;
    a.com1Stby = data.com1s;
    a.com2 = data.com2;
    a.com2Stby = data.com2s;
    a.nav1 = data.nav1;
    a.nav1Stby = data.nav1s;
    a.nav2 = data.nav2;
    a.nav2Stby = data.nav2s;
    a.adf = data.adf;
    a.xpdr = data.xpdr;
    // The sample carries no transponder mode and no separate vertical-speed hold: xpdrMode stays
    // empty and apVs false. Lateral navigation hold is reported as both "ap_lnav" and "ap_nav".
    a.apOn = data.apMaster;
    a.apHdg = data.apHdgLock;
    a.apAlt = data.apAltLock;
    a.apSpd = data.apSpdLock;
    a.apVnav = data.apVnav;
    a.apLnav = data.apNavLock;
    a.apApp = data.apAppr;
    a.apNav = data.apNavLock;
    a.apTgtAlt = data.apAlt;
    a.apTgtHdg = data.apHdg;
    a.apTgtSpd = data.apSpd;
    a.apTgtVs = data.apVs;
    a.trimElv = data.elevTrim;
    a.trimRud = data.rudTrim;
    a.trimAil = data.ailTrim;
    a.fuelTotal = data.fuelTotal;
    a.fuelLeft = data.fuelL;
    a.fuelRight = data.fuelR;
    a.weight = data.totalWt;
    a.cg = data.cg;
    a.temp = data.ambTemp;
    a.baro = data.baro;
    a.windDir = data.windDir;
    a.windSpd = data.windSpd;
    a.failures = extras.failures;
    a.ts = QDateTime::currentMSecsSinceEpoch();
    return a;
}

} // namespace agentprotocol
