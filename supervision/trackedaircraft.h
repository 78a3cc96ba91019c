#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

// One aircraft the instructor watches: the own (local) aircraft, a remote station's (agent's)
// aircraft or online-network traffic. Positions WGS-84 degrees, altitude feet MSL, speeds knots,
// track degrees true, vertical speed feet per minute. A plain value; the supervision service
// builds the set from the latest samples.
struct TrackedAircraft
{
    enum class Source { Own, Agent, Network };

    Source source = Source::Network;
    QString id; // "own", the agent's id, or the network callsign
    QString callsign;
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    double groundSpeedKts = 0.0;
    double trackDeg = 0.0;
    double verticalSpeedFpm = 0.0;
    bool onGround = false;
    double heightAglFt = -1.0; // negative when the source does not report it

    // The name shown to the instructor: the callsign, else the id.
    QString label() const { return callsign.isEmpty() ? id : callsign; }
};

Q_DECLARE_TYPEINFO(TrackedAircraft, Q_RELOCATABLE_TYPE);
Q_DECLARE_METATYPE(TrackedAircraft)
