#include "ui/flightstatisticsview.h"

#include "ui/flightprofilechart.h"

#include <QDateTime>
#include <QEvent>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cmath>

namespace {

enum Row {
    Callsign,
    Aircraft,
    Simulator,
    Source,
    Start,
    End,
    BlockTime,
    AirTime,
    Distance,
    MaxAltitude,
    MaxIas,
    MaxGs,
    FuelUsed,
    Takeoffs,
    Landings,
    RowCount
};
constexpr int kColumns = 3; // rows of name/value pairs side by side

QString duration(double seconds)
{
    const qint64 s = std::llround(std::max(0.0, seconds));
    return QStringLiteral("%1:%2:%3")
        .arg(s / 3600)
        .arg((s / 60) % 60, 2, 10, QLatin1Char('0'))
        .arg(s % 60, 2, 10, QLatin1Char('0'));
}

QString localTime(qint64 ms)
{
    return ms > 0 ? QDateTime::fromMSecsSinceEpoch(ms).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QString();
}

QTableWidget *newTable(const QString &name, int columns)
{
    auto *table = new QTableWidget(0, columns);
    table->setObjectName(name);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->verticalHeader()->hide();
    table->horizontalHeader()->setStretchLastSection(true);
    return table;
}

void setRow(QTableWidget *table, int row, const QStringList &cells)
{
    for (int c = 0; c < cells.size(); ++c)
        table->setItem(row, c, new QTableWidgetItem(cells.at(c)));
}

} // namespace

FlightStatisticsView::FlightStatisticsView(QWidget *parent) : QWidget(parent)
{
    auto *numbers = new QWidget;
    auto *grid = new QGridLayout(numbers);
    grid->setContentsMargins(0, 0, 0, 0);
    const int perColumn = (RowCount + kColumns - 1) / kColumns;
    for (int i = 0; i < RowCount; ++i) {
        auto *name = new QLabel;
        auto *value = new QLabel;
        value->setObjectName(QStringLiteral("statValue%1").arg(i));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(name, i % perColumn, 2 * (i / perColumn));
        grid->addWidget(value, i % perColumn, 2 * (i / perColumn) + 1);
        grid->setColumnStretch(2 * (i / perColumn) + 1, 1);
        m_names << name;
        m_values << value;
    }
    m_landingsTitle = new QLabel;
    m_landings = newTable(QStringLiteral("landingsTable"), 7);
    m_eventsTitle = new QLabel;
    m_events = newTable(QStringLiteral("eventsTable"), 3);
    m_profile = new FlightProfileChart;
    m_profile->setObjectName(QStringLiteral("profileChart"));

    auto *tables = new QWidget;
    auto *tablesLayout = new QGridLayout(tables);
    tablesLayout->setContentsMargins(0, 0, 0, 0);
    tablesLayout->addWidget(m_landingsTitle, 0, 0);
    tablesLayout->addWidget(m_landings, 1, 0);
    tablesLayout->addWidget(m_eventsTitle, 0, 1);
    tablesLayout->addWidget(m_events, 1, 1);
    auto *split = new QSplitter(Qt::Vertical);
    split->addWidget(tables);
    split->addWidget(m_profile);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 1);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(numbers);
    layout->addWidget(split, 1);
    retranslateUi();
}

void FlightStatisticsView::retranslateUi()
{
    const QString names[RowCount] = {tr("呼号"),     tr("机型"),     tr("模拟器"),   tr("来源"),     tr("开始"),
                                     tr("结束"),     tr("轮挡时间"), tr("空中时间"), tr("飞行距离"), tr("最大高度"),
                                     tr("最大空速"), tr("最大地速"), tr("燃油消耗"), tr("起飞次数"), tr("着陆次数")};
    for (int i = 0; i < RowCount; ++i)
        m_names[i]->setText(names[i] + QLatin1Char(':'));
    m_landingsTitle->setText(tr("着陆"));
    m_eventsTitle->setText(tr("教员操作"));
    m_landings->setHorizontalHeaderLabels(
        {tr("序号"), tr("时间"), tr("垂直速度 (英尺/分)"), tr("过载 (g)"), tr("空速 (节)"), tr("弹跳"), tr("评价")});
    m_events->setHorizontalHeaderLabels({tr("时间"), tr("类型"), tr("内容")});
    fill();
}

void FlightStatisticsView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

QString FlightStatisticsView::landingRating(double vsFpm)
{
    const double rate = std::fabs(std::min(0.0, vsFpm));
    if (rate <= kSmoothFpm)
        return tr("平稳");
    if (rate <= kNormalFpm)
        return tr("正常");
    if (rate <= kFirmFpm)
        return tr("偏重");
    return tr("重着陆");
}

QString FlightStatisticsView::eventKindText(const QString &kind)
{
    if (kind == QLatin1String(FlightEventKind::kPosition))
        return tr("重新定位");
    if (kind == QLatin1String(FlightEventKind::kFailure))
        return tr("故障");
    if (kind == QLatin1String(FlightEventKind::kFailureReset))
        return tr("故障恢复");
    if (kind == QLatin1String(FlightEventKind::kFuel))
        return tr("燃油");
    if (kind == QLatin1String(FlightEventKind::kFlightPlan))
        return tr("飞行计划");
    if (kind == QLatin1String(FlightEventKind::kWeather))
        return tr("天气");
    if (kind == QLatin1String(FlightEventKind::kPushback))
        return tr("推出");
    if (kind == QLatin1String(FlightEventKind::kScenario))
        return tr("场景");
    if (kind == QLatin1String(FlightEventKind::kAtc))
        return tr("ATC 记录");
    if (kind == QLatin1String(FlightEventKind::kSlew))
        return tr("滑移");
    if (kind == QLatin1String(FlightEventKind::kPause))
        return tr("暂停");
    if (kind == QLatin1String(FlightEventKind::kFreeze))
        return tr("冻结");
    if (kind == QLatin1String(FlightEventKind::kNote))
        return tr("备注");
    return kind;
}

void FlightStatisticsView::setFlight(const RecordedFlight &flight)
{
    m_flight = flight;
    m_hasFlight = true;
    m_profile->setFlight(flight);
    fill();
}

void FlightStatisticsView::clear()
{
    m_flight = RecordedFlight();
    m_hasFlight = false;
    m_profile->clear();
    fill();
}

void FlightStatisticsView::fill()
{
    const FlightInfo &f = m_flight.info;
    const FlightStatistics &s = f.stats;
    QString values[RowCount];
    if (m_hasFlight) {
        QString source = f.source;
        if (f.source == QLatin1String("local"))
            source = tr("本机");
        else if (f.source == QLatin1String("agent"))
            source = tr("远程站 %1").arg(f.sourceId);
        else if (f.source == QLatin1String("import"))
            source = tr("导入 %1").arg(f.sourceId);
        values[Callsign] = f.callsign;
        values[Aircraft] = f.aircraft;
        values[Simulator] = f.simulator;
        values[Source] = source;
        values[Start] = localTime(f.startMs);
        values[End] = localTime(f.endMs);
        values[BlockTime] = duration(s.blockTimeS);
        values[AirTime] = duration(s.airTimeS);
        values[Distance] = tr("%1 海里 (空中 %2 海里)").arg(s.distanceNm, 0, 'f', 1).arg(s.airDistanceNm, 0, 'f', 1);
        values[MaxAltitude] = tr("%1 英尺").arg(std::lround(s.maxAltFt));
        values[MaxIas] = tr("%1 节").arg(std::lround(s.maxIasKt));
        values[MaxGs] = tr("%1 节").arg(std::lround(s.maxGsKt));
        values[FuelUsed] =
            tr("%1 加仑 (%2 千克)").arg(s.fuelUsedGal, 0, 'f', 1).arg(s.fuelUsedGal * kFuelKgPerUsGallon, 0, 'f', 0);
        values[Takeoffs] = QString::number(s.takeoffCount);
        values[Landings] = QString::number(s.landingCount);
    }
    for (int i = 0; i < RowCount; ++i)
        m_values[i]->setText(values[i].isEmpty() ? QStringLiteral("—") : values[i]);

    m_landings->setRowCount(int(m_flight.landings.size()));
    for (int r = 0; r < m_flight.landings.size(); ++r) {
        const LandingRecord &l = m_flight.landings.at(r);
        setRow(m_landings, r,
               {QString::number(l.index + 1), localTime(l.timeMs), QString::number(std::lround(l.vsFpm)),
                QString::number(l.gLoad, 'f', 2), QString::number(std::lround(l.iasKt)), QString::number(l.bounces),
                landingRating(l.vsFpm)});
    }
    m_events->setRowCount(int(m_flight.events.size()));
    for (int r = 0; r < m_flight.events.size(); ++r) {
        const FlightEvent &e = m_flight.events.at(r);
        setRow(m_events, r, {localTime(e.timeMs), eventKindText(e.kind), e.text});
    }
    m_landings->resizeColumnsToContents();
    m_events->resizeColumnsToContents();
}
