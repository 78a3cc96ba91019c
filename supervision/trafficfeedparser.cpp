#include "supervision/trafficfeedparser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace {

// Callsigns on the network are short; a long one is not a callsign.
constexpr int kMaxCallsignLength = 16;
constexpr double kMaxAltitudeFt = 100000.0;
constexpr double kMaxGroundSpeedKts = 2000.0;

bool finiteIn(const QJsonValue &value, double limit, double *out)
{
    if (!value.isDouble())
        return false;
    *out = value.toDouble();
    return std::isfinite(*out) && std::abs(*out) <= limit;
}

QString callsignOf(const QJsonObject &record)
{
    const QString callsign = record.value(QLatin1String("callsign")).toString().trimmed();
    return callsign.size() <= kMaxCallsignLength ? callsign : QString();
}

std::optional<TrafficPilot> readPilot(const QJsonObject &record)
{
    TrafficPilot pilot;
    pilot.callsign = callsignOf(record);
    double altitude = 0.0;
    double speed = 0.0;
    double heading = 0.0;
    if (pilot.callsign.isEmpty() || !finiteIn(record.value(QLatin1String("latitude")), 90.0, &pilot.lat) ||
        !finiteIn(record.value(QLatin1String("longitude")), 180.0, &pilot.lon) ||
        !finiteIn(record.value(QLatin1String("altitude")), kMaxAltitudeFt, &altitude) ||
        !finiteIn(record.value(QLatin1String("groundspeed")), kMaxGroundSpeedKts, &speed))
        return std::nullopt;
    pilot.altitudeFt = altitude;
    pilot.groundSpeedKts = std::max(0.0, speed);
    if (finiteIn(record.value(QLatin1String("heading")), 720.0, &heading))
        pilot.headingDeg = std::fmod(heading + 360.0, 360.0);
    pilot.transponder = record.value(QLatin1String("transponder")).toString().left(4);
    const QJsonObject plan = record.value(QLatin1String("flight_plan")).toObject();
    pilot.aircraftType = plan.value(QLatin1String("aircraft_short")).toString().left(8);
    if (pilot.aircraftType.isEmpty())
        pilot.aircraftType = plan.value(QLatin1String("aircraft")).toString().section(QLatin1Char('/'), 0, 0).left(8);
    pilot.departure = plan.value(QLatin1String("departure")).toString().left(8);
    pilot.arrival = plan.value(QLatin1String("arrival")).toString().left(8);
    return pilot;
}

std::optional<TrafficController> readController(const QJsonObject &record, bool atis)
{
    TrafficController controller;
    controller.callsign = callsignOf(record);
    controller.facility = record.value(QLatin1String("facility")).toInt(-1);
    controller.frequency = record.value(QLatin1String("frequency")).toString().left(8);
    controller.visualRangeNm = std::clamp(record.value(QLatin1String("visual_range")).toInt(), 0, 5000);
    controller.atis = atis;
    if (controller.callsign.isEmpty() || controller.facility < 0 || controller.facility > 6)
        return std::nullopt;
    return controller;
}

} // namespace

std::optional<TrafficSnapshot> TrafficFeedParser::parse(const QByteArray &bytes, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("not JSON (%1 at byte %2)").arg(parseError.errorString()).arg(parseError.offset);
        return std::nullopt;
    }
    const QJsonObject root = document.object();
    const QJsonObject general = root.value(QLatin1String("general")).toObject();
    if (general.value(QLatin1String("version")).toInt() != 3) {
        *error = QStringLiteral("not a version 3 traffic feed");
        return std::nullopt;
    }
    if (!root.value(QLatin1String("pilots")).isArray() || !root.value(QLatin1String("controllers")).isArray()) {
        *error = QStringLiteral("no pilots or controllers list");
        return std::nullopt;
    }
    TrafficSnapshot snapshot;
    snapshot.updateTimestamp = general.value(QLatin1String("update_timestamp")).toString().left(40);
    for (const QJsonValue &value : root.value(QLatin1String("pilots")).toArray()) {
        if (const auto pilot = readPilot(value.toObject()))
            snapshot.pilots.append(*pilot);
        else
            ++snapshot.skippedRecords;
    }
    const auto readStations = [&snapshot](const QJsonArray &records, bool atis) {
        for (const QJsonValue &value : records) {
            const auto controller = readController(value.toObject(), atis);
            if (!controller)
                ++snapshot.skippedRecords;
            else if (controller->facility > 0) // observers are not controllers
                snapshot.controllers.append(*controller);
        }
    };
    readStations(root.value(QLatin1String("controllers")).toArray(), false);
    readStations(root.value(QLatin1String("atis")).toArray(), true);
    return snapshot;
}
