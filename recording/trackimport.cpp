#include "nav/geodesy.h"
#include "recording/trackexchange.h"
#include "recording/trackexchange_p.h"

#include <QDateTime>
#include <QHash>
#include <QIODevice>
#include <QXmlStreamReader>

#include <algorithm>
#include <cmath>

using namespace trackio;

namespace {

constexpr qint64 kMaxLineBytes = 64 * 1024;
constexpr qint64 kDefaultSpacingMs = 1000;

std::optional<qint64> parseTime(const QString &text)
{
    const QString t = text.trimmed();
    bool ok = false;
    const double number = t.toDouble(&ok);
    if (ok && std::isfinite(number)) {
        // Epoch seconds, or milliseconds when the number is that large.
        return std::abs(number) > 1e11 ? qint64(number) : qint64(std::llround(number * 1000.0));
    }
    QDateTime time = QDateTime::fromString(t, Qt::ISODateWithMs);
    if (!time.isValid())
        time = QDateTime::fromString(t, Qt::ISODate);
    if (!time.isValid())
        return std::nullopt;
    if (time.timeSpec() == Qt::LocalTime)
        time.setTimeSpec(Qt::UTC); // no zone given: tracks are written in UTC
    return time.toMSecsSinceEpoch();
}

bool validPosition(double lat, double lon)
{
    return std::isfinite(lat) && std::isfinite(lon) && std::fabs(lat) <= 90.0 && std::fabs(lon) <= 180.0;
}

// Fills what a foreign file left out from the points around each one, sorts by time and numbers.
void finishSamples(QList<TrackSample> &samples, bool haveSpeeds)
{
    std::stable_sort(samples.begin(), samples.end(),
                     [](const TrackSample &a, const TrackSample &b) { return a.timeMs < b.timeMs; });
    for (qsizetype i = 0; i < samples.size(); ++i) {
        TrackSample &s = samples[i];
        s.seq = i;
        if (s.altIndFt == 0.0)
            s.altIndFt = s.altFt;
        if (haveSpeeds || samples.size() < 2)
            continue;
        const TrackSample &a = samples.at(i == 0 ? 0 : i - 1);
        const TrackSample &b = samples.at(i == 0 ? 1 : i);
        const double hours = double(b.timeMs - a.timeMs) / 3600000.0;
        if (hours <= 0.0)
            continue;
        s.gsKt = distanceNm(a.lat, a.lon, b.lat, b.lon) / hours;
        s.vsFpm = (b.altFt - a.altFt) / (hours * 60.0);
        s.hdgTrueDeg = geodesy::initialBearingDeg(a.lat, a.lon, b.lat, b.lon);
    }
}

// ---- GPX ----

void readGpxExtension(QXmlStreamReader &xml, TrackSample &s, bool &haveSpeeds)
{
    while (xml.readNextStartElement()) {
        if (xml.namespaceUri() == QLatin1String(kExtensionNamespace) && xml.name() == QLatin1String("sample")) {
            const QXmlStreamAttributes attributes = xml.attributes();
            for (const Column &c : columns()) {
                if (attributes.hasAttribute(QLatin1String(c.name)))
                    s.*c.member = attributes.value(QLatin1String(c.name)).toDouble();
            }
            s.flags = attributes.value(QLatin1String("flags")).toUInt();
            haveSpeeds = true;
        }
        xml.skipCurrentElement();
    }
}

// One trkpt, rtept or wpt (the reader stands on its start element).
TrackSample readGpxPoint(QXmlStreamReader &xml, bool &hasTime, bool &haveSpeeds, QString *name, QString *type)
{
    TrackSample s;
    s.lat = xml.attributes().value(QLatin1String("lat")).toDouble();
    s.lon = xml.attributes().value(QLatin1String("lon")).toDouble();
    bool exactAltitude = false;
    while (xml.readNextStartElement()) {
        const auto tag = xml.name();
        if (tag == QLatin1String("ele")) {
            const double ele = xml.readElementText().toDouble();
            if (!exactAltitude)
                s.altFt = ele / kMetresPerFoot;
        } else if (tag == QLatin1String("time")) {
            if (const auto t = parseTime(xml.readElementText())) {
                s.timeMs = *t;
                hasTime = true;
            }
        } else if (tag == QLatin1String("speed")) {
            s.gsKt = xml.readElementText().toDouble() * 3600.0 / 1852.0; // GPX 1.0: m/s
            haveSpeeds = true;
        } else if (tag == QLatin1String("course")) {
            s.hdgTrueDeg = xml.readElementText().toDouble();
        } else if (tag == QLatin1String("name") && name) {
            *name = xml.readElementText();
        } else if (tag == QLatin1String("type") && type) {
            *type = xml.readElementText();
        } else if (tag == QLatin1String("extensions")) {
            const double before = s.altFt;
            readGpxExtension(xml, s, haveSpeeds);
            exactAltitude = s.altFt != before;
        } else {
            xml.skipCurrentElement();
        }
    }
    return s;
}

std::optional<ImportedTrack> readGpx(QIODevice *device, QString *error)
{
    QXmlStreamReader xml(device);
    ImportedTrack track;
    bool haveSpeeds = false;
    bool allTimed = true;
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("gpx")) {
        *error = xml.hasError() ? QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString())
                                : QStringLiteral("not a GPX file");
        return std::nullopt;
    }
    // Walks every element below <gpx>, descending into trk/trkseg/rte/metadata.
    while (!xml.atEnd() && !xml.hasError()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const auto tag = xml.name();
        if (tag == QLatin1String("trkpt") || tag == QLatin1String("rtept")) {
            if (track.samples.size() >= kMaxImportPoints) {
                *error = QStringLiteral("more than %1 points").arg(kMaxImportPoints);
                return std::nullopt;
            }
            bool hasTime = false;
            TrackSample s = readGpxPoint(xml, hasTime, haveSpeeds, nullptr, nullptr);
            if (!validPosition(s.lat, s.lon)) {
                if (track.skippedRows++ == 0)
                    track.firstProblem = QStringLiteral("line %1: position out of range").arg(xml.lineNumber());
                continue;
            }
            allTimed = allTimed && hasTime;
            track.samples << s;
        } else if (tag == QLatin1String("wpt")) {
            bool hasTime = false;
            QString name;
            QString type;
            const TrackSample at = readGpxPoint(xml, hasTime, haveSpeeds, &name, &type);
            if (hasTime && validPosition(at.lat, at.lon) && track.events.size() < kMaxImportPoints) {
                FlightEvent e;
                e.seq = track.events.size();
                e.timeMs = at.timeMs;
                e.kind = type.isEmpty() ? QString::fromLatin1(FlightEventKind::kNote) : type;
                e.text = name;
                track.events << e;
            }
        } else if (tag == QLatin1String("name") && track.name.isEmpty()) {
            track.name = xml.readElementText(QXmlStreamReader::SkipChildElements);
        }
    }
    if (xml.hasError()) {
        *error = QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString());
        return std::nullopt;
    }
    if (track.samples.isEmpty()) {
        *error = QStringLiteral("no track points");
        return std::nullopt;
    }
    if (!allTimed) {
        // Without times the points are spaced evenly from the first timed one (or from now).
        const qint64 start =
            track.samples.first().timeMs > 0 ? track.samples.first().timeMs : QDateTime::currentMSecsSinceEpoch();
        for (qsizetype i = 0; i < track.samples.size(); ++i)
            track.samples[i].timeMs = start + i * kDefaultSpacingMs;
    }
    finishSamples(track.samples, haveSpeeds);
    return track;
}

// ---- CSV ----

// Splits one line; quotes may wrap a field ("" is a quote inside). nullopt for an open quote.
std::optional<QStringList> splitCsv(const QString &line, QChar separator)
{
    QStringList fields;
    QString field;
    bool quoted = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line.at(i);
        if (quoted) {
            if (c == QLatin1Char('"') && i + 1 < line.size() && line.at(i + 1) == QLatin1Char('"')) {
                field += c;
                ++i;
            } else if (c == QLatin1Char('"')) {
                quoted = false;
            } else {
                field += c;
            }
        } else if (c == QLatin1Char('"')) {
            quoted = true;
        } else if (c == separator) {
            fields << field.trimmed();
            field.clear();
        } else {
            field += c;
        }
    }
    if (quoted)
        return std::nullopt;
    fields << field.trimmed();
    return fields;
}

// "Altitude (ft)" -> "altitude_ft".
QString normalisedHeader(QString name)
{
    name = name.trimmed().toLower();
    name.replace(QLatin1Char('('), QLatin1Char(' ')).replace(QLatin1Char(')'), QLatin1Char(' '));
    name.replace(QLatin1Char('['), QLatin1Char(' ')).replace(QLatin1Char(']'), QLatin1Char(' '));
    return name.simplified().replace(QLatin1Char(' '), QLatin1Char('_'));
}

int findColumn(const QStringList &header, std::initializer_list<const char *> names)
{
    for (const char *name : names) {
        const int index = int(header.indexOf(QLatin1String(name)));
        if (index >= 0)
            return index;
    }
    return -1;
}

std::optional<ImportedTrack> readCsv(QIODevice *device, QString *error)
{
    QByteArray headerLine = device->readLine(kMaxLineBytes);
    if (headerLine.startsWith("\xEF\xBB\xBF"))
        headerLine.remove(0, 3);
    const QString headerText = QString::fromUtf8(headerLine).trimmed();
    if (headerText.isEmpty()) {
        *error = QStringLiteral("empty file");
        return std::nullopt;
    }
    QChar separator = QLatin1Char(',');
    for (const QChar candidate : {QLatin1Char(';'), QLatin1Char('\t')}) {
        if (headerText.count(candidate) > headerText.count(separator))
            separator = candidate;
    }
    const std::optional<QStringList> rawHeader = splitCsv(headerText, separator);
    QStringList header;
    for (const QString &name : rawHeader.value_or(QStringList()))
        header << normalisedHeader(name);
    const int latCol = findColumn(header, {"lat", "latitude", "lat_deg"});
    const int lonCol = findColumn(header, {"lon", "lng", "long", "longitude", "lon_deg"});
    if (latCol < 0 || lonCol < 0) {
        *error = QStringLiteral("the header names no latitude and longitude columns");
        return std::nullopt;
    }
    const int timeCol = findColumn(header, {"time_utc", "time", "timestamp", "utc", "datetime", "date_time"});
    const int elapsedCol = findColumn(header, {"elapsed_s", "elapsed", "seconds"});
    const int feetCol = findColumn(header, {"alt_ft", "altitude_ft", "alt", "altitude"});
    const int metresCol = findColumn(header, {"alt_m", "altitude_m", "ele", "elevation", "elevation_m"});
    QList<QPair<int, double TrackSample::*>> valueCols;
    bool haveSpeeds = false;
    for (const Column &c : columns()) {
        const int index = int(header.indexOf(QLatin1String(c.name)));
        if (index >= 0 && c.member != &TrackSample::altFt) {
            valueCols << qMakePair(index, c.member);
            haveSpeeds = haveSpeeds || c.member == &TrackSample::gsKt;
        }
    }
    int flagCols[5];
    const char *flagNames[5] = {"on_ground", "gear_down", "park_brake", "ap_master", "engine_mask"};
    for (int i = 0; i < 5; ++i)
        flagCols[i] = int(header.indexOf(QLatin1String(flagNames[i])));

    ImportedTrack track;
    const qint64 base = QDateTime::currentMSecsSinceEpoch();
    int lineNumber = 1;
    auto skip = [&track, &lineNumber](const QString &why) {
        if (track.skippedRows++ == 0)
            track.firstProblem = QStringLiteral("line %1: %2").arg(lineNumber).arg(why);
    };
    while (!device->atEnd()) {
        const QByteArray bytes = device->readLine(kMaxLineBytes);
        ++lineNumber;
        if (bytes.size() >= kMaxLineBytes - 1 && !bytes.endsWith('\n')) {
            *error = QStringLiteral("line %1 is longer than %2 bytes").arg(lineNumber).arg(kMaxLineBytes);
            return std::nullopt;
        }
        const QString line = QString::fromUtf8(bytes).trimmed();
        if (line.isEmpty())
            continue;
        const std::optional<QStringList> fields = splitCsv(line, separator);
        if (!fields || fields->size() < header.size()) {
            skip(fields ? QStringLiteral("%1 of %2 fields").arg(fields->size()).arg(header.size())
                        : QStringLiteral("unclosed quote"));
            continue;
        }
        TrackSample s;
        bool latOk = false;
        bool lonOk = false;
        s.lat = fields->at(latCol).toDouble(&latOk);
        s.lon = fields->at(lonCol).toDouble(&lonOk);
        if (!latOk || !lonOk || !validPosition(s.lat, s.lon)) {
            skip(QStringLiteral("no valid position"));
            continue;
        }
        if (timeCol >= 0) {
            const std::optional<qint64> t = parseTime(fields->at(timeCol));
            if (!t) {
                skip(QStringLiteral("unreadable time \"%1\"").arg(fields->at(timeCol)));
                continue;
            }
            s.timeMs = *t;
        } else if (elapsedCol >= 0) {
            s.timeMs = base + qint64(std::llround(fields->at(elapsedCol).toDouble() * 1000.0));
        } else {
            s.timeMs = base + track.samples.size() * kDefaultSpacingMs;
        }
        if (feetCol >= 0)
            s.altFt = fields->at(feetCol).toDouble();
        else if (metresCol >= 0)
            s.altFt = fields->at(metresCol).toDouble() / kMetresPerFoot;
        for (const auto &[index, member] : std::as_const(valueCols)) {
            const double value = fields->at(index).toDouble();
            s.*member = std::isfinite(value) ? value : 0.0;
        }
        for (int i = 0; i < 4; ++i) {
            if (flagCols[i] >= 0 && fields->at(flagCols[i]).toInt() != 0)
                s.flags |= 1u << i;
        }
        if (flagCols[4] >= 0)
            s.flags |= (fields->at(flagCols[4]).toUInt() & 0xF) << 4;
        if (track.samples.size() >= kMaxImportPoints) {
            *error = QStringLiteral("more than %1 points").arg(kMaxImportPoints);
            return std::nullopt;
        }
        track.samples << s;
    }
    if (track.samples.isEmpty()) {
        *error = track.firstProblem.isEmpty() ? QStringLiteral("no track points")
                                              : QStringLiteral("no usable rows (%1)").arg(track.firstProblem);
        return std::nullopt;
    }
    finishSamples(track.samples, haveSpeeds);
    return track;
}

} // namespace

std::optional<ImportedTrack> readTrack(TrackFormat format, QIODevice *device, QString *error)
{
    switch (format) {
    case TrackFormat::Gpx:
        return readGpx(device, error);
    case TrackFormat::Csv:
        return readCsv(device, error);
    case TrackFormat::Kml:
        break;
    }
    *error = QStringLiteral("KML files are written, not read");
    return std::nullopt;
}
