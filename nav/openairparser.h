#pragma once

#include <QList>
#include <QPointF>
#include <QString>

// One airspace read from an OpenAir file: type as the database stores it ("CLASS_C",
// "RESTRICTED", ...), limits in feet (0 for the surface, kUnlimitedFt for "unlimited") and the
// boundary in polygon order with x = latitude, y = longitude (arcs and circles already turned into
// points).
struct OpenAirAirspace
{
    static constexpr int kUnlimitedFt = 99999;

    QString name;
    QString type;
    int bottomFt = 0;
    int topFt = 0;
    QList<QPointF> boundary;
};

// Reads OpenAir text (the original WinPilot commands and the extended ones) line by line:
// AC class, AY type, AN name, AL/AH limits, V X=/D= (arc centre and direction), DP points, DA and
// DB arcs, DC circles, DY airway points. Comments ('*') are dropped, other commands ignored.
//
// A line that cannot be read is skipped and counted; an airspace with such a line in its limits
// or its geometry, without a known class or type, or with fewer than three boundary points is
// dropped and counted (a polygon with a vertex missing would draw the wrong area).
// Arcs are drawn with a point at most every kArcStepDeg degrees on a sphere of 3440.065 NM.
class OpenAirParser
{
public:
    static constexpr double kArcStepDeg = 2.0;

    void addLine(const QString &line);
    // Completes the last airspace; call at the end of each file.
    void finish();

    QList<OpenAirAirspace> takeAirspaces();
    int skippedLines() const { return m_skippedLines; }
    int skippedAirspaces() const { return m_skippedAirspaces; }

    // The database type for an OpenAir class or type code; empty when unknown.
    static QString typeForCode(const QString &code);
    // Feet for an OpenAir limit ("GND", "FL 95", "2500ft AMSL", "1500m", "UNL"); false when the
    // text is not one.
    static bool parseAltitude(const QString &text, int *feet);
    // "52:07:36 N 013:23:34 E", "47:27.5N 122:18.2W", "265644.00N 0500434.00E"; false when the
    // text is not a coordinate pair.
    static bool parseCoordinate(const QString &text, double *lat, double *lon);

private:
    void startAirspace(const QString &classCode);
    void addArc(double radiusNm, double fromBearing, double toBearing, bool exactEnds, QPointF first, QPointF last);
    bool readArcByAngles(const QString &args);
    bool readArcByPoints(const QString &args);
    bool readCircle(const QString &args);
    bool readVariable(const QString &args);

    QList<OpenAirAirspace> m_done;
    OpenAirAirspace m_current;
    bool m_active = false;
    QString m_classCode;
    QString m_typeCode;
    bool m_hasBottom = false;
    bool m_hasTop = false;
    bool m_badLine = false;
    bool m_hasCentre = false;
    double m_centreLat = 0.0;
    double m_centreLon = 0.0;
    bool m_clockwise = true;
    int m_skippedLines = 0;
    int m_skippedAirspaces = 0;
};
