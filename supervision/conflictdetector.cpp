#include "supervision/conflictdetector.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

constexpr double kDegToRad = M_PI / 180.0;
constexpr double kNmPerDegLat = 60.0;
constexpr double kTiny = 1e-12;

struct Interval
{
    double from;
    double to;
};

// Times (s) at which |r + v t| < s; "always" or "never" as an infinite or empty interval.
Interval lateralInterval(double rx, double ry, double vx, double vy, double sep)
{
    const double a = vx * vx + vy * vy;
    const double b = 2.0 * (rx * vx + ry * vy);
    const double c = rx * rx + ry * ry - sep * sep;
    if (a < kTiny)
        return c < 0.0 ? Interval{-INFINITY, INFINITY} : Interval{1.0, 0.0};
    const double disc = b * b - 4.0 * a * c;
    if (disc <= 0.0)
        return {1.0, 0.0};
    const double root = std::sqrt(disc);
    return {(-b - root) / (2.0 * a), (-b + root) / (2.0 * a)};
}

// Times (s) at which |dz + dvz t| < sep.
Interval verticalInterval(double dz, double dvz, double sep)
{
    if (std::abs(dvz) < kTiny)
        return std::abs(dz) < sep ? Interval{-INFINITY, INFINITY} : Interval{1.0, 0.0};
    const double t1 = (-sep - dz) / dvz;
    const double t2 = (sep - dz) / dvz;
    return {std::min(t1, t2), std::max(t1, t2)};
}

double wrappedLonDiff(double from, double to)
{
    double d = to - from;
    d -= 360.0 * std::round(d / 360.0);
    return d;
}

bool moving(const TrackedAircraft &a, double minSpeed)
{
    return !a.onGround && a.groundSpeedKts >= minSpeed;
}

} // namespace

std::optional<ConflictDetector::Conflict> ConflictDetector::check(const TrackedAircraft &a, const TrackedAircraft &b,
                                                                  const Settings &settings)
{
    const double meanLat = (a.lat + b.lat) / 2.0;
    // East and north of a, in nautical miles; velocities in nautical miles per second.
    const double rx = wrappedLonDiff(a.lon, b.lon) * kNmPerDegLat * std::cos(meanLat * kDegToRad);
    const double ry = (b.lat - a.lat) * kNmPerDegLat;
    const double vx =
        (b.groundSpeedKts * std::sin(b.trackDeg * kDegToRad) - a.groundSpeedKts * std::sin(a.trackDeg * kDegToRad)) /
        3600.0;
    const double vy =
        (b.groundSpeedKts * std::cos(b.trackDeg * kDegToRad) - a.groundSpeedKts * std::cos(a.trackDeg * kDegToRad)) /
        3600.0;
    const double dz = b.altitudeFt - a.altitudeFt;
    const double dvz = (b.verticalSpeedFpm - a.verticalSpeedFpm) / 60.0;

    const bool terminal = a.altitudeFt < settings.terminalCeilingFt && b.altitudeFt < settings.terminalCeilingFt;
    const double lateralSep = terminal ? settings.terminalLateralSepNm : settings.lateralSepNm;
    const double verticalSep = settings.verticalSepFt;
    const double horizon = settings.lookAheadSec;

    const Interval lateral = lateralInterval(rx, ry, vx, vy, lateralSep);
    const Interval vertical = verticalInterval(dz, dvz, verticalSep);
    const double from = std::max({0.0, lateral.from, vertical.from});
    const double to = std::min({horizon, lateral.to, vertical.to});
    if (!(from < to))
        return std::nullopt;

    // Nearest in separations: minimise (lateral / lateralSep)^2 + (vertical / verticalSep)^2.
    const double ls2 = lateralSep * lateralSep;
    const double vs2 = verticalSep * verticalSep;
    const double denominator = (vx * vx + vy * vy) / ls2 + dvz * dvz / vs2;
    double closest = 0.0;
    if (denominator > kTiny)
        closest = std::clamp(-((rx * vx + ry * vy) / ls2 + dz * dvz / vs2) / denominator, 0.0, horizon);

    Conflict conflict;
    conflict.timeToLossSec = from;
    conflict.timeToClosestSec = closest;
    conflict.lateralAtClosestNm = std::hypot(rx + vx * closest, ry + vy * closest);
    conflict.verticalAtClosestFt = std::abs(dz + dvz * closest);
    conflict.lateralNowNm = std::hypot(rx, ry);
    conflict.terminal = terminal;
    return conflict;
}

QList<ConflictDetector::Conflict> ConflictDetector::detect(const QList<TrackedAircraft> &aircraft,
                                                           const Settings &settings)
{
    std::vector<int> order;
    order.reserve(aircraft.size());
    double fastest = 0.0;
    for (int i = 0; i < aircraft.size(); ++i) {
        if (!moving(aircraft.at(i), settings.minGroundSpeedKts))
            continue;
        order.push_back(i);
        fastest = std::max(fastest, aircraft.at(i).groundSpeedKts);
    }
    std::sort(order.begin(), order.end(),
              [&aircraft](int x, int y) { return aircraft.at(x).lat < aircraft.at(y).lat; });

    const double maxSep = std::max(settings.lateralSepNm, settings.terminalLateralSepNm);
    const double horizonH = settings.lookAheadSec / 3600.0;
    // No two aircraft farther apart than this can meet within the look-ahead.
    const double sweepDeg = (maxSep + 2.0 * fastest * horizonH) / kNmPerDegLat;
    QList<Conflict> conflicts;
    for (size_t i = 0; i < order.size(); ++i) {
        const TrackedAircraft &a = aircraft.at(order[i]);
        const double cosLat = std::cos(std::min(89.0, std::abs(a.lat) + sweepDeg) * kDegToRad);
        for (size_t j = i + 1; j < order.size(); ++j) {
            const TrackedAircraft &b = aircraft.at(order[j]);
            if (b.lat - a.lat > sweepDeg)
                break;
            const double reachNm = maxSep + (a.groundSpeedKts + b.groundSpeedKts) * horizonH;
            const double dLatNm = (b.lat - a.lat) * kNmPerDegLat;
            const double dLonNm = std::abs(wrappedLonDiff(a.lon, b.lon)) * kNmPerDegLat * cosLat;
            if (dLatNm > reachNm || dLonNm > reachNm)
                continue;
            const double climbFt = std::abs(a.verticalSpeedFpm - b.verticalSpeedFpm) * settings.lookAheadSec / 60.0;
            if (std::abs(a.altitudeFt - b.altitudeFt) - climbFt >= settings.verticalSepFt)
                continue;
            if (auto conflict = check(a, b, settings)) {
                conflict->first = std::min(order[i], order[j]);
                conflict->second = std::max(order[i], order[j]);
                conflicts.append(*conflict);
            }
        }
    }
    return conflicts;
}
