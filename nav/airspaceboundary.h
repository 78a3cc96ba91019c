#pragma once

#include <QList>
#include <QPointF>
#include <QString>

// The airspace boundary as the database stores it: "%1,%2" longitude/latitude pairs, six
// decimals, separated by blanks. Points in memory are x = latitude, y = longitude, as everywhere in
// the station; the two functions convert at the database's edge.

QString formatAirspaceBoundary(const QList<QPointF> &latLonPoints);
// Reads any separator between the pairs (writers differ); empty when a number does not parse.
QList<QPointF> parseAirspaceBoundary(const QString &text);
