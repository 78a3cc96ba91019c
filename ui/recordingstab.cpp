#include "ui/recordingstab.h"

#include "recording/recordinglibrary.h"
#include "ui/flightlistmodel.h"
#include "ui/flightstatisticsview.h"

#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>

RecordingsTab::RecordingsTab(QWidget *parent)
    : QWidget(parent), m_model(new FlightListModel(this)), m_filter(new FlightFilterModel(this))
{
    m_filter->setSourceModel(m_model);
    m_search = new QLineEdit;
    m_search->setObjectName(QStringLiteral("flightSearch"));
    m_search->setClearButtonEnabled(true);
    m_refresh = new QPushButton;
    m_refresh->setObjectName(QStringLiteral("refreshFlights"));
    m_play = new QPushButton;
    m_play->setObjectName(QStringLiteral("playFlight"));
    m_export = new QPushButton;
    m_export->setObjectName(QStringLiteral("exportFlight"));
    m_export->setMenu(new QMenu(m_export));
    m_import = new QPushButton;
    m_import->setObjectName(QStringLiteral("importTrack"));
    m_delete = new QPushButton;
    m_delete->setObjectName(QStringLiteral("deleteFlight"));
    m_message = new QLabel;
    m_message->setObjectName(QStringLiteral("recordingsMessage"));

    m_view = new QTableView;
    m_view->setObjectName(QStringLiteral("flightList"));
    m_view->setModel(m_filter);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->verticalHeader()->hide();
    m_view->horizontalHeader()->setStretchLastSection(true);
    m_view->setAlternatingRowColors(true);
    m_stats = new FlightStatisticsView;
    m_stats->setObjectName(QStringLiteral("flightStatistics"));

    auto *bar = new QHBoxLayout;
    bar->addWidget(m_search, 1);
    for (QPushButton *button : {m_refresh, m_play, m_export, m_import, m_delete})
        bar->addWidget(button);
    auto *split = new QSplitter(Qt::Vertical);
    split->addWidget(m_view);
    split->addWidget(m_stats);
    split->setStretchFactor(0, 2);
    split->setStretchFactor(1, 3);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(split, 1);
    layout->addWidget(m_message);

    connect(m_search, &QLineEdit::textChanged, this, &RecordingsTab::setSearchText);
    connect(m_view->selectionModel(), &QItemSelectionModel::selectionChanged, this, &RecordingsTab::onSelectionChanged);
    connect(m_view, &QTableView::doubleClicked, this, [this] {
        if (m_shown.info.id != 0 && m_shown.info.id == m_wanted)
            emit playRequested(m_shown);
    });
    connect(m_refresh, &QPushButton::clicked, this, &RecordingsTab::refresh);
    connect(m_play, &QPushButton::clicked, this, [this] { emit playRequested(m_shown); });
    connect(m_import, &QPushButton::clicked, this, &RecordingsTab::chooseImport);
    connect(m_delete, &QPushButton::clicked, this, &RecordingsTab::confirmDelete);
    for (const TrackFormat format : {TrackFormat::Gpx, TrackFormat::Kml, TrackFormat::Csv}) {
        QAction *action = m_export->menu()->addAction(trackFormatSuffix(format).toUpper());
        connect(action, &QAction::triggered, this, [this, format] { chooseExport(format); });
    }
    retranslateUi();
    updateButtons();
}

void RecordingsTab::retranslateUi()
{
    m_search->setPlaceholderText(tr("搜索呼号、机型、模拟器、日期…"));
    m_refresh->setText(tr("刷新"));
    m_play->setText(tr("回放"));
    m_export->setText(tr("导出"));
    m_import->setText(tr("导入航迹…"));
    m_delete->setText(tr("删除"));
    m_model->retranslate();
}

void RecordingsTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void RecordingsTab::setLibrary(RecordingLibrary *library)
{
    if (m_library)
        disconnect(m_library, nullptr, this, nullptr);
    m_library = library;
    if (!library)
        return;
    connect(library, &RecordingLibrary::flightsLoaded, this, &RecordingsTab::onFlightsLoaded);
    connect(library, &RecordingLibrary::flightLoaded, this, &RecordingsTab::onFlightLoaded);
    connect(library, &RecordingLibrary::requestFailed, this, &RecordingsTab::onFailed);
    connect(library, &RecordingLibrary::flightExported, this, [this](qint64, const QString &path) {
        m_message->setText(tr("已导出到 %1").arg(QDir::toNativeSeparators(path)));
    });
    connect(library, &RecordingLibrary::trackImported, this,
            [this](const FlightInfo &flight, int skipped, const QString &problem) {
                m_message->setText(
                    skipped == 0
                        ? tr("已导入 %1 个航迹点").arg(flight.sampleCount)
                        : tr("已导入 %1 个航迹点，跳过 %2 行（%3）").arg(flight.sampleCount).arg(skipped).arg(problem));
                m_wanted = flight.id;
                refresh();
            });
    connect(library, &RecordingLibrary::flightDeleted, this, [this](qint64) {
        m_message->setText(tr("已删除"));
        refresh();
    });
}

void RecordingsTab::refresh()
{
    if (m_library)
        m_library->requestFlights();
}

void RecordingsTab::setSearchText(const QString &text)
{
    if (m_search->text() != text)
        m_search->setText(text);
    m_filter->setSearchText(text);
}

bool RecordingsTab::selectFlight(qint64 id)
{
    const int row = m_model->rowOf(id);
    const QModelIndex index = row < 0 ? QModelIndex() : m_filter->mapFromSource(m_model->index(row, 0));
    if (!index.isValid())
        return false;
    m_view->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_view->scrollTo(index);
    return true;
}

void RecordingsTab::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    refresh();
}

void RecordingsTab::onSelectionChanged()
{
    const QModelIndexList rows = m_view->selectionModel()->selectedRows();
    m_wanted = rows.isEmpty() ? 0 : rows.first().data(Qt::UserRole).toLongLong();
    if (m_wanted == 0) {
        m_shown = RecordedFlight();
        m_stats->clear();
    } else if (m_library && m_wanted != m_shown.info.id) {
        m_library->requestFlight(m_wanted);
    }
    updateButtons();
}

void RecordingsTab::onFlightsLoaded(const QList<FlightInfo> &flights)
{
    const qint64 keep = m_wanted;
    m_model->setFlights(flights);
    m_view->resizeColumnsToContents();
    if (keep == 0 || !selectFlight(keep)) {
        m_shown = RecordedFlight();
        m_stats->clear();
        m_wanted = 0;
    }
    updateButtons();
}

void RecordingsTab::onFlightLoaded(const RecordedFlight &flight)
{
    if (flight.info.id != m_wanted)
        return;
    m_shown = flight;
    m_stats->setFlight(flight);
    updateButtons();
}

void RecordingsTab::onFailed(const QString &message)
{
    m_message->setText(tr("记录数据库：%1").arg(message));
}

void RecordingsTab::exportShown(TrackFormat format, const QString &path)
{
    if (m_library && m_shown.info.id != 0)
        m_library->exportFlight(m_shown.info.id, format, path);
}

void RecordingsTab::importFile(const QString &path)
{
    if (m_library)
        m_library->importTrack(path);
}

void RecordingsTab::deleteShown()
{
    if (m_library && m_shown.info.id != 0)
        m_library->deleteFlight(m_shown.info.id);
}

void RecordingsTab::chooseExport(TrackFormat format)
{
    if (m_shown.info.id == 0)
        return;
    const QString suffix = trackFormatSuffix(format);
    const QString name = QStringLiteral("%1_%2.%3")
                             .arg(m_shown.info.callsign.isEmpty() ? QStringLiteral("flight") : m_shown.info.callsign)
                             .arg(m_shown.info.id)
                             .arg(suffix);
    const QString path = QFileDialog::getSaveFileName(this, tr("导出航迹"), QDir::home().filePath(name),
                                                      tr("%1 文件 (*.%2)").arg(suffix.toUpper(), suffix));
    if (!path.isEmpty())
        exportShown(format, path);
}

void RecordingsTab::chooseImport()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("导入航迹"), QDir::homePath(), tr("航迹文件 (*.gpx *.csv)"));
    if (!path.isEmpty())
        importFile(path);
}

void RecordingsTab::confirmDelete()
{
    if (m_shown.info.id == 0)
        return;
    if (QMessageBox::question(this, tr("删除记录"), tr("删除这次飞行的全部记录？")) == QMessageBox::Yes)
        deleteShown();
}

void RecordingsTab::updateButtons()
{
    const bool loaded = m_shown.info.id != 0 && m_shown.info.id == m_wanted;
    m_play->setEnabled(loaded && !m_shown.samples.isEmpty());
    m_export->setEnabled(loaded);
    m_delete->setEnabled(loaded);
}
