#include "sim/simconnect/fake/fakefacilityworld.h"

#include <QRandomGenerator>

#include <cmath>

using simconnect::FacilityNode;
using simconnect::FacilityType;

namespace {

constexpr int kAirportsPerCluster = 10;
constexpr int kWaypointsPerCluster = 12;
constexpr double kNmPerDegree = 60.0;
const char *const kRegions[] = {"ZS", "ZB", "RJ", "ED", "LF", "K6"};

// Leg path terminators as the facility interface numbers them.
enum LegType { Ca = 2, Cf = 4, Df = 7, If = 15, Tf = 18 };
// Frequency codes in the published list, and two it does not have.
const int kFrequencyCodes[] = {1, 3, 4, 5, 6, 7, 8, 9, 11, 15, 42, 99};

QString letters(int value, int count)
{
    QString text(count, QLatin1Char('A'));
    for (int i = count - 1; i >= 0; --i) {
        text[i] = QLatin1Char(char('A' + value % 26));
        value /= 26;
    }
    return text;
}

FacilityNode node(FacilityType type, const QString &block, const QVariantHash &values = {})
{
    FacilityNode n;
    n.type = type;
    n.block = block;
    n.values = values;
    return n;
}

QString runwayIdent(int number, int designator)
{
    static const char *const kDesignators[] = {"", "L", "R", "C", "W", "A", "B"};
    return QStringLiteral("%1%2").arg(number, 2, 10, QLatin1Char('0')).arg(QLatin1String(kDesignators[designator]));
}

FacilityNode leg(int type, const QString &fix, const QString &region, char kind, double alt1M, int speedKt)
{
    return node(FacilityType::ApproachLeg, QStringLiteral("APPROACH_LEG"),
                {{QStringLiteral("TYPE"), type},
                 {QStringLiteral("FIX_ICAO"), fix},
                 {QStringLiteral("FIX_REGION"), fix.isEmpty() ? QString() : region},
                 {QStringLiteral("FIX_TYPE"), fix.isEmpty() ? 0 : int(kind)},
                 {QStringLiteral("ALTITUDE1"), alt1M},
                 {QStringLiteral("ALTITUDE2"), 0.0},
                 {QStringLiteral("SPEED_LIMIT"), double(speedKt)}});
}

FacilityNode inBlock(FacilityNode n, FacilityType type, const QString &block)
{
    n.type = type;
    n.block = block;
    return n;
}

} // namespace

FakeFacilityWorld::FakeFacilityWorld(int airportCount, quint32 seed)
{
    generate(airportCount, seed);
}

QString FakeFacilityWorld::navaidKey(const QString &ident, const QString &region, char kind)
{
    return QStringLiteral("%1:%2:%3").arg(ident, region, QString(QLatin1Char(kind)));
}

const FacilityNode *FakeFacilityWorld::airport(const QString &icao) const
{
    const auto it = m_airportIndex.constFind(icao);
    return it == m_airportIndex.cend() ? nullptr : &m_airports.at(*it);
}

const FacilityNode *FakeFacilityWorld::navaid(const QString &ident, const QString &region, char kind) const
{
    const auto it = m_navaids.constFind(navaidKey(ident, region, kind));
    return it == m_navaids.cend() ? nullptr : &*it;
}

void FakeFacilityWorld::generate(int airportCount, quint32 seed)
{
    QRandomGenerator random(seed);
    const auto between = [&random](double low, double high) { return low + random.generateDouble() * (high - low); };
    const int clusters = (airportCount + kAirportsPerCluster - 1) / kAirportsPerCluster;

    for (int c = 0; c < clusters; ++c) {
        const QString region = QLatin1String(kRegions[c % std::size(kRegions)]);
        const double centerLat = between(-50, 60);
        const double centerLon = between(-170, 170);
        // Two VORs and an NDB per cluster; the first VOR also has a waypoint of its ident and
        // region, as real data has, which only the requested kind tells apart.
        QStringList vors;
        for (int v = 0; v < 2; ++v) {
            const QString ident = letters(c * 2 + v, 3);
            vors.append(ident);
            const double lat = centerLat + between(-0.6, 0.6);
            const double lon = centerLon + between(-0.6, 0.6);
            m_navaids.insert(navaidKey(ident, region, 'V'),
                             node(FacilityType::Vor, QStringLiteral("VOR"),
                                  {{QStringLiteral("ICAO"), ident},
                                   {QStringLiteral("REGION"), region},
                                   {QStringLiteral("VOR_LATITUDE"), lat},
                                   {QStringLiteral("VOR_LONGITUDE"), lon},
                                   {QStringLiteral("VOR_ALTITUDE"), between(0, 800)},
                                   {QStringLiteral("DME_LATITUDE"), lat},
                                   {QStringLiteral("DME_LONGITUDE"), lon},
                                   {QStringLiteral("TYPE"), 1 + v},
                                   {QStringLiteral("FREQUENCY"), 108000000 + 50000 * int(random.bounded(200))},
                                   {QStringLiteral("IS_NAV"), 1},
                                   {QStringLiteral("IS_DME"), v},
                                   {QStringLiteral("NAV_RANGE"), 1852.0 * (40 + 20 * v)},
                                   {QStringLiteral("MAGVAR"), between(-10, 10)},
                                   {QStringLiteral("NAME"), QStringLiteral("%1 VOR").arg(ident)}}));
        }
        const QString ndb = letters(c, 2);
        m_navaids.insert(navaidKey(ndb, region, 'N'),
                         node(FacilityType::Ndb, QStringLiteral("NDB"),
                              {{QStringLiteral("ICAO"), ndb},
                               {QStringLiteral("REGION"), region},
                               {QStringLiteral("LATITUDE"), centerLat + between(-0.5, 0.5)},
                               {QStringLiteral("LONGITUDE"), centerLon + between(-0.5, 0.5)},
                               {QStringLiteral("FREQUENCY"), 200000 + 1000 * int(random.bounded(300))},
                               {QStringLiteral("TYPE"), 1},
                               {QStringLiteral("RANGE"), 1852.0 * 25},
                               {QStringLiteral("NAME"), QStringLiteral("%1 NDB").arg(ndb)}}));

        // Waypoints, the first at the first VOR's place and with its ident.
        QStringList wpts;
        for (int w = 0; w < kWaypointsPerCluster; ++w) {
            const QString ident = w == 0 ? vors.at(0) : letters(c * kWaypointsPerCluster + w, 5);
            wpts.append(ident);
            const FacilityNode *vor = w == 0 ? navaid(ident, region, 'V') : nullptr;
            m_navaids.insert(navaidKey(ident, region, 'W'),
                             node(FacilityType::Waypoint, QStringLiteral("WAYPOINT"),
                                  {{QStringLiteral("ICAO"), ident},
                                   {QStringLiteral("REGION"), region},
                                   {QStringLiteral("LATITUDE"),
                                    vor ? vor->number(QStringLiteral("VOR_LATITUDE")) : centerLat + between(-1.5, 1.5)},
                                   {QStringLiteral("LONGITUDE"), vor ? vor->number(QStringLiteral("VOR_LONGITUDE"))
                                                                     : centerLon + between(-1.5, 1.5)},
                                   {QStringLiteral("TYPE"), w == 0 ? 3 : 1}}));
        }
        // Airways through the cluster: a low one along the first half ending at the second VOR,
        // a high one along the second half ending at the NDB, and a route of both levels on to
        // the next cluster's first waypoints (so the walk leaves the cluster).
        struct Point
        {
            QString ident;
            QString region;
            char kind;
        };
        const auto addRoute = [this](const QString &name, int type, const QList<Point> &points) {
            for (int i = 0; i < points.size(); ++i) {
                if (points.at(i).kind != 'W')
                    continue;
                FacilityNode route = node(FacilityType::Route, QStringLiteral("ROUTE"),
                                          {{QStringLiteral("NAME"), name}, {QStringLiteral("TYPE"), type}});
                if (i + 1 < points.size()) {
                    route.values.insert(QStringLiteral("NEXT_ICAO"), points.at(i + 1).ident);
                    route.values.insert(QStringLiteral("NEXT_REGION"), points.at(i + 1).region);
                    route.values.insert(QStringLiteral("NEXT_TYPE"), int(points.at(i + 1).kind));
                    route.values.insert(QStringLiteral("NEXT_ALTITUDE"), 1524.0 * (1 + type));
                }
                if (i > 0) {
                    route.values.insert(QStringLiteral("PREV_ICAO"), points.at(i - 1).ident);
                    route.values.insert(QStringLiteral("PREV_REGION"), points.at(i - 1).region);
                    route.values.insert(QStringLiteral("PREV_TYPE"), int(points.at(i - 1).kind));
                    route.values.insert(QStringLiteral("PREV_ALTITUDE"), 1524.0 * (1 + type));
                }
                // A route onto a cluster not made yet is only carried by its start.
                const auto owner = m_navaids.find(navaidKey(points.at(i).ident, points.at(i).region, 'W'));
                if (owner != m_navaids.end())
                    owner->children.append(route);
            }
        };
        QList<Point> low;
        QList<Point> high;
        for (int w = 0; w < kWaypointsPerCluster / 2; ++w)
            low.append({wpts.at(w), region, 'W'});
        low.append({vors.at(1), region, 'V'});
        for (int w = kWaypointsPerCluster / 2; w < kWaypointsPerCluster; ++w)
            high.append({wpts.at(w), region, 'W'});
        high.append({ndb, region, 'N'});
        addRoute(QStringLiteral("V%1").arg(c + 1), 1, low);
        addRoute(QStringLiteral("J%1").arg(c + 1), 2, high);
        addRoute(
            QStringLiteral("T%1").arg(c + 1), 1,
            {{wpts.at(kWaypointsPerCluster / 2 - 1), region, 'W'}, {wpts.at(kWaypointsPerCluster / 2), region, 'W'}});
        if (c + 1 < clusters) {
            const QString nextRegion = QLatin1String(kRegions[(c + 1) % std::size(kRegions)]);
            addRoute(QStringLiteral("B%1").arg(c + 1), 3,
                     {{wpts.at(kWaypointsPerCluster - 1), region, 'W'},
                      {letters((c + 1) * kWaypointsPerCluster + 1, 5), nextRegion, 'W'}});
        }

        // The first airport of a cluster has every kind of procedure, so that the walk from its
        // fixes reaches each navaid of the cluster.
        for (int a = c * kAirportsPerCluster; a < std::min(airportCount, (c + 1) * kAirportsPerCluster); ++a) {
            // Idents of four letters, and a few longer ones that only the wider 2024 lists carry.
            const QString icao = a % 37 == 5 ? QStringLiteral("X%1").arg(a, 6, 10, QLatin1Char('0'))
                                             : QStringLiteral("Q") + letters(a, 3);
            const double lat = centerLat + between(-1.0, 1.0);
            const double lon = centerLon + between(-1.0, 1.0);
            FacilityNode airport = node(FacilityType::Airport, QStringLiteral("AIRPORT"),
                                        {{QStringLiteral("ICAO"), icao},
                                         {QStringLiteral("REGION"), region},
                                         {QStringLiteral("LATITUDE"), lat},
                                         {QStringLiteral("LONGITUDE"), lon},
                                         {QStringLiteral("ALTITUDE"), between(0, 1500)},
                                         {QStringLiteral("NAME64"), QStringLiteral("Airport %1 %2").arg(a).arg(icao)}});

            const int runwayCount = 1 + int(random.bounded(3));
            QStringList runwayEnds;
            for (int r = 0; r < runwayCount; ++r) {
                const int number = 1 + int(random.bounded(18));
                const int designator = runwayCount > 1 ? 1 + r % 3 : 0;
                const int opposite = designator == 1 ? 2 : designator == 2 ? 1 : designator;
                const QString primary = runwayIdent(number, designator);
                runwayEnds << primary << runwayIdent(number + 18, opposite);
                FacilityNode runway = node(FacilityType::Runway, QStringLiteral("RUNWAY"),
                                           {{QStringLiteral("LATITUDE"), lat + 0.01 * r},
                                            {QStringLiteral("LONGITUDE"), lon + 0.01 * r},
                                            {QStringLiteral("ALTITUDE"), airport.number(QStringLiteral("ALTITUDE"))},
                                            {QStringLiteral("HEADING"), number * 10.0 + between(-4, 4)},
                                            {QStringLiteral("LENGTH"), double(800 + 100 * int(random.bounded(30)))},
                                            {QStringLiteral("WIDTH"), double(30 + 5 * int(random.bounded(6)))},
                                            {QStringLiteral("SURFACE"), int(random.bounded(22))},
                                            {QStringLiteral("PRIMARY_NUMBER"), number},
                                            {QStringLiteral("PRIMARY_DESIGNATOR"), designator},
                                            {QStringLiteral("SECONDARY_NUMBER"), number + 18},
                                            {QStringLiteral("SECONDARY_DESIGNATOR"), opposite}});
                if (random.bounded(2) == 0) {
                    const QString ils = QStringLiteral("I") + letters(a * 3 + r, 3);
                    runway.values.insert(QStringLiteral("PRIMARY_ILS_ICAO"), ils);
                    runway.values.insert(QStringLiteral("PRIMARY_ILS_REGION"), region);
                    runway.values.insert(QStringLiteral("PRIMARY_ILS_TYPE"), int('V'));
                    m_navaids.insert(navaidKey(ils, region, 'V'),
                                     node(FacilityType::Vor, QStringLiteral("VOR"),
                                          {{QStringLiteral("ICAO"), ils},
                                           {QStringLiteral("REGION"), region},
                                           {QStringLiteral("VOR_LATITUDE"), lat + 0.01 * r + 0.005},
                                           {QStringLiteral("VOR_LONGITUDE"), lon + 0.01 * r},
                                           {QStringLiteral("TYPE"), 4},
                                           {QStringLiteral("FREQUENCY"), 108100000 + 200000 * int(random.bounded(20))},
                                           {QStringLiteral("IS_NAV"), 1},
                                           {QStringLiteral("HAS_GLIDE_SLOPE"), 1},
                                           {QStringLiteral("NAV_RANGE"), 1852.0 * 18},
                                           {QStringLiteral("LOCALIZER"), number * 10.0},
                                           {QStringLiteral("LOCALIZER_WIDTH"), 5.0},
                                           {QStringLiteral("GLIDE_SLOPE"), 3.0},
                                           {QStringLiteral("LS_CATEGORY"), 1},
                                           {QStringLiteral("NAME"), QStringLiteral("ILS %1 %2").arg(icao, primary)}}));
                }
                // The ends' pavements, lights and VASIs: objects of one type several times in a
                // runway, told apart only by their order.
                for (const QString &end : {QStringLiteral("PRIMARY_"), QStringLiteral("SECONDARY_")}) {
                    const double endSign = end.startsWith(QLatin1Char('P')) ? 1 : 2;
                    for (const char *part : {"THRESHOLD", "BLASTPAD", "OVERRUN"})
                        runway.children.append(node(FacilityType::Pavement, end + QLatin1String(part),
                                                    {{QStringLiteral("LENGTH"), endSign * qstrlen(part)}}));
                    runway.children.append(node(FacilityType::ApproachLights, end + QStringLiteral("APPROACH_LIGHTS"),
                                                {{QStringLiteral("SYSTEM"), int(endSign)}}));
                    runway.children.append(node(FacilityType::Vasi, end + QStringLiteral("LEFT_VASI"),
                                                {{QStringLiteral("ANGLE"), 3.0 * endSign}}));
                    runway.children.append(node(FacilityType::Vasi, end + QStringLiteral("RIGHT_VASI"),
                                                {{QStringLiteral("ANGLE"), 3.1 * endSign}}));
                }
                airport.children.append(runway);
            }

            // Frequencies: distinct codes, now and then one outside the published list.
            QList<int> codes(std::begin(kFrequencyCodes), std::end(kFrequencyCodes));
            const int frequencyCount = 1 + int(random.bounded(4));
            for (int f = 0; f < frequencyCount; ++f) {
                const int code = codes.takeAt(int(random.bounded(int(codes.size()))));
                airport.children.append(
                    node(FacilityType::Frequency, QStringLiteral("FREQUENCY"),
                         {{QStringLiteral("TYPE"), code},
                          {QStringLiteral("FREQUENCY"), 118000000 + 25000 * int(random.bounded(700))},
                          {QStringLiteral("NAME"), QStringLiteral("%1 %2").arg(icao).arg(code)}}));
            }

            // Procedures over the cluster's fixes, so that neighbouring airports' procedures
            // name the same fixes.
            const auto fix = [&](int i) { return wpts.at(i % kWaypointsPerCluster); };
            const int procedureBase = int(random.bounded(kWaypointsPerCluster));
            const bool first = a == c * kAirportsPerCluster;
            const int departures = first ? 1 : int(random.bounded(3));
            for (int d = 0; d < departures; ++d) {
                FacilityNode sid = node(
                    FacilityType::Departure, QStringLiteral("DEPARTURE"),
                    {{QStringLiteral("NAME"), QStringLiteral("%1%2D").arg(fix(procedureBase + d).left(4)).arg(d + 1)}});
                sid.children.append(leg(Ca, QString(), region, 0, 600, 0));
                sid.children.append(leg(Df, fix(procedureBase + d), region, 'W', 1500, 250));
                sid.children.append(leg(Tf, fix(procedureBase + d + 1), region, 'W', 3000, 0));
                FacilityNode rwyTrans =
                    node(FacilityType::RunwayTransition, QStringLiteral("RUNWAY_TRANSITION"),
                         {{QStringLiteral("RUNWAY_NUMBER"), 0}, {QStringLiteral("RUNWAY_DESIGNATOR"), 0}});
                const FacilityNode &runway = airport.children.first();
                rwyTrans.values.insert(QStringLiteral("RUNWAY_NUMBER"),
                                       runway.intValue(QStringLiteral("PRIMARY_NUMBER")));
                rwyTrans.values.insert(QStringLiteral("RUNWAY_DESIGNATOR"),
                                       runway.intValue(QStringLiteral("PRIMARY_DESIGNATOR")));
                rwyTrans.children.append(leg(Ca, QString(), region, 0, 450, 0));
                sid.children.append(rwyTrans);
                FacilityNode enroute = node(FacilityType::EnrouteTransition, QStringLiteral("ENROUTE_TRANSITION"),
                                            {{QStringLiteral("NAME"), fix(procedureBase + d + 2)}});
                enroute.children.append(leg(Tf, fix(procedureBase + d + 2), region, 'W', 5000, 0));
                sid.children.append(enroute);
                airport.children.append(sid);
            }
            const int arrivals = first ? 1 : int(random.bounded(3));
            for (int s = 0; s < arrivals; ++s) {
                FacilityNode star =
                    node(FacilityType::Arrival, QStringLiteral("ARRIVAL"),
                         {{QStringLiteral("NAME"),
                           QStringLiteral("%1%2A").arg(fix(procedureBase + 5 + s).left(4)).arg(s + 1)}});
                FacilityNode enroute = node(FacilityType::EnrouteTransition, QStringLiteral("ENROUTE_TRANSITION"),
                                            {{QStringLiteral("NAME"), vors.at(1)}});
                enroute.children.append(leg(If, vors.at(1), region, 'V', 4000, 0));
                enroute.children.append(leg(Tf, fix(procedureBase + 5 + s), region, 'W', 3500, 0));
                star.children.append(enroute);
                star.children.append(leg(If, fix(procedureBase + 5 + s), region, 'W', 3500, 250));
                star.children.append(leg(Tf, fix(procedureBase + 6 + s), region, 'W', 2500, 210));
                star.children.append(leg(Tf, ndb, region, 'N', 1200, 0));
                airport.children.append(star);
            }
            const int approaches = first ? 1 : int(random.bounded(3));
            for (int p = 0; p < approaches; ++p) {
                const FacilityNode &runway = airport.children.first();
                FacilityNode approach =
                    node(FacilityType::Approach, QStringLiteral("APPROACH"),
                         {{QStringLiteral("TYPE"), p == 0 ? 4 : 10},
                          {QStringLiteral("SUFFIX"), p == 0 ? 0 : int('Z') - p + 1},
                          {QStringLiteral("RUNWAY_NUMBER"), runway.intValue(QStringLiteral("PRIMARY_NUMBER"))},
                          {QStringLiteral("RUNWAY_DESIGNATOR"), runway.intValue(QStringLiteral("PRIMARY_DESIGNATOR"))},
                          {QStringLiteral("FAF_ICAO"), fix(procedureBase + 9)},
                          {QStringLiteral("FAF_REGION"), region},
                          {QStringLiteral("FAF_TYPE"), int('W')}});
                FacilityNode transition = node(FacilityType::ApproachTransition, QStringLiteral("APPROACH_TRANSITION"),
                                               {{QStringLiteral("TYPE"), 1},
                                                {QStringLiteral("IAF_ICAO"), fix(procedureBase + 8)},
                                                {QStringLiteral("IAF_REGION"), region},
                                                {QStringLiteral("IAF_TYPE"), int('W')}});
                transition.children.append(leg(If, fix(procedureBase + 8), region, 'W', 1200, 0));
                transition.children.append(leg(Tf, fix(procedureBase + 9), region, 'W', 900, 0));
                approach.children.append(transition);
                approach.children.append(inBlock(leg(If, fix(procedureBase + 9), region, 'W', 900, 0),
                                                 FacilityType::FinalApproachLeg, QStringLiteral("FINAL_APPROACH_LEG")));
                approach.children.append(inBlock(leg(Cf, QStringLiteral("RW") + runwayEnds.first(), region, 'R', 60, 0),
                                                 FacilityType::FinalApproachLeg, QStringLiteral("FINAL_APPROACH_LEG")));
                approach.children.append(inBlock(leg(Ca, QString(), region, 0, 600, 0), FacilityType::MissedApproachLeg,
                                                 QStringLiteral("MISSED_APPROACH_LEG")));
                approach.children.append(inBlock(leg(Df, vors.at(0), region, 'V', 1200, 0),
                                                 FacilityType::MissedApproachLeg,
                                                 QStringLiteral("MISSED_APPROACH_LEG")));
                airport.children.append(approach);
            }

            // A ground layout for every tenth airport.
            if (a % 10 == 0) {
                for (int t = 0; t < 4; ++t)
                    airport.children.append(node(FacilityType::TaxiPoint, QStringLiteral("TAXI_POINT"),
                                                 {{QStringLiteral("TYPE"), t == 0 ? 3 : 1},
                                                  {QStringLiteral("BIAS_X"), 100.0 * t},
                                                  {QStringLiteral("BIAS_Z"), -50.0 * t}}));
                for (int p = 0; p < 3; ++p)
                    airport.children.append(node(FacilityType::TaxiParking, QStringLiteral("TAXI_PARKING"),
                                                 {{QStringLiteral("TYPE"), p == 2 ? 9 : p},
                                                  {QStringLiteral("NAME"), 12 + p},
                                                  {QStringLiteral("NUMBER"), p + 1},
                                                  {QStringLiteral("HEADING"), 90.0 * p},
                                                  {QStringLiteral("BIAS_X"), -80.0 - 20 * p},
                                                  {QStringLiteral("BIAS_Z"), 40.0 * p}}));
                for (int e = 0; e < 3; ++e)
                    airport.children.append(node(FacilityType::TaxiPath, QStringLiteral("TAXI_PATH"),
                                                 {{QStringLiteral("TYPE"), e == 2 ? 3 : 1},
                                                  {QStringLiteral("WIDTH"), 20.0},
                                                  {QStringLiteral("START"), e},
                                                  // the last path ends at the second parking
                                                  {QStringLiteral("END"), e == 2 ? 1 : e + 1},
                                                  {QStringLiteral("NAME_INDEX"), e % 2}}));
                for (const char *name : {"A", "B"})
                    airport.children.append(node(FacilityType::TaxiName, QStringLiteral("TAXI_NAME"),
                                                 {{QStringLiteral("NAME"), QLatin1String(name)}}));
            }

            const auto count = [&airport](FacilityType type) { return int(airport.childrenOf(type).size()); };
            airport.values.insert(QStringLiteral("N_RUNWAYS"), count(FacilityType::Runway));
            airport.values.insert(QStringLiteral("N_FREQUENCIES"), count(FacilityType::Frequency));
            airport.values.insert(QStringLiteral("N_APPROACHES"), count(FacilityType::Approach));
            airport.values.insert(QStringLiteral("N_DEPARTURES"), count(FacilityType::Departure));
            airport.values.insert(QStringLiteral("N_ARRIVALS"), count(FacilityType::Arrival));
            airport.values.insert(QStringLiteral("N_TAXI_POINTS"), count(FacilityType::TaxiPoint));
            airport.values.insert(QStringLiteral("N_TAXI_PARKINGS"), count(FacilityType::TaxiParking));
            airport.values.insert(QStringLiteral("N_TAXI_PATHS"), count(FacilityType::TaxiPath));
            airport.values.insert(QStringLiteral("N_TAXI_NAMES"), count(FacilityType::TaxiName));
            m_airportIndex.insert(icao, int(m_airports.size()));
            m_airports.append(airport);
        }
    }
}
