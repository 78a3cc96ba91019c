#include "ui/weathertab.h"

#include "nav/inavdataprovider.h"
#include "weather/weatherservice.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QSpinBox *spin(QWidget *parent, const char *name, int low, int high, int step, const QString &suffix)
{
    auto *box = new QSpinBox(parent);
    box->setObjectName(QLatin1String(name));
    box->setRange(low, high);
    box->setSingleStep(step);
    box->setSuffix(suffix);
    return box;
}

QDoubleSpinBox *doubleSpin(QWidget *parent, const char *name, double low, double high, int decimals,
                           const QString &suffix)
{
    auto *box = new QDoubleSpinBox(parent);
    box->setObjectName(QLatin1String(name));
    box->setRange(low, high);
    box->setDecimals(decimals);
    box->setSuffix(suffix);
    return box;
}

} // namespace

WeatherTab::WeatherTab(QWidget *parent) : QWidget(parent)
{
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(createAirportPanel());
    auto *right = new QVBoxLayout;
    right->addWidget(createMetarPanel(), 1);
    right->addWidget(createManualPanel());
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("weatherStatus"));
    m_status->setWordWrap(true);
    right->addWidget(m_status);
    layout->addLayout(right, 1);
    retranslateUi();
    applyPreset(Preset::Clear);
}

QWidget *WeatherTab::createAirportPanel()
{
    m_airportBox = new QGroupBox(this);
    auto *layout = new QVBoxLayout(m_airportBox);
    m_list = new QListWidget(m_airportBox);
    m_list->setObjectName(QStringLiteral("airportList"));
    m_list->setMinimumWidth(220);
    layout->addWidget(m_list, 1);
    auto *add = new QHBoxLayout;
    m_addEdit = new QLineEdit(m_airportBox);
    m_addEdit->setObjectName(QStringLiteral("watchEdit"));
    m_addEdit->setMaxLength(4);
    m_addButton = new QPushButton(m_airportBox);
    m_addButton->setObjectName(QStringLiteral("watchAddButton"));
    m_removeButton = new QPushButton(m_airportBox);
    m_removeButton->setObjectName(QStringLiteral("watchRemoveButton"));
    add->addWidget(m_addEdit);
    add->addWidget(m_addButton);
    add->addWidget(m_removeButton);
    layout->addLayout(add);
    m_fetchButton = new QPushButton(m_airportBox);
    m_fetchButton->setObjectName(QStringLiteral("fetchMetarButton"));
    m_autoRefresh = new QCheckBox(m_airportBox);
    m_autoRefresh->setObjectName(QStringLiteral("autoRefreshBox"));
    layout->addWidget(m_fetchButton);
    layout->addWidget(m_autoRefresh);

    connect(m_list, &QListWidget::currentRowChanged, this, &WeatherTab::showSelected);
    connect(m_addButton, &QPushButton::clicked, this, &WeatherTab::addWatched);
    connect(m_addEdit, &QLineEdit::returnPressed, this, &WeatherTab::addWatched);
    connect(m_removeButton, &QPushButton::clicked, this, &WeatherTab::removeWatched);
    connect(m_fetchButton, &QPushButton::clicked, this, &WeatherTab::fetchAll);
    connect(m_autoRefresh, &QCheckBox::toggled, this, [this](bool on) {
        if (m_service)
            m_service->setAutoRefresh(on);
    });
    return m_airportBox;
}

QWidget *WeatherTab::createMetarPanel()
{
    m_metarBox = new QGroupBox(this);
    auto *layout = new QVBoxLayout(m_metarBox);
    m_decoded = new QLabel(m_metarBox);
    m_decoded->setObjectName(QStringLiteral("decodedMetar"));
    m_decoded->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_decoded->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    m_raw = new QPlainTextEdit(m_metarBox);
    m_raw->setObjectName(QStringLiteral("rawMetar"));
    m_raw->setReadOnly(true);
    m_raw->setMaximumHeight(60);
    layout->addWidget(m_decoded, 1);
    layout->addWidget(m_raw);
    auto *buttons = new QHBoxLayout;
    m_injectMetarButton = new QPushButton(m_metarBox);
    m_injectMetarButton->setObjectName(QStringLiteral("injectMetarButton"));
    m_copyButton = new QPushButton(m_metarBox);
    m_copyButton->setObjectName(QStringLiteral("copyToManualButton"));
    buttons->addWidget(m_injectMetarButton);
    buttons->addWidget(m_copyButton);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    connect(m_injectMetarButton, &QPushButton::clicked, this, &WeatherTab::injectSelectedMetar);
    connect(m_copyButton, &QPushButton::clicked, this, [this] { setManualWeather(selectedMetarWeather()); });
    return m_metarBox;
}

QWidget *WeatherTab::createManualPanel()
{
    m_manualBox = new QGroupBox(this);
    auto *grid = new QGridLayout(m_manualBox);
    m_presetLabel = new QLabel(m_manualBox);
    m_preset = new QComboBox(m_manualBox);
    m_preset->setObjectName(QStringLiteral("presetBox"));
    grid->addWidget(m_presetLabel, 0, 0);
    grid->addWidget(m_preset, 0, 1, 1, 3);

    m_windDir = spin(m_manualBox, "windDirSpin", 0, 360, 10, QStringLiteral("°"));
    m_windSpeed = spin(m_manualBox, "windSpeedSpin", 0, 150, 1, QStringLiteral(" kt"));
    m_windGust = spin(m_manualBox, "windGustSpin", 0, 200, 1, QStringLiteral(" kt"));
    m_visibility = spin(m_manualBox, "visibilitySpin", 0, 100000, 100, QStringLiteral(" m"));
    m_temperature = doubleSpin(m_manualBox, "temperatureSpin", -90, 60, 0, QStringLiteral(" °C"));
    m_dewpoint = doubleSpin(m_manualBox, "dewpointSpin", -90, 60, 0, QStringLiteral(" °C"));
    m_qnh = doubleSpin(m_manualBox, "qnhSpin", 850, 1100, 1, QStringLiteral(" hPa"));
    m_precipitation = new QComboBox(m_manualBox);
    m_precipitation->setObjectName(QStringLiteral("precipitationBox"));
    m_turbulence = new QComboBox(m_manualBox);
    m_turbulence->setObjectName(QStringLiteral("turbulenceBox"));
    const QList<QWidget *> fields{m_windDir,  m_windSpeed, m_windGust,      m_visibility, m_temperature,
                                  m_dewpoint, m_qnh,       m_precipitation, m_turbulence};
    for (int i = 0; i < fields.size(); ++i) {
        auto *label = new QLabel(m_manualBox);
        m_fieldLabels.append(label);
        grid->addWidget(label, 1 + i % 5, (i / 5) * 2);
        grid->addWidget(fields[i], 1 + i % 5, (i / 5) * 2 + 1);
    }
    for (int layer = 0; layer < 3; ++layer) {
        auto *label = new QLabel(m_manualBox);
        m_fieldLabels.append(label);
        m_cloudCover[layer] = new QComboBox(m_manualBox);
        m_cloudCover[layer]->setObjectName(QStringLiteral("cloudCover%1").arg(layer));
        for (const char *cover : {"", "FEW", "SCT", "BKN", "OVC", "SCT CB", "BKN CB"})
            m_cloudCover[layer]->addItem(QString::fromLatin1(cover), QString::fromLatin1(cover));
        m_cloudBase[layer] = spin(m_manualBox, "", 0, 45000, 100, QStringLiteral(" ft"));
        m_cloudBase[layer]->setObjectName(QStringLiteral("cloudBase%1").arg(layer));
        grid->addWidget(label, 1 + layer, 4);
        grid->addWidget(m_cloudCover[layer], 1 + layer, 5);
        grid->addWidget(m_cloudBase[layer], 1 + layer, 6);
    }
    m_injectManualButton = new QPushButton(m_manualBox);
    m_injectManualButton->setObjectName(QStringLiteral("injectManualButton"));
    grid->addWidget(m_injectManualButton, 5, 5, 1, 2);
    grid->setColumnStretch(7, 1);

    connect(m_preset, &QComboBox::activated, this, [this](int index) { applyPreset(Preset(index)); });
    connect(m_injectManualButton, &QPushButton::clicked, this, &WeatherTab::injectManual);
    return m_manualBox;
}

void WeatherTab::retranslateUi()
{
    m_airportBox->setTitle(tr("机场"));
    m_addEdit->setPlaceholderText(tr("ICAO"));
    m_addButton->setText(tr("关注"));
    m_removeButton->setText(tr("取消关注"));
    m_fetchButton->setText(tr("获取全部 METAR"));
    m_autoRefresh->setText(tr("自动刷新"));
    m_metarBox->setTitle(tr("METAR"));
    m_injectMetarButton->setText(tr("注入此天气"));
    m_copyButton->setText(tr("填入自定义天气"));
    m_manualBox->setTitle(tr("自定义天气"));
    m_presetLabel->setText(tr("预设"));
    const int preset = m_preset->currentIndex();
    m_preset->clear();
    m_preset->addItems({tr("晴好"), tr("低云"), tr("侧风"), tr("大雾"), tr("雷雨")});
    m_preset->setCurrentIndex(std::max(0, preset));
    const QStringList names{tr("风向"), tr("风速"),          tr("阵风"),          tr("能见度"),
                            tr("温度"), tr("露点"),          tr("QNH"),           tr("降水"),
                            tr("颠簸"), tr("云层 1 (海拔)"), tr("云层 2 (海拔)"), tr("云层 3 (海拔)")};
    for (int i = 0; i < m_fieldLabels.size(); ++i)
        m_fieldLabels[i]->setText(names.value(i));
    m_cloudCover[0]->setItemText(0, tr("无"));
    m_cloudCover[1]->setItemText(0, tr("无"));
    m_cloudCover[2]->setItemText(0, tr("无"));
    const int precipitation = m_precipitation->currentIndex();
    m_precipitation->clear();
    m_precipitation->addItems({tr("无"), tr("小"), tr("中"), tr("大")});
    m_precipitation->setCurrentIndex(std::max(0, precipitation));
    const int turbulence = m_turbulence->currentIndex();
    m_turbulence->clear();
    m_turbulence->addItems({tr("无"), tr("轻度"), tr("中度"), tr("强烈")});
    m_turbulence->setCurrentIndex(std::max(0, turbulence));
    m_injectManualButton->setText(tr("注入自定义天气"));
    rebuildList();
}

void WeatherTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void WeatherTab::setWeatherService(WeatherService *service)
{
    if (m_service)
        disconnect(m_service, nullptr, this, nullptr);
    m_service = service;
    if (service) {
        connect(service, &WeatherService::metarReceived, this, &WeatherTab::onMetarReceived);
        connect(service, &WeatherService::metarFailed, this, &WeatherTab::onMetarFailed);
        connect(service, &WeatherService::injectionFailed, this,
                [this](const QString &error) { setStatus(tr("注入失败：%1").arg(error)); });
        const QSignalBlocker blocker(m_autoRefresh);
        m_autoRefresh->setChecked(service->autoRefresh());
    }
    rebuildList();
}

void WeatherTab::setRouteAirports(const QString &departure, const QString &departureRunway, const QString &destination)
{
    m_departure = departure.trimmed().toUpper();
    m_departureRunway = departureRunway;
    m_destination = destination.trimmed().toUpper();
    rebuildList();
}

QStringList WeatherTab::airports() const
{
    QStringList list;
    for (const QString &icao : {m_departure, m_destination}) {
        if (!icao.isEmpty() && !list.contains(icao))
            list.append(icao);
    }
    if (m_service) {
        for (const QString &icao : m_service->watchedAirports()) {
            if (!list.contains(icao))
                list.append(icao);
        }
    }
    return list;
}

QString WeatherTab::selectedAirport() const
{
    const QListWidgetItem *item = m_list->currentItem();
    return item ? item->data(Qt::UserRole).toString() : QString();
}

void WeatherTab::selectAirport(const QString &icao)
{
    for (int i = 0; i < m_list->count(); ++i) {
        if (m_list->item(i)->data(Qt::UserRole).toString() == icao)
            m_list->setCurrentRow(i);
    }
}

void WeatherTab::rebuildList()
{
    const QString keep = selectedAirport();
    const QSignalBlocker blocker(m_list);
    m_list->clear();
    for (const QString &icao : airports()) {
        QString role = icao == m_departure ? tr("出发") : icao == m_destination ? tr("到达") : tr("关注");
        const MetarData metar = m_service ? m_service->lastMetar(icao) : MetarData();
        QString state = metar.valid ? metar.time : m_failures.contains(icao) ? tr("获取失败") : tr("未获取");
        auto *item = new QListWidgetItem(QStringLiteral("%1  %2  %3").arg(role, icao, state), m_list);
        item->setData(Qt::UserRole, icao);
    }
    const QStringList list = airports();
    const int row = list.indexOf(keep);
    m_list->setCurrentRow(row >= 0 ? int(row) : (list.isEmpty() ? -1 : 0));
    showSelected();
}

void WeatherTab::fetchAll()
{
    if (!m_service)
        return;
    const QStringList list = airports();
    if (list.isEmpty()) {
        setStatus(tr("没有机场：先规划航路或关注一个机场"));
        return;
    }
    setStatus(tr("正在获取 %1 …").arg(list.join(QLatin1Char(' '))));
    for (const QString &icao : list)
        m_service->fetchMetar(icao);
}

void WeatherTab::onMetarReceived(const QString &icao, const MetarData &)
{
    m_failures.remove(icao);
    rebuildList();
    setStatus(tr("已收到 %1 的 METAR").arg(icao));
}

void WeatherTab::onMetarFailed(const QString &icao, const QString &error)
{
    m_failures.insert(icao, error);
    rebuildList();
    setStatus(tr("%1 的 METAR 获取失败：%2").arg(icao, error));
}

void WeatherTab::addWatched()
{
    const QString icao = m_addEdit->text().trimmed().toUpper();
    if (!m_service || icao.size() != 4)
        return;
    m_service->addWatchedAirport(icao);
    m_addEdit->clear();
    rebuildList();
    selectAirport(icao);
    m_service->fetchMetar(icao);
}

void WeatherTab::removeWatched()
{
    if (m_service)
        m_service->removeWatchedAirport(selectedAirport());
    rebuildList();
}
