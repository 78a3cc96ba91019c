// Airport procedures: approaches with their transitions and missed-approach legs (all
// simulators), and the MSFS departure (SID) and arrival (STAR) records.

#include "nav/bglreader.h"
#include "nav/bglreader_p.h"

#include <QHash>

namespace {

constexpr quint16 kApproachMsfs = 0x00FA;
constexpr quint16 kDeparture = 0x0042;
constexpr quint16 kTransitionMsfs116 = 0x0049;
constexpr quint16 kRunwayTransition = 0x0046;
constexpr quint16 kEnrouteTransition = 0x0047;
constexpr quint16 kEnrouteTransitionNamed = 0x004A;
constexpr qint64 kApproachFixedPart = 0x20;
constexpr qint64 kDepartureArrivalFixedPart = 0x14;
constexpr int kDmeArcTransition = 2;

// Leg entries grow with the generation of the legs record id, not with the simulator.
qint64 legEntrySize(quint16 id)
{
    if (id >= 0x2D && id <= 0x2F)
        return 44;
    if (id >= 0xE1 && id <= 0xE6)
        return 60;
    if (id >= 0xEC && id <= 0xF1)
        return 68;
    if (id >= 0xF4 && id <= 0xF9)
        return 72;
    return 0;
}

bool isApproachLegs(quint16 id)
{
    return id == 0x2D || id == 0xE1 || id == 0xEC || id == 0xF4;
}
bool isMissedLegs(quint16 id)
{
    return id == 0x2E || id == 0xE2 || id == 0xED || id == 0xF5;
}
bool isApproachTransition(quint16 id)
{
    return id == 0x2C || id == 0xE3 || id == kTransitionMsfs116;
}
// 0x00E3 is a transition inside an approach and a legs list inside a transition.
bool isTransitionLegs(quint16 id)
{
    return id == 0x2F || id == 0xE3 || id == 0xEE || id == 0xF6;
}
bool isCommonRouteLegs(quint16 id)
{
    return id == 0xE5 || id == 0xF0 || id == 0xF8;
}
bool isRunwayTransitionLegs(quint16 id)
{
    return id == 0xE4 || id == 0xEF || id == 0xF7;
}
bool isEnrouteTransitionLegs(quint16 id)
{
    return id == 0xE6 || id == 0xF1 || id == 0xF9;
}

QString approachLetter(const QString &approachType)
{
    static const QHash<QString, QString> kLetters = {{"GPS", "P"},
                                                     {"VOR", "V"},
                                                     {"NDB", "N"},
                                                     {"ILS", "I"},
                                                     {"LOCALIZER", "L"},
                                                     {"SDF", "U"},
                                                     {"LDA", "X"},
                                                     {"VORDME", "D"},
                                                     {"NDBDME", "Q"},
                                                     {"RNAV", "R"},
                                                     {"LOCALIZER_BACKCOURSE", "B"},
                                                     {"TACAN", "T"}};
    return kLetters.value(approachType, approachType);
}

// Reads the entries of one legs record.
QList<BglProcedureLeg> readLegs(const BglBytes &d, const BglRecordRef &r)
{
    QList<BglProcedureLeg> legs;
    const qint64 entrySize = legEntrySize(r.id);
    if (entrySize == 0)
        return legs;
    const int count = d.u16(r.offset + 6);
    for (int i = 0; i < count; ++i) {
        const qint64 e = r.offset + 8 + qint64(i) * entrySize;
        if (e + entrySize > r.end())
            break;
        BglProcedureLeg l;
        l.legType = bglLegTypeName(d.u8(e));
        static const char *const kDescriptors[] = {"", "A", "+", "-", "B"};
        const int descriptor = d.u8(e + 1);
        l.altDescriptor = descriptor < 5 ? QLatin1String(kDescriptors[descriptor]) : QString();
        const quint16 flags = d.u16(e + 2);
        static const char *const kTurns[] = {"", "L", "R", "E"};
        l.turnDirection = QLatin1String(kTurns[flags & 3]);
        l.courseIsTrue = flags & 0x100;
        l.isTime = flags & 0x200;
        l.flyover = flags & 0x400;
        const quint32 fix = d.u32(e + 4);
        l.fixType = bglFixTypeName(fix & 0x0F);
        l.fixIdent = BglReader::decodeIdent(fix, true);
        l.fixRegion = bglRegion(d.u32(e + 8));
        l.fixAirport = bglAirportOf(d.u32(e + 8));
        const quint32 recommended = d.u32(e + 12);
        l.recommendedType = bglFixTypeName(recommended & 0x0F);
        l.recommendedIdent = BglReader::decodeIdent(recommended, true);
        l.recommendedRegion = bglRegion(d.u32(e + 16));
        l.thetaDeg = d.f32(e + 20);
        l.rho = d.f32(e + 24);
        l.courseDeg = d.f32(e + 28);
        l.distOrTime = d.f32(e + 32);
        l.altitude1Ft = d.metresAsFeet(e + 36);
        l.altitude2Ft = d.metresAsFeet(e + 40);
        if (entrySize >= 60) {
            l.speedLimitKts = d.f32(e + 44);
            l.verticalAngleDeg = d.f32(e + 48);
        }
        legs.append(l);
    }
    return legs;
}

// Stamps procedure, runway and transition on legs and numbers them from firstSeq.
void appendLegs(QList<BglProcedureLeg> legs, const BglProcedure &p, const QString &runway, const QString &transition,
                bool missed, int firstSeq, QList<BglProcedureLeg> &out)
{
    int seq = firstSeq;
    for (BglProcedureLeg &l : legs) {
        l.procName = p.name;
        l.procType = p.type;
        l.runway = runway;
        l.transition = transition;
        l.isMissed = missed;
        l.seq = seq++;
        out.append(l);
    }
}

// Sub-records of a transition start after its fixed part, whose length depends on the
// transition kind and record generation; look for the legs where they really are.
qint64 transitionLegsStart(const BglBytes &d, const BglRecordRef &t, qint64 expected)
{
    for (const qint64 c : {expected, qint64(0x14), qint64(0x1C), qint64(0x24), qint64(0x2C)}) {
        if (c + kBglRecordHeader > t.size)
            continue;
        const qint64 size = d.u32(t.offset + c + 2);
        if (isTransitionLegs(d.u16(t.offset + c)) && size >= kBglRecordHeader && size <= t.size - c)
            return c;
    }
    return qMin(expected, t.size);
}

} // namespace

void bglParseProcedure(BglParseContext &c, const BglRecordRef &r, BglAirport &airport)
{
    const BglBytes &d = c.d;
    if (r.size < kApproachFixedPart)
        return;
    BglProcedure p;
    p.type = QStringLiteral("APPROACH");
    // '0' (or 0) means no suffix.
    const char suffix = char(d.u8(r.offset + 6));
    if ((suffix >= 'A' && suffix <= 'Z') || (suffix >= '1' && suffix <= '9'))
        p.suffix = QChar::fromLatin1(suffix);
    const int kind = d.u8(r.offset + 8);
    p.approachType = bglApproachTypeName(kind & 0x0F);
    p.runwayIdent = bglRunwayIdent(d.u8(r.offset + 7), (kind >> 4) & 7);
    p.gpsOverlay = kind & 0x80;
    const quint32 fix = d.u32(r.offset + 0x0C);
    p.fixType = bglFixTypeName(fix & 0x0F);
    p.fixIdent = BglReader::decodeIdent(fix, true);
    p.fixRegion = bglRegion(d.u32(r.offset + 0x10));
    p.fixAltitudeFt = d.metresAsFeet(r.offset + 0x14);
    p.headingDegTrue = d.f32(r.offset + 0x18);
    p.missedAltitudeFt = d.metresAsFeet(r.offset + 0x1C);
    const QString letter = approachLetter(p.approachType);
    if (p.runwayIdent.isEmpty()) // circling approach: "VOR-A"
        p.name = p.suffix.isEmpty() ? p.approachType : p.approachType + u'-' + p.suffix;
    else
        p.name = p.suffix.isEmpty() ? letter + p.runwayIdent : letter + p.runwayIdent + u'-' + p.suffix;

    QList<BglProcedureLeg> approach, missed, transitions;
    const qint64 fixed = r.id == kApproachMsfs ? kApproachFixedPart + 4 : kApproachFixedPart;
    bglWalkRecords(d, r.offset + qMin(fixed, r.size), r.end(), [&](const BglRecordRef &s) {
        if (isApproachLegs(s.id)) {
            approach += readLegs(d, s);
        } else if (isMissedLegs(s.id)) {
            missed += readLegs(d, s);
        } else if (isApproachTransition(s.id) && s.size >= 0x14) {
            const quint32 iaf = d.u32(s.offset + 8);
            QString name = BglReader::decodeIdent(iaf, true);
            if (name.isEmpty())
                name = QStringLiteral("T%1").arg(p.transitions.size() + 1);
            p.transitions.append(name);
            qint64 legsAt = d.u8(s.offset + 6) == kDmeArcTransition ? 0x24 : 0x14;
            if (s.id == kTransitionMsfs116)
                legsAt += 8;
            QList<BglProcedureLeg> legs;
            bglWalkRecords(d, s.offset + transitionLegsStart(d, s, legsAt), s.end(), [&](const BglRecordRef &l) {
                if (isTransitionLegs(l.id))
                    legs += readLegs(d, l);
                return true;
            });
            appendLegs(legs, p, p.runwayIdent, name, false, 1, transitions);
        }
        return true;
    });
    appendLegs(approach, p, p.runwayIdent, QString(), false, 1, airport.procedureLegs);
    appendLegs(missed, p, p.runwayIdent, QString(), true, int(approach.size()) + 1, airport.procedureLegs);
    airport.procedureLegs += transitions;
    airport.procedures.append(p);
}

void bglParseDepartureArrival(BglParseContext &c, const BglRecordRef &r, BglAirport &airport)
{
    const BglBytes &d = c.d;
    if (r.size < kDepartureArrivalFixedPart)
        return;
    const bool departure = r.id == kDeparture;
    BglProcedure p;
    p.type = departure ? QStringLiteral("SID") : QStringLiteral("STAR");
    p.name = d.text(r.offset + 0x0C, 8, false).trimmed();
    if (p.name.isEmpty()) {
        int same = 0;
        for (const BglProcedure &other : std::as_const(airport.procedures))
            same += other.type == p.type ? 1 : 0;
        p.name = (departure ? QStringLiteral("D_%1") : QStringLiteral("A_%1")).arg(same + 1);
    }

    QStringList runways;
    QList<BglProcedureLeg> legs;
    bglWalkRecords(d, r.offset + kDepartureArrivalFixedPart, r.end(), [&](const BglRecordRef &s) {
        if (isCommonRouteLegs(s.id)) {
            appendLegs(readLegs(d, s), p, QString(), QString(), false, 1, legs);
        } else if (s.id == kRunwayTransition && s.size >= 0x0C) {
            const QString runway = bglRunwayIdent(d.u8(s.offset + 7), d.u8(s.offset + 8) & 7);
            runways.append(runway);
            bglWalkRecords(d, s.offset + 0x0C, s.end(), [&](const BglRecordRef &l) {
                if (isRunwayTransitionLegs(l.id))
                    appendLegs(readLegs(d, l), p, runway, QString(), false, 1, legs);
                return true;
            });
        } else if ((s.id == kEnrouteTransition && s.size >= 8) || (s.id == kEnrouteTransitionNamed && s.size >= 0x10)) {
            const bool named = s.id == kEnrouteTransitionNamed;
            QString name = named ? d.text(s.offset + 8, 8, false).trimmed() : QString();
            QList<BglProcedureLeg> transitionLegs;
            bglWalkRecords(d, s.offset + (named ? 0x10 : 0x08), s.end(), [&](const BglRecordRef &l) {
                if (isEnrouteTransitionLegs(l.id))
                    transitionLegs += readLegs(d, l);
                return true;
            });
            // Unnamed transitions are known by their outer fix: a STAR's first, a SID's last.
            if (name.isEmpty() && !transitionLegs.isEmpty())
                name = departure ? transitionLegs.last().fixIdent : transitionLegs.first().fixIdent;
            p.transitions.append(name);
            appendLegs(transitionLegs, p, QString(), name, false, 1, legs);
        }
        return true;
    });

    // One procedure per runway it serves; none listed means every runway.
    if (runways.isEmpty())
        runways.append(QString());
    for (const QString &runway : std::as_const(runways)) {
        BglProcedure perRunway = p;
        perRunway.runwayIdent = runway;
        airport.procedures.append(perRunway);
    }
    airport.procedureLegs += legs;
}
