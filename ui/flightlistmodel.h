#pragma once

#include "recording/recordedflight.h"

#include <QAbstractTableModel>
#include <QList>
#include <QSortFilterProxyModel>

// The recorded flights as a table (start, callsign, aircraft, simulator, source, station,
// duration, distance, landings), newest first as the library lists them. The id is under
// Qt::UserRole of every cell.
//
// Plain model, GUI thread, owned by the recordings tab.
class FlightListModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { Start, Callsign, Aircraft, Simulator, Source, Station, Duration, Distance, Landings, ColumnCount };

    explicit FlightListModel(QObject *parent = nullptr);

    void setFlights(const QList<FlightInfo> &flights);
    const QList<FlightInfo> &flights() const { return m_flights; }
    // The row of a flight id, -1 when it is not listed.
    int rowOf(qint64 id) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // The headers follow the language.
    void retranslate();

private:
    QList<FlightInfo> m_flights;
};

// The search box's filter: a row stays when every word typed appears in one of its cells
// (case ignored), so "B738 2024-05" finds that aircraft in that month.
class FlightFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

    void setSearchText(const QString &text);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    QStringList m_words;
};
