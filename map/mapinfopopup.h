#pragma once

#include "map/navhittest.h"

#include <QFrame>

class INavDataProvider;
class QLabel;

// The information card shown where the user clicked an object on the map: for an airport its
// name, city, elevation, tower, runways with length, width, surface and ILS, and its
// frequencies; for a navaid its type, frequency, range, DME and position; for a fix its type
// and position; for an airspace its class and vertical limits.
//
// A child of the map widget (so it moves and hides with it), created by it; GUI thread only.
class MapInfoPopup : public QFrame
{
    Q_OBJECT
public:
    explicit MapInfoPopup(QWidget *parent);

    // Fills the card for the hit (runways and frequencies asked from the provider, which may
    // be null) and shows it at pos in the parent's coordinates, kept inside the parent.
    void showHit(const NavHit &hit, INavDataProvider *provider, const QPoint &pos);
    // The card's text as rich text, for a hit.
    static QString describe(const NavHit &hit, INavDataProvider *provider);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    // A card that is open is rewritten in the new language.
    void changeEvent(QEvent *event) override;

private:
    static QString describeAirport(const AirportRecord &airport, INavDataProvider *provider);
    static QString describeNavaid(const NavaidRecord &navaid);
    static QString describeWaypoint(const WaypointRecord &waypoint);
    static QString describeAirspace(const AirspaceRecord &airspace);

    QLabel *m_text = nullptr;
    NavHit m_hit;
    INavDataProvider *m_provider = nullptr; // borrowed; the map hides the card before replacing it
};
