#include "sim/remoteaircraft.h"

#include <algorithm>

namespace {

template <typename T, typename U> void copyEngines(const QList<U> &from, T (&to)[4])
{
    for (int i = 0; i < 4 && i < from.size(); ++i)
        to[i] = T(from.at(i));
}

} // namespace

AircraftData toAircraftData(const RemoteAircraft &remote)
{
    AircraftData d;
    d.lat = remote.lat;
    d.lon = remote.lon;
    d.alt = remote.alt;
    d.altInd = remote.alt;
    d.altAGL = remote.agl;
    d.hdg = remote.hdg;
    d.hdgTrue = remote.hdgTrue;
    d.track = remote.track;
    d.ias = remote.ias;
    d.tas = remote.tas;
    d.gs = remote.gs;
    d.vs = remote.vs;
    d.mach = remote.mach;
    d.pitch = remote.pitch;
    d.bank = remote.roll;
    d.onGround = remote.onGround;
    d.engType = remote.engType;
    d.engCnt = std::clamp(remote.engCount, 0, 4);
    d.thr1 = remote.throttle.value(0);
    d.thr2 = remote.throttle.value(1);
    d.gear = remote.gearDown;
    d.flaps = int(remote.flaps);
    d.spoiler = remote.spoiler;
    d.parkBrake = int(remote.brake);
    copyEngines(remote.engN1, d.engN1);
    copyEngines(remote.engN2, d.engN2);
    copyEngines(remote.engEgt, d.egt);
    copyEngines(remote.engRpm, d.rpm);
    copyEngines(remote.engFf, d.ff);
    copyEngines(remote.engRunning, d.engRun);
    d.engFire[0] = remote.engOnFire.value(0);
    d.engFire[1] = remote.engOnFire.value(1);
    d.elevTrim = remote.trimElv;
    d.rudTrim = remote.trimRud;
    d.ailTrim = remote.trimAil;
    d.nav1 = remote.nav1;
    d.nav1s = remote.nav1Stby;
    d.nav2 = remote.nav2;
    d.nav2s = remote.nav2Stby;
    d.com1 = remote.com1;
    d.com1s = remote.com1Stby;
    d.com2 = remote.com2;
    d.com2s = remote.com2Stby;
    d.adf = remote.adf;
    d.xpdr = remote.xpdr;
    d.apMaster = remote.apOn;
    d.apHdgLock = remote.apHdg;
    d.apAltLock = remote.apAlt;
    d.apSpdLock = remote.apSpd;
    d.apVnav = remote.apVnav;
    d.apAppr = remote.apApp;
    d.apNavLock = remote.apNav || remote.apLnav;
    d.apAlt = remote.apTgtAlt;
    d.apHdg = remote.apTgtHdg;
    d.apSpd = remote.apTgtSpd;
    d.apVs = remote.apTgtVs;
    d.fuelTotal = remote.fuelTotal;
    d.fuelL = remote.fuelLeft;
    d.fuelR = remote.fuelRight;
    d.totalWt = remote.weight;
    d.cg = remote.cg;
    d.gForce = remote.gForce;
    d.ambTemp = remote.temp;
    d.windDir = remote.windDir;
    d.windSpd = remote.windSpd;
    d.baro = remote.baro;
    return d;
}
