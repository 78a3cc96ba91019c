#include "recording/trackexchange.h"
#include "recording/trackexchange_p.h"

#include <QDateTime>
#include <QFileInfo>
#include <QIODevice>
#include <QTextStream>
#include <QXmlStreamWriter>

#include <algorithm>
#include <cmath>

namespace trackio {

const QList<Column> &columns()
{
    // Name, decimals, accessor. The order is the CSV column order and the GPX extension's.
    static const QList<Column> list = {
        {"alt_ft", 1, &TrackSample::altFt},
        {"alt_ind_ft", 1, &TrackSample::altIndFt},
        {"agl_ft", 1, &TrackSample::aglFt},
        {"hdg_mag_deg", 2, &TrackSample::hdgMagDeg},
        {"hdg_true_deg", 2, &TrackSample::hdgTrueDeg},
        {"ias_kt", 2, &TrackSample::iasKt},
        {"tas_kt", 2, &TrackSample::tasKt},
        {"gs_kt", 2, &TrackSample::gsKt},
        {"vs_fpm", 1, &TrackSample::vsFpm},
        {"mach", 4, &TrackSample::mach},
        {"pitch_deg", 2, &TrackSample::pitchDeg},
        {"bank_deg", 2, &TrackSample::bankDeg},
        {"g", 3, &TrackSample::gLoad},
        {"fuel_gal", 2, &TrackSample::fuelGal},
        {"flaps_pct", 1, &TrackSample::flapsPct},
        {"throttle_pct", 1, &TrackSample::throttlePct},
        {"baro_hpa", 2, &TrackSample::baroHpa},
        {"ap_alt_ft", 0, &TrackSample::apAltFt},
        {"ap_hdg_deg", 1, &TrackSample::apHdgDeg},
        {"ap_spd_kt", 1, &TrackSample::apSpdKt},
    };
    return list;
}

QString isoTime(qint64 ms)
{
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC).toString(Qt::ISODateWithMs);
}

QString number(double value, int decimals)
{
    QString text = QString::number(value, 'f', decimals);
    if (text.startsWith(QLatin1Char('-')) && text.toDouble() == 0.0)
        text.remove(0, 1);
    return text;
}

} // namespace trackio

using namespace trackio;

namespace {

QString flightTitle(const FlightInfo &info)
{
    QStringList parts;
    for (const QString &part : {info.callsign, info.aircraft, info.simulator}) {
        if (!part.isEmpty())
            parts << part;
    }
    parts << isoTime(info.startMs);
    return parts.join(QLatin1Char(' '));
}

// The track's state at a time (for placing events).
TrackSample stateAt(const QList<TrackSample> &samples, qint64 timeMs)
{
    if (samples.isEmpty())
        return {};
    const auto after = std::upper_bound(samples.cbegin(), samples.cend(), timeMs,
                                        [](qint64 t, const TrackSample &s) { return t < s.timeMs; });
    if (after == samples.cbegin())
        return samples.first();
    if (after == samples.cend())
        return samples.last();
    return interpolate(*(after - 1), *after, timeMs);
}

QString coordinates(const TrackSample &s)
{
    return QStringLiteral("%1,%2,%3").arg(number(s.lon, 7), number(s.lat, 7), number(s.altFt * kMetresPerFoot, 1));
}

void writeGpx(const RecordedFlight &flight, QXmlStreamWriter &xml)
{
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("gpx"));
    xml.writeDefaultNamespace(QLatin1String(kGpxNamespace));
    xml.writeNamespace(QLatin1String(kExtensionNamespace), QStringLiteral("zbr"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.1"));
    xml.writeAttribute(QStringLiteral("creator"), QStringLiteral("Zobrel"));
    xml.writeStartElement(QStringLiteral("metadata"));
    xml.writeTextElement(QStringLiteral("name"), flightTitle(flight.info));
    xml.writeTextElement(QStringLiteral("time"), isoTime(flight.info.startMs));
    xml.writeEndElement();
    for (const FlightEvent &e : flight.events) {
        const TrackSample at = stateAt(flight.samples, e.timeMs);
        xml.writeStartElement(QStringLiteral("wpt"));
        xml.writeAttribute(QStringLiteral("lat"), number(at.lat, 7));
        xml.writeAttribute(QStringLiteral("lon"), number(at.lon, 7));
        xml.writeTextElement(QStringLiteral("ele"), number(at.altFt * kMetresPerFoot, 1));
        xml.writeTextElement(QStringLiteral("time"), isoTime(e.timeMs));
        xml.writeTextElement(QStringLiteral("name"), e.text);
        xml.writeTextElement(QStringLiteral("type"), e.kind);
        xml.writeEndElement();
    }
    xml.writeStartElement(QStringLiteral("trk"));
    xml.writeTextElement(QStringLiteral("name"), flightTitle(flight.info));
    xml.writeStartElement(QStringLiteral("trkseg"));
    for (const TrackSample &s : flight.samples) {
        xml.writeStartElement(QStringLiteral("trkpt"));
        xml.writeAttribute(QStringLiteral("lat"), number(s.lat, 7));
        xml.writeAttribute(QStringLiteral("lon"), number(s.lon, 7));
        xml.writeTextElement(QStringLiteral("ele"), number(s.altFt * kMetresPerFoot, 2));
        xml.writeTextElement(QStringLiteral("time"), isoTime(s.timeMs));
        xml.writeStartElement(QStringLiteral("extensions"));
        xml.writeStartElement(QLatin1String(kExtensionNamespace), QStringLiteral("sample"));
        for (const Column &c : columns())
            xml.writeAttribute(QLatin1String(c.name), number(s.*c.member, c.decimals));
        xml.writeAttribute(QStringLiteral("flags"), QString::number(s.flags));
        xml.writeEndElement();
        xml.writeEndElement();
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
}

void writeKmlPoint(QXmlStreamWriter &xml, const QString &name, const QString &description, qint64 timeMs,
                   const TrackSample &at, const QString &style)
{
    xml.writeStartElement(QStringLiteral("Placemark"));
    xml.writeTextElement(QStringLiteral("name"), name);
    xml.writeTextElement(QStringLiteral("description"), description);
    xml.writeStartElement(QStringLiteral("TimeStamp"));
    xml.writeTextElement(QStringLiteral("when"), isoTime(timeMs));
    xml.writeEndElement();
    xml.writeTextElement(QStringLiteral("styleUrl"), style);
    xml.writeStartElement(QStringLiteral("Point"));
    xml.writeTextElement(QStringLiteral("altitudeMode"), QStringLiteral("absolute"));
    xml.writeTextElement(QStringLiteral("coordinates"), coordinates(at));
    xml.writeEndElement();
    xml.writeEndElement();
}

void writeKmlStyle(QXmlStreamWriter &xml, const QString &id, const QString &colour, bool line)
{
    xml.writeStartElement(QStringLiteral("Style"));
    xml.writeAttribute(QStringLiteral("id"), id);
    xml.writeStartElement(line ? QStringLiteral("LineStyle") : QStringLiteral("IconStyle"));
    xml.writeTextElement(QStringLiteral("color"), colour);
    if (line)
        xml.writeTextElement(QStringLiteral("width"), QStringLiteral("3"));
    xml.writeEndElement();
    xml.writeEndElement();
}

void writeKml(const RecordedFlight &flight, QXmlStreamWriter &xml)
{
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("kml"));
    xml.writeDefaultNamespace(QStringLiteral("http://www.opengis.net/kml/2.2"));
    xml.writeStartElement(QStringLiteral("Document"));
    xml.writeTextElement(QStringLiteral("name"), flightTitle(flight.info));
    // KML colours are aabbggrr.
    writeKmlStyle(xml, QStringLiteral("track"), QStringLiteral("ff00a5ff"), true);
    writeKmlStyle(xml, QStringLiteral("event"), QStringLiteral("ffff00ff"), false);
    writeKmlStyle(xml, QStringLiteral("landing"), QStringLiteral("ff00ff00"), false);
    xml.writeStartElement(QStringLiteral("Placemark"));
    xml.writeTextElement(QStringLiteral("name"), QStringLiteral("Track"));
    xml.writeTextElement(QStringLiteral("styleUrl"), QStringLiteral("#track"));
    xml.writeStartElement(QStringLiteral("LineString"));
    xml.writeTextElement(QStringLiteral("tessellate"), QStringLiteral("1"));
    xml.writeTextElement(QStringLiteral("altitudeMode"), QStringLiteral("absolute"));
    QStringList points;
    points.reserve(flight.samples.size());
    for (const TrackSample &s : flight.samples)
        points << coordinates(s);
    xml.writeTextElement(QStringLiteral("coordinates"), points.join(QLatin1Char(' ')));
    xml.writeEndElement();
    xml.writeEndElement();

    xml.writeStartElement(QStringLiteral("Folder"));
    xml.writeTextElement(QStringLiteral("name"), QStringLiteral("Events"));
    for (const FlightEvent &e : flight.events)
        writeKmlPoint(xml, e.text, e.kind, e.timeMs, stateAt(flight.samples, e.timeMs), QStringLiteral("#event"));
    xml.writeEndElement();
    xml.writeStartElement(QStringLiteral("Folder"));
    xml.writeTextElement(QStringLiteral("name"), QStringLiteral("Landings"));
    for (const LandingRecord &l : flight.landings) {
        TrackSample at = stateAt(flight.samples, l.timeMs);
        at.lat = l.lat;
        at.lon = l.lon;
        writeKmlPoint(xml, QStringLiteral("Landing %1").arg(l.index + 1),
                      QStringLiteral("%1 ft/min, %2 g").arg(number(l.vsFpm, 0), number(l.gLoad, 2)), l.timeMs, at,
                      QStringLiteral("#landing"));
    }
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
}

void writeCsv(const RecordedFlight &flight, QTextStream &out)
{
    QStringList header{QStringLiteral("time_utc"), QStringLiteral("elapsed_s"), QStringLiteral("lat"),
                       QStringLiteral("lon")};
    for (const Column &c : columns())
        header << QLatin1String(c.name);
    header << QStringLiteral("on_ground") << QStringLiteral("gear_down") << QStringLiteral("park_brake")
           << QStringLiteral("ap_master") << QStringLiteral("engine_mask");
    out << header.join(QLatin1Char(',')) << '\n';
    const qint64 start = flight.samples.isEmpty() ? 0 : flight.samples.first().timeMs;
    for (const TrackSample &s : flight.samples) {
        QStringList row{isoTime(s.timeMs), number(double(s.timeMs - start) / 1000.0, 3), number(s.lat, 7),
                        number(s.lon, 7)};
        for (const Column &c : columns())
            row << number(s.*c.member, c.decimals);
        for (const quint32 flag : {quint32(TrackSample::OnGround), quint32(TrackSample::GearDown),
                                   quint32(TrackSample::ParkBrake), quint32(TrackSample::ApMaster)})
            row << QString::number((s.flags & flag) ? 1 : 0);
        row << QString::number((s.flags >> 4) & 0xF);
        out << row.join(QLatin1Char(',')) << '\n';
    }
}

} // namespace

QString trackFormatSuffix(TrackFormat format)
{
    switch (format) {
    case TrackFormat::Gpx:
        return QStringLiteral("gpx");
    case TrackFormat::Kml:
        return QStringLiteral("kml");
    case TrackFormat::Csv:
        return QStringLiteral("csv");
    }
    return {};
}

std::optional<TrackFormat> trackFormatFromPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    for (const TrackFormat format : {TrackFormat::Gpx, TrackFormat::Kml, TrackFormat::Csv}) {
        if (suffix == trackFormatSuffix(format))
            return format;
    }
    return std::nullopt;
}

bool writeTrack(const RecordedFlight &flight, TrackFormat format, QIODevice *device, QString *error)
{
    if (format == TrackFormat::Csv) {
        QTextStream out(device);
        writeCsv(flight, out);
        out.flush();
        if (out.status() != QTextStream::Ok) {
            *error = device->errorString();
            return false;
        }
        return true;
    }
    QXmlStreamWriter xml(device);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(1);
    if (format == TrackFormat::Gpx)
        writeGpx(flight, xml);
    else
        writeKml(flight, xml);
    if (xml.hasError()) {
        *error = device->errorString();
        return false;
    }
    return true;
}
