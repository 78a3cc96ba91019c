#pragma once

#include "recording/recordedflight.h"
#include "recording/trackexchange.h"

#include <QPointer>
#include <QWidget>

class FlightFilterModel;
class FlightListModel;
class FlightStatisticsView;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;
class RecordingLibrary;

// The recordings tab: the recorded (and imported) flights with a search box, and the selected
// flight's statistics. From here a flight is replayed (playRequested, the station's recording
// services show it on the map), exported to GPX, KML or CSV, deleted, and GPX or CSV tracks are
// imported.
//
// Created by the station's recording services; GUI thread. The library is borrowed; the list is
// read when the tab is shown and on refresh().
class RecordingsTab : public QWidget
{
    Q_OBJECT
public:
    explicit RecordingsTab(QWidget *parent = nullptr);

    void setLibrary(RecordingLibrary *library);
    FlightListModel *model() const { return m_model; }
    FlightStatisticsView *statisticsView() const { return m_stats; }
    QTableView *view() const { return m_view; }
    // The flight whose statistics are shown (loaded in full), id 0 when none.
    qint64 shownFlightId() const { return m_shown.info.id; }

public slots:
    void refresh();
    void setSearchText(const QString &text);
    // Selects (and loads) the flight; false when it is not in the (filtered) list.
    bool selectFlight(qint64 id);
    // The actions behind the buttons, without their file dialogs.
    void exportShown(TrackFormat format, const QString &path);
    void importFile(const QString &path);
    void deleteShown();

signals:
    void playRequested(const RecordedFlight &flight);

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void onSelectionChanged();
    void onFlightsLoaded(const QList<FlightInfo> &flights);
    void onFlightLoaded(const RecordedFlight &flight);
    void onFailed(const QString &message);
    void chooseExport(TrackFormat format);
    void chooseImport();
    void confirmDelete();
    void updateButtons();

    QPointer<RecordingLibrary> m_library;
    FlightListModel *m_model = nullptr;
    FlightFilterModel *m_filter = nullptr;
    QLineEdit *m_search = nullptr;
    QTableView *m_view = nullptr;
    FlightStatisticsView *m_stats = nullptr;
    QPushButton *m_refresh = nullptr;
    QPushButton *m_play = nullptr;
    QPushButton *m_export = nullptr;
    QPushButton *m_import = nullptr;
    QPushButton *m_delete = nullptr;
    QLabel *m_message = nullptr;
    qint64 m_wanted = 0; // selected, loading
    RecordedFlight m_shown;
};
