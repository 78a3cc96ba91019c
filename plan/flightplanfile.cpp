#include "plan/flightplanfile.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringList>

#include <algorithm>

namespace {

using Type = FlightPlanWaypoint::Type;
using Segment = FlightPlanWaypoint::Segment;

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

Type typeFromFmsCode(int code)
{
    switch (code) {
    case 1:
        return Type::Airport;
    case 2:
        return Type::Ndb;
    case 3:
        return Type::Vor;
    case 11:
        return Type::Fix;
    default:
        return Type::User; // 28 and 13: latitude/longitude points
    }
}

int fmsCode(Type type)
{
    switch (type) {
    case Type::Airport:
        return 1;
    case Type::Ndb:
        return 2;
    case Type::Vor:
        return 3;
    case Type::Fix:
        return 11;
    case Type::User:
        break;
    }
    return 28;
}

QString withoutRunwayPrefix(const QString &text)
{
    return text.startsWith(QLatin1String("RW")) ? text.mid(2) : text;
}

// Reads "<type> <ident> [via] <altitude> <lat> <lon>"; version 3 lines have no via column.
bool parseFmsEntry(const QStringList &fields, bool hasVia, FlightPlanWaypoint *w, QString *via)
{
    const int expected = hasVia ? 6 : 5;
    if (fields.size() < expected)
        return false;
    bool okType = false;
    bool okAlt = false;
    bool okLat = false;
    bool okLon = false;
    const int code = fields[0].toInt(&okType);
    const int base = hasVia ? 3 : 2;
    w->ident = fields[1];
    *via = hasVia ? fields[2] : QString();
    w->altitudeFt = fields[base].toDouble(&okAlt);
    w->lat = fields[base + 1].toDouble(&okLat);
    w->lon = fields[base + 2].toDouble(&okLon);
    if (!okType || !okAlt || !okLat || !okLon || std::abs(w->lat) > 90.0 || std::abs(w->lon) > 180.0)
        return false;
    w->type = typeFromFmsCode(code);
    return true;
}

// The first airport becomes the departure, the last the destination; cruise is the highest
// en-route altitude.
void finishFmsPlan(FlightPlan *plan)
{
    QList<FlightPlanWaypoint> &points = plan->waypoints;
    if (!points.isEmpty() && points.first().type == Type::Airport) {
        points.first().segment = Segment::Departure;
        if (plan->departure.isEmpty())
            plan->departure = points.first().ident;
    }
    if (points.size() > 1 && points.last().type == Type::Airport) {
        points.last().segment = Segment::Destination;
        if (plan->destination.isEmpty())
            plan->destination = points.last().ident;
    }
    double cruise = 0.0;
    for (const FlightPlanWaypoint &w : std::as_const(points)) {
        if (w.segment == Segment::Enroute)
            cruise = std::max(cruise, w.altitudeFt);
    }
    plan->cruiseAltitudeFt = qRound(cruise);
}

bool readFmsVersion3(const QList<QStringList> &lines, FlightPlan *plan, QString *error)
{
    // "3 version", then a line "1", then the count of points minus one, then the points.
    for (int i = 4; i < lines.size(); ++i) {
        const QStringList &fields = lines[i];
        if (fields.value(0) == QLatin1String("0"))
            break; // "0 ---- ..." closes some files
        FlightPlanWaypoint w;
        QString via;
        if (!parseFmsEntry(fields, false, &w, &via)) {
            setError(error, QStringLiteral("line %1: not a waypoint: %2").arg(i + 1).arg(fields.join(' ')));
            return false;
        }
        plan->waypoints.append(w);
    }
    finishFmsPlan(plan);
    return true;
}

} // namespace

FlightPlanFile::Format FlightPlanFile::formatForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("pln"))
        return Format::Pln;
    if (suffix == QLatin1String("fms"))
        return Format::Fms;
    return Format::Unknown;
}

bool FlightPlanFile::read(const QString &path, FlightPlan *plan, QString *error)
{
    const Format format = formatForPath(path);
    if (format == Format::Unknown) {
        setError(error, QStringLiteral("%1: not a .pln or .fms file").arg(path));
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, QStringLiteral("%1: %2").arg(path, file.errorString()));
        return false;
    }
    if (file.size() > kMaxFileBytes) {
        setError(error, QStringLiteral("%1: larger than %2 bytes, not a flight plan").arg(path).arg(kMaxFileBytes));
        return false;
    }
    const QByteArray data = file.readAll();
    QString reason;
    const bool ok = format == Format::Fms ? readFms(data, plan, &reason) : readPln(data, plan, &reason);
    if (!ok)
        setError(error, QStringLiteral("%1: %2").arg(path, reason));
    return ok;
}

bool FlightPlanFile::write(const FlightPlan &plan, const QString &path, Format format, QString *error)
{
    if (format == Format::Unknown)
        format = formatForPath(path);
    if (format == Format::Unknown) {
        setError(error, QStringLiteral("%1: not a .pln or .fms file").arg(path));
        return false;
    }
    const QByteArray data = format == Format::Fms ? writeFms(plan) : writePln(plan, format == Format::Pln2024);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        setError(error, QStringLiteral("%1: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

bool FlightPlanFile::readFms(const QByteArray &data, FlightPlan *plan, QString *error)
{
    QList<QStringList> lines;
    for (const QByteArray &raw : data.split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (!line.isEmpty())
            lines.append(line.split(QRegularExpression(QStringLiteral("[ \\t]+")), Qt::SkipEmptyParts));
    }
    if (lines.size() < 2 || (lines[0].value(0) != QLatin1String("I") && lines[0].value(0) != QLatin1String("A"))) {
        setError(error, QStringLiteral("not an X-Plane flight plan (no \"I\" line)"));
        return false;
    }
    FlightPlan result;
    const QString version = lines[1].value(0);
    if (version == QLatin1String("3")) {
        if (!readFmsVersion3(lines, &result, error))
            return false;
        *plan = result;
        return true;
    }
    if (version != QLatin1String("1100")) {
        setError(error, QStringLiteral("unsupported .fms version %1").arg(version));
        return false;
    }

    int expected = -1;
    int i = 2;
    for (; i < lines.size() && expected < 0; ++i) {
        const QStringList &f = lines[i];
        const QString key = f.value(0);
        const QString value = f.value(1);
        if (key == QLatin1String("ADEP") || key == QLatin1String("DEP"))
            result.departure = value;
        else if (key == QLatin1String("DEPRWY"))
            result.departureRunway = withoutRunwayPrefix(value);
        else if (key == QLatin1String("SID"))
            result.sid = value;
        else if (key == QLatin1String("SIDTRANS"))
            result.sidTransition = value;
        else if (key == QLatin1String("ADES") || key == QLatin1String("DES"))
            result.destination = value;
        else if (key == QLatin1String("DESRWY"))
            result.destinationRunway = withoutRunwayPrefix(value);
        else if (key == QLatin1String("STAR"))
            result.star = value;
        else if (key == QLatin1String("STARTRANS"))
            result.starTransition = value;
        else if (key == QLatin1String("APP"))
            result.approach = value;
        else if (key == QLatin1String("APPTRANS"))
            result.approachTransition = value;
        else if (key == QLatin1String("NUMENR")) {
            bool ok = false;
            expected = value.toInt(&ok);
            if (!ok || expected < 0 || expected > 10000) {
                setError(error, QStringLiteral("bad NUMENR line"));
                return false;
            }
        }
        // CYCLE and keys of later versions are passed over.
    }
    if (expected < 0) {
        setError(error, QStringLiteral("no NUMENR line"));
        return false;
    }
    // Some exporters count wrong; the points the file has are read, up to the count.
    for (; i < lines.size() && result.waypoints.size() < expected; ++i) {
        FlightPlanWaypoint w;
        QString via;
        if (!parseFmsEntry(lines[i], true, &w, &via)) {
            setError(error, QStringLiteral("not a waypoint: %1").arg(lines[i].join(' ')));
            return false;
        }
        const bool marker = via == QLatin1String("ADEP") || via == QLatin1String("DEP") ||
                            via == QLatin1String("ADES") || via == QLatin1String("DES") || via == QLatin1String("DRCT");
        w.airway = marker ? QString() : via;
        result.waypoints.append(w);
    }
    finishFmsPlan(&result);
    *plan = result;
    return true;
}

QByteArray FlightPlanFile::writeFms(const FlightPlan &plan, const QString &cycle)
{
    QStringList out;
    out << QStringLiteral("I") << QStringLiteral("1100 Version")
        << QStringLiteral("CYCLE %1").arg(cycle.isEmpty() ? airacCycle(QDate::currentDate()) : cycle);

    QList<FlightPlanWaypoint> points;
    for (const FlightPlanWaypoint &w : plan.waypoints) {
        // The simulator expands procedures named in the header from its own data.
        if (w.segment != Segment::Sid && w.segment != Segment::Star && w.segment != Segment::Approach)
            points.append(w);
    }
    const bool startsAtAirport = !points.isEmpty() && points.first().segment == Segment::Departure;
    const bool endsAtAirport = points.size() > 1 && points.last().segment == Segment::Destination;
    const QString departure = plan.departure.isEmpty() && !points.isEmpty() ? points.first().ident : plan.departure;
    const QString destination =
        plan.destination.isEmpty() && !points.isEmpty() ? points.last().ident : plan.destination;

    out << QStringLiteral("%1 %2").arg(startsAtAirport ? QStringLiteral("ADEP") : QStringLiteral("DEP"), departure);
    if (!plan.departureRunway.isEmpty())
        out << QStringLiteral("DEPRWY RW%1").arg(plan.departureRunway);
    if (!plan.sid.isEmpty())
        out << QStringLiteral("SID %1").arg(plan.sid);
    if (!plan.sidTransition.isEmpty())
        out << QStringLiteral("SIDTRANS %1").arg(plan.sidTransition);
    out << QStringLiteral("%1 %2").arg(endsAtAirport ? QStringLiteral("ADES") : QStringLiteral("DES"), destination);
    if (!plan.destinationRunway.isEmpty())
        out << QStringLiteral("DESRWY RW%1").arg(plan.destinationRunway);
    if (!plan.star.isEmpty())
        out << QStringLiteral("STAR %1").arg(plan.star);
    if (!plan.starTransition.isEmpty())
        out << QStringLiteral("STARTRANS %1").arg(plan.starTransition);
    if (!plan.approach.isEmpty())
        out << QStringLiteral("APP %1").arg(plan.approach);
    if (!plan.approachTransition.isEmpty())
        out << QStringLiteral("APPTRANS %1").arg(plan.approachTransition);

    out << QStringLiteral("NUMENR %1").arg(points.size());
    for (int i = 0; i < points.size(); ++i) {
        const FlightPlanWaypoint &w = points.at(i);
        QString via = w.airway.isEmpty() ? QStringLiteral("DRCT") : w.airway;
        if (i == 0)
            via = startsAtAirport ? QStringLiteral("ADEP") : QStringLiteral("DEP");
        else if (i == points.size() - 1 && endsAtAirport)
            via = QStringLiteral("ADES");
        double altitude = w.altitudeFt;
        if (altitude == 0.0 && w.segment == Segment::Enroute)
            altitude = plan.cruiseAltitudeFt;
        QString ident = w.ident;
        if (ident.isEmpty())
            ident = QStringLiteral("WP%1").arg(i);
        ident.replace(QLatin1Char(' '), QLatin1Char('_'));
        out << QStringLiteral("%1 %2 %3 %4 %5 %6")
                   .arg(fmsCode(w.type))
                   .arg(ident, via)
                   .arg(altitude, 0, 'f', 6)
                   .arg(w.lat, 0, 'f', 6)
                   .arg(w.lon, 0, 'f', 6);
    }
    return (out.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
}

QString FlightPlanFile::airacCycle(const QDate &date)
{
    // Cycles last 28 days; cycle 2001 began on 2 January 2020. The cycle starts of one year are 28
    // days apart and the first falls in its first 28 days, so the start's day of the year gives
    // its number.
    const QDate epoch(2020, 1, 2);
    const qint64 days = epoch.daysTo(date);
    const qint64 cycles = days >= 0 ? days / 28 : -((-days + 27) / 28);
    const QDate start = epoch.addDays(cycles * 28);
    const int number = (start.dayOfYear() - 1) / 28 + 1;
    return QStringLiteral("%1%2").arg(start.year() % 100, 2, 10, QLatin1Char('0')).arg(number, 2, 10, QLatin1Char('0'));
}
