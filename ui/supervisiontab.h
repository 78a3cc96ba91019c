#pragma once

#include <QList>
#include <QPair>
#include <QPointF>
#include <QPointer>
#include <QWidget>

class AlertManager;
class AlertSoundPlayer;
class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QTabWidget;
class QTreeWidget;
class SectorManager;
class TrafficFeed;

// The supervision tab: the alerts in force (with the mute switch), and pages for the sector
// files (load, show or hide each, what reading it skipped) and the online traffic feed (address,
// interval, on/off, state, search by callsign). More pages (the ATC log, scenarios) are added by
// the owner with addPage. Double-clicking an alert or a search result asks for the map to show it.
//
// Created by the supervision wiring; GUI thread only. The services are borrowed.
class SupervisionTab : public QWidget
{
    Q_OBJECT
public:
    SupervisionTab(AlertManager *alerts, AlertSoundPlayer *sound, SectorManager *sectors, TrafficFeed *traffic,
                   QWidget *parent = nullptr);

    // Adds a page; title is a source text of this class's translation context, marked with
    // QT_TRANSLATE_NOOP("SupervisionTab", …), so the title follows a language switch.
    void addPage(QWidget *page, const char *title);

signals:
    void locateRequested(double lat, double lon);
    // The traffic settings the operator changed, for the owner to store.
    void trafficSettingsChanged(const QString &url, int intervalSec, bool enabled);
    void sectorFilesChanged();

protected:
    void changeEvent(QEvent *event) override;

private:
    QWidget *createAlertPane();
    QWidget *createSectorPage();
    QWidget *createTrafficPage();
    void retranslateUi();
    void refreshAlerts();
    void refreshSectorFiles();
    void refreshTrafficState();
    void onLoadSectorFile();
    void onSearch();
    void applyTrafficSettings();
    void setPageTitle(QWidget *page, const QString &title);

    QPointer<AlertManager> m_alerts;
    QPointer<AlertSoundPlayer> m_sound;
    QPointer<SectorManager> m_sectors;
    QPointer<TrafficFeed> m_traffic;

    QLabel *m_alertTitle = nullptr;
    QCheckBox *m_mute = nullptr;
    QTreeWidget *m_alertList = nullptr;
    QTabWidget *m_pages = nullptr;
    QWidget *m_sectorPage = nullptr;
    QWidget *m_trafficPage = nullptr;
    QList<QPair<QWidget *, const char *>> m_addedPages;

    QPushButton *m_loadSector = nullptr;
    QPushButton *m_removeSector = nullptr;
    QTreeWidget *m_sectorList = nullptr;
    QLabel *m_sectorNote = nullptr;
    bool m_showingLoading = false;

    QCheckBox *m_trafficEnabled = nullptr;
    QLabel *m_urlLabel = nullptr;
    QLineEdit *m_url = nullptr;
    QLabel *m_intervalLabel = nullptr;
    QSpinBox *m_interval = nullptr;
    QLabel *m_trafficState = nullptr;
    QLineEdit *m_search = nullptr;
    QListWidget *m_results = nullptr;
};
