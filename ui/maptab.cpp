#include "ui/maptab.h"

#include "map/radaroverlay.h"
#include "map/tiledownloader.h"
#include "nav/navdataprovider.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>
#include <QEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSettings>
#include <QStringListModel>
#include <QToolButton>
#include <QVBoxLayout>

#include <cmath>

namespace {

constexpr int kMaxSearchResults = 30;

// Distance in nautical miles on a locally flat earth; exact enough to space track points.
double flatDistanceNm(const QPointF &a, const QPointF &b)
{
    const double dLat = (b.x() - a.x()) * 60.0;
    const double dLon = (b.y() - a.y()) * 60.0 * std::cos(a.x() * M_PI / 180.0);
    return std::hypot(dLat, dLon);
}

} // namespace

MapTab::MapTab(QWidget *parent) : QWidget(parent), m_map(new MapWidget(this)), m_radar(new RadarOverlay(this))
{
    m_map->setObjectName(QStringLiteral("mapWidget"));
    m_radar->attach(m_map);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(createToolBar());
    layout->addWidget(m_map, 1);

    connect(m_map, &MapWidget::centerChanged, this, &MapTab::onMapCentreChanged);
    connect(m_map, &MapWidget::zoomChanged, this, &MapTab::updateZoomLabel);
    connect(m_map, &MapWidget::locateOnMap, this, &MapTab::onLocate);
    connect(m_map, &MapWidget::addToFlightPlan, this, &MapTab::addToFlightPlan);
    connect(m_map, &MapWidget::routePointMoved, this, &MapTab::routePointMoved);
    connect(m_map, &MapWidget::airportClicked, this, &MapTab::airportClicked);
    connect(m_map, &MapWidget::navaidClicked, this, &MapTab::navaidClicked);
    updateZoomLabel(m_map->zoomLevel());
    retranslateUi();
}

void MapTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void MapTab::retranslateUi()
{
    m_followButton->setText(tr("跟随飞机"));
    m_zoomOutButton->setToolTip(tr("缩小"));
    m_zoomInButton->setToolTip(tr("放大"));
    m_styleLabel->setText(tr("样式"));
    const char *const styles[] = {QT_TR_NOOP("深色"), QT_TR_NOOP("浅色"), QT_TR_NOOP("街道地图"),
                                  QT_TR_NOOP("卫星地图"), QT_TR_NOOP("离线地图")};
    for (int i = 0; i < m_styleBox->count(); ++i)
        m_styleBox->setItemText(i, tr(styles[i]));
    m_layerButton->setText(tr("图层"));
    for (const auto &[action, text] : std::as_const(m_layerActions))
        action->setText(tr(text));
    m_clearButton->setText(tr("清除航迹"));
    m_search->setPlaceholderText(tr("搜索机场 (ICAO/名称)"));
    m_searchNote->setText(m_searchFailed ? tr("未找到机场") : QString());
}

QWidget *MapTab::createToolBar()
{
    auto *bar = new QWidget(this);
    bar->setObjectName(QStringLiteral("mapToolBar"));
    auto *row = new QHBoxLayout(bar);
    row->setContentsMargins(6, 4, 6, 4);

    m_followButton = new QToolButton(bar);
    m_followButton->setObjectName(QStringLiteral("followButton"));
    m_followButton->setCheckable(true);
    connect(m_followButton, &QToolButton::toggled, this, &MapTab::setFollowAircraft);
    row->addWidget(m_followButton);

    auto *zoomOut = m_zoomOutButton = new QToolButton(bar);
    zoomOut->setObjectName(QStringLiteral("zoomOutButton"));
    zoomOut->setText(QStringLiteral("−"));
    connect(zoomOut, &QToolButton::clicked, this, [this]() { m_map->setZoom(m_map->zoomLevel() - 1); });
    m_zoomLabel = new QLabel(bar);
    m_zoomLabel->setObjectName(QStringLiteral("zoomLabel"));
    m_zoomLabel->setMinimumWidth(m_zoomLabel->fontMetrics().horizontalAdvance(QStringLiteral("Z 18")) + 8);
    m_zoomLabel->setAlignment(Qt::AlignCenter);
    auto *zoomIn = m_zoomInButton = new QToolButton(bar);
    zoomIn->setObjectName(QStringLiteral("zoomInButton"));
    zoomIn->setText(QStringLiteral("+"));
    connect(zoomIn, &QToolButton::clicked, this, [this]() { m_map->setZoom(m_map->zoomLevel() + 1); });
    row->addWidget(zoomOut);
    row->addWidget(m_zoomLabel);
    row->addWidget(zoomIn);

    row->addSpacing(12);
    row->addWidget(m_styleLabel = new QLabel(bar));
    m_styleBox = new QComboBox(bar);
    m_styleBox->setObjectName(QStringLiteral("styleBox"));
    for (const MapWidget::MapStyle style : {MapWidget::DarkPlain, MapWidget::LightPlain, MapWidget::StreetTiles,
                                            MapWidget::SatelliteTiles, MapWidget::OfflineMap})
        m_styleBox->addItem(QString(), int(style));
    m_styleBox->setCurrentIndex(m_styleBox->findData(int(m_map->mapStyle())));
    connect(m_styleBox, &QComboBox::currentIndexChanged, this,
            [this](int index) { m_map->setMapStyle(MapWidget::MapStyle(m_styleBox->itemData(index).toInt())); });
    row->addWidget(m_styleBox);
    row->addWidget(createLayerButton());

    auto *clear = m_clearButton = new QToolButton(bar);
    clear->setObjectName(QStringLiteral("clearTrackButton"));
    connect(clear, &QToolButton::clicked, this, &MapTab::clearTrack);
    row->addWidget(clear);
    row->addStretch(1);

    m_searchNote = new QLabel(bar);
    m_searchNote->setObjectName(QStringLiteral("searchNote"));
    row->addWidget(m_searchNote);
    m_search = new QLineEdit(bar);
    m_search->setObjectName(QStringLiteral("airportSearch"));
    m_search->setClearButtonEnabled(true);
    m_search->setMinimumWidth(220);
    m_searchModel = new QStringListModel(this);
    m_completer = new QCompleter(m_searchModel, this);
    m_completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_completer->setFilterMode(Qt::MatchContains);
    m_search->setCompleter(m_completer);
    connect(m_search, &QLineEdit::textEdited, this, &MapTab::onSearchEdited);
    connect(m_search, &QLineEdit::returnPressed, this, [this]() { centreOnAirport(m_search->text()); });
    connect(m_completer, QOverload<const QString &>::of(&QCompleter::activated), this,
            [this](const QString &text) { centreOnAirport(text); });
    row->addWidget(m_search);
    return bar;
}

QToolButton *MapTab::createLayerButton()
{
    auto *button = m_layerButton = new QToolButton(this);
    button->setObjectName(QStringLiteral("layerButton"));
    button->setPopupMode(QToolButton::InstantPopup);
    auto *menu = new QMenu(button);
    const struct
    {
        const char *layer;
        const char *text;
    } layers[] = {
        {"airports", QT_TR_NOOP("机场")},         {"runways", QT_TR_NOOP("跑道")},
        {"ils", QT_TR_NOOP("仪表着陆系统")},      {"airport_diagram", QT_TR_NOOP("机场地面图")},
        {"navaids", QT_TR_NOOP("导航台")},        {"waypoints", QT_TR_NOOP("航路点")},
        {"airways_high", QT_TR_NOOP("高空航路")}, {"airways_low", QT_TR_NOOP("低空航路")},
        {"airspaces", QT_TR_NOOP("空域")},        {"route", QT_TR_NOOP("飞行计划航线")},
        {"aircraft", QT_TR_NOOP("本机")},         {"remote", QT_TR_NOOP("远程机组")},
        {"online", QT_TR_NOOP("在线交通")},       {"compass", QT_TR_NOOP("罗盘")},
        {"scale", QT_TR_NOOP("比例尺")},
    };
    for (const auto &entry : layers) {
        const QString layer = QString::fromLatin1(entry.layer);
        QAction *action = menu->addAction(QString());
        m_layerActions.append({action, entry.text});
        action->setObjectName(QStringLiteral("layer_") + layer);
        action->setCheckable(true);
        action->setChecked(m_map->isLayerVisible(layer));
        connect(action, &QAction::toggled, this, [this, layer](bool on) { m_map->setLayerVisible(layer, on); });
    }
    button->setMenu(menu);
    return button;
}

void MapTab::setNavDataProvider(NavDataProvider *provider)
{
    m_nav = provider;
    m_map->setNavData(provider);
    m_searchModel->setStringList({});
}

void MapTab::applySettings(const QSettings &settings)
{
    m_map->tileDownloader()->loadSettings(settings);
    bool okLat = false;
    bool okLon = false;
    const double lat = settings.value(QLatin1String(kCentreLatKey)).toDouble(&okLat);
    const double lon = settings.value(QLatin1String(kCentreLonKey)).toDouble(&okLon);
    if (okLat && okLon && std::abs(lat) <= 85.0 && std::abs(lon) <= 180.0)
        m_map->setCenter(QPointF(lat, lon));
    bool okZoom = false;
    const int zoom = settings.value(QLatin1String(kZoomKey)).toInt(&okZoom);
    if (okZoom)
        m_map->setZoom(zoom);
    const int style = m_styleBox->findData(settings.value(QLatin1String(kStyleKey), -1).toInt());
    if (style >= 0)
        setMapStyle(MapWidget::MapStyle(m_styleBox->itemData(style).toInt()));
}

void MapTab::saveSettings(QSettings &settings) const
{
    settings.setValue(QLatin1String(kCentreLatKey), m_map->centerLatLon().x());
    settings.setValue(QLatin1String(kCentreLonKey), m_map->centerLatLon().y());
    settings.setValue(QLatin1String(kZoomKey), m_map->zoomLevel());
    settings.setValue(QLatin1String(kStyleKey), int(m_map->mapStyle()));
}

void MapTab::setRoutePoints(const QList<MapRoutePoint> &points)
{
    m_map->setRoutePoints(points);
}

void MapTab::setMapStyle(MapWidget::MapStyle style)
{
    const int index = m_styleBox->findData(int(style));
    if (index != m_styleBox->currentIndex())
        m_styleBox->setCurrentIndex(index);
    m_map->setMapStyle(style);
}

void MapTab::refreshNavData()
{
    m_map->refreshNavData();
    // A provider that fetches on request (online mode just chosen) has nothing until it is asked.
    m_map->requestOnlineBbox();
}

void MapTab::setAircraftData(const AircraftData &data)
{
    // A backend that has not received a position yet reports 0/0.
    if (data.lat == 0.0 && data.lon == 0.0)
        return;
    const double track = data.track != 0.0 ? data.track : data.hdgTrue;
    m_map->setAircraftPosition(data.lat, data.lon, data.hdgTrue);
    m_map->setLocalAircraftData(QString(), data.alt, data.gs, data.vs, data.hdgTrue, track, data.ias);
    addTrackPoint(data.lat, data.lon);
    if (m_follow) {
        m_movingMap = true;
        m_map->setCenter(QPointF(data.lat, data.lon));
        m_movingMap = false;
    }
}

void MapTab::addTrackPoint(double lat, double lon)
{
    const QPointF here(lat, lon);
    if (m_hasPosition && flatDistanceNm(m_lastPosition, here) > kTrackBreakNm)
        m_track.clear();
    m_hasPosition = true;
    m_lastPosition = here;
    if (!m_track.isEmpty() && flatDistanceNm(m_track.last(), here) < kTrackStepNm)
        return;
    m_track.append(here);
    if (m_track.size() > kMaxTrackPoints)
        m_track.remove(0, m_track.size() - kMaxTrackPoints);
    m_map->setTrackPoints(m_track);
}

void MapTab::clearTrack()
{
    m_track.clear();
    m_map->clearTrack();
}

void MapTab::setFollowAircraft(bool follow)
{
    m_follow = follow;
    if (m_followButton->isChecked() != follow)
        m_followButton->setChecked(follow);
    if (follow && m_hasPosition) {
        m_movingMap = true;
        m_map->setCenter(m_lastPosition);
        m_movingMap = false;
    }
}

void MapTab::onMapCentreChanged()
{
    // Dragging the map means the user wants to look elsewhere: following stops. A wheel step
    // keeps following; the next sample brings the aircraft back to the centre.
    if (m_follow && !m_movingMap && (QGuiApplication::mouseButtons() & Qt::LeftButton))
        setFollowAircraft(false);
}

void MapTab::onLocate(double lat, double lon)
{
    setFollowAircraft(false);
    m_map->setCenter(QPointF(lat, lon));
}

void MapTab::updateZoomLabel(int zoom)
{
    m_zoomLabel->setText(QStringLiteral("Z %1").arg(zoom));
}

void MapTab::onSearchEdited(const QString &text)
{
    m_searchFailed = false;
    m_searchNote->clear();
    if (!m_nav || text.trimmed().size() < 2) {
        m_searchModel->setStringList({});
        return;
    }
    QStringList entries;
    for (const AirportRecord &airport : m_nav->searchAirports(text.trimmed())) {
        entries << QStringLiteral("%1  %2").arg(airport.icao, airport.name);
        if (entries.size() >= kMaxSearchResults)
            break;
    }
    m_searchModel->setStringList(entries);
}

bool MapTab::centreOnAirport(const QString &text)
{
    const QString query = text.trimmed();
    if (!m_nav || query.isEmpty())
        return false;
    // A completion starts with the ICAO code; typed text may be a code, a name or a city.
    AirportRecord airport = m_nav->airport(query.section(QLatin1Char(' '), 0, 0).toUpper());
    if (airport.icao.isEmpty()) {
        const QList<AirportRecord> found = m_nav->searchAirports(query);
        if (!found.isEmpty())
            airport = found.first();
    }
    m_searchFailed = airport.icao.isEmpty();
    m_searchNote->setText(m_searchFailed ? tr("未找到机场") : QString());
    if (m_searchFailed)
        return false;
    setFollowAircraft(false);
    m_map->setCenter(QPointF(airport.lat, airport.lon));
    if (m_map->zoomLevel() < kAirportZoom)
        m_map->setZoom(kAirportZoom);
    return true;
}
