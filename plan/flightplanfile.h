#pragma once

#include "plan/flightplan.h"

#include <QByteArray>
#include <QDate>
#include <QString>

// Reads and writes flight-plan files: the MSFS/FSX/Prepar3D ".pln" (the classic AceXML layout, and
// the MSFS 2024 EFB layout that names procedures in detail blocks) and the X-Plane ".fms" (version
// 1100; version 3 is read only). Files are read whole (a plan file is small; larger inputs are
// refused) and written in one go.
//
// What each format carries: the classic .pln keeps every point with its procedure, runway and
// region, but no transitions, and the arrival runway only through the approach's points. The
// .fms and the 2024 .pln name the procedures and runways in their header and leave the
// procedures' points to the simulator, so those points are not written; the .fms has no regions,
// and its cruise altitude is the highest en-route altitude. A point a file lists without a position
// (MSFS 2024 route points) is read with positioned = false.
//
// Stateless functions, any thread. Failures return false with a one-line reason in English.
class FlightPlanFile
{
public:
    enum class Format { Unknown, Pln, Pln2024, Fms };

    static constexpr qint64 kMaxFileBytes = 4 * 1024 * 1024;

    // From the extension: ".pln" Pln, ".fms" Fms, else Unknown.
    static Format formatForPath(const QString &path);

    static bool read(const QString &path, FlightPlan *plan, QString *error);
    // Format Unknown picks it from the extension.
    static bool write(const FlightPlan &plan, const QString &path, Format format, QString *error);

    static bool readPln(const QByteArray &data, FlightPlan *plan, QString *error);
    static QByteArray writePln(const FlightPlan &plan, bool msfs2024Layout);
    static bool readFms(const QByteArray &data, FlightPlan *plan, QString *error);
    // cycle is the AIRAC cycle stamped on the file ("2401"); empty: the cycle current at today's date.
    static QByteArray writeFms(const FlightPlan &plan, const QString &cycle = QString());

    // "N47° 27' 0.00\",W122° 18' 0.00\",+000433.00" (degrees may be written "*" too). False when
    // the text is not such a position.
    static bool parsePlnPosition(const QString &text, double *lat, double *lon, double *altitudeFt);
    static QString formatPlnPosition(double lat, double lon, double altitudeFt);
    // The AIRAC cycle ("2501") in effect on the date.
    static QString airacCycle(const QDate &date);
};
