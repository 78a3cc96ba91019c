#pragma once

#include "recording/recordedflight.h"

#include <QList>

// How far a thinned track may stray from the samples it leaves out.
struct ThinningTolerances
{
    double positionM = 10.0;
    double altitudeFt = 15.0;
    double speedKt = 2.0;
    double mach = 0.005;
    double vsFpm = 150.0;
    double headingDeg = 2.0;
    double attitudeDeg = 1.5;
    double gLoad = 0.05;
    double fuelGal = 0.5;
    double percent = 2.0; // flaps, throttle
    // A point is kept at least this often, however straight the flight.
    qint64 maxGapMs = 5000;
};

// Thins one aircraft's stream of samples for storage without losing what playback and the
// statistics need. Every sample passes through add(); what it returns is stored. A sample is left
// out only when the straight line (in time) between the stored points around it reproduces it
// within the tolerances in every value, so playback, which interpolates linearly, shows each
// original sample within the tolerances. Changes of state (on the ground, gear, parking brake,
// autopilot, engines, selected altitude/heading/speed, altimeter setting) keep the last sample
// before and the first after the change, so a touchdown keeps its last airborne sample.
//
// A streaming version of the sliding-window line simplification: samples since the last stored
// one wait in a window (at most maxGapMs long); when the newest one cannot close the window
// within tolerance, the one before it is stored and starts the next window. Cost per sample is
// the window's length. Disabled, it stores every sample. Single-threaded value; one per flight.
class TrackThinner
{
public:
    explicit TrackThinner(const ThinningTolerances &tolerances = {}, bool enabled = true);

    // The samples to store now, in order (none, one or two).
    QList<TrackSample> add(const TrackSample &sample);
    // The sample still held back (the flight ended); empty when none.
    QList<TrackSample> flush();

    bool isEnabled() const { return m_enabled; }

private:
    bool sameState(const TrackSample &a, const TrackSample &b) const;
    bool reproduces(const TrackSample &from, const TrackSample &to) const;
    bool withinTolerance(const TrackSample &expected, const TrackSample &actual) const;

    ThinningTolerances m_tol;
    bool m_enabled = true;
    bool m_hasAnchor = false;
    TrackSample m_anchor;        // the last stored sample
    QList<TrackSample> m_window; // held back since the anchor; the last one closes the window
};
