#include "recording/recordedflight.h"

#include "nav/geodesy.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kEarthRadiusNm = 3440.065;

double finiteOrZero(double value)
{
    return std::isfinite(value) ? value : 0.0;
}

double lerp(double a, double b, double f)
{
    return a + (b - a) * f;
}

double lerpAngle(double a, double b, double f)
{
    const double value = a + angleDifferenceDeg(a, b) * f;
    return value < 0.0 ? value + 360.0 : (value >= 360.0 ? value - 360.0 : value);
}

// Across the antimeridian the short way, result in -180..180.
double lerpLongitude(double a, double b, double f)
{
    const double value = a + angleDifferenceDeg(a, b) * f;
    return value > 180.0 ? value - 360.0 : (value < -180.0 ? value + 360.0 : value);
}

} // namespace

TrackSample trackSampleFrom(const AircraftData &d, qint64 timeMs)
{
    TrackSample s;
    s.timeMs = timeMs;
    s.lat = finiteOrZero(d.lat);
    s.lon = finiteOrZero(d.lon);
    s.altFt = finiteOrZero(d.alt);
    s.altIndFt = finiteOrZero(d.altInd);
    s.aglFt = finiteOrZero(d.altAGL);
    s.hdgMagDeg = finiteOrZero(d.hdg);
    s.hdgTrueDeg = finiteOrZero(d.hdgTrue);
    s.iasKt = finiteOrZero(d.ias);
    s.tasKt = finiteOrZero(d.tas);
    s.gsKt = finiteOrZero(d.gs);
    s.vsFpm = finiteOrZero(d.vs);
    s.mach = finiteOrZero(d.mach);
    s.pitchDeg = finiteOrZero(d.pitch);
    s.bankDeg = finiteOrZero(d.bank);
    s.gLoad = finiteOrZero(d.gForce);
    s.fuelGal = finiteOrZero(d.fuelTotal);
    s.flapsPct = d.flaps;
    s.throttlePct = d.engCnt > 1 ? finiteOrZero((d.thr1 + d.thr2) / 2.0) : finiteOrZero(d.thr1);
    s.baroHpa = finiteOrZero(d.baro);
    s.apAltFt = finiteOrZero(d.apAlt);
    s.apHdgDeg = finiteOrZero(d.apHdg);
    s.apSpdKt = finiteOrZero(d.apSpd);
    quint32 flags = 0;
    if (d.onGround)
        flags |= TrackSample::OnGround;
    if (d.gear)
        flags |= TrackSample::GearDown;
    if (d.parkBrake >= 50)
        flags |= TrackSample::ParkBrake;
    if (d.apMaster)
        flags |= TrackSample::ApMaster;
    for (int i = 0; i < 4; ++i) {
        if (d.engRun[i])
            flags |= TrackSample::EngineRunning1 << i;
    }
    s.flags = flags;
    return s;
}

AircraftData toAircraftData(const TrackSample &s)
{
    AircraftData d;
    d.lat = s.lat;
    d.lon = s.lon;
    d.alt = s.altFt;
    d.altInd = s.altIndFt;
    d.altAGL = s.aglFt;
    d.hdg = s.hdgMagDeg;
    d.hdgTrue = s.hdgTrueDeg;
    d.ias = s.iasKt;
    d.tas = s.tasKt;
    d.gs = s.gsKt;
    d.vs = s.vsFpm;
    d.mach = s.mach;
    d.pitch = s.pitchDeg;
    d.bank = s.bankDeg;
    d.gForce = s.gLoad;
    d.fuelTotal = s.fuelGal;
    d.flaps = int(std::lround(s.flapsPct));
    d.thr1 = d.thr2 = s.throttlePct;
    d.baro = s.baroHpa;
    d.apAlt = s.apAltFt;
    d.apHdg = s.apHdgDeg;
    d.apSpd = s.apSpdKt;
    d.onGround = s.flags & TrackSample::OnGround;
    d.gear = s.flags & TrackSample::GearDown;
    d.parkBrake = (s.flags & TrackSample::ParkBrake) ? 100 : 0;
    d.apMaster = s.flags & TrackSample::ApMaster;
    for (int i = 0; i < 4; ++i) {
        d.engRun[i] = s.flags & (TrackSample::EngineRunning1 << i);
        if (d.engRun[i])
            d.engCnt = i + 1;
    }
    return d;
}

TrackSample interpolate(const TrackSample &a, const TrackSample &b, qint64 timeMs)
{
    if (b.timeMs <= a.timeMs || timeMs <= a.timeMs)
        return timeMs <= a.timeMs ? a : b;
    if (timeMs >= b.timeMs)
        return b;
    const double f = double(timeMs - a.timeMs) / double(b.timeMs - a.timeMs);
    TrackSample s = f < 0.5 ? a : b;
    s.timeMs = timeMs;
    s.lat = lerp(a.lat, b.lat, f);
    s.lon = lerpLongitude(a.lon, b.lon, f);
    s.altFt = lerp(a.altFt, b.altFt, f);
    s.altIndFt = lerp(a.altIndFt, b.altIndFt, f);
    s.aglFt = lerp(a.aglFt, b.aglFt, f);
    s.hdgMagDeg = lerpAngle(a.hdgMagDeg, b.hdgMagDeg, f);
    s.hdgTrueDeg = lerpAngle(a.hdgTrueDeg, b.hdgTrueDeg, f);
    s.iasKt = lerp(a.iasKt, b.iasKt, f);
    s.tasKt = lerp(a.tasKt, b.tasKt, f);
    s.gsKt = lerp(a.gsKt, b.gsKt, f);
    s.vsFpm = lerp(a.vsFpm, b.vsFpm, f);
    s.mach = lerp(a.mach, b.mach, f);
    s.pitchDeg = lerp(a.pitchDeg, b.pitchDeg, f);
    s.bankDeg = lerp(a.bankDeg, b.bankDeg, f);
    s.gLoad = lerp(a.gLoad, b.gLoad, f);
    s.fuelGal = lerp(a.fuelGal, b.fuelGal, f);
    s.flapsPct = lerp(a.flapsPct, b.flapsPct, f);
    s.throttlePct = lerp(a.throttlePct, b.throttlePct, f);
    return s;
}

double distanceNm(double lat1, double lon1, double lat2, double lon2)
{
    return geodesy::distanceNm(lat1, lon1, lat2, lon2, kEarthRadiusNm);
}

double angleDifferenceDeg(double a, double b)
{
    double d = std::fmod(b - a, 360.0);
    if (d > 180.0)
        d -= 360.0;
    else if (d < -180.0)
        d += 360.0;
    return d;
}

void registerRecordingMetaTypes()
{
    qRegisterMetaType<TrackSample>("TrackSample");
    qRegisterMetaType<FlightEvent>("FlightEvent");
    qRegisterMetaType<LandingRecord>("LandingRecord");
    qRegisterMetaType<FlightInfo>("FlightInfo");
    qRegisterMetaType<RecordedFlight>("RecordedFlight");
    qRegisterMetaType<QList<FlightInfo>>("QList<FlightInfo>");
}
