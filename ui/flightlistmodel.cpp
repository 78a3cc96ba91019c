#include "ui/flightlistmodel.h"

#include <QDateTime>

#include <cmath>

FlightListModel::FlightListModel(QObject *parent) : QAbstractTableModel(parent) {}

void FlightListModel::setFlights(const QList<FlightInfo> &flights)
{
    beginResetModel();
    m_flights = flights;
    endResetModel();
}

int FlightListModel::rowOf(qint64 id) const
{
    for (int row = 0; row < m_flights.size(); ++row) {
        if (m_flights.at(row).id == id)
            return row;
    }
    return -1;
}

int FlightListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_flights.size());
}

int FlightListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant FlightListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_flights.size())
        return {};
    const FlightInfo &f = m_flights.at(index.row());
    if (role == Qt::UserRole)
        return f.id;
    if (role == Qt::TextAlignmentRole && index.column() >= Duration)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return {};
    switch (Column(index.column())) {
    case Start:
        return QDateTime::fromMSecsSinceEpoch(f.startMs).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    case Callsign:
        return f.callsign;
    case Aircraft:
        return f.aircraft;
    case Simulator:
        return f.simulator;
    case Source:
        if (f.source == QLatin1String("local"))
            return tr("本机");
        if (f.source == QLatin1String("import"))
            return tr("导入 %1").arg(f.sourceId);
        return tr("远程站 %1").arg(f.sourceId);
    case Station:
        return f.station;
    case Duration: {
        const qint64 s = std::max<qint64>(0, (f.endMs - f.startMs) / 1000);
        return QStringLiteral("%1:%2:%3")
            .arg(s / 3600)
            .arg((s / 60) % 60, 2, 10, QLatin1Char('0'))
            .arg(s % 60, 2, 10, QLatin1Char('0'));
    }
    case Distance:
        return QString::number(f.stats.distanceNm, 'f', 1);
    case Landings:
        return f.stats.landingCount;
    case ColumnCount:
        break;
    }
    return {};
}

QVariant FlightListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (Column(section)) {
    case Start:
        return tr("开始时间");
    case Callsign:
        return tr("呼号");
    case Aircraft:
        return tr("机型");
    case Simulator:
        return tr("模拟器");
    case Source:
        return tr("来源");
    case Station:
        return tr("教员站");
    case Duration:
        return tr("时长");
    case Distance:
        return tr("距离 (海里)");
    case Landings:
        return tr("着陆");
    case ColumnCount:
        break;
    }
    return {};
}

void FlightListModel::retranslate()
{
    emit headerDataChanged(Qt::Horizontal, 0, ColumnCount - 1);
    if (!m_flights.isEmpty())
        emit dataChanged(index(0, Source), index(rowCount() - 1, Source));
}

void FlightFilterModel::setSearchText(const QString &text)
{
    m_words = text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    invalidateFilter();
}

bool FlightFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    const QAbstractItemModel *model = sourceModel();
    QStringList cells;
    for (int c = 0; c < model->columnCount(sourceParent); ++c)
        cells << model->index(sourceRow, c, sourceParent).data().toString();
    const QString row = cells.join(QLatin1Char('\n'));
    for (const QString &word : m_words) {
        if (!row.contains(word, Qt::CaseInsensitive))
            return false;
    }
    return true;
}
