#include "plan/flightplanfile.h"

#include <QRegularExpression>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <cmath>

// The .pln (AceXML) side of FlightPlanFile.

namespace {

using Type = FlightPlanWaypoint::Type;
using Segment = FlightPlanWaypoint::Segment;

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

struct PlnWaypoint
{
    QString id;
    QString type;
    QString position;
    QString airway;
    QString departureProcedure;
    QString arrivalProcedure;
    QString approachType;
    QString suffix;
    QString runwayNumber;
    QString runwayDesignator;
    QString region;
    QString ident;
};

struct PlnDetails
{
    QString runwayNumber;
    QString runwayDesignator;
    QString procedure;
    QString transition;
    QString approachType;
    QString suffix;
};

struct PlnDocument
{
    QString title;
    QString fpType;
    QString cruisingAlt;
    QString departureId;
    QString departureLla;
    QString departureName;
    QString departurePosition;
    QString destinationId;
    QString destinationLla;
    QString destinationName;
    PlnDetails departureDetails;
    PlnDetails arrivalDetails;
    PlnDetails approachDetails;
    QList<PlnWaypoint> waypoints;
};

// The approach kinds of the ARINC ident's first letter, as the .pln names them. Reading maps
// back through the same table, so the first letter listed for a kind wins.
const QList<QPair<QChar, QString>> &approachKinds()
{
    static const QList<QPair<QChar, QString>> kinds{
        {QLatin1Char('I'), QStringLiteral("ILS")},
        {QLatin1Char('L'), QStringLiteral("LOCALIZER")},
        {QLatin1Char('B'), QStringLiteral("LOCALIZER_BACKCOURSE")},
        {QLatin1Char('X'), QStringLiteral("LDA")},
        {QLatin1Char('U'), QStringLiteral("SDF")},
        {QLatin1Char('R'), QStringLiteral("RNAV")},
        {QLatin1Char('P'), QStringLiteral("GPS")},
        {QLatin1Char('V'), QStringLiteral("VOR")},
        {QLatin1Char('D'), QStringLiteral("VORDME")},
        {QLatin1Char('N'), QStringLiteral("NDB")},
        {QLatin1Char('Q'), QStringLiteral("NDBDME")},
        {QLatin1Char('H'), QStringLiteral("RNAV")},
        {QLatin1Char('S'), QStringLiteral("VOR")},
    };
    return kinds;
}

QString designatorName(QChar c)
{
    switch (c.unicode()) {
    case 'L':
        return QStringLiteral("LEFT");
    case 'R':
        return QStringLiteral("RIGHT");
    case 'C':
        return QStringLiteral("CENTER");
    case 'W':
        return QStringLiteral("WATER");
    default:
        return QStringLiteral("NONE");
    }
}

// "35" + "LEFT" gives "35L"; "9" gives "09".
QString runwayFrom(const QString &number, const QString &designator)
{
    bool ok = false;
    const int n = number.trimmed().toInt(&ok);
    if (!ok || n <= 0)
        return QString();
    QString runway = QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0'));
    const QString d = designator.trimmed().toUpper();
    if (d == QLatin1String("LEFT") || d == QLatin1String("L"))
        runway += QLatin1Char('L');
    else if (d == QLatin1String("RIGHT") || d == QLatin1String("R"))
        runway += QLatin1Char('R');
    else if (d == QLatin1String("CENTER") || d == QLatin1String("C"))
        runway += QLatin1Char('C');
    else if (d == QLatin1String("WATER") || d == QLatin1String("W"))
        runway += QLatin1Char('W');
    return runway;
}

// "35L" gives ("35", "LEFT"); "09" gives ("9", "NONE").
QPair<QString, QString> runwayParts(const QString &runway)
{
    QString digits;
    int i = 0;
    while (i < runway.size() && runway[i].isDigit())
        digits += runway[i++];
    if (digits.isEmpty())
        return {};
    return {QString::number(digits.toInt()), designatorName(i < runway.size() ? runway[i] : QChar())};
}

// "I35L" from ("ILS", "35L", ""); "R17RZ" from ("RNAV", "17R", "Z").
QString approachIdent(const QString &type, const QString &runway, const QString &suffix)
{
    QChar letter = QLatin1Char('R');
    for (const auto &[c, name] : approachKinds()) {
        if (name == type.trimmed().toUpper() ||
            (name == QLatin1String("LOCALIZER_BACKCOURSE") && type.trimmed().toUpper() == "LOCALIZER_BACK_COURSE")) {
            letter = c;
            break;
        }
    }
    return letter + runway + suffix.trimmed();
}

struct ApproachParts
{
    QString type;
    QString runway;
    QString suffix;
};

ApproachParts approachParts(const QString &ident)
{
    static const QRegularExpression re(QStringLiteral("^([A-Z])(\\d{2}[LRCW]?)-?([A-Z]?)$"));
    const QRegularExpressionMatch m = re.match(ident);
    if (!m.hasMatch())
        return {QStringLiteral("RNAV"), QString(), QString()};
    QString type = QStringLiteral("RNAV");
    for (const auto &[c, name] : approachKinds()) {
        if (c == m.captured(1).at(0)) {
            type = name;
            break;
        }
    }
    return {type, m.captured(2), m.captured(3)};
}

Type typeFromPln(const QString &text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("airport"))
        return Type::Airport;
    if (t == QLatin1String("vor"))
        return Type::Vor;
    if (t == QLatin1String("ndb"))
        return Type::Ndb;
    if (t == QLatin1String("user"))
        return Type::User;
    return Type::Fix;
}

QString plnTypeName(Type type)
{
    switch (type) {
    case Type::Airport:
        return QStringLiteral("Airport");
    case Type::Vor:
        return QStringLiteral("VOR");
    case Type::Ndb:
        return QStringLiteral("NDB");
    case Type::Fix:
        return QStringLiteral("Intersection");
    case Type::User:
        break;
    }
    return QStringLiteral("User");
}

void readDetails(QXmlStreamReader &xml, PlnDetails *d)
{
    while (xml.readNextStartElement()) {
        const QStringView name = xml.name();
        if (name == QLatin1String("RunwayNumberFP"))
            d->runwayNumber = xml.readElementText().trimmed();
        else if (name == QLatin1String("RunwayDesignatorFP"))
            d->runwayDesignator = xml.readElementText().trimmed();
        else if (name == QLatin1String("DepartureFP") || name == QLatin1String("ArrivalFP"))
            d->procedure = xml.readElementText().trimmed();
        else if (name == QLatin1String("TransitionFP"))
            d->transition = xml.readElementText().trimmed();
        else if (name == QLatin1String("ApproachTypeFP"))
            d->approachType = xml.readElementText().trimmed();
        else if (name == QLatin1String("SuffixFP"))
            d->suffix = xml.readElementText().trimmed();
        else
            xml.skipCurrentElement();
    }
}

void readWaypoint(QXmlStreamReader &xml, PlnWaypoint *w)
{
    w->id = xml.attributes().value(QLatin1String("id")).toString().trimmed();
    while (xml.readNextStartElement()) {
        const QStringView name = xml.name();
        if (name == QLatin1String("ATCWaypointType"))
            w->type = xml.readElementText().trimmed();
        else if (name == QLatin1String("WorldPosition"))
            w->position = xml.readElementText().trimmed();
        else if (name == QLatin1String("ATCAirway"))
            w->airway = xml.readElementText().trimmed();
        else if (name == QLatin1String("DepartureFP"))
            w->departureProcedure = xml.readElementText().trimmed();
        else if (name == QLatin1String("ArrivalFP"))
            w->arrivalProcedure = xml.readElementText().trimmed();
        else if (name == QLatin1String("ApproachTypeFP"))
            w->approachType = xml.readElementText().trimmed();
        else if (name == QLatin1String("SuffixFP"))
            w->suffix = xml.readElementText().trimmed();
        else if (name == QLatin1String("RunwayNumberFP"))
            w->runwayNumber = xml.readElementText().trimmed();
        else if (name == QLatin1String("RunwayDesignatorFP"))
            w->runwayDesignator = xml.readElementText().trimmed();
        else if (name == QLatin1String("ICAO")) {
            while (xml.readNextStartElement()) {
                if (xml.name() == QLatin1String("ICAORegion"))
                    w->region = xml.readElementText().trimmed();
                else if (xml.name() == QLatin1String("ICAOIdent"))
                    w->ident = xml.readElementText().trimmed();
                else
                    xml.skipCurrentElement();
            }
        } else {
            xml.skipCurrentElement();
        }
    }
}

void readPlan(QXmlStreamReader &xml, PlnDocument *doc)
{
    while (xml.readNextStartElement()) {
        const QStringView name = xml.name();
        if (name == QLatin1String("Title"))
            doc->title = xml.readElementText().trimmed();
        else if (name == QLatin1String("FPType"))
            doc->fpType = xml.readElementText().trimmed();
        else if (name == QLatin1String("CruisingAlt"))
            doc->cruisingAlt = xml.readElementText().trimmed();
        else if (name == QLatin1String("DepartureID"))
            doc->departureId = xml.readElementText().trimmed();
        else if (name == QLatin1String("DepartureLLA"))
            doc->departureLla = xml.readElementText().trimmed();
        else if (name == QLatin1String("DepartureName"))
            doc->departureName = xml.readElementText().trimmed();
        else if (name == QLatin1String("DeparturePosition"))
            doc->departurePosition = xml.readElementText().trimmed();
        else if (name == QLatin1String("DestinationID"))
            doc->destinationId = xml.readElementText().trimmed();
        else if (name == QLatin1String("DestinationLLA"))
            doc->destinationLla = xml.readElementText().trimmed();
        else if (name == QLatin1String("DestinationName"))
            doc->destinationName = xml.readElementText().trimmed();
        else if (name == QLatin1String("DepartureDetails"))
            readDetails(xml, &doc->departureDetails);
        else if (name == QLatin1String("ArrivalDetails"))
            readDetails(xml, &doc->arrivalDetails);
        else if (name == QLatin1String("ApproachDetails"))
            readDetails(xml, &doc->approachDetails);
        else if (name == QLatin1String("ATCWaypoint")) {
            PlnWaypoint w;
            readWaypoint(xml, &w);
            doc->waypoints.append(w);
        } else {
            xml.skipCurrentElement();
        }
    }
}

FlightPlanWaypoint airportPoint(const QString &ident, const QString &lla, Segment segment)
{
    FlightPlanWaypoint w;
    w.ident = ident;
    w.type = Type::Airport;
    w.segment = segment;
    w.positioned = FlightPlanFile::parsePlnPosition(lla, &w.lat, &w.lon, &w.altitudeFt);
    if (!w.positioned)
        w.lat = w.lon = w.altitudeFt = 0.0;
    return w;
}

FlightPlan planFromDocument(const PlnDocument &doc)
{
    FlightPlan plan;
    plan.title = doc.title;
    plan.ifr = doc.fpType.compare(QLatin1String("VFR"), Qt::CaseInsensitive) != 0;
    plan.cruiseAltitudeFt = qRound(doc.cruisingAlt.toDouble());
    plan.departure = doc.departureId;
    plan.departureName = doc.departureName;
    plan.destination = doc.destinationId;
    plan.destinationName = doc.destinationName;
    static const QRegularExpression runwayText(QStringLiteral("^(RW)?(\\d{1,2})([LRCW]?)$"));
    const QRegularExpressionMatch rw = runwayText.match(doc.departurePosition.toUpper());
    if (rw.hasMatch())
        plan.departureRunway = runwayFrom(rw.captured(2), rw.captured(3));

    const PlnDetails &dep = doc.departureDetails;
    if (!dep.runwayNumber.isEmpty())
        plan.departureRunway = runwayFrom(dep.runwayNumber, dep.runwayDesignator);
    plan.sid = dep.procedure;
    plan.sidTransition = dep.transition;
    const PlnDetails &arr = doc.arrivalDetails;
    plan.star = arr.procedure;
    plan.starTransition = arr.transition;
    if (!arr.runwayNumber.isEmpty())
        plan.destinationRunway = runwayFrom(arr.runwayNumber, arr.runwayDesignator);
    const PlnDetails &app = doc.approachDetails;
    if (!app.approachType.isEmpty()) {
        const QString runway = runwayFrom(app.runwayNumber, app.runwayDesignator);
        plan.approach = approachIdent(app.approachType, runway, app.suffix);
        plan.approachTransition = app.transition;
        if (!runway.isEmpty())
            plan.destinationRunway = runway;
    }

    for (int i = 0; i < doc.waypoints.size(); ++i) {
        const PlnWaypoint &p = doc.waypoints.at(i);
        FlightPlanWaypoint w;
        w.ident = p.ident.isEmpty() ? p.id : p.ident;
        w.type = typeFromPln(p.type);
        w.airway = p.airway;
        w.region = p.region;
        w.positioned = FlightPlanFile::parsePlnPosition(p.position, &w.lat, &w.lon, &w.altitudeFt);
        if (!w.positioned)
            w.lat = w.lon = w.altitudeFt = 0.0;
        const QString runway = runwayFrom(p.runwayNumber, p.runwayDesignator);
        if (!p.departureProcedure.isEmpty()) {
            w.segment = Segment::Sid;
            w.procedure = p.departureProcedure;
            plan.sid = p.departureProcedure;
            if (!runway.isEmpty())
                plan.departureRunway = runway;
        } else if (!p.arrivalProcedure.isEmpty()) {
            w.segment = Segment::Star;
            w.procedure = p.arrivalProcedure;
            plan.star = p.arrivalProcedure;
            if (!runway.isEmpty())
                plan.destinationRunway = runway;
        } else if (!p.approachType.isEmpty()) {
            w.segment = Segment::Approach;
            w.procedure = approachIdent(p.approachType, runway, p.suffix);
            plan.approach = w.procedure;
            if (!runway.isEmpty())
                plan.destinationRunway = runway;
        } else if (w.type == Type::Airport && i == 0 && w.ident == plan.departure) {
            w.segment = Segment::Departure;
        } else if (w.type == Type::Airport && i == doc.waypoints.size() - 1 && w.ident == plan.destination) {
            w.segment = Segment::Destination;
        }
        plan.waypoints.append(w);
    }
    // The MSFS 2024 layout lists neither airport as a point.
    if (!plan.departure.isEmpty() && (plan.waypoints.isEmpty() || plan.waypoints.first().segment != Segment::Departure))
        plan.waypoints.prepend(airportPoint(plan.departure, doc.departureLla, Segment::Departure));
    if (!plan.destination.isEmpty() &&
        (plan.waypoints.size() < 2 || plan.waypoints.last().segment != Segment::Destination))
        plan.waypoints.append(airportPoint(plan.destination, doc.destinationLla, Segment::Destination));
    return plan;
}

void writeText(QXmlStreamWriter &xml, const char *name, const QString &text)
{
    xml.writeTextElement(QLatin1String(name), text);
}

void writeRunway(QXmlStreamWriter &xml, const QString &runway)
{
    const auto [number, designator] = runwayParts(runway);
    if (number.isEmpty())
        return;
    writeText(xml, "RunwayNumberFP", number);
    if (designator != QLatin1String("NONE"))
        writeText(xml, "RunwayDesignatorFP", designator);
}

void writeWaypoint(QXmlStreamWriter &xml, const FlightPlan &plan, const FlightPlanWaypoint &w)
{
    xml.writeStartElement(QStringLiteral("ATCWaypoint"));
    // FSX and Prepar3D take at most 10 characters here; the ICAO block keeps the whole name.
    xml.writeAttribute(QStringLiteral("id"), w.ident.left(10));
    writeText(xml, "ATCWaypointType", plnTypeName(w.type));
    writeText(xml, "WorldPosition", FlightPlanFile::formatPlnPosition(w.lat, w.lon, w.altitudeFt));
    if (!w.airway.isEmpty())
        writeText(xml, "ATCAirway", w.airway);
    if (w.segment == Segment::Sid) {
        writeText(xml, "DepartureFP", w.procedure);
        writeRunway(xml, plan.departureRunway);
    } else if (w.segment == Segment::Star) {
        writeText(xml, "ArrivalFP", w.procedure);
        writeRunway(xml, plan.destinationRunway);
    } else if (w.segment == Segment::Approach) {
        const ApproachParts parts = approachParts(w.procedure);
        writeText(xml, "ApproachTypeFP", parts.type);
        writeRunway(xml, parts.runway.isEmpty() ? plan.destinationRunway : parts.runway);
        if (!parts.suffix.isEmpty())
            writeText(xml, "SuffixFP", parts.suffix);
    }
    xml.writeStartElement(QStringLiteral("ICAO"));
    if (!w.region.isEmpty())
        writeText(xml, "ICAORegion", w.region);
    writeText(xml, "ICAOIdent", w.ident);
    xml.writeEndElement();
    xml.writeEndElement();
}

void writeDetails(QXmlStreamWriter &xml, const char *element, const char *procedureElement, const QString &runway,
                  const QString &procedure, const QString &transition)
{
    if (runway.isEmpty() && procedure.isEmpty() && transition.isEmpty())
        return;
    xml.writeStartElement(QLatin1String(element));
    writeRunway(xml, runway);
    if (!procedure.isEmpty())
        writeText(xml, procedureElement, procedure);
    if (!transition.isEmpty())
        writeText(xml, "TransitionFP", transition);
    xml.writeEndElement();
}

} // namespace

bool FlightPlanFile::parsePlnPosition(const QString &text, double *lat, double *lon, double *altitudeFt)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() < 2)
        return false;
    static const QRegularExpression number(QStringLiteral("\\d+(?:\\.\\d+)?"));
    double values[2] = {0.0, 0.0};
    for (int i = 0; i < 2; ++i) {
        const QString part = parts[i].trimmed();
        if (part.isEmpty())
            return false;
        const QChar hemisphere = part.at(0).toUpper();
        const bool north = i == 0;
        if (north && hemisphere != QLatin1Char('N') && hemisphere != QLatin1Char('S'))
            return false;
        if (!north && hemisphere != QLatin1Char('E') && hemisphere != QLatin1Char('W'))
            return false;
        double dms[3] = {0.0, 0.0, 0.0};
        int count = 0;
        auto it = number.globalMatch(part);
        while (it.hasNext() && count < 3)
            dms[count++] = it.next().captured(0).toDouble();
        if (count == 0 || dms[1] >= 60.0 || dms[2] >= 60.0)
            return false;
        double value = dms[0] + dms[1] / 60.0 + dms[2] / 3600.0;
        if (hemisphere == QLatin1Char('S') || hemisphere == QLatin1Char('W'))
            value = -value;
        values[i] = value;
    }
    if (std::abs(values[0]) > 90.0 || std::abs(values[1]) > 180.0)
        return false;
    *lat = values[0];
    *lon = values[1];
    bool ok = false;
    const double altitude = parts.value(2).trimmed().toDouble(&ok);
    *altitudeFt = ok ? altitude : 0.0;
    return true;
}

QString FlightPlanFile::formatPlnPosition(double lat, double lon, double altitudeFt)
{
    const auto dms = [](double value, char positive, char negative) {
        // Hundredths of a second, rounded once, so 59.999" never prints as 60.00".
        const qint64 hundredths = qRound64(std::abs(value) * 360000.0);
        const qint64 degrees = hundredths / 360000;
        const qint64 minutes = (hundredths % 360000) / 6000;
        const double seconds = (hundredths % 6000) / 100.0;
        return QStringLiteral("%1%2° %3' %4\"")
            .arg(QLatin1Char(value < 0.0 ? negative : positive))
            .arg(degrees)
            .arg(minutes)
            .arg(seconds, 0, 'f', 2);
    };
    const QString altitude = QStringLiteral("%1%2")
                                 .arg(QLatin1Char(altitudeFt < 0.0 ? '-' : '+'))
                                 .arg(std::abs(altitudeFt), 9, 'f', 2, QLatin1Char('0'));
    return QStringLiteral("%1,%2,%3").arg(dms(lat, 'N', 'S'), dms(lon, 'E', 'W'), altitude);
}

bool FlightPlanFile::readPln(const QByteArray &data, FlightPlan *plan, QString *error)
{
    QXmlStreamReader xml(data);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("SimBase.Document")) {
        setError(error, xml.hasError() ? QStringLiteral("XML error: %1").arg(xml.errorString())
                                       : QStringLiteral("not a flight plan (no SimBase.Document)"));
        return false;
    }
    PlnDocument doc;
    bool sawPlan = false;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("FlightPlan.FlightPlan")) {
            sawPlan = true;
            readPlan(xml, &doc);
        } else {
            xml.skipCurrentElement();
        }
    }
    if (xml.hasError()) {
        setError(error, QStringLiteral("XML error at line %1: %2").arg(xml.lineNumber()).arg(xml.errorString()));
        return false;
    }
    if (!sawPlan) {
        setError(error, QStringLiteral("no FlightPlan.FlightPlan element"));
        return false;
    }
    *plan = planFromDocument(doc);
    return true;
}

QByteArray FlightPlanFile::writePln(const FlightPlan &plan, bool msfs2024Layout)
{
    QByteArray out;
    QXmlStreamWriter xml(&out);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(4);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("SimBase.Document"));
    if (!msfs2024Layout) {
        xml.writeAttribute(QStringLiteral("Type"), QStringLiteral("AceXML"));
        xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1,0"));
        writeText(xml, "Descr", QStringLiteral("AceXML Document"));
    }
    xml.writeStartElement(QStringLiteral("FlightPlan.FlightPlan"));

    const FlightPlanWaypoint *departure = nullptr;
    const FlightPlanWaypoint *destination = nullptr;
    if (!plan.waypoints.isEmpty() && plan.waypoints.first().segment == Segment::Departure)
        departure = &plan.waypoints.first();
    if (plan.waypoints.size() > 1 && plan.waypoints.last().segment == Segment::Destination)
        destination = &plan.waypoints.last();

    const QString title =
        plan.title.isEmpty() ? QStringLiteral("%1 to %2").arg(plan.departure, plan.destination) : plan.title;
    writeText(xml, "Title", title);
    writeText(xml, "FPType", plan.ifr ? QStringLiteral("IFR") : QStringLiteral("VFR"));
    if (!msfs2024Layout && plan.ifr)
        writeText(xml, "RouteType",
                  plan.cruiseAltitudeFt >= 18000 ? QStringLiteral("HighAlt") : QStringLiteral("LowAlt"));
    writeText(xml, "CruisingAlt", QString::number(plan.cruiseAltitudeFt));
    writeText(xml, "DepartureID", plan.departure);
    if (departure)
        writeText(xml, "DepartureLLA", formatPlnPosition(departure->lat, departure->lon, departure->altitudeFt));
    writeText(xml, "DestinationID", plan.destination);
    if (destination)
        writeText(xml, "DestinationLLA",
                  formatPlnPosition(destination->lat, destination->lon, destination->altitudeFt));
    writeText(xml, "Descr", QStringLiteral("%1, %2").arg(plan.departure, plan.destination));
    if (!msfs2024Layout && !plan.departureRunway.isEmpty())
        writeText(xml, "DeparturePosition", plan.departureRunway);
    if (!plan.departureName.isEmpty())
        writeText(xml, "DepartureName", plan.departureName);
    if (!plan.destinationName.isEmpty())
        writeText(xml, "DestinationName", plan.destinationName);
    xml.writeStartElement(QStringLiteral("AppVersion"));
    writeText(xml, "AppVersionMajor", msfs2024Layout ? QStringLiteral("12") : QStringLiteral("11"));
    xml.writeEndElement();

    if (msfs2024Layout) {
        writeDetails(xml, "DepartureDetails", "DepartureFP", plan.departureRunway, plan.sid, plan.sidTransition);
        for (const FlightPlanWaypoint &w : plan.waypoints) {
            // The airports are named above and the procedures below; the simulator builds their points.
            if (w.segment == Segment::Enroute)
                writeWaypoint(xml, plan, w);
        }
        writeDetails(xml, "ArrivalDetails", "ArrivalFP", plan.destinationRunway, plan.star, plan.starTransition);
        if (!plan.approach.isEmpty()) {
            const ApproachParts parts = approachParts(plan.approach);
            xml.writeStartElement(QStringLiteral("ApproachDetails"));
            writeText(xml, "ApproachTypeFP", parts.type);
            writeRunway(xml, parts.runway.isEmpty() ? plan.destinationRunway : parts.runway);
            if (!parts.suffix.isEmpty())
                writeText(xml, "SuffixFP", parts.suffix);
            if (!plan.approachTransition.isEmpty())
                writeText(xml, "TransitionFP", plan.approachTransition);
            xml.writeEndElement();
        }
    } else {
        for (const FlightPlanWaypoint &w : plan.waypoints)
            writeWaypoint(xml, plan, w);
    }
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    return out;
}
