#pragma once

#include <QString>
#include <QStringList>

// The failure catalogue's X-Plane keys ("XPlaneFailureEngfai1", ...) and the
// sim/operation/failures/rel_* dataref each one stands for on X-Plane 11 and on X-Plane 12.
// The names follow no rule a program could apply (engine digits count from 0 in X-Plane and
// from 1 in the keys, gear and pitot digits do not shift, the first surface heat has no digit,
// X-Plane 12 renamed the flight-control failures), so this is one explicit table.
//
// Stateless; usable from any thread.
class XPlaneFailureTable
{
public:
    static constexpr char kKeyPrefix[] = "XPlaneFailure";

    // Whether name is a catalogue key (starts with kKeyPrefix), known to the table or not.
    static bool isFailureKey(const QString &name);
    // The full dataref path for key on X-Plane xplaneVersion (11, or 12 and above); empty when
    // the key is unknown or that version has no such failure (X-Plane 12 dropped the general
    // avionics bus failure).
    static QString dataref(const QString &key, int xplaneVersion);
    // Every key the table knows, in table order.
    static QStringList keys();
};
