#pragma once

#include <QString>

// A world-sized navigation database for the benchmarks: about 33,000 airports with runways,
// 27,000 navaids, 130,000 fixes, 70,000 airway segments and 2,000,000 procedure legs, clustered
// around hubs where aviation is dense (North America and Europe first, East Asia next), and
// optionally airspaces and ILS localizers. The generator is seeded, so every run writes the same
// data. Written through the navigation database builder's schema.
class WorldNavDb
{
public:
    struct Options
    {
        int airspaces = 0;  // circular airspaces of several classes around hubs
        int localizers = 0; // "ILS-cat-I" localizers beyond the far end of random runways
    };

    static constexpr int kAirports = 33000;
    static constexpr int kNavaids = 27000;
    static constexpr int kFixes = 130000;
    static constexpr int kAirwaySegments = 70000;
    static constexpr int kAirportsWithProcedures = 10000;
    static constexpr int kProceduresPerAirport = 20;
    static constexpr int kLegsPerProcedure = 10; // 10,000 x 20 x 10 = 2,000,000 legs

    WorldNavDb() = delete;

    // Creates the database at path (which must not exist yet). False, with a line on standard
    // error, when the schema or an insert fails.
    static bool generate(const QString &path, const Options &options);
    static bool generate(const QString &path) { return generate(path, Options()); }
};
