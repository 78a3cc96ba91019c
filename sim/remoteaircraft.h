#pragma once

#include "sim/aircraftdata.h"

#include <QList>
#include <QMetaType>
#include <QString>

// The last state one remote station (agent) reported over the bridge: the contents of its latest
// "status" message, with "position" messages updating the position members in between. Members
// follow the status keys of the agent protocol in order (key in the comment where the name
// differs). Units as in AircraftData: degrees, feet, knots, ft/min, percent, US gallons, kg, hPa.
// A plain value; the bridge server keeps one per registered agent.
struct RemoteAircraft
{
    QString agentId;
    QString callsign;
    double lat = 0;
    double lon = 0;
    double alt = 0;     // ft MSL
    double hdg = 0;     // magnetic, deg
    double hdgTrue = 0; // "hdg_true"
    double gs = 0;
    double track = 0;
    double vs = 0;
    double pitch = 0;
    double roll = 0;
    bool onGround = false; // "on_ground"
    bool paused = false;
    bool frozenPos = false; // "frozen_pos"
    double ias = 0;
    double tas = 0;
    double mach = 0;
    double agl = 0;
    double gForce = 0;      // "g_force"
    int engCount = 0;       // "eng_count"
    int engType = 0;        // "eng_type"
    QList<bool> engRunning; // "eng_running"
    QList<double> engN1;    // "eng_n1"
    QList<double> engN2;    // "eng_n2"
    QList<double> engRpm;   // "eng_rpm"
    QList<double> engEgt;   // "eng_egt", deg C
    QList<double> engFf;    // "eng_ff", US gal/h
    QList<double> throttle; // percent
    QList<bool> engOnFire;  // "eng_on_fire"
    bool gearDown = false;  // "gear_down"
    double flaps = 0;       // percent
    double spoiler = 0;     // percent
    double brake = 0;       // parking brake, percent
    double com1 = 0;        // MHz
    double com1Stby = 0;
    double com2 = 0;
    double com2Stby = 0;
    double nav1 = 0;
    double nav1Stby = 0;
    double nav2 = 0;
    double nav2Stby = 0;
    double adf = 0; // kHz
    double xpdr = 0;
    QString xpdrMode; // "xpdr_mode"
    bool apOn = false;
    bool apHdg = false;
    bool apAlt = false;
    bool apVs = false;
    bool apSpd = false;
    bool apVnav = false;
    bool apLnav = false;
    bool apApp = false;
    bool apNav = false;
    double apTgtAlt = 0;
    double apTgtHdg = 0;
    double apTgtSpd = 0;
    double apTgtVs = 0;
    double trimElv = 0;
    double trimRud = 0;
    double trimAil = 0;
    double fuelTotal = 0; // US gal
    double fuelLeft = 0;
    double fuelRight = 0;
    double weight = 0; // kg
    double cg = 0;
    double temp = 0;      // deg C
    double baro = 0;      // hPa
    double windDir = 0;   // deg true
    double windSpd = 0;   // kt
    QStringList failures; // ids of the failures active on that station
    qint64 ts = 0;        // sender's timestamp, ms since the epoch
};

// The same state as an AircraftData sample, for consumers written against the local aircraft's
// record (the primary flight display, the recorder). Members the agent does not report (indicated
// altitude: taken as the true altitude; trims, wind and the like where missing) stay zero.
AircraftData toAircraftData(const RemoteAircraft &remote);

Q_DECLARE_METATYPE(RemoteAircraft)
