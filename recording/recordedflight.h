#pragma once

#include "sim/aircraftdata.h"

#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

// The values a recording is made of: the stored track points, the instructor's timed events, the
// landings found in the track, a flight's description with its statistics, and all of it together.
// Plain copyable values, passed between the recorder, the database threads, playback and the tabs.
//
// Times are UTC milliseconds since the epoch. Units follow AircraftData: degrees, feet, knots,
// ft/min, g, US gallons, hPa, percent.

// One stored point of a track: what playback, the statistics and the exports need of a sample.
struct TrackSample
{
    enum Flag : quint32 {
        OnGround = 0x1,
        GearDown = 0x2,
        ParkBrake = 0x4,
        ApMaster = 0x8,
        // Engines 1-4 running: bits 4-7.
        EngineRunning1 = 0x10,
    };

    qint64 seq = 0; // position in the flight, from 0
    qint64 timeMs = 0;
    double lat = 0;
    double lon = 0;
    double altFt = 0;    // true altitude MSL
    double altIndFt = 0; // indicated
    double aglFt = 0;
    double hdgMagDeg = 0;
    double hdgTrueDeg = 0;
    double iasKt = 0;
    double tasKt = 0;
    double gsKt = 0;
    double vsFpm = 0;
    double mach = 0;
    double pitchDeg = 0;
    double bankDeg = 0;
    double gLoad = 0;
    double fuelGal = 0;
    double flapsPct = 0;
    double throttlePct = 0; // mean of the first two levers
    double baroHpa = 0;     // altimeter setting
    double apAltFt = 0;     // selected altitude
    double apHdgDeg = 0;    // heading bug
    double apSpdKt = 0;     // selected speed
    quint32 flags = 0;

    bool onGround() const { return flags & OnGround; }
};

// An instructor action (or any other timed event) in a flight.
struct FlightEvent
{
    qint64 seq = 0; // position among the flight's events, from 0
    qint64 timeMs = 0;
    QString kind; // one of the FlightEventKind names
    QString text; // one line for people
    // Anything the action wants kept; numeric "lat" and "lon" (degrees) name the place the event
    // is marked at on the map (a reposition's target), otherwise it is where the aircraft was.
    QJsonObject details;
};

// A landing found at an air-to-ground transition of the track.
struct LandingRecord
{
    int index = 0; // 0 for the flight's first landing
    qint64 timeMs = 0;
    double lat = 0;
    double lon = 0;
    double vsFpm = 0; // vertical speed of the last airborne sample (negative: descending)
    double gLoad = 0; // highest load factor around the touchdown
    double iasKt = 0;
    double gsKt = 0;
    double pitchDeg = 0;
    double bankDeg = 0;
    int bounces = 0; // ground contacts after the first that belong to the same landing
};

struct FlightStatistics
{
    qint64 offBlockMs = 0; // first movement (or the first sample when the recording began moving)
    qint64 onBlockMs = 0;  // came to rest after the last movement; 0 while still moving
    double blockTimeS = 0;
    double airTimeS = 0;
    double distanceNm = 0;    // along the track, repositioning jumps left out
    double airDistanceNm = 0; // the part flown in the air
    double maxAltFt = 0;
    double maxIasKt = 0;
    double maxGsKt = 0;
    double fuelUsedGal = 0; // burnt; refuelling is not subtracted
    int takeoffCount = 0;
    int landingCount = 0;
};

// What a flight is: one aircraft (the local one, an agent, or an imported track) in one session.
struct FlightInfo
{
    qint64 id = 0; // random, unique across stations sharing a database
    QString sessionId;
    QString station;  // the station that recorded it
    QString source;   // "local", "agent" or "import"
    QString sourceId; // the agent's id, or the imported file's name
    QString simulator;
    QString aircraft;
    QString callsign;
    qint64 startMs = 0;
    qint64 endMs = 0;
    qint64 sampleCount = 0; // samples received, before thinning
    FlightStatistics stats;
};

struct RecordedFlight
{
    FlightInfo info;
    QList<TrackSample> samples; // by time
    QList<FlightEvent> events;  // by time
    QList<LandingRecord> landings;
};

// The kinds of event the station records; other kinds are stored as given.
namespace FlightEventKind {
inline constexpr char kPosition[] = "position";
inline constexpr char kFailure[] = "failure";
inline constexpr char kFailureReset[] = "failure_reset";
inline constexpr char kFuel[] = "fuel";
inline constexpr char kFlightPlan[] = "flight_plan";
inline constexpr char kWeather[] = "weather";
inline constexpr char kPushback[] = "pushback";
inline constexpr char kScenario[] = "scenario";
inline constexpr char kAtc[] = "atc";
inline constexpr char kSlew[] = "slew";
inline constexpr char kPause[] = "pause";
inline constexpr char kFreeze[] = "freeze";
inline constexpr char kNote[] = "note";
} // namespace FlightEventKind

// A stored point from a live sample. Values that are not finite become 0.
TrackSample trackSampleFrom(const AircraftData &data, qint64 timeMs);
// Back to the record the instruments draw (members a track does not keep stay zero).
AircraftData toAircraftData(const TrackSample &sample);
// The point between a and b at timeMs (clamped to the two): linear, headings the short way round;
// flags and selected values from the nearer one.
TrackSample interpolate(const TrackSample &a, const TrackSample &b, qint64 timeMs);
// Great-circle distance in nautical miles (sphere of 3440.065 nm).
double distanceNm(double lat1, double lon1, double lat2, double lon2);
// Signed difference b - a of two angles, in -180..180 degrees.
double angleDifferenceDeg(double a, double b);

Q_DECLARE_METATYPE(TrackSample)
Q_DECLARE_METATYPE(FlightEvent)
Q_DECLARE_METATYPE(LandingRecord)
Q_DECLARE_METATYPE(FlightInfo)
Q_DECLARE_METATYPE(RecordedFlight)
Q_DECLARE_METATYPE(QList<FlightInfo>)

// Registers the types above for queued connections. Safe to call more than once.
void registerRecordingMetaTypes();
