#pragma once

#include <QList>
#include <QPointF>
#include <QString>

// The airspace boundary as the database stores it: "%1,%2" longitude/latitude pairs, six
// decimals, separated by blanks. Points in memory are x = longitude, y = latitude.

QString formatAirspaceBoundary(const QList<QPointF> &points);
// Reads any separator between the pairs (writers differ); empty when a number does not parse.
QList<QPointF> parseAirspaceBoundary(const QString &text);
