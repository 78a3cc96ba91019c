#pragma once

#include "supervision/supervisionoverlays.h"
#include "supervision/trafficfeedparser.h"

#include <QList>

class INavDataProvider;
class SectorManager;

// Places the network's controllers, whose records carry no position: first from the loaded
// sector files (SectorManager::controllerPosition), else at the airport the callsign starts with
// in the navigation data (its ICAO code, or for a three-letter prefix the code with a leading K,
// as North American callsigns drop it). Controllers that neither places are left out. Both sources
// are borrowed and may be null.
namespace ControllerPlacement {

QList<PlacedController> place(const QList<TrafficController> &controllers, const SectorManager *sectors,
                              const INavDataProvider *navData);

} // namespace ControllerPlacement
