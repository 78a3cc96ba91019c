#pragma once

#include "nav/navrecords.h"

#include <QString>

// Small text and classification helpers shared by the painters, the hit test and the
// information popup. Stateless.
class MapFormat
{
public:
    MapFormat() = delete;

    // "114.70 MHz" for VHF aids, "375 kHz" for NDBs. VHF values in the navigation files' 10 kHz
    // units (11470) are scaled to MHz first. Empty when the aid has no frequency.
    static QString navaidFrequency(const NavaidRecord &navaid);
    // "GND", "3500 ft" or "FL195" (from 18,000 ft up).
    static QString altitudeLimit(int feet);
    // True for the parts of an ILS (localizer, glide slope, markers) that are drawn with the
    // runway rather than as en-route aids.
    static bool isIlsComponent(const QString &type);
    // True for VOR, VOR-DME, VORTAC and TACAN.
    static bool isVorFamily(const QString &type);
    // The length in the airport's "%1 ft" display text, 0 when there is none.
    static int longestRunwayFt(const AirportRecord &airport);
    // "N40°04.39′ E116°35.89′": hemisphere letter, degrees and decimal minutes.
    static QString position(double lat, double lon);
    // How much an airport matters on a small-scale map: tower, hard runways, runway length.
    static double airportImportance(const AirportRecord &airport);
};
