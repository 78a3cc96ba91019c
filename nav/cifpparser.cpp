#include "nav/cifpparser.h"

#include "nav/textinput.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>

#include <cmath>
#include <functional>
#include <limits>

namespace navimport {

bool loadCifpLookup(QSqlDatabase &db, FixLookup *lookup)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT ident, lat, lon FROM waypoints")))
        return false;
    while (query.next())
        lookup->waypoints[query.value(0).toString().toLatin1()].push_back(
            {query.value(1).toDouble(), query.value(2).toDouble()});
    if (!query.exec(QStringLiteral("SELECT ident, type, lat, lon FROM navaids")))
        return false;
    while (query.next()) {
        const QString type = query.value(1).toString();
        lookup->navaids[query.value(0).toString().toLatin1()].push_back(
            {{query.value(2).toDouble(), query.value(3).toDouble()}, type == QLatin1String("NDB")});
    }
    if (!query.exec(QStringLiteral("SELECT icao, lat, lon FROM airports")))
        return false;
    while (query.next())
        lookup->airports.insert(query.value(0).toString().toLatin1(),
                                {query.value(1).toDouble(), query.value(2).toDouble()});
    if (!query.exec(QStringLiteral("SELECT airport_icao, ident, lat, lon FROM runways")))
        return false;
    while (query.next())
        lookup->runways.insert((query.value(0).toString() + QLatin1Char('|') + query.value(1).toString()).toLatin1(),
                               {query.value(2).toDouble(), query.value(3).toDouble()});
    return true;
}

namespace {

// "N47274972" / "W122183954": hemisphere, degrees, minutes, seconds and hundredths.
bool parseCifpCoordinate(QByteArrayView text, int degreeDigits, double *value)
{
    if (text.size() != 1 + degreeDigits + 6)
        return false;
    const char hemisphere = text[0];
    int degrees = 0;
    int minutes = 0;
    int hundredths = 0;
    if (!toInt(text.sliced(1, degreeDigits), &degrees) || !toInt(text.sliced(1 + degreeDigits, 2), &minutes) ||
        !toInt(text.sliced(3 + degreeDigits, 4), &hundredths))
        return false;
    double v = degrees + minutes / 60.0 + hundredths / 100.0 / 3600.0;
    if (hemisphere == 'S' || hemisphere == 'W')
        v = -v;
    else if (hemisphere != 'N' && hemisphere != 'E')
        return false;
    *value = v;
    return true;
}

// "FL070" is a flight level, "04000" feet; blank or unreadable is no constraint.
double parseAltitudeFt(QByteArrayView text)
{
    int value = 0;
    if (text.startsWith("FL")) {
        return toInt(text.sliced(2), &value) ? value * 100.0 : 0.0;
    }
    return toInt(text, &value) ? double(value) : 0.0;
}

// The runway a leg group belongs to: "RW16L" gives "16L"; an approach without a transition gives
// the runway in its name ("I16C" gives "16C"); SID/STAR common routes are "ALL"; any other
// transition (an en-route or approach transition fix) is kept as it is.
QString runwayKey(QByteArrayView type, QByteArrayView procIdent, QByteArrayView transition)
{
    if (transition.startsWith("RW") && transition.size() > 2)
        return latin1(transition.sliced(2));
    if (!transition.isEmpty())
        return latin1(transition);
    if (type == QByteArrayView("APPCH") && procIdent.size() >= 3) {
        qsizetype end = 1;
        while (end < procIdent.size() && end < 3 && procIdent[end] >= '0' && procIdent[end] <= '9')
            ++end;
        if (end == 3) {
            if (end < procIdent.size() && (procIdent[end] == 'L' || procIdent[end] == 'R' || procIdent[end] == 'C'))
                ++end;
            return latin1(procIdent.sliced(1, end - 1));
        }
    }
    return QStringLiteral("ALL");
}

// Parses CIFP files into the producer's current batch; flush() is called after every leg and
// hands the batch on once it is full (false when the writer gave up). RWY records come after the
// legs in a file, so they are collected first.
class CifpFileParser
{
public:
    CifpFileParser(const FixLookup &lookup, CifpBatch &batch, std::function<bool()> flush)
        : m_lookup(lookup), m_batch(batch), m_flush(std::move(flush))
    {
    }

    // False when parsing stopped because the writer gave up. check learns which lines were records
    // that could be read; the last record of a file must end with its ';' or a line end.
    bool parse(const QString &airport, const QByteArray &content, InputCheck *check)
    {
        m_airport = airport;
        m_airportKey = airport.toLatin1();
        m_runwayPoints.clear();
        m_procedures.clear();
        std::vector<QByteArrayView> lines;
        splitLines(content, &lines);
        // Per line: 0 not a record (blank), 1 read, 2 unreadable.
        std::vector<char> state(lines.size(), 0);
        double latSum = 0.0;
        double lonSum = 0.0;
        for (size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].startsWith("RWY:"))
                state[i] = readRunway(lines[i], &latSum, &lonSum) ? 1 : 2;
            else if (lines[i].startsWith("PRDAT:"))
                state[i] = 1;
        }
        const auto airportIt = m_lookup.airports.constFind(m_airportKey);
        m_hasReference = true;
        if (airportIt != m_lookup.airports.cend())
            m_reference = airportIt.value();
        else if (!m_runwayPoints.isEmpty())
            m_reference = {latSum / m_runwayPoints.size(), lonSum / m_runwayPoints.size()};
        else
            m_hasReference = false;
        for (size_t i = 0; i < lines.size(); ++i) {
            const QByteArrayView line = lines[i];
            if (!line.isEmpty() && !line.startsWith("RWY:") && !line.startsWith("PRDAT:")) {
                state[i] = readLeg(line) ? 1 : 2;
                if (!m_flush())
                    return false;
            }
        }
        const bool endsWithLineEnd = content.endsWith('\n');
        for (size_t i = 0; i < lines.size(); ++i) {
            if (state[i] == 0)
                continue;
            const bool complete = i + 1 < lines.size() || endsWithLineEnd;
            check->note(int(i) + 1, state[i] == 1 && (complete || lines[i].endsWith(';')), complete);
        }
        return true;
    }

private:
    static void splitLines(const QByteArray &content, std::vector<QByteArrayView> *lines)
    {
        QByteArrayView rest(content);
        if (rest.startsWith("\xEF\xBB\xBF"))
            rest = rest.sliced(3);
        while (!rest.isEmpty()) {
            qsizetype end = rest.indexOf('\n');
            const QByteArrayView line = end < 0 ? rest : rest.first(end);
            rest = end < 0 ? QByteArrayView() : rest.sliced(end + 1);
            lines->push_back(trimmed(line));
        }
    }

    bool readRunway(QByteArrayView line, double *latSum, double *lonSum)
    {
        // RWY:RW16L,<gradient>,<ellipsoid>,<elevation>,<tch ind>,<loc>,<cat>,<tch>;N47272450,W122182125,0000;
        const qsizetype semicolon = line.indexOf(';');
        QByteArrayView head[2];
        QByteArrayView position[4];
        double lat = 0.0;
        double lon = 0.0;
        if (semicolon < 0 || splitAt(line.sliced(4, semicolon - 4), ',', head, 1) < 1 ||
            splitAt(line.sliced(semicolon + 1), ',', position, 3) < 2 || !parseCifpCoordinate(position[0], 2, &lat) ||
            !parseCifpCoordinate(position[1], 3, &lon)) {
            ++m_batch.skipped;
            return false;
        }
        m_runwayPoints.insert(head[0].toByteArray(), {lat, lon});
        *latSum += lat;
        *lonSum += lon;
        return true;
    }

    bool readLeg(QByteArrayView line)
    {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0) {
            ++m_batch.skipped;
            return false;
        }
        const QByteArrayView type = line.first(colon);
        if (type != QByteArrayView("SID") && type != QByteArrayView("STAR") && type != QByteArrayView("APPCH")) {
            ++m_batch.skipped;
            return false;
        }
        // Field i of the record is f[i - 1]; the last one ends with ';'.
        QByteArrayView f[40];
        QByteArrayView body = line.sliced(colon + 1);
        if (body.endsWith(';'))
            body.chop(1);
        const int count = splitAt(body, ',', f, 40);
        int seq = 0;
        if (count < 12 || count > 40 || !toInt(f[0], &seq) || f[2].isEmpty() || f[11].isEmpty()) {
            ++m_batch.skipped;
            return false;
        }
        LegRow leg;
        leg.seq = seq;
        leg.fixIdent = latin1(f[4]);
        leg.fixRegion = latin1(f[5]);
        leg.fixType1 = latin1(f[6]);
        leg.fixType2 = latin1(f[7]);
        leg.fixType3 = latin1(f[8]);
        leg.legType = latin1(f[11]);
        leg.altitudeFt = count > 23 ? parseAltitudeFt(f[23]) : 0.0;
        if (count > 27)
            toInt(f[27], &leg.speedKts);
        if (!f[4].isEmpty() && !resolve(f[4], f[6], f[7], &leg.lat, &leg.lon))
            ++m_batch.unresolved;
        leg.procedure = procedureFor(type, f[2], f[3]);
        m_batch.legs.push_back(std::move(leg));
        return true;
    }

    ProcedureRow procedureFor(QByteArrayView type, QByteArrayView ident, QByteArrayView transition)
    {
        QByteArray key;
        key.reserve(type.size() + ident.size() + transition.size() + 2);
        key.append(type).append('|').append(ident).append('|').append(transition);
        const auto it = m_procedures.constFind(key);
        if (it != m_procedures.cend())
            return it.value();
        ProcedureRow row;
        row.airport = m_airport;
        row.type = latin1(type);
        row.name = latin1(ident);
        row.runway = runwayKey(type, ident, transition);
        m_batch.procedures.push_back(row);
        m_procedures.insert(key, row);
        return row;
    }

    bool resolve(QByteArrayView ident, QByteArrayView section, QByteArrayView subsection, double *lat, double *lon)
    {
        const QByteArray key = QByteArray::fromRawData(ident.data(), ident.size());
        const char sec = section.isEmpty() ? ' ' : section[0];
        const char sub = subsection.isEmpty() ? ' ' : subsection[0];
        GeoPoint point;
        bool found = false;
        if (sec == 'P' && sub == 'G') {
            found = runway(key, &point);
        } else if (sec == 'P' && sub == 'A') {
            const auto it = m_lookup.airports.constFind(key);
            found = it != m_lookup.airports.cend();
            if (found)
                point = it.value();
        } else if (sec == 'D' || (sec == 'P' && (sub == 'N' || sub == 'I'))) {
            found = nearestAid(key, sub == 'B' || sub == 'N', &point) || nearestWaypoint(key, &point);
        } else {
            found = nearestWaypoint(key, &point) || nearestAid(key, false, &point);
        }
        if (found) {
            *lat = point.lat;
            *lon = point.lon;
        }
        return found;
    }

    bool runway(const QByteArray &ident, GeoPoint *point) const
    {
        const auto own = m_runwayPoints.constFind(ident);
        if (own != m_runwayPoints.cend()) {
            *point = own.value();
            return true;
        }
        if (!ident.startsWith("RW"))
            return false;
        const auto it = m_lookup.runways.constFind(m_airportKey + '|' + ident.mid(2));
        if (it == m_lookup.runways.cend())
            return false;
        *point = it.value();
        return true;
    }

    double distance2(const GeoPoint &p) const
    {
        const double dLat = p.lat - m_reference.lat;
        const double dLon = (p.lon - m_reference.lon) * std::cos(m_reference.lat * M_PI / 180.0);
        return dLat * dLat + dLon * dLon;
    }

    bool nearestWaypoint(const QByteArray &ident, GeoPoint *point) const
    {
        const auto it = m_lookup.waypoints.constFind(ident);
        if (it == m_lookup.waypoints.cend() || it->empty())
            return false;
        double best = std::numeric_limits<double>::max();
        for (const GeoPoint &p : it.value()) {
            const double d = m_hasReference ? distance2(p) : 0.0;
            if (d < best) {
                best = d;
                *point = p;
            }
        }
        return true;
    }

    // Same-named aids of the wanted kind first; any same-named aid when none is of that kind.
    bool nearestAid(const QByteArray &ident, bool wantNdb, GeoPoint *point) const
    {
        const auto it = m_lookup.navaids.constFind(ident);
        if (it == m_lookup.navaids.cend() || it->empty())
            return false;
        double best = std::numeric_limits<double>::max();
        bool bestMatchesKind = false;
        for (const AidPoint &aid : it.value()) {
            const bool matches = aid.isNdb == wantNdb;
            const double d = m_hasReference ? distance2(aid.point) : 0.0;
            if ((matches && !bestMatchesKind) || (matches == bestMatchesKind && d < best)) {
                best = d;
                bestMatchesKind = matches;
                *point = aid.point;
            }
        }
        return true;
    }

    const FixLookup &m_lookup;
    CifpBatch &m_batch;
    QString m_airport;
    QByteArray m_airportKey;
    QHash<QByteArray, GeoPoint> m_runwayPoints;
    std::function<bool()> m_flush;
    QHash<QByteArray, ProcedureRow> m_procedures; // of the current file
    GeoPoint m_reference;
    bool m_hasReference = false;
};

} // namespace

void produceCifp(const QStringList &files, const FixLookup &lookup, BatchQueue<CifpBatch> &queue)
{
    CifpBatch batch;
    int done = 0;
    const auto flush = [&]() {
        if (int(batch.legs.size()) < kLegsPerBatch)
            return true;
        batch.filesDone = done;
        const bool ok = queue.push(std::move(batch));
        batch = CifpBatch();
        return ok;
    };
    CifpFileParser parser(lookup, batch, flush);
    for (const QString &file : files) {
        if (queue.aborted())
            return;
        QFile in(file);
        if (!in.open(QIODevice::ReadOnly)) {
            batch.error = QStringLiteral("importXPlaneCifp: cannot open %1: %2").arg(file, in.errorString());
            queue.push(std::move(batch));
            return;
        }
        const QByteArray content = in.readAll();
        InputCheck check;
        if (!parser.parse(QFileInfo(file).completeBaseName().toUpper(), content, &check))
            return;
        const QString problem = check.problem(file);
        if (!problem.isEmpty()) {
            batch.error = QStringLiteral("importXPlaneCifp: %1").arg(problem);
            queue.push(std::move(batch));
            return;
        }
        ++done;
    }
    batch.filesDone = done;
    queue.push(std::move(batch));
}

} // namespace navimport
