#include "ui/fueltab.h"

#include "control/fuelmanager.h"
#include "sim/aircraftdata.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

enum TankColumn { TankName, TankBar, TankGallons, TankKg };

QTableWidget *table(int columns, const QString &objectName)
{
    auto *widget = new QTableWidget(0, columns);
    widget->setObjectName(objectName);
    widget->verticalHeader()->setVisible(false);
    widget->setSelectionBehavior(QAbstractItemView::SelectRows);
    widget->setSelectionMode(QAbstractItemView::SingleSelection);
    widget->horizontalHeader()->setStretchLastSection(true);
    return widget;
}

QPushButton *button(const QString &objectName)
{
    auto *b = new QPushButton;
    b->setObjectName(objectName);
    return b;
}

} // namespace

FuelTab::FuelTab(QWidget *parent) : QWidget(parent)
{
    auto *left = new QVBoxLayout;
    left->addWidget(createTanks(), 1);
    left->addWidget(createLoading());
    auto *layout = new QHBoxLayout(this);
    layout->addLayout(left, 3);
    layout->addWidget(createPayload(), 2);
    retranslateUi();
}

QGroupBox *FuelTab::createTanks()
{
    m_tankBox = new QGroupBox;
    m_tanks = table(4, QStringLiteral("tanks"));
    m_tanks->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_tanks->horizontalHeader()->setSectionResizeMode(TankBar, QHeaderView::Stretch);
    m_total = new QLabel;
    m_total->setObjectName(QStringLiteral("fuelTotal"));
    auto *layout = new QVBoxLayout(m_tankBox);
    layout->addWidget(m_tanks);
    layout->addWidget(m_total);
    return m_tankBox;
}

QGroupBox *FuelTab::createLoading()
{
    m_loadBox = new QGroupBox;
    m_percentLabel = new QLabel;
    m_percent = new QSpinBox;
    m_percent->setObjectName(QStringLiteral("fuelPercent"));
    m_percent->setRange(0, 100);
    m_percent->setValue(50);
    m_percent->setSuffix(QStringLiteral(" %"));
    m_loadPercent = button(QStringLiteral("loadFuelPercent"));
    m_loadTank = button(QStringLiteral("loadSelectedTank"));
    m_gallonsLabel = new QLabel;
    m_gallons = new QDoubleSpinBox;
    m_gallons->setObjectName(QStringLiteral("fuelGallons"));
    m_gallons->setRange(0, 100000);
    m_gallons->setDecimals(1);
    m_gallons->setSuffix(QStringLiteral(" gal"));
    m_loadGallons = button(QStringLiteral("loadFuelGallons"));
    m_drain = button(QStringLiteral("drainFuel"));
    m_presetLabel = new QLabel;
    m_preset = new QComboBox;
    m_preset->setObjectName(QStringLiteral("fuelPreset"));
    m_applyPreset = button(QStringLiteral("applyFuelPreset"));
    m_presetName = new QLineEdit;
    m_presetName->setObjectName(QStringLiteral("presetName"));
    m_presetName->setMaxLength(40);
    m_savePreset = button(QStringLiteral("saveFuelPreset"));
    m_deletePreset = button(QStringLiteral("deleteFuelPreset"));
    m_freeze = new QCheckBox;
    m_freeze->setObjectName(QStringLiteral("fuelFreeze"));

    auto *grid = new QGridLayout(m_loadBox);
    grid->addWidget(m_percentLabel, 0, 0);
    grid->addWidget(m_percent, 0, 1);
    grid->addWidget(m_loadPercent, 0, 2);
    grid->addWidget(m_loadTank, 0, 3);
    grid->addWidget(m_gallonsLabel, 1, 0);
    grid->addWidget(m_gallons, 1, 1);
    grid->addWidget(m_loadGallons, 1, 2);
    grid->addWidget(m_drain, 1, 3);
    grid->addWidget(m_presetLabel, 2, 0);
    grid->addWidget(m_preset, 2, 1, 1, 2);
    grid->addWidget(m_applyPreset, 2, 3);
    grid->addWidget(m_presetName, 3, 1, 1, 1);
    grid->addWidget(m_savePreset, 3, 2);
    grid->addWidget(m_deletePreset, 3, 3);
    grid->addWidget(m_freeze, 4, 0, 1, 4);

    connect(m_loadPercent, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->loadFuel(m_percent->value());
    });
    connect(m_loadTank, &QPushButton::clicked, this, [this] {
        if (m_manager && selectedTank() >= 0)
            m_manager->loadTank(selectedTank(), m_percent->value());
    });
    connect(m_loadGallons, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->loadFuelGallons(m_gallons->value());
    });
    connect(m_drain, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->drainFuel();
    });
    connect(m_applyPreset, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->applyPreset(m_preset->currentData().toString());
    });
    connect(m_savePreset, &QPushButton::clicked, this, [this] {
        if (m_manager && !m_presetName->text().trimmed().isEmpty())
            m_manager->saveUserPreset(m_presetName->text());
    });
    connect(m_deletePreset, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->deleteUserPreset(m_preset->currentData().toString());
    });
    connect(m_freeze, &QCheckBox::toggled, this, [this](bool on) {
        if (m_manager)
            m_manager->setFuelFreeze(on);
    });
    return m_loadBox;
}

QGroupBox *FuelTab::createPayload()
{
    m_payloadBox = new QGroupBox;
    m_stations = table(2, QStringLiteral("payloadStations"));
    m_payloadTotalLabel = new QLabel;
    m_payloadTotal = new QDoubleSpinBox;
    m_payloadTotal->setObjectName(QStringLiteral("payloadTotal"));
    m_payloadTotal->setRange(0, 200000);
    m_payloadTotal->setDecimals(0);
    m_payloadTotal->setSuffix(QStringLiteral(" kg"));
    m_loadPayload = button(QStringLiteral("loadPayload"));
    m_payloadSum = new QLabel;
    m_payloadSum->setObjectName(QStringLiteral("payloadSum"));
    auto *row = new QHBoxLayout;
    row->addWidget(m_payloadTotalLabel);
    row->addWidget(m_payloadTotal);
    row->addWidget(m_loadPayload);
    auto *layout = new QVBoxLayout(m_payloadBox);
    layout->addWidget(m_stations);
    layout->addLayout(row);
    layout->addWidget(m_payloadSum);
    connect(m_loadPayload, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->loadPayloadTotal(m_payloadTotal->value());
    });
    return m_payloadBox;
}

void FuelTab::retranslateUi()
{
    m_tankBox->setTitle(tr("油箱"));
    m_tanks->setHorizontalHeaderLabels({tr("油箱"), tr("油量"), tr("加仑"), tr("千克")});
    m_loadBox->setTitle(tr("加油"));
    m_percentLabel->setText(tr("百分比"));
    m_loadPercent->setText(tr("全部油箱"));
    m_loadTank->setText(tr("所选油箱"));
    m_gallonsLabel->setText(tr("加仑"));
    m_loadGallons->setText(tr("按加仑加油"));
    m_drain->setText(tr("放空"));
    m_presetLabel->setText(tr("预设"));
    m_applyPreset->setText(tr("应用预设"));
    m_presetName->setPlaceholderText(tr("预设名称"));
    m_savePreset->setText(tr("保存为预设"));
    m_deletePreset->setText(tr("删除预设"));
    m_freeze->setText(tr("冻结燃油"));
    m_payloadBox->setTitle(tr("载荷"));
    m_stations->setHorizontalHeaderLabels({tr("装载站"), tr("重量 (kg)")});
    m_payloadTotalLabel->setText(tr("总载荷"));
    m_loadPayload->setText(tr("装载"));
    refreshTanks();
    refreshPresets();
    refreshPayload();
}

void FuelTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void FuelTab::setFuelManager(FuelManager *manager)
{
    if (m_manager)
        QObject::disconnect(m_manager, nullptr, this, nullptr);
    m_manager = manager;
    if (manager) {
        connect(manager, &FuelManager::tanksChanged, this, &FuelTab::refreshTanks);
        connect(manager, &FuelManager::presetsChanged, this, &FuelTab::refreshPresets);
        connect(manager, &FuelManager::payloadChanged, this, &FuelTab::refreshPayload);
        connect(manager, &FuelManager::fuelFrozenChanged, this, [this](bool frozen) {
            const QSignalBlocker blocker(m_freeze);
            m_freeze->setChecked(frozen);
        });
    }
    retranslateUi();
}

QString FuelTab::presetText(const QString &name)
{
    if (name == QLatin1String("__full"))
        return tr("满油");
    if (name == QLatin1String("__3/4"))
        return tr("3/4 油量");
    if (name == QLatin1String("__half"))
        return tr("半油");
    if (name == QLatin1String("__1/4"))
        return tr("1/4 油量");
    if (name == QLatin1String("__min"))
        return tr("最少油量");
    return name;
}

void FuelTab::refreshTanks()
{
    const int selected = selectedTank();
    m_tankRows.clear();
    if (!m_manager) {
        m_tanks->setRowCount(0);
        m_total->setText(tr("无油箱数据"));
        return;
    }
    const QList<FuelManager::TankInfo> tanks = m_manager->tanks();
    for (int i = 0; i < tanks.size(); ++i)
        if (tanks[i].capacity > 0 || tanks[i].current > 0)
            m_tankRows.append(i);
    // Rows are reused: this runs on every simulator report.
    if (m_tanks->rowCount() != m_tankRows.size()) {
        m_tanks->setRowCount(m_tankRows.size());
        for (int row = 0; row < m_tankRows.size(); ++row) {
            auto *bar = new QProgressBar;
            bar->setRange(0, 100);
            m_tanks->setCellWidget(row, TankBar, bar);
            for (int column : {TankName, TankGallons, TankKg})
                m_tanks->setItem(row, column, new QTableWidgetItem);
        }
    }
    for (int row = 0; row < m_tankRows.size(); ++row) {
        const FuelManager::TankInfo &tank = tanks[m_tankRows[row]];
        const int percent = tank.capacity > 0 ? static_cast<int>(tank.current / tank.capacity * 100.0 + 1e-4) : 0;
        m_tanks->item(row, TankName)->setText(tank.name);
        static_cast<QProgressBar *>(m_tanks->cellWidget(row, TankBar))->setValue(percent);
        m_tanks->item(row, TankGallons)
            ->setText(QStringLiteral("%1 / %2").arg(tank.current, 0, 'f', 1).arg(tank.capacity, 0, 'f', 1));
        m_tanks->item(row, TankKg)->setText(QString::number(tank.current * kFuelKgPerUsGallon, 'f', 0));
    }
    const int row = m_tankRows.indexOf(selected);
    if (row >= 0)
        m_tanks->selectRow(row);
    if (m_tankRows.isEmpty()) {
        m_total->setText(tr("无油箱数据"));
        return;
    }
    m_total->setText(tr("总油量 %1 / %2 gal（%3 kg）· %4%")
                         .arg(m_manager->totalCurrent(), 0, 'f', 1)
                         .arg(m_manager->totalCapacity(), 0, 'f', 1)
                         .arg(m_manager->totalFuelWeightKg(), 0, 'f', 0)
                         .arg(m_manager->fuelPercent()));
}

void FuelTab::refreshPresets()
{
    const QString current = m_preset->currentData().toString();
    m_preset->clear();
    if (!m_manager)
        return;
    for (const FuelManager::FuelPreset &preset : m_manager->presets())
        m_preset->addItem(presetText(preset.name), preset.name);
    m_preset->setCurrentIndex(std::max(0, m_preset->findData(current)));
}

void FuelTab::refreshPayload()
{
    if (!m_manager) {
        m_stations->setRowCount(0);
        return;
    }
    const QList<FuelManager::PayloadStation> stations = m_manager->payloadStations();
    m_stations->setRowCount(stations.size());
    for (int i = 0; i < stations.size(); ++i) {
        auto *name = new QTableWidgetItem(stations[i].name);
        name->setFlags(name->flags() & ~Qt::ItemIsEditable);
        m_stations->setItem(i, 0, name);
        auto *weight = qobject_cast<QDoubleSpinBox *>(m_stations->cellWidget(i, 1));
        if (!weight) {
            weight = new QDoubleSpinBox;
            weight->setRange(0, 100000);
            weight->setDecimals(0);
            weight->setSuffix(QStringLiteral(" kg"));
            m_stations->setCellWidget(i, 1, weight);
            connect(weight, &QDoubleSpinBox::editingFinished, this, [this, i, weight] {
                if (m_manager)
                    m_manager->loadPayloadStation(i, weight->value());
            });
        }
        const QSignalBlocker blocker(weight);
        weight->setValue(stations[i].weightKg);
    }
    m_payloadSum->setText(tr("载荷合计 %1 kg").arg(m_manager->totalPayloadKg(), 0, 'f', 0));
}

int FuelTab::selectedTank() const
{
    const int row = m_tanks->currentRow();
    return row >= 0 && row < m_tankRows.size() ? m_tankRows[row] : -1;
}
