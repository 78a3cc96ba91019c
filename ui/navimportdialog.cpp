#include "ui/navimportdialog.h"

#include "nav/msfs2024navimporter.h"
#include "nav/navdatabasebuild.h"
#include "nav/navdatafiles.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QElapsedTimer>
#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

// The simulators whose data this dialog imports: from files, and MSFS 2024 from the running
// simulator through its facility interface.
const SimType kSources[] = {SimType::XPlane11, SimType::XPlane12, SimType::Prepar3D,
                            SimType::Fsx,      SimType::Msfs2020, SimType::Msfs2024};

// The facility import's phases with a bar each, by phase number.
const int kFacilityPhases[] = {
    Msfs2024NavImporter::RegisterDefinitions, Msfs2024NavImporter::AirportList, Msfs2024NavImporter::AirportCounts,
    Msfs2024NavImporter::AirportBase,         Msfs2024NavImporter::Frequencies, Msfs2024NavImporter::Runways,
    Msfs2024NavImporter::Procedures,          Msfs2024NavImporter::Navaids,     Msfs2024NavImporter::Writing};
const QString kFacilityStagePrefix = QStringLiteral("msfs2024_");

bool readsScenery(SimType type)
{
    return type == SimType::Prepar3D || type == SimType::Fsx || type == SimType::Msfs2020;
}

} // namespace

NavImportDialog::NavImportDialog(const QString &databaseDir, QWidget *parent)
    : QDialog(parent), m_databaseDir(databaseDir), m_build(std::make_unique<NavDatabaseBuild>()),
      m_facilityImport(new Msfs2024NavImporter(this))
{
    m_source = new QComboBox;
    m_source->setObjectName(QStringLiteral("source"));
    for (const SimType type : kSources)
        m_source->addItem(simTypeName(type), QVariant::fromValue(type));

    // Texts are set by retranslateUi(); captions are recorded with their source text.
    auto *sourceBox = m_sourceBox = new QGroupBox;
    auto *sourceGrid = new QGridLayout(sourceBox);
    auto *simulatorLabel = new QLabel;
    m_captions.append({simulatorLabel, QT_TR_NOOP("模拟器：")});
    sourceGrid->addWidget(simulatorLabel, 0, 0);
    sourceGrid->addWidget(m_source, 0, 1, 1, 2);
    m_xplaneRow = addFolderRow(sourceGrid, 1, QT_TR_NOOP("X-Plane 安装目录："), "xplaneFolder");
    // One row for the scenery simulators; its label and hint follow the chosen one.
    m_sceneryRow = addFolderRow(sourceGrid, 2, nullptr, "sceneryFolder");
    m_target = new QLabel;
    m_target->setObjectName(QStringLiteral("target"));
    m_target->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *targetLabel = new QLabel;
    m_captions.append({targetLabel, QT_TR_NOOP("数据库文件：")});
    sourceGrid->addWidget(targetLabel, 3, 0);
    sourceGrid->addWidget(m_target, 3, 1, 1, 2);
    sourceGrid->setColumnStretch(1, 1);

    // Route-finder, ATC and airspace data join an X-Plane build only: a scenery import writes
    // the whole database itself.
    auto *extraBox = new QGroupBox;
    m_extraBox = extraBox;
    auto *extraGrid = new QGridLayout(extraBox);
    extraGrid->setColumnStretch(1, 1);
    m_routeFinderFolder = addFolderRow(extraGrid, 0, QT_TR_NOOP("航路规划数据目录："), "routeFinderFolder").edit;
    m_atcFolder = addFolderRow(extraGrid, 1, QT_TR_NOOP("Navigraph 管制频率目录："), "atcFolder").edit;
    m_openAirFolder = addFolderRow(extraGrid, 2, QT_TR_NOOP("OpenAir 空域目录："), "openAirFolder").edit;
    m_openAipFolder = addFolderRow(extraGrid, 3, QT_TR_NOOP("OpenAIP 空域目录："), "openAipFolder").edit;

    auto *progressBox = m_progressBox = new QGroupBox;
    m_stageGrid = new QGridLayout(progressBox);
    m_stageGrid->setColumnStretch(1, 1);

    m_status = new QLabel;
    m_status->setObjectName(QStringLiteral("status"));
    m_status->setWordWrap(true);
    m_result = new QPlainTextEdit;
    m_result->setObjectName(QStringLiteral("result"));
    m_result->setReadOnly(true);
    m_result->setMaximumBlockCount(200);
    m_result->setFixedHeight(m_result->fontMetrics().lineSpacing() * 9);

    auto *buttons = new QDialogButtonBox;
    m_startButton = buttons->addButton(QString(), QDialogButtonBox::ActionRole);
    m_startButton->setObjectName(QStringLiteral("start"));
    m_cancelButton = buttons->addButton(QString(), QDialogButtonBox::ActionRole);
    m_cancelButton->setObjectName(QStringLiteral("cancel"));
    m_closeButton = buttons->addButton(QString(), QDialogButtonBox::RejectRole);
    m_closeButton->setObjectName(QStringLiteral("close"));

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(sourceBox);
    layout->addWidget(extraBox);
    layout->addWidget(progressBox);
    layout->addWidget(m_status);
    layout->addWidget(m_result);
    layout->addWidget(buttons);

    connect(m_source, &QComboBox::currentIndexChanged, this, &NavImportDialog::updateSource);
    for (QLineEdit *edit :
         {m_xplaneRow.edit, m_sceneryRow.edit, m_routeFinderFolder, m_atcFolder, m_openAirFolder, m_openAipFolder})
        connect(edit, &QLineEdit::textChanged, this, &NavImportDialog::rebuildStageRows);
    connect(m_startButton, &QPushButton::clicked, this, &NavImportDialog::start);
    connect(m_cancelButton, &QPushButton::clicked, this, &NavImportDialog::cancel);
    connect(buttons, &QDialogButtonBox::rejected, this, &NavImportDialog::reject);

    // The build's signals come from its worker thread and are queued to this one.
    connect(m_build.get(), &NavDatabaseBuild::stageStarted, this, &NavImportDialog::onStageStarted);
    connect(m_build.get(), &NavDatabaseBuild::progress, this, &NavImportDialog::onProgress);
    connect(m_build.get(), &NavDatabaseBuild::finished, this, &NavImportDialog::onFinished);
    connect(m_facilityImport, &Msfs2024NavImporter::phaseStarted, this,
            [this](int phase) { onStageStarted(kFacilityStagePrefix + QString::number(phase), phase, 0); });
    connect(m_facilityImport, &Msfs2024NavImporter::importProgress, this,
            [this](const QString &, int current, int total) { onProgress(m_activeStage, current, total); });
    connect(m_facilityImport, &Msfs2024NavImporter::importFinished, this, &NavImportDialog::onFinished);

    setMinimumWidth(560);
    setRunning(false);
    updateSource();
    retranslateUi();
}

void NavImportDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QDialog::changeEvent(event);
}

void NavImportDialog::retranslateUi()
{
    setWindowTitle(tr("导入导航数据"));
    m_sourceBox->setTitle(tr("数据来源"));
    m_extraBox->setTitle(tr("附加数据（可选）"));
    m_progressBox->setTitle(tr("导入进度"));
    for (const auto &[label, caption] : std::as_const(m_captions))
        label->setText(tr(caption));
    for (QPushButton *browse : std::as_const(m_browseButtons))
        browse->setText(tr("浏览…"));
    labelSceneryRow();
    for (StageRow &row : m_stages) {
        row.label->setText(stageTitle(row.key));
        setStageState(row, row.stageState);
    }
    m_startButton->setText(tr("开始导入"));
    m_cancelButton->setText(tr("取消导入"));
    m_closeButton->setText(tr("关闭"));
    m_status->setText(m_statusText ? m_statusText() : QString());
    if (m_resultText)
        m_result->setPlainText(m_resultText());
}

void NavImportDialog::labelSceneryRow()
{
    if (m_sceneryShown == SimType::Msfs2020) {
        m_sceneryRow.label->setText(tr("MSFS 2020 软件包目录："));
        m_sceneryRow.edit->setPlaceholderText(tr("Packages 目录、UserCfg.opt 所在目录或该文件"));
    } else if (m_sceneryShown != SimType::None) {
        m_sceneryRow.label->setText(tr("%1 安装目录：").arg(simTypeName(m_sceneryShown)));
        m_sceneryRow.edit->setPlaceholderText(tr("包含 scenery.cfg 的目录"));
    }
    // The hint may not fit a narrow field.
    m_sceneryRow.edit->setToolTip(m_sceneryRow.edit->placeholderText());
}

void NavImportDialog::setStageState(StageRow &row, StageState state)
{
    row.stageState = state;
    switch (state) {
    case StageState::Waiting:
        row.state->setText(tr("等待"));
        break;
    case StageState::Running:
        row.state->setText(tr("进行中"));
        break;
    case StageState::Done:
        row.state->setText(tr("完成"));
        break;
    case StageState::Cancelled:
        row.state->setText(tr("已取消"));
        break;
    case StageState::Failed:
        row.state->setText(tr("失败"));
        break;
    }
}

void NavImportDialog::setStatus(const Text &text)
{
    m_statusText = text;
    m_status->setText(text ? text() : QString());
}

void NavImportDialog::setResult(const Text &text)
{
    m_resultText = text;
    m_result->setPlainText(text ? text() : QString());
}

NavImportDialog::~NavImportDialog()
{
    // The build's destructor cancels and waits; its queued signals to this dialog are dropped.
    m_build.reset();
}

NavImportDialog::FolderRow NavImportDialog::addFolderRow(QGridLayout *grid, int row, const char *label,
                                                         const char *objectName)
{
    FolderRow folderRow;
    folderRow.label = new QLabel;
    if (label)
        m_captions.append({folderRow.label, label});
    folderRow.edit = new QLineEdit;
    folderRow.edit->setObjectName(QLatin1String(objectName));
    folderRow.browse = new QPushButton;
    m_browseButtons.append(folderRow.browse);
    grid->addWidget(folderRow.label, row, 0);
    grid->addWidget(folderRow.edit, row, 1);
    grid->addWidget(folderRow.browse, row, 2);
    connect(folderRow.browse, &QPushButton::clicked, this, [this, folderRow] {
        // The label may have changed since the row was made (the scenery row follows the source).
        const QString folder = QFileDialog::getExistingDirectory(this, folderRow.label->text(), folderRow.edit->text());
        if (!folder.isEmpty())
            folderRow.edit->setText(QDir::toNativeSeparators(folder));
    });
    return folderRow;
}

void NavImportDialog::FolderRow::setVisible(bool visible) const
{
    label->setVisible(visible);
    edit->setVisible(visible);
    browse->setVisible(visible);
}

void NavImportDialog::setXPlaneFolder(const QString &folder)
{
    m_xplaneRow.edit->setText(folder);
}

void NavImportDialog::setSceneryFolder(const QString &folder)
{
    m_sceneryRow.edit->setText(folder);
}

void NavImportDialog::setSimType(SimType type)
{
    const int row = m_source->findData(QVariant::fromValue(type));
    if (row >= 0)
        m_source->setCurrentIndex(row);
}

SimType NavImportDialog::simType() const
{
    return m_source->currentData().value<SimType>();
}

bool NavImportDialog::isScenerySource() const
{
    return readsScenery(simType());
}

bool NavImportDialog::isFacilitySource() const
{
    return simType() == SimType::Msfs2024;
}

void NavImportDialog::setSimConnectSession(SimConnectSession *session)
{
    m_facilityImport->setSession(session);
}

QString NavImportDialog::databasePath() const
{
    // FSX reads the same scenery as Prepar3D and shares its file.
    return navDataFilePath(navDataSourceForSimType(simType(), 0), m_databaseDir);
}

bool NavImportDialog::isBuilding() const
{
    return m_build->isRunning() || m_facilityImport->isRunning();
}

void NavImportDialog::updateSource()
{
    const SimType type = simType();
    const bool scenery = readsScenery(type);
    if (scenery && type != m_sceneryShown) {
        if (m_sceneryShown != SimType::None)
            m_sceneryFolders.insert(m_sceneryShown, m_sceneryRow.edit->text());
        m_sceneryShown = type;
        labelSceneryRow();
        m_sceneryRow.edit->setText(m_sceneryFolders.value(type));
    }
    const bool files = !isFacilitySource();
    m_xplaneRow.setVisible(files && !scenery);
    m_sceneryRow.setVisible(files && scenery);
    m_extraBox->setVisible(files && !scenery);
    m_target->setText(QDir::toNativeSeparators(databasePath()));
    // The outcome shown belongs to the source that was built.
    setStatus(nullptr);
    setResult(nullptr);
    rebuildStageRows();
    if (isVisible())
        fitHeight();
}

void NavImportDialog::fitHeight()
{
    // The group boxes learn of hidden or removed rows only when their queued layout requests run;
    // settle them now so that the size hint counts only what is shown.
    for (QGroupBox *box : findChildren<QGroupBox *>())
        box->layout()->activate();
    layout()->activate();
    // Hidden rows would otherwise leave their room empty; the width stays as the operator chose.
    resize(width(), sizeHint().height());
}

void NavImportDialog::rebuildStageRows()
{
    if (isBuilding())
        return;
    for (const StageRow &row : std::as_const(m_stages)) {
        delete row.label;
        delete row.bar;
        delete row.state;
    }
    m_stages.clear();
    QStringList keys;
    if (isFacilitySource()) {
        for (const int phase : kFacilityPhases)
            keys << kFacilityStagePrefix + QString::number(phase);
    }
    NavBuildSources sources;
    if (isScenerySource()) {
        sources.sceneryDir = m_sceneryRow.edit->text().trimmed();
        sources.sceneryKind = simType();
    } else {
        sources.xplaneDir = m_xplaneRow.edit->text().trimmed();
        sources.routeFinderDir = m_routeFinderFolder->text().trimmed();
        sources.atcDir = m_atcFolder->text().trimmed();
        sources.openAirDir = m_openAirFolder->text().trimmed();
        sources.openAipDir = m_openAipFolder->text().trimmed();
    }
    m_build->setSources(sources);
    if (!isFacilitySource())
        keys = m_build->stages();
    for (int i = 0; i < keys.size(); ++i) {
        StageRow row;
        row.key = keys.at(i);
        row.label = new QLabel(stageTitle(row.key));
        row.bar = new QProgressBar;
        row.bar->setObjectName(QStringLiteral("progress_") + row.key);
        row.bar->setRange(0, 100);
        row.bar->setValue(0);
        row.state = new QLabel;
        setStageState(row, StageState::Waiting);
        // Wide enough for every state, so that the bars keep their width.
        row.state->setMinimumWidth(row.state->fontMetrics().horizontalAdvance(tr("进行中")) + 8);
        m_stageGrid->addWidget(row.label, i, 0);
        m_stageGrid->addWidget(row.bar, i, 1);
        m_stageGrid->addWidget(row.state, i, 2);
        m_stages.append(row);
    }
}

void NavImportDialog::start()
{
    if (isBuilding())
        return;
    if (isFacilitySource()) {
        startFacilityImport();
        return;
    }
    if (isScenerySource()) {
        // A missing scenery library inside an existing folder is for the import to report.
        const QString source = m_sceneryRow.edit->text().trimmed();
        if (source.isEmpty() || !QFileInfo::exists(source)) {
            const SimType type = simType();
            setStatus([type] {
                return type == SimType::Msfs2020 ? tr("请选择有效的 MSFS 2020 软件包目录或 UserCfg.opt 文件。")
                                                 : tr("请选择有效的 %1 安装目录。").arg(simTypeName(type));
            });
            return;
        }
    } else {
        const QString xplane = m_xplaneRow.edit->text().trimmed();
        if (xplane.isEmpty() || !QFileInfo(xplane).isDir()) {
            setStatus([] { return tr("请选择有效的 X-Plane 安装目录。"); });
            return;
        }
    }
    rebuildStageRows();
    m_build->setTargetPath(databasePath());
    setResult(nullptr);
    setStatus([] { return tr("正在导入，完成前原有数据库保持不变…"); });
    m_activeStage.clear();
    m_cancelRequested = false;
    if (!m_build->start())
        return;
    setRunning(true);
}

void NavImportDialog::startFacilityImport()
{
    rebuildStageRows();
    setResult(nullptr);
    m_activeStage.clear();
    m_cancelRequested = false;
    setRunning(true);
    setStatus([] { return tr("正在从 MSFS 2024 读取导航数据，完成前原有数据库保持不变…"); });
    if (!m_facilityImport->importToDatabase(databasePath())) {
        setRunning(false);
        setStatus([] { return tr("未连接到 MSFS 2024：请先连接模拟器，再从模拟器导入。"); });
    }
}

void NavImportDialog::cancel()
{
    if (!isBuilding())
        return;
    m_cancelRequested = true;
    setStatus([] { return tr("正在取消…"); });
    m_cancelButton->setEnabled(false);
    m_build->cancel();
    m_facilityImport->cancel();
}

void NavImportDialog::reject()
{
    if (isBuilding()) {
        cancel();
        m_build->wait();
    }
    QDialog::reject();
}

NavImportDialog::StageRow *NavImportDialog::rowFor(const QString &stage)
{
    for (StageRow &row : m_stages) {
        if (row.key == stage)
            return &row;
    }
    return nullptr;
}

void NavImportDialog::onStageStarted(const QString &stage, int index, int stageCount)
{
    Q_UNUSED(index)
    Q_UNUSED(stageCount)
    if (StageRow *previous = rowFor(m_activeStage)) {
        previous->bar->setRange(0, 100);
        previous->bar->setValue(100);
        setStageState(*previous, StageState::Done);
    }
    m_activeStage = stage;
    if (StageRow *row = rowFor(stage)) {
        // Busy until the importer reports how far it is.
        row->bar->setRange(0, 0);
        setStageState(*row, StageState::Running);
    }
}

void NavImportDialog::onProgress(const QString &stage, int current, int total)
{
    // Importers name their progress like the stages; one that reports under another name
    // (none at present) still moves the active stage's bar.
    StageRow *row = rowFor(stage);
    if (!row)
        row = rowFor(m_activeStage);
    if (!row || total <= 0)
        return;
    row->bar->setRange(0, 100);
    row->bar->setValue(int(qint64(current) * 100 / total));
}

void NavImportDialog::onFinished(const QString &message, bool success)
{
    setRunning(false);
    StageRow *active = rowFor(m_activeStage);
    if (success) {
        for (StageRow &row : m_stages) {
            row.bar->setRange(0, 100);
            row.bar->setValue(100);
            setStageState(row, StageState::Done);
        }
        if (m_activeStage.startsWith(kFacilityStagePrefix)) {
            const QString target = databasePath();
            setStatus([target] { return tr("导入完成：%1").arg(QDir::toNativeSeparators(target)); });
            // What was imported, in English as the log has it.
            setResult([message] { return message; });
            emit databaseBuilt(target);
            return;
        }
        const QString target = QDir::toNativeSeparators(m_build->targetPath());
        setStatus([target] { return tr("导入完成：%1").arg(target); });
        const auto counts = m_build->counts();
        setResult([counts] {
            QStringList lines;
            for (const auto &count : counts)
                lines.append(tr("%1：%2").arg(tableTitle(count.first)).arg(count.second));
            return lines.join(QLatin1Char('\n'));
        });
        emit databaseBuilt(m_build->targetPath());
        return;
    }
    if (active) {
        active->bar->setRange(0, 100);
        setStageState(*active, m_cancelRequested ? StageState::Cancelled : StageState::Failed);
    }
    const bool cancelled = m_cancelRequested;
    setStatus([cancelled] {
        return cancelled ? tr("导入已取消，原有数据库保持不变。") : tr("导入失败，原有数据库保持不变。");
    });
    // The reason stays in English, as the log has it.
    setResult([message] { return message; });
}

void NavImportDialog::setRunning(bool running)
{
    m_startButton->setEnabled(!running);
    m_cancelButton->setEnabled(running);
    m_source->setEnabled(!running);
    for (QLineEdit *edit :
         {m_xplaneRow.edit, m_sceneryRow.edit, m_routeFinderFolder, m_atcFolder, m_openAirFolder, m_openAipFolder})
        edit->setEnabled(!running);
    for (QPushButton *browse : std::as_const(m_browseButtons))
        browse->setEnabled(!running);
}

QString NavImportDialog::stageTitle(const QString &stage)
{
    static const QHash<QString, const char *> kTitles{
        {QStringLiteral("schema"), QT_TR_NOOP("创建数据库")},
        {QStringLiteral("navaids"), QT_TR_NOOP("导航台")},
        {QStringLiteral("waypoints"), QT_TR_NOOP("航路点")},
        {QStringLiteral("airways"), QT_TR_NOOP("航路")},
        {QStringLiteral("airports"), QT_TR_NOOP("机场")},
        {QStringLiteral("procedures"), QT_TR_NOOP("离场、进场与进近程序")},
        {QStringLiteral("aptmeta"), QT_TR_NOOP("机场元数据")},
        {QStringLiteral("cycle"), QT_TR_NOOP("AIRAC 周期")},
        {QStringLiteral("routefinder"), QT_TR_NOOP("航路规划数据")},
        {QStringLiteral("atc"), QT_TR_NOOP("管制频率")},
        {QStringLiteral("openair"), QT_TR_NOOP("OpenAir 空域")},
        {QStringLiteral("openaip"), QT_TR_NOOP("OpenAIP 空域")},
        {QStringLiteral("finish"), QT_TR_NOOP("完成数据库")},
        {QStringLiteral("scenery"), QT_TR_NOOP("读取场景文件")},
        {QStringLiteral("write"), QT_TR_NOOP("写入数据库")},
    };
    static const QHash<int, const char *> kPhaseTitles{
        {Msfs2024NavImporter::RegisterDefinitions, QT_TR_NOOP("注册设施定义")},
        {Msfs2024NavImporter::AirportList, QT_TR_NOOP("机场列表")},
        {Msfs2024NavImporter::AirportCounts, QT_TR_NOOP("设施数量")},
        {Msfs2024NavImporter::AirportBase, QT_TR_NOOP("基本信息")},
        {Msfs2024NavImporter::Frequencies, QT_TR_NOOP("频率")},
        {Msfs2024NavImporter::Runways, QT_TR_NOOP("跑道")},
        {Msfs2024NavImporter::Procedures, QT_TR_NOOP("程序 (SID/STAR/Approach)")},
        {Msfs2024NavImporter::Navaids, QT_TR_NOOP("广度优先遍历导航设施")},
        {Msfs2024NavImporter::Writing, QT_TR_NOOP("写入数据库")},
    };
    if (stage.startsWith(kFacilityStagePrefix)) {
        const char *title = kPhaseTitles.value(stage.mid(kFacilityStagePrefix.size()).toInt());
        return title ? tr(title) : stage;
    }
    const char *title = kTitles.value(stage);
    return title ? tr(title) : stage;
}

QString NavImportDialog::tableTitle(const QString &table)
{
    static const QHash<QString, const char *> kTitles{
        {QStringLiteral("airports"), QT_TR_NOOP("机场")},
        {QStringLiteral("runways"), QT_TR_NOOP("跑道端")},
        {QStringLiteral("frequencies"), QT_TR_NOOP("通信频率")},
        {QStringLiteral("towers"), QT_TR_NOOP("塔台")},
        {QStringLiteral("parkings"), QT_TR_NOOP("停机位")},
        {QStringLiteral("taxiway_nodes"), QT_TR_NOOP("滑行道节点")},
        {QStringLiteral("taxiway_edges"), QT_TR_NOOP("滑行道段")},
        {QStringLiteral("navaids"), QT_TR_NOOP("导航台")},
        {QStringLiteral("waypoints"), QT_TR_NOOP("航路点")},
        {QStringLiteral("airways"), QT_TR_NOOP("航路段")},
        {QStringLiteral("procedures"), QT_TR_NOOP("程序")},
        {QStringLiteral("procedure_legs"), QT_TR_NOOP("程序航段")},
        {QStringLiteral("airspaces"), QT_TR_NOOP("空域")},
        {QStringLiteral("aptmeta"), QT_TR_NOOP("机场元数据")},
        {QStringLiteral("navdata_meta"), QT_TR_NOOP("数据版本信息")},
    };
    const char *title = kTitles.value(table);
    return title ? tr(title) : table;
}
