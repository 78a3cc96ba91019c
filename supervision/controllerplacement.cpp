#include "supervision/controllerplacement.h"

#include "nav/inavdataprovider.h"
#include "supervision/sectormanager.h"

namespace {

std::optional<QPointF> airportOf(const QString &callsign, const INavDataProvider *navData)
{
    if (!navData)
        return std::nullopt;
    const QString prefix = callsign.section(QLatin1Char('_'), 0, 0).toUpper();
    QStringList candidates{prefix};
    if (prefix.size() == 3)
        candidates.append(QLatin1Char('K') + prefix);
    for (const QString &icao : std::as_const(candidates)) {
        const AirportRecord airport = navData->airport(icao);
        if (!airport.icao.isEmpty())
            return QPointF(airport.lat, airport.lon);
    }
    return std::nullopt;
}

} // namespace

QList<PlacedController> ControllerPlacement::place(const QList<TrafficController> &controllers,
                                                   const SectorManager *sectors, const INavDataProvider *navData)
{
    QList<PlacedController> placed;
    for (const TrafficController &c : controllers) {
        std::optional<QPointF> at = sectors ? sectors->controllerPosition(c.callsign) : std::nullopt;
        if (!at)
            at = airportOf(c.callsign, navData);
        if (at)
            placed.append({c.callsign, c.frequency, c.facility, at->x(), at->y()});
    }
    return placed;
}
