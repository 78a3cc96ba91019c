#include "map/mapinfopopup.h"

#include "map/mapformat.h"
#include "nav/inavdataprovider.h"

#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

#include <cmath>

namespace {

constexpr int kMarginPx = 8;
constexpr int kMaxWidthPx = 380;

QString row(const QString &caption, const QString &value)
{
    return QStringLiteral("<tr><td style='color:#8a96a8; padding-right:8px'>%1</td><td>%2</td></tr>")
        .arg(caption.toHtmlEscaped(), value);
}

QString title(const QString &ident, const QString &subtitle)
{
    return QStringLiteral("<div style='font-size:14px'><b>%1</b> %2</div>")
        .arg(ident.toHtmlEscaped(), subtitle.toHtmlEscaped());
}

bool reciprocal(const RunwayRecord &a, const RunwayRecord &b)
{
    const double diff = std::fmod(std::abs(a.heading - b.heading), 360.0);
    return std::abs(diff - 180.0) < 3.0 && a.length == b.length;
}

QString ilsText(const RunwayRecord &r)
{
    if (r.ilsFreq <= 0.0)
        return QString();
    QString text = QStringLiteral("ILS %1 %2").arg(r.ilsIdent).arg(r.ilsFreq, 0, 'f', 2);
    return text.simplified();
}

} // namespace

MapInfoPopup::MapInfoPopup(QWidget *parent) : QFrame(parent), m_text(new QLabel(this))
{
    setObjectName(QStringLiteral("mapInfoPopup"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setStyleSheet(QStringLiteral("MapInfoPopup { background: rgba(250, 251, 253, 245); border: 1px solid #5a6a80;"
                                 " border-radius: 4px; } QLabel { color: #161c28; }"));
    setFocusPolicy(Qt::ClickFocus);
    m_text->setObjectName(QStringLiteral("mapInfoText"));
    m_text->setTextFormat(Qt::RichText);
    m_text->setWordWrap(true);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 8, 10, 8);
    layout->addWidget(m_text);
    hide();
}

void MapInfoPopup::showHit(const NavHit &hit, INavDataProvider *provider, const QPoint &pos)
{
    m_hit = hit;
    m_provider = provider;
    m_text->setText(describe(hit, provider));
    m_text->setMaximumWidth(kMaxWidthPx);
    adjustSize();
    QWidget *host = parentWidget();
    QPoint at = pos + QPoint(12, 12);
    if (host) {
        // Beside the click, flipped to the other side when it would leave the map.
        if (at.x() + width() > host->width() - kMarginPx)
            at.setX(pos.x() - 12 - width());
        if (at.y() + height() > host->height() - kMarginPx)
            at.setY(pos.y() - 12 - height());
        at.setX(qBound(kMarginPx, at.x(), std::max(kMarginPx, host->width() - width() - kMarginPx)));
        at.setY(qBound(kMarginPx, at.y(), std::max(kMarginPx, host->height() - height() - kMarginPx)));
    }
    move(at);
    show();
    raise();
}

void MapInfoPopup::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange && isVisible()) {
        m_text->setText(describe(m_hit, m_provider));
        adjustSize();
    }
    QFrame::changeEvent(event);
}

void MapInfoPopup::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        hide();
        return;
    }
    QFrame::keyPressEvent(event);
}

QString MapInfoPopup::describe(const NavHit &hit, INavDataProvider *provider)
{
    switch (hit.type) {
    case NavHit::Airport:
        return describeAirport(hit.airport, provider);
    case NavHit::Navaid:
        return describeNavaid(hit.navaid);
    case NavHit::Waypoint:
        return describeWaypoint(hit.waypoint);
    case NavHit::Airspace:
        return describeAirspace(hit.airspace);
    default:
        return QString();
    }
}

QString MapInfoPopup::describeAirport(const AirportRecord &airport, INavDataProvider *provider)
{
    QString html = title(airport.icao, airport.name);
    html += QStringLiteral("<table>");
    QString place = airport.city;
    if (!airport.country.isEmpty())
        place += place.isEmpty() ? airport.country : QStringLiteral(" (%1)").arg(airport.country);
    if (!place.isEmpty())
        html += row(tr("城市"), place.toHtmlEscaped());
    html += row(tr("标高"), QStringLiteral("%1 ft").arg(airport.elevation));
    html += row(tr("塔台"), airport.hasTower ? tr("有") : tr("无"));
    html += row(tr("位置"), MapFormat::position(airport.lat, airport.lon));

    const QList<RunwayRecord> runways = provider ? provider->runways(airport.icao) : QList<RunwayRecord>();
    QList<bool> shown(runways.size(), false);
    for (int i = 0; i < runways.size(); ++i) {
        if (shown.at(i))
            continue;
        const RunwayRecord &r = runways.at(i);
        QString idents = r.ident;
        QStringList ils;
        if (!ilsText(r).isEmpty())
            ils << QStringLiteral("%1 %2").arg(r.ident, ilsText(r));
        for (int j = i + 1; j < runways.size(); ++j) {
            if (!shown.at(j) && reciprocal(r, runways.at(j))) {
                shown[j] = true;
                // Lower designator first, as charts write it ("17R/35L").
                idents = r.ident < runways.at(j).ident ? r.ident + QLatin1Char('/') + runways.at(j).ident
                                                       : runways.at(j).ident + QLatin1Char('/') + r.ident;
                if (!ilsText(runways.at(j)).isEmpty())
                    ils << QStringLiteral("%1 %2").arg(runways.at(j).ident, ilsText(runways.at(j)));
                break;
            }
        }
        QString value =
            QStringLiteral("%1 × %2 ft (%3 m)").arg(r.length).arg(r.width).arg(std::lround(r.length * 0.3048));
        if (!r.surface.isEmpty())
            value += QStringLiteral(", ") + r.surface.toHtmlEscaped();
        if (!ils.isEmpty())
            value += QStringLiteral("<br><span style='color:#1a7a3a'>%1</span>").arg(ils.join(QStringLiteral(", ")));
        html += row(tr("跑道 %1").arg(idents), value);
    }
    if (runways.isEmpty() && !airport.longestRunway.isEmpty())
        html += row(tr("最长跑道"), airport.longestRunway.toHtmlEscaped());

    if (provider) {
        for (const FrequencyRecord &f : provider->frequencies(airport.icao)) {
            QString value = QStringLiteral("%1 MHz").arg(f.frequency, 0, 'f', 3);
            if (!f.name.isEmpty())
                value += QStringLiteral(" ") + f.name.toHtmlEscaped();
            html += row(f.type, value);
        }
        const TowerRecord tower = provider->tower(airport.icao);
        if (tower.frequency > 0.0)
            html += row(tr("塔台频率"), QStringLiteral("%1 MHz").arg(tower.frequency, 0, 'f', 3));
    }
    html += QStringLiteral("</table>");
    return html;
}

QString MapInfoPopup::describeNavaid(const NavaidRecord &navaid)
{
    QString html = title(navaid.ident, navaid.type);
    html += QStringLiteral("<table>");
    const QString freq = MapFormat::navaidFrequency(navaid);
    if (!freq.isEmpty())
        html += row(tr("频率"), freq);
    if (navaid.rangeNm > 0.0)
        html += row(tr("作用距离"), QStringLiteral("%1 nm").arg(navaid.rangeNm, 0, 'f', 0));
    html += row(tr("测距仪"), navaid.hasDme ? tr("有") : tr("无"));
    if (!navaid.airportIcao.isEmpty())
        html += row(tr("所属机场"), navaid.airportIcao.toHtmlEscaped());
    html += row(tr("位置"), MapFormat::position(navaid.lat, navaid.lon));
    html += QStringLiteral("</table>");
    return html;
}

QString MapInfoPopup::describeWaypoint(const WaypointRecord &waypoint)
{
    QString html = title(waypoint.ident, tr("航路点"));
    html += QStringLiteral("<table>");
    if (!waypoint.type.isEmpty())
        html += row(tr("类型"), waypoint.type.toHtmlEscaped());
    html += row(tr("位置"), MapFormat::position(waypoint.lat, waypoint.lon));
    html += QStringLiteral("</table>");
    return html;
}

QString MapInfoPopup::describeAirspace(const AirspaceRecord &airspace)
{
    QString html = title(airspace.name, tr("空域"));
    html += QStringLiteral("<table>");
    html += row(tr("类型"), airspace.type.toHtmlEscaped());
    html += row(tr("高度"), QStringLiteral("%1 – %2").arg(MapFormat::altitudeLimit(airspace.bottomAlt),
                                                          MapFormat::altitudeLimit(airspace.topAlt)));
    html += QStringLiteral("</table>");
    return html;
}
