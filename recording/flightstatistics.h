#pragma once

#include "recording/recordedflight.h"

#include <QList>

#include <optional>

// Works out a flight's statistics and landings from its samples as they come (every sample, before
// thinning, so nothing is missed), or afterwards from a stored or imported track.
//
// - Block time runs from the first movement (ground speed above kTaxiSpeedKt; a recording that
//   starts moving or airborne counts from its first sample) to the last time the aircraft came to
//   rest on the ground; while it still moves, to the latest sample.
// - Air time and air distance add up the spans between consecutive airborne samples.
// - Distance adds great-circle legs between samples; a leg longer than kJumpNm that is also much
//   longer than the ground speed explains is a reposition and left out. Leaving or reaching the
//   ground with such a jump, or within kPlacementSettleMs after it (the instructor placed the
//   aircraft), is no take-off or landing.
// - A landing is an air-to-ground transition after at least kMinAirborneMs in the air. Its vertical
//   speed is that of the last airborne sample; its load factor the highest of the samples from
//   kTouchdownWindowMs before to kTouchdownWindowMs after the touchdown. Leaving the ground again
//   and touching down within kBounceMs is a bounce of the same landing, not a take-off.
// - Fuel used adds the decreases of the total fuel; a rise (refuelling) or a drop of more than
//   kFuelStepGal between two samples (the instructor unloading fuel) is not burn.
//
// Single-threaded value; one per flight.
class FlightStatsCalculator
{
public:
    static constexpr double kTaxiSpeedKt = 3.0;
    static constexpr double kStopSpeedKt = 1.0;
    static constexpr double kJumpNm = 1.0;
    static constexpr qint64 kMinAirborneMs = 5000;
    static constexpr qint64 kTouchdownWindowMs = 1500;
    static constexpr qint64 kBounceMs = 5000;
    static constexpr double kFuelStepGal = 20.0;
    // Leaving or reaching the ground this soon after a reposition belongs to the reposition.
    static constexpr qint64 kPlacementSettleMs = 2000;

    void add(const TrackSample &sample);
    // The flight ended: a landing still waiting for its load-factor window is settled.
    void finish();

    FlightStatistics statistics() const;
    // Landings settled so far, in order.
    QList<LandingRecord> landings() const { return m_landings; }
    // Landings settled since the last call.
    QList<LandingRecord> takeNewLandings();

    // All of it for a finished track.
    static FlightStatistics compute(const QList<TrackSample> &samples, QList<LandingRecord> *landings = nullptr);

private:
    // Adds the leg; false when it is a reposition (left out).
    bool addDistance(const TrackSample &from, const TrackSample &to);
    void onTouchdown(const TrackSample &lastAirborne, const TrackSample &touchdown);
    void settlePending();

    FlightStatistics m_stats;
    std::optional<TrackSample> m_previous;
    qint64 m_firstMs = 0;
    qint64 m_lastMs = 0;
    bool m_moved = false;
    qint64 m_lastJumpMs = -1;
    qint64 m_airborneSinceMs = -1;          // left the ground here (the first sample when the flight began airborne)
    qint64 m_lastTouchdownMs = -1;          // of the landing that may still bounce
    bool m_pendingTakeoff = false;          // airborne, not yet long enough to count as a take-off
    std::optional<LandingRecord> m_pending; // touched down; load factor window still open
    QList<TrackSample> m_recent;            // samples of the last kTouchdownWindowMs, for the load factor
    QList<LandingRecord> m_landings;
    int m_reported = 0;
};
