#include "ui/supervisiontab.h"

#include "supervision/alertmanager.h"
#include "supervision/alertsound.h"
#include "supervision/sectormanager.h"
#include "supervision/trafficfeed.h"

#include <QCheckBox>
#include <QEvent>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QSplitter>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int kMaxSearchResults = 50;
constexpr int kFileIdRole = Qt::UserRole;
constexpr int kPositionRole = Qt::UserRole + 1;

} // namespace

SupervisionTab::SupervisionTab(AlertManager *alerts, AlertSoundPlayer *sound, SectorManager *sectors,
                               TrafficFeed *traffic, QWidget *parent)
    : QWidget(parent), m_alerts(alerts), m_sound(sound), m_sectors(sectors), m_traffic(traffic)
{
    auto *splitter = new QSplitter(Qt::Horizontal, this);
    splitter->addWidget(createAlertPane());
    m_pages = new QTabWidget(splitter);
    m_pages->setObjectName(QStringLiteral("supervisionPages"));
    m_sectorPage = createSectorPage();
    m_trafficPage = createTrafficPage();
    m_pages->addTab(m_sectorPage, QString());
    m_pages->addTab(m_trafficPage, QString());
    splitter->addWidget(m_pages);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(splitter);

    connect(alerts, &AlertManager::alertsChanged, this, &SupervisionTab::refreshAlerts);
    connect(sound, &AlertSoundPlayer::mutedChanged, m_mute, &QCheckBox::setChecked);
    connect(sectors, &SectorManager::filesChanged, this, &SupervisionTab::refreshSectorFiles);
    connect(sectors, &SectorManager::loadFailed, this, [this](const QString &path, const QString &message) {
        m_sectorNote->setText(tr("无法加载 %1：%2").arg(path, message));
        m_showingLoading = false;
    });
    connect(traffic, &TrafficFeed::trafficUpdated, this, &SupervisionTab::refreshTrafficState);
    connect(traffic, &TrafficFeed::feedFailed, this, &SupervisionTab::refreshTrafficState);
    retranslateUi();
    refreshAlerts();
    refreshSectorFiles();
}

QWidget *SupervisionTab::createAlertPane()
{
    auto *pane = new QWidget(this);
    m_alertTitle = new QLabel(pane);
    m_alertTitle->setObjectName(QStringLiteral("alertTitle"));
    m_mute = new QCheckBox(pane);
    m_mute->setObjectName(QStringLiteral("muteAlerts"));
    m_mute->setChecked(m_sound->isMuted());
    connect(m_mute, &QCheckBox::toggled, m_sound, &AlertSoundPlayer::setMuted);
    m_alertList = new QTreeWidget(pane);
    m_alertList->setObjectName(QStringLiteral("alertList"));
    m_alertList->setRootIsDecorated(false);
    m_alertList->setColumnCount(3);
    m_alertList->header()->setStretchLastSection(true);
    connect(m_alertList, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem *item) {
        const QPointF at = item->data(0, kPositionRole).toPointF();
        emit locateRequested(at.x(), at.y());
    });
    auto *bar = new QHBoxLayout;
    bar->addWidget(m_alertTitle, 1);
    bar->addWidget(m_mute);
    auto *layout = new QVBoxLayout(pane);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(m_alertList);
    return pane;
}

QWidget *SupervisionTab::createSectorPage()
{
    auto *page = new QWidget(this);
    m_loadSector = new QPushButton(page);
    m_loadSector->setObjectName(QStringLiteral("loadSectorFile"));
    m_removeSector = new QPushButton(page);
    m_removeSector->setObjectName(QStringLiteral("removeSectorFile"));
    m_sectorList = new QTreeWidget(page);
    m_sectorList->setObjectName(QStringLiteral("sectorFileList"));
    m_sectorList->setRootIsDecorated(false);
    m_sectorList->setColumnCount(3);
    m_sectorNote = new QLabel(page);
    m_sectorNote->setObjectName(QStringLiteral("sectorNote"));
    m_sectorNote->setWordWrap(true);
    connect(m_loadSector, &QPushButton::clicked, this, &SupervisionTab::onLoadSectorFile);
    connect(m_removeSector, &QPushButton::clicked, this, [this] {
        if (QTreeWidgetItem *item = m_sectorList->currentItem()) {
            m_sectors->removeFile(item->data(0, kFileIdRole).toInt());
            emit sectorFilesChanged();
        }
    });
    connect(m_sectorList, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem *item, int column) {
        if (column == 0)
            m_sectors->setVisible(item->data(0, kFileIdRole).toInt(), item->checkState(0) == Qt::Checked);
    });
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_loadSector);
    buttons->addWidget(m_removeSector);
    buttons->addStretch(1);
    auto *layout = new QVBoxLayout(page);
    layout->addLayout(buttons);
    layout->addWidget(m_sectorList, 1);
    layout->addWidget(m_sectorNote);
    return page;
}

QWidget *SupervisionTab::createTrafficPage()
{
    auto *page = new QWidget(this);
    m_trafficEnabled = new QCheckBox(page);
    m_trafficEnabled->setObjectName(QStringLiteral("trafficEnabled"));
    m_trafficEnabled->setChecked(m_traffic->isEnabled());
    m_url = new QLineEdit(m_traffic->url().toString(), page);
    m_url->setObjectName(QStringLiteral("trafficUrl"));
    m_interval = new QSpinBox(page);
    m_interval->setObjectName(QStringLiteral("trafficInterval"));
    m_interval->setRange(TrafficFeed::kFeedIntervalSec, 3600);
    m_interval->setValue(m_traffic->intervalSec());
    m_urlLabel = new QLabel(page);
    m_intervalLabel = new QLabel(page);
    m_trafficState = new QLabel(page);
    m_trafficState->setObjectName(QStringLiteral("trafficState"));
    m_trafficState->setWordWrap(true);
    m_search = new QLineEdit(page);
    m_search->setObjectName(QStringLiteral("callsignSearch"));
    m_search->setClearButtonEnabled(true);
    m_results = new QListWidget(page);
    m_results->setObjectName(QStringLiteral("callsignResults"));
    connect(m_trafficEnabled, &QCheckBox::toggled, this, &SupervisionTab::applyTrafficSettings);
    connect(m_url, &QLineEdit::editingFinished, this, &SupervisionTab::applyTrafficSettings);
    connect(m_interval, &QSpinBox::editingFinished, this, &SupervisionTab::applyTrafficSettings);
    connect(m_search, &QLineEdit::textChanged, this, &SupervisionTab::onSearch);
    connect(m_results, &QListWidget::itemActivated, this, [this](QListWidgetItem *item) {
        const QPointF at = item->data(kPositionRole).toPointF();
        emit locateRequested(at.x(), at.y());
    });
    auto *form = new QFormLayout;
    form->addRow(m_trafficEnabled);
    form->addRow(m_urlLabel, m_url);
    form->addRow(m_intervalLabel, m_interval);
    auto *layout = new QVBoxLayout(page);
    layout->addLayout(form);
    layout->addWidget(m_trafficState);
    layout->addWidget(m_search);
    layout->addWidget(m_results, 1);
    return page;
}

void SupervisionTab::addPage(QWidget *page, const char *title)
{
    m_addedPages.append({page, title});
    m_pages->addTab(page, tr(title));
}

void SupervisionTab::setPageTitle(QWidget *page, const QString &title)
{
    const int index = m_pages->indexOf(page);
    if (index >= 0)
        m_pages->setTabText(index, title);
}

void SupervisionTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void SupervisionTab::retranslateUi()
{
    m_mute->setText(tr("静音"));
    m_alertList->setHeaderLabels({tr("时间"), tr("类型"), tr("内容")});
    setPageTitle(m_sectorPage, tr("扇区文件"));
    setPageTitle(m_trafficPage, tr("在线交通"));
    for (const auto &[page, title] : std::as_const(m_addedPages))
        setPageTitle(page, tr(title));
    m_loadSector->setText(tr("加载扇区文件…"));
    m_removeSector->setText(tr("移除"));
    m_sectorList->setHeaderLabels({tr("文件"), tr("内容", "sector file column"), tr("跳过的行")});
    m_trafficEnabled->setText(tr("获取在线交通"));
    m_urlLabel->setText(tr("数据源地址"));
    m_intervalLabel->setText(tr("刷新间隔（秒）"));
    m_search->setPlaceholderText(tr("按呼号搜索"));
    refreshAlerts();
    refreshSectorFiles();
    refreshTrafficState();
}

void SupervisionTab::refreshAlerts()
{
    const QList<SupervisionAlert> alerts = m_alerts->alerts();
    m_alertTitle->setText(alerts.isEmpty() ? tr("无告警") : tr("告警 %1 条").arg(alerts.size()));
    m_alertList->clear();
    // Newest first: the one that just sounded is on top.
    for (auto it = alerts.crbegin(); it != alerts.crend(); ++it) {
        auto *item = new QTreeWidgetItem(m_alertList);
        item->setText(0, it->raisedUtc.toLocalTime().toString(QStringLiteral("HH:mm:ss")));
        item->setText(1, SupervisionAlert::kindText(it->kind));
        item->setText(2, it->message());
        item->setToolTip(2, it->message());
        item->setData(0, kPositionRole, it->positions.value(0));
        item->setForeground(
            1, QColor(it->kind == SupervisionAlert::Kind::Conflict ? QColor(200, 20, 30) : QColor(190, 110, 0)));
    }
    m_alertList->resizeColumnToContents(0);
    m_alertList->resizeColumnToContents(1);
}

void SupervisionTab::refreshSectorFiles()
{
    const QSignalBlocker blocker(m_sectorList);
    m_sectorList->clear();
    for (const int id : m_sectors->fileIds()) {
        const SectorManager::Entry *entry = m_sectors->entry(id);
        const SectorFile &file = entry->file;
        auto *item = new QTreeWidgetItem(m_sectorList);
        item->setData(0, kFileIdRole, id);
        item->setText(0, file.name);
        item->setToolTip(0, file.path);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(0, entry->visible ? Qt::Checked : Qt::Unchecked);
        item->setText(1, tr("%1 条线，%2 个点，%3 个扇区，%4 个管制席位")
                             .arg(file.lines.size())
                             .arg(file.points.size())
                             .arg(file.areas.size())
                             .arg(file.positions.size()));
        item->setText(2, QStringLiteral("%1 / %2").arg(file.report.skippedCount).arg(file.report.lineCount));
        item->setToolTip(2, file.report.reasons.join(QLatin1Char('\n')));
    }
    for (int column = 0; column < 3; ++column)
        m_sectorList->resizeColumnToContents(column);
    if (m_sectors->loadingCount() > 0) {
        m_sectorNote->setText(tr("正在加载 %1 个文件…").arg(m_sectors->loadingCount()));
        m_showingLoading = true;
    } else if (m_showingLoading) {
        m_sectorNote->clear();
        m_showingLoading = false;
    }
}

void SupervisionTab::refreshTrafficState()
{
    if (!m_traffic->hasSnapshot() && m_traffic->lastError().isEmpty()) {
        m_trafficState->setText(m_traffic->isEnabled() ? tr("等待数据…") : tr("未启用"));
        return;
    }
    QString text;
    if (m_traffic->hasSnapshot()) {
        const TrafficSnapshot &s = m_traffic->snapshot();
        text = tr("%1 架飞机，%2 个管制席位，更新于 %3")
                   .arg(s.pilots.size())
                   .arg(s.controllers.size())
                   .arg(m_traffic->lastUpdate().toLocalTime().toString(QStringLiteral("HH:mm:ss")));
    }
    if (!m_traffic->lastError().isEmpty())
        text += (text.isEmpty() ? QString() : QStringLiteral("\n")) +
                tr("最近一次获取失败（保留上次数据）：%1").arg(m_traffic->lastError());
    m_trafficState->setText(text);
    onSearch();
}

void SupervisionTab::onLoadSectorFile()
{
    const QStringList paths = QFileDialog::getOpenFileNames(
        this, tr("加载扇区文件"), QString(),
        tr("扇区文件 (*.sct *.sct2 *.ese *.geojson *.json *.txt *.openair *.dat);;所有文件 (*)"));
    for (const QString &path : paths)
        m_sectors->loadFile(path);
    if (!paths.isEmpty()) {
        refreshSectorFiles();
        emit sectorFilesChanged();
    }
}

void SupervisionTab::onSearch()
{
    m_results->clear();
    const QList<TrafficPilot> found = m_traffic->findCallsign(m_search->text());
    for (const TrafficPilot &pilot : found.mid(0, kMaxSearchResults)) {
        auto *item = new QListWidgetItem(QStringLiteral("%1  %2  FL%3  %4kt  %5-%6")
                                             .arg(pilot.callsign, pilot.aircraftType)
                                             .arg(int(pilot.altitudeFt / 100), 3, 10, QLatin1Char('0'))
                                             .arg(int(pilot.groundSpeedKts))
                                             .arg(pilot.departure, pilot.arrival),
                                         m_results);
        item->setData(kPositionRole, QPointF(pilot.lat, pilot.lon));
    }
}

void SupervisionTab::applyTrafficSettings()
{
    m_traffic->setUrl(QUrl(m_url->text().trimmed()));
    m_traffic->setIntervalSec(m_interval->value());
    m_traffic->setEnabled(m_trafficEnabled->isChecked());
    refreshTrafficState();
    emit trafficSettingsChanged(m_traffic->url().toString(), m_traffic->intervalSec(), m_traffic->isEnabled());
}
