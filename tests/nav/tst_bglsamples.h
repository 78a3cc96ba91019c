#pragma once

// Sample BGL content for the reader's tests, the fuzz loop (as seeds) and the benchmark: an
// airport in each simulator generation's record variants, MSFS departures and arrivals, and a
// file with every navaid section. Values are spelled out so the tests can check them.

#include "tst_bglwriter.h"

#include <tuple>

namespace bglsamples {

using namespace bglw;

enum Variant { Fsx, P3d4, P3d5, Msfs };

struct LegSpec
{
    int type;
    QString fix;
    int fixType;
    double altitudeM;
};

// Ids of the approach's legs, missed legs, transition and transition legs records.
struct ApproachIds
{
    quint16 legs = 0x2D;
    quint16 missed = 0x2E;
    quint16 transition = 0x2C;
    quint16 transitionLegs = 0x2F;
    int transitionKind = 1; // 1 full, 2 DME arc
};

inline qint64 legSize(quint16 id)
{
    return id <= 0x2F ? 44 : (id <= 0xE6 ? 60 : (id <= 0xF1 ? 68 : 72));
}

// A legs record: turn left, fly-over, course 170, distance 5, speed 210 kt where the entry has room.
inline Rec legs(quint16 id, const QList<LegSpec> &specs)
{
    Rec r(id);
    r.u16(int(specs.size()));
    for (const LegSpec &l : specs) {
        r.u8(l.type).u8(l.altitudeM > 0 ? 2 : 0).u16(0x0401).u32(fixWord(l.fixType, l.fix)).u32(regionWord("ZS"));
        r.u32(0).u32(0).f32(0).f32(0).f32(170.0).f32(5.0).f32(l.altitudeM).f32(0);
        if (legSize(id) >= 60)
            r.f32(210.0).f32(3.0).zeros(8);
        if (legSize(id) >= 68)
            r.zeros(8);
        if (legSize(id) == 72)
            r.zeros(4);
    }
    return r;
}

// Runway 17L/35R, 3800 x 60 m, heading 170, concrete, ILS IPD on 17L, right-hand pattern on
// 17L, a 150 m offset threshold on 17L; centred on the given point.
inline Rec runway(Variant v, double lat = 31.1434, double lon = 121.805)
{
    Rec r(v == Fsx ? 0x0004 : (v == Msfs ? 0x00CE : 0x003E));
    r.u16(0).u8(17).u8(1).u8(35).u8(2).u32(packIdent("IPD")).u32(0);
    r.pos(lat, lon, 4.0).f32(3800.0).f32(60.0).f32(170.0).f32(300.0).u16(0).u8(0).u8(0x04);
    if (v == P3d4 || v == P3d5)
        r.zeros(16); // material GUID
    if (v == Msfs)
        r.zeros(24 + 16 + 4);
    Rec threshold(0x0005);
    threshold.u16(4);
    if (v == Msfs)
        threshold.zeros(16);
    threshold.f32(150.0).f32(60.0);
    return r.add(threshold);
}

// Two taxi points, a TAXI path 0 -> 1 named "A" and a PARKING path 1 -> parking 0; the name
// list is returned separately so it can follow the paths.
inline Rec taxiPaths(Variant v, double dLat, double dLon, Rec &points, Rec &names)
{
    points = Rec(v == P3d5 ? 0x00AC : 0x001A);
    points.u16(2);
    points.u8(1).u8(0).u16(0).lonLat(31.15 + dLat, 121.80 + dLon);
    if (v == P3d5)
        points.i32(4000);
    points.u8(2).u8(1).u16(0).lonLat(31.16 + dLat, 121.81 + dLon);
    if (v == P3d5)
        points.i32(4000);
    names = Rec(0x001D);
    names.u16(2).str("", 8).str("A", 8);

    Rec paths(v == Fsx ? 0x001C : (v == P3d4 ? 0x0040 : (v == P3d5 ? 0x00AE : 0x00D4)));
    paths.u16(2);
    for (const auto &[start, end, type, name] : {std::tuple{0, 1, 1, 1}, std::tuple{1, 0, 3, 0}}) {
        paths.u16(start).u16(v == Msfs ? 0 : end).u8(type | 0x60).u8(name).u8(0).u8(4).f32(20.0).u32(100000).zeros(4);
        if (v == P3d4)
            paths.zeros(16);
        if (v == P3d5)
            paths.zeros(20);
        if (v == Msfs)
            paths.zeros(26).u16(end);
    }
    return paths;
}

// One parking: "Gate B 12", GATE_HEAVY, push-back right, airline CES.
inline Rec parkings(Variant v, double dLat, double dLon)
{
    Rec r(v == P3d5 ? 0x00AD : (v == Msfs ? 0x00E7 : 0x003D));
    r.u16(1).u32(13u | (2u << 6) | (10u << 8) | (12u << 12) | (1u << 24)).f32(30.0).f32(90.0).zeros(16);
    r.lonLat(31.155 + dLat, 121.805 + dLon);
    if (v == P3d5)
        r.i32(4000);
    if (v == Msfs)
        r.zeros(20);
    return r.str("CES", 4);
}

// RNAV approach 17L suffix Y: IF FAF17, TF RW17L (at or above 30 m), missed CA, transition IAF1.
inline Rec approach(Variant v, const ApproachIds &ids)
{
    Rec r(v == Msfs ? 0x00FA : 0x0024);
    r.u8('Y').u8(17).u8(10 | (1 << 4)).u8(1).u8(2).u8(1).u32(fixWord(5, "FAF17")).u32(regionWord("ZS"));
    r.f32(600.0).f32(170.0).f32(900.0);
    if (v == Msfs)
        r.zeros(4);
    r.add(legs(ids.legs, {{0x0F, "FAF17", 5, 0.0}, {0x12, "RW17L", 9, 30.0}}));
    r.add(legs(ids.missed, {{0x02, "", 0, 900.0}}));
    Rec t(ids.transition);
    t.u8(ids.transitionKind).u8(1).u32(fixWord(5, "IAF1")).u32(regionWord("ZS")).f32(900.0);
    if (ids.transitionKind == 2)
        t.u32(identWord("PUD")).u32(regionWord("ZS")).i32(90).f32(10.0);
    if (ids.transition == 0x0049)
        t.zeros(8);
    t.add(legs(ids.transitionLegs, {{0x0F, "IAF1", 5, 900.0}}));
    return r.add(t);
}

// Airport "Pudong" with everything above, region ZS, magnetic variation 6 W (354 in the file),
// tower; the MSFS form is marked closed. dLat/dLon shift every position.
inline Rec airport(Variant v, const ApproachIds &ids, const QString &ident = QStringLiteral("ZSPD"), double dLat = 0,
                   double dLon = 0)
{
    Rec a(v == P3d5 ? 0x00AB : (v == Msfs ? 0x0056 : 0x003C));
    a.u8(1).u8(1).u8(1).u8(1).u8(0).u8(0).pos(31.1434 + dLat, 121.805 + dLon, 4.0);
    a.pos(31.15 + dLat, 121.80 + dLon, 10.0).f32(354.0);
    a.u32(identWord(ident)).u32(regionWord("ZS")).u32(0);
    if (v == P3d5)
        a.zeros(8);
    else if (v == Msfs)
        a.u8(0).u8(0x99).u8(0x04).zeros(13); // closed
    else
        a.zeros(4);
    a.add(Rec(0x0019).bytes("Pudong"));
    a.add(runway(v, 31.1434 + dLat, 121.805 + dLon));
    a.add(Rec(0x0011).u8(17).u8(0x11).pos(31.13 + dLat, 121.81 + dLon, 4.0).f32(170.0));
    a.add(Rec(0x0012).u16(v == P3d5 ? 0x0706 : 6).u32(118300000).bytes("PUDONG TOWER"));
    Rec points(0), names(0);
    const Rec paths = taxiPaths(v, dLat, dLon, points, names);
    a.add(points).add(parkings(v, dLat, dLon)).add(paths).add(names); // names after the paths using them
    return a.add(approach(v, ids));
}

// MSFS airport with SID PD01 (runway transitions 17L and 35R, a common route, an unnamed
// en-route transition ending at SASAN) and an unnamed STAR (a named transition XYZ and an
// unnamed one starting at FIRST).
inline Rec msfsProcedureAirport()
{
    Rec sid(0x0042);
    sid.zeros(2).u8(2).u8(1).u8(1).u8(0).str("PD01", 8);
    sid.add(legs(0xF0, {{0x12, "COMMO", 5, 0}}));
    for (const int number : {17, 35}) {
        Rec rt(0x0046);
        rt.u8(1).u8(number).u8(number == 17 ? 1 : 2).zeros(3).add(legs(0xEF, {{0x13, "", 0, 300}}));
        sid.add(rt);
    }
    Rec exit(0x0047);
    exit.u8(2).u8(0).add(legs(0xF1, {{0x12, "ABC", 5, 0}, {0x12, "SASAN", 5, 0}}));
    sid.add(exit);

    Rec star(0x0048);
    star.zeros(2).u8(0).u8(0).u8(2).u8(0).str("", 8);
    Rec named(0x004A);
    named.u8(1).u8(0).str("XYZ", 8).add(legs(0xF1, {{0x0F, "ENTRY", 5, 0}}));
    Rec unnamed(0x0047);
    unnamed.u8(2).u8(0).add(legs(0xE6, {{0x0F, "FIRST", 5, 0}, {0x12, "LAST", 5, 0}}));
    star.add(named).add(unnamed);

    Rec a(0x0056);
    a.zeros(6).pos(31.1434, 121.805, 4.0).zeros(12).f32(0).u32(identWord("ZSPD")).zeros(8).zeros(16);
    return a.add(sid).add(star);
}

// VOR-DME PUD (high, 113.2, 50 NM, with name) and DME-only DDD.
inline QList<Rec> vors(double dLat = 0, double dLon = 0)
{
    Rec vor(0x0013);
    vor.u8(3).u8(0x01).pos(31.0 + dLat, 121.0 + dLon, 3.0).u32(113200000).f32(92600.0).f32(354.0);
    vor.u32(identWord("PUD")).u32(regionWord("ZS"));
    vor.add(Rec(0x0016).u16(0).pos(31.0001 + dLat, 121.0 + dLon, 3.0).f32(92600.0)).add(Rec(0x0019).bytes("PUDONG"));
    Rec dme(0x0013);
    dme.u8(1).u8(0x00).pos(30.0 + dLat, 120.0 + dLon, 0.0).u32(112000000).f32(0).f32(0).u32(identWord("DDD")).u32(0);
    return {vor, dme};
}

inline Rec outerMarker(double dLat = 0, double dLon = 0)
{
    Rec marker(0x0018);
    return marker.u8(255).u8(2).pos(31.2 + dLat, 121.2 + dLon, 5.0).u32(identWord("OM")).u32(regionWord("ZS"));
}

// A593 runs AAAAA -> BBBBB -> PUD; V1 runs BBBBB -> AAAAA; XPOLE is a disabled entry on the pole.
inline QList<Rec> waypoints(double dLat = 0, double dLon = 0)
{
    Rec wa(0x0022), wb(0x0022), pole(0x0022);
    wa.u8(1).u8(1).lonLat(30.5 + dLat, 120.5 + dLon).f32(0).u32(identWord("AAAAA")).u32(regionWord("ZS"));
    wa.u8(2).str("A593", 8).u32(identWord("BBBBB") | 5).u32(regionWord("ZS")).f32(3000).zeros(12);
    wb.u8(1).u8(2).lonLat(30.8 + dLat, 120.8 + dLon).f32(0).u32(identWord("BBBBB")).u32(regionWord("ZS"));
    wb.u8(2).str("A593", 8).u32(identWord("PUD") | 2).u32(regionWord("ZS")).f32(3000).zeros(12);
    wb.u8(1).str("V1", 8).u32(identWord("AAAAA") | 5).u32(regionWord("ZS")).f32(0).zeros(12);
    pole.u8(2).u8(0).lonLat(90.0, 0.0).f32(0).u32(identWord("XPOLE")).u32(0);
    return {wa, wb, pole};
}

// Class C "SHANGHAI CLASS C", MSL to 10000 ft AGL: a triangle (latitude first in its points)
// and a 10 NM circle around 30 N 120 E.
inline Rec classCBoundary(double dLat = 0, double dLon = 0)
{
    Rec geometry(0x0021);
    geometry.u16(5);
    for (const auto &[type, lat, lon] : {std::tuple{1, 31.0, 121.0}, std::tuple{2, 31.5, 121.0},
                                         std::tuple{2, 31.0, 121.5}, std::tuple{3, 30.0, 120.0}})
        geometry.u16(type).i32(rawLat(lat + dLat)).i32(rawLon(lon + dLon));
    geometry.u16(6).u32(0).f32(18520.0);
    Rec boundary(0x0020);
    boundary.u8(4).u8(0x21).pos(31.0 + dLat, 121.0 + dLon, 0.0).pos(31.5 + dLat, 121.5 + dLon, 3048.0);
    return boundary.add(Rec(0x0019).bytes("SHANGHAI CLASS C")).add(geometry);
}

// VOR/ILS, marker, waypoint, boundary (with a geopolitical record) and NDB sections.
inline QByteArray navaidFile()
{
    return file({section(0x13, vors()), section(0x18, {outerMarker()}), section(0x22, waypoints()),
                 section(0x20, {classCBoundary(), Rec(0x0023).zeros(10)}),
                 section(0x17, {ndb("NNN", "ZS", 29.0, 119.0, 400000, 1.0)})});
}

} // namespace bglsamples
