#include "ui/aircrafttab.h"

#include "control/positionaircraft.h"
#include "control/pushbackcontroller.h"
#include "control/slewcontroller.h"
#include "nav/navdataprovider.h"
#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QtMath>

#include <cmath>

namespace {

// The pattern legs by index, as positionAtPattern expects them.
const char *const kLegs[] = {"downwind_left", "downwind_right", "base_left",
                             "base_right",    "crosswind_left", "crosswind_right"};
constexpr double kPatternHeightFt = 1000.0;
constexpr double kPatternOffsetNm = 1.0;
constexpr double kVectorsDistanceNm = 10.0;
constexpr double kVectorsInterceptDeg = 30.0;
// How far around the aircraft the first airport is picked for the pickers (degrees).
constexpr double kNearbyAirportDeg = 0.3;

enum SlewStep { Forward, Back, Left, Right, Up, Down, TurnLeft, TurnRight };

QDoubleSpinBox *spin(double min, double max, int decimals, const QString &objectName)
{
    auto *box = new QDoubleSpinBox;
    box->setRange(min, max);
    box->setDecimals(decimals);
    box->setObjectName(objectName);
    return box;
}

} // namespace

AircraftTab::AircraftTab(QWidget *parent) : QWidget(parent)
{
    auto *left = new QVBoxLayout;
    left->addWidget(createPositioning());
    left->addStretch();
    auto *right = new QVBoxLayout;
    right->addWidget(createPushback());
    right->addWidget(createSlew());
    right->addWidget(createPauseFreeze());
    right->addStretch();
    auto *layout = new QHBoxLayout(this);
    layout->addLayout(left, 3);
    layout->addLayout(right, 2);
    retranslateUi();
    updatePresetFields();
}

QGroupBox *AircraftTab::createPositioning()
{
    m_positionBox = new QGroupBox;
    auto *grid = new QGridLayout(m_positionBox);
    m_airportLabel = new QLabel;
    m_airportEdit = new QLineEdit;
    m_airportEdit->setObjectName(QStringLiteral("airport"));
    m_airportEdit->setMaxLength(40);
    m_airportName = new QLabel;
    m_airportName->setObjectName(QStringLiteral("airportName"));
    m_runwayLabel = new QLabel;
    m_runway = new QComboBox;
    m_runway->setObjectName(QStringLiteral("runway"));
    m_parkingLabel = new QLabel;
    m_parking = new QComboBox;
    m_parking->setObjectName(QStringLiteral("parking"));
    m_presetLabel = new QLabel;
    m_preset = new QComboBox;
    m_preset->setObjectName(QStringLiteral("preset"));
    for (int i = Runway; i <= FreeCoordinates; ++i)
        m_preset->addItem(QString(), i);
    m_legLabel = new QLabel;
    m_leg = new QComboBox;
    m_leg->setObjectName(QStringLiteral("patternLeg"));
    for (const char *leg : kLegs)
        m_leg->addItem(QString(), QString::fromLatin1(leg));
    m_sideLabel = new QLabel;
    m_side = new QComboBox;
    m_side->setObjectName(QStringLiteral("vectorsSide"));
    m_side->addItem(QString());
    m_side->addItem(QString());
    m_freeLabel = new QLabel;
    m_freeLat = spin(-90, 90, 6, QStringLiteral("freeLat"));
    m_freeLon = spin(-180, 180, 6, QStringLiteral("freeLon"));
    m_freeAlt = spin(-1500, 60000, 0, QStringLiteral("freeAlt"));
    m_freeAlt->setSuffix(QStringLiteral(" ft"));
    m_freeHeading = spin(0, 359.9, 1, QStringLiteral("freeHeading"));
    m_freeHeading->setSuffix(QStringLiteral("°"));
    auto *free = new QHBoxLayout;
    for (QDoubleSpinBox *box : {m_freeLat, m_freeLon, m_freeAlt, m_freeHeading})
        free->addWidget(box);
    m_apply = new QPushButton;
    m_apply->setObjectName(QStringLiteral("applyPosition"));
    m_result = new QLabel;
    m_result->setObjectName(QStringLiteral("positionResult"));
    m_result->setWordWrap(true);
    m_current = new QLabel;
    m_current->setObjectName(QStringLiteral("currentPosition"));

    int row = 0;
    grid->addWidget(m_airportLabel, row, 0);
    grid->addWidget(m_airportEdit, row, 1);
    grid->addWidget(m_airportName, row++, 2);
    grid->addWidget(m_runwayLabel, row, 0);
    grid->addWidget(m_runway, row++, 1, 1, 2);
    grid->addWidget(m_parkingLabel, row, 0);
    grid->addWidget(m_parking, row++, 1, 1, 2);
    grid->addWidget(m_presetLabel, row, 0);
    grid->addWidget(m_preset, row++, 1, 1, 2);
    grid->addWidget(m_legLabel, row, 0);
    grid->addWidget(m_leg, row++, 1, 1, 2);
    grid->addWidget(m_sideLabel, row, 0);
    grid->addWidget(m_side, row++, 1, 1, 2);
    grid->addWidget(m_freeLabel, row, 0);
    grid->addLayout(free, row++, 1, 1, 2);
    grid->addWidget(m_apply, row++, 1);
    grid->addWidget(m_result, row++, 0, 1, 3);
    grid->addWidget(m_current, row++, 0, 1, 3);
    grid->setColumnStretch(2, 1);

    connect(m_airportEdit, &QLineEdit::editingFinished, this, [this] {
        if (!setAirport(m_airportEdit->text()))
            showResult(tr("未找到机场 %1").arg(m_airportEdit->text().trimmed()), false);
    });
    connect(m_preset, &QComboBox::currentIndexChanged, this, &AircraftTab::updatePresetFields);
    connect(m_apply, &QPushButton::clicked, this, &AircraftTab::applyPreset);
    return m_positionBox;
}

QGroupBox *AircraftTab::createPushback()
{
    m_pushbackBox = new QGroupBox;
    auto *grid = new QGridLayout(m_pushbackBox);
    m_speedLabel = new QLabel;
    m_speed = new QSpinBox;
    m_speed->setObjectName(QStringLiteral("pushbackSpeed"));
    m_speed->setRange(0, 100);
    m_speed->setValue(50);
    m_speed->setSuffix(QStringLiteral(" %"));
    m_radiusLabel = new QLabel;
    m_radius = new QSpinBox;
    m_radius->setObjectName(QStringLiteral("pushbackRadius"));
    m_radius->setRange(5, 50);
    m_radius->setValue(15);
    m_radius->setSuffix(QStringLiteral(" m"));
    m_pushStraight = new QPushButton;
    m_pushStraight->setObjectName(QStringLiteral("pushStraight"));
    m_pushLeft = new QPushButton;
    m_pushLeft->setObjectName(QStringLiteral("pushLeft"));
    m_pushRight = new QPushButton;
    m_pushRight->setObjectName(QStringLiteral("pushRight"));
    m_pushStop = new QPushButton;
    m_pushStop->setObjectName(QStringLiteral("pushStop"));
    m_pushState = new QLabel;
    m_pushState->setObjectName(QStringLiteral("pushbackState"));
    grid->addWidget(m_speedLabel, 0, 0);
    grid->addWidget(m_speed, 0, 1);
    grid->addWidget(m_radiusLabel, 0, 2);
    grid->addWidget(m_radius, 0, 3);
    grid->addWidget(m_pushLeft, 1, 0);
    grid->addWidget(m_pushStraight, 1, 1);
    grid->addWidget(m_pushRight, 1, 2);
    grid->addWidget(m_pushStop, 1, 3);
    grid->addWidget(m_pushState, 2, 0, 1, 4);

    const auto start = [this](PushbackController::Direction direction) {
        if (!m_pushback)
            return;
        m_pushback->setSpeed(m_speed->value());
        m_pushback->setTurnRadius(m_radius->value());
        m_pushback->start(direction);
        if (!m_pushback->isActive())
            m_pushState->setText(tr("模拟器未连接"));
    };
    // The nose swings left with a negative yaw rate.
    connect(m_pushStraight, &QPushButton::clicked, this, [start] { start(PushbackController::Straight); });
    connect(m_pushLeft, &QPushButton::clicked, this, [start] { start(PushbackController::TurnNegative); });
    connect(m_pushRight, &QPushButton::clicked, this, [start] { start(PushbackController::TurnPositive); });
    connect(m_pushStop, &QPushButton::clicked, this, [this] {
        if (m_pushback)
            m_pushback->stop();
    });
    connect(m_speed, &QSpinBox::valueChanged, this, [this](int value) {
        if (m_pushback)
            m_pushback->setSpeed(value);
    });
    connect(m_radius, &QSpinBox::valueChanged, this, [this](int value) {
        if (m_pushback)
            m_pushback->setTurnRadius(value);
    });
    return m_pushbackBox;
}

QGroupBox *AircraftTab::createSlew()
{
    m_slewBox = new QGroupBox;
    auto *grid = new QGridLayout(m_slewBox);
    m_slewEnabled = new QCheckBox;
    m_slewEnabled->setObjectName(QStringLiteral("slewEnabled"));
    m_stepLabel = new QLabel;
    m_stepFt = new QSpinBox;
    m_stepFt->setObjectName(QStringLiteral("slewStepFt"));
    m_stepFt->setRange(1, 10000);
    m_stepFt->setValue(100);
    m_stepFt->setSuffix(QStringLiteral(" ft"));
    m_turnLabel = new QLabel;
    m_stepDeg = new QSpinBox;
    m_stepDeg->setObjectName(QStringLiteral("slewStepDeg"));
    m_stepDeg->setRange(1, 90);
    m_stepDeg->setValue(5);
    m_stepDeg->setSuffix(QStringLiteral("°"));
    grid->addWidget(m_slewEnabled, 0, 0, 1, 2);
    grid->addWidget(m_stepLabel, 1, 0);
    grid->addWidget(m_stepFt, 1, 1);
    grid->addWidget(m_turnLabel, 1, 2);
    grid->addWidget(m_stepDeg, 1, 3);
    // A pad: turn left, forward, turn right / left, right / back, with up and down beside it.
    const int cells[][2] = {{2, 1}, {4, 1}, {3, 0}, {3, 2}, {2, 3}, {4, 3}, {2, 0}, {2, 2}};
    const char *names[] = {"slewForward", "slewBack", "slewLeft",     "slewRight",
                           "slewUp",      "slewDown", "slewTurnLeft", "slewTurnRight"};
    for (int step = Forward; step <= TurnRight; ++step) {
        auto *button = new QPushButton;
        button->setObjectName(QLatin1String(names[step]));
        button->setEnabled(false);
        button->setAutoRepeat(true);
        grid->addWidget(button, cells[step][0], cells[step][1]);
        connect(button, &QPushButton::clicked, this, [this, step] { slewStep(step); });
        m_slewButtons.append(button);
    }
    connect(m_slewEnabled, &QCheckBox::toggled, this, [this](bool on) {
        for (QPushButton *button : std::as_const(m_slewButtons))
            button->setEnabled(on);
        if (!m_slew)
            return;
        if (on)
            m_slew->enable();
        else
            m_slew->disable();
    });
    return m_slewBox;
}

QGroupBox *AircraftTab::createPauseFreeze()
{
    m_simBox = new QGroupBox;
    auto *layout = new QVBoxLayout(m_simBox);
    m_pause = new QCheckBox;
    m_pause->setObjectName(QStringLiteral("pause"));
    m_freezePosition = new QCheckBox;
    m_freezePosition->setObjectName(QStringLiteral("freezePosition"));
    m_freezeAttitude = new QCheckBox;
    m_freezeAttitude->setObjectName(QStringLiteral("freezeAttitude"));
    m_simStatus = new QLabel;
    m_simStatus->setObjectName(QStringLiteral("simStatus"));
    m_simStatus->setWordWrap(true);
    auto *row = new QHBoxLayout;
    row->addWidget(m_pause);
    row->addWidget(m_freezePosition);
    row->addWidget(m_freezeAttitude);
    row->addStretch();
    layout->addLayout(row);
    layout->addWidget(m_simStatus);
    connect(m_pause, &QCheckBox::toggled, this, &AircraftTab::onPauseToggled);
    connect(m_freezePosition, &QCheckBox::toggled, this, &AircraftTab::onFreezeToggled);
    connect(m_freezeAttitude, &QCheckBox::toggled, this, &AircraftTab::onFreezeToggled);
    return m_simBox;
}

void AircraftTab::retranslateUi()
{
    m_positionBox->setTitle(tr("定位"));
    m_airportLabel->setText(tr("机场"));
    m_airportEdit->setPlaceholderText(tr("ICAO 代码或名称"));
    m_runwayLabel->setText(tr("跑道"));
    m_parkingLabel->setText(tr("停机位"));
    m_presetLabel->setText(tr("预设位置"));
    const QStringList presets{tr("跑道起飞"), tr("短五边 (3nm)"), tr("长五边 (10nm)"), tr("15nm 进近"),
                              tr("起落航线"), tr("Vectors 引导"), tr("停机位"),        tr("自由坐标")};
    for (int i = 0; i < presets.size(); ++i)
        m_preset->setItemText(i, presets[i]);
    m_legLabel->setText(tr("航线边"));
    const QStringList legs{tr("左起落航线 三边"), tr("右起落航线 三边"), tr("左起落航线 四边"),
                           tr("右起落航线 四边"), tr("左起落航线 二边"), tr("右起落航线 二边")};
    for (int i = 0; i < legs.size(); ++i)
        m_leg->setItemText(i, legs[i]);
    m_sideLabel->setText(tr("引导方向"));
    m_side->setItemText(0, tr("右侧"));
    m_side->setItemText(1, tr("左侧"));
    m_freeLabel->setText(tr("纬度 / 经度 / 高度 / 航向"));
    m_apply->setText(tr("定位"));

    m_pushbackBox->setTitle(tr("推出"));
    m_speedLabel->setText(tr("速度"));
    m_radiusLabel->setText(tr("转弯半径"));
    m_pushStraight->setText(tr("直线推出"));
    m_pushLeft->setText(tr("机头左转"));
    m_pushRight->setText(tr("机头右转"));
    m_pushStop->setText(tr("停止"));
    m_pushState->setText(m_pushback && m_pushback->isActive() ? tr("推出中") : tr("未推出"));

    m_slewBox->setTitle(tr("移动 (Slew)"));
    m_slewEnabled->setText(tr("启用移动"));
    m_stepLabel->setText(tr("步长"));
    m_turnLabel->setText(tr("转角"));
    const QStringList steps{tr("前进"), tr("后退"), tr("左移"), tr("右移"),
                            tr("上升"), tr("下降"), tr("左转"), tr("右转")};
    for (int i = 0; i < m_slewButtons.size(); ++i)
        m_slewButtons[i]->setText(steps[i]);

    m_simBox->setTitle(tr("暂停与冻结"));
    m_pause->setText(tr("暂停"));
    m_freezePosition->setText(tr("冻结位置"));
    m_freezeAttitude->setText(tr("冻结姿态"));
    setAircraftData(m_data);
    fillPickers();
}

void AircraftTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void AircraftTab::setControllers(PositionAircraft *positioning, PushbackController *pushback, SlewController *slew,
                                 SimOperationDispatcher *dispatcher)
{
    m_positioning = positioning;
    m_pushback = pushback;
    m_slew = slew;
    m_dispatcher = dispatcher;
    if (positioning) {
        connect(positioning, &PositionAircraft::positionSet, this,
                [this](const QString &description) { showResult(description, true); });
        connect(positioning, &PositionAircraft::positionFailed, this,
                [this](const QString &error) { showResult(error, false); });
    }
    if (pushback) {
        connect(pushback, &PushbackController::pushbackStarted, this, [this] { m_pushState->setText(tr("推出中")); });
        connect(pushback, &PushbackController::pushbackStopped, this, [this] { m_pushState->setText(tr("未推出")); });
    }
}

void AircraftTab::setNavDataProvider(NavDataProvider *navData)
{
    m_navData = navData;
    refreshNavData();
}

void AircraftTab::refreshNavData()
{
    if (!m_airportIcao.isEmpty())
        setAirport(m_airportIcao);
}

bool AircraftTab::setAirport(const QString &text)
{
    const QString query = text.trimmed();
    if (!m_navData || query.isEmpty())
        return false;
    AirportRecord airport = m_navData->airport(query.toUpper());
    if (airport.icao.isEmpty())
        airport = m_navData->searchAirports(query).value(0);
    if (airport.icao.isEmpty())
        return false;
    m_airportIcao = airport.icao;
    m_airportEdit->setText(airport.icao);
    m_airportName->setText(airport.name);
    fillPickers();
    return true;
}

QString AircraftTab::airport() const
{
    return m_airportIcao;
}

void AircraftTab::fillPickers()
{
    const QString runway = m_runway->currentData().toString();
    const QString parking = m_parking->currentText();
    m_runway->clear();
    m_parking->clear();
    if (!m_navData || m_airportIcao.isEmpty())
        return;
    for (const RunwayRecord &record : m_navData->runways(m_airportIcao))
        m_runway->addItem(tr("%1 (%2°)").arg(record.ident).arg(record.heading, 0, 'f', 0), record.ident);
    const QList<ParkingRecord> parkings = m_navData->parkings(m_airportIcao);
    for (const ParkingRecord &record : parkings)
        m_parking->addItem(record.name);
    if (parkings.isEmpty())
        m_parking->setPlaceholderText(tr("该机场无停机位数据"));
    m_runway->setCurrentIndex(std::max(0, m_runway->findData(runway)));
    m_parking->setCurrentIndex(std::max(0, m_parking->findText(parking)));
}

void AircraftTab::setPreset(Preset preset)
{
    m_preset->setCurrentIndex(m_preset->findData(int(preset)));
}

void AircraftTab::updatePresetFields()
{
    const int preset = m_preset->currentData().toInt();
    m_leg->setEnabled(preset == Pattern);
    m_side->setEnabled(preset == Vectors);
    for (QDoubleSpinBox *box : {m_freeLat, m_freeLon, m_freeAlt, m_freeHeading})
        box->setEnabled(preset == FreeCoordinates);
    m_parking->setEnabled(preset == Parking);
    m_runway->setEnabled(preset != Parking && preset != FreeCoordinates);
}

void AircraftTab::applyPreset()
{
    if (!m_positioning)
        return;
    const int preset = m_preset->currentData().toInt();
    if (preset == FreeCoordinates) {
        m_positioning->positionAt(m_freeLat->value(), m_freeLon->value(), m_freeAlt->value(), m_freeHeading->value());
        return;
    }
    const QString icao = m_airportIcao.isEmpty() ? m_airportEdit->text().trimmed() : m_airportIcao;
    const AirportRecord airport = m_navData ? m_navData->airport(icao) : AirportRecord();
    if (airport.icao.isEmpty()) {
        showResult(tr("未找到机场 %1").arg(icao), false);
        return;
    }
    if (preset == Parking) {
        if (m_navData->parkings(airport.icao).isEmpty()) {
            showResult(tr("该机场无停机位数据"), false);
            return;
        }
        m_positioning->positionAtGate(airport.icao, m_parking->currentText());
        return;
    }
    RunwayRecord runway;
    for (const RunwayRecord &record : m_navData->runways(airport.icao))
        if (record.ident == m_runway->currentData().toString())
            runway = record;
    if (runway.ident.isEmpty()) {
        showResult(tr("无跑道数据"), false);
        return;
    }
    const double elevation = airport.elevation;
    switch (preset) {
    case Runway:
        m_positioning->positionAtRunway(runway.ident, runway.lat, runway.lon, runway.heading, elevation);
        break;
    case ShortFinal:
    case LongFinal:
    case Approach15: {
        const double distance = preset == ShortFinal ? 3 : preset == LongFinal ? 10 : 15;
        m_positioning->positionAtFinal(runway.ident, runway.lat, runway.lon, runway.heading, elevation, distance, 0);
        break;
    }
    case Pattern:
        m_positioning->positionAtPattern(runway.ident, runway.lat, runway.lon, runway.heading, elevation,
                                         m_leg->currentData().toString(), kPatternHeightFt, kPatternOffsetNm);
        break;
    case Vectors:
        m_positioning->positionAtVectors(runway.ident, runway.lat, runway.lon, runway.heading, elevation,
                                         m_side->currentIndex() == 0 ? QStringLiteral("right") : QStringLiteral("left"),
                                         kVectorsDistanceNm, kVectorsInterceptDeg);
        break;
    default:
        break;
    }
}

void AircraftTab::showResult(const QString &text, bool ok)
{
    m_result->setText(text);
    m_result->setStyleSheet(ok ? QString() : QStringLiteral("color:#c0392b;"));
}

void AircraftTab::setAircraftData(const AircraftData &data)
{
    m_data = data;
    if (data.lat == 0 && data.lon == 0) {
        m_current->setText(tr("当前位置：无数据"));
        return;
    }
    m_current->setText(tr("当前位置：%1, %2 · %3 ft · 航向 %4° · 地速 %5 kt")
                           .arg(data.lat, 0, 'f', 5)
                           .arg(data.lon, 0, 'f', 5)
                           .arg(data.alt, 0, 'f', 0)
                           .arg(data.hdgTrue, 0, 'f', 0)
                           .arg(data.gs, 0, 'f', 1));
    // Until the instructor picks one, the airport nearest the aircraft fills the pickers.
    if (m_navData && m_airportIcao.isEmpty() && !m_airportEdit->hasFocus()) {
        const QList<AirportRecord> nearby =
            m_navData->airportsInBounds(data.lat - kNearbyAirportDeg, data.lon - kNearbyAirportDeg,
                                        data.lat + kNearbyAirportDeg, data.lon + kNearbyAirportDeg);
        const AirportRecord *nearest = nullptr;
        double best = 0;
        for (const AirportRecord &candidate : nearby) {
            const double d =
                std::hypot(candidate.lat - data.lat, (candidate.lon - data.lon) * std::cos(data.lat * M_PI / 180.0));
            if (!nearest || d < best) {
                nearest = &candidate;
                best = d;
            }
        }
        if (nearest)
            setAirport(nearest->icao);
    }
    // The free coordinates start from where the aircraft is.
    if (!m_freeLat->isEnabled()) {
        m_freeLat->setValue(data.lat);
        m_freeLon->setValue(data.lon);
        m_freeAlt->setValue(std::round(data.alt));
        m_freeHeading->setValue(data.hdgTrue);
    }
}

void AircraftTab::showSimStatus(const QString &text)
{
    m_simStatus->setText(text);
}

void AircraftTab::onPauseToggled(bool paused)
{
    if (!m_dispatcher)
        return;
    if (m_dispatcher->isRemote()) {
        m_dispatcher->setPause(paused);
        showSimStatus(paused ? tr("已发送暂停") : tr("已发送继续"));
        emit pauseSet(paused);
        return;
    }
    ISimBackend *backend = m_dispatcher->localBackend();
    QString problem;
    if (!backend || !backend->isConnected())
        problem = tr("模拟器未连接");
    else if (!backend->setPaused(paused))
        problem = tr("此模拟器不支持暂停");
    if (problem.isEmpty()) {
        showSimStatus(paused ? tr("已暂停") : tr("已继续"));
        emit pauseSet(paused);
        return;
    }
    showSimStatus(problem);
    const QSignalBlocker blocker(m_pause);
    m_pause->setChecked(!paused);
}

void AircraftTab::onFreezeToggled()
{
    if (!m_dispatcher)
        return;
    const bool position = m_freezePosition->isChecked();
    const bool attitude = m_freezeAttitude->isChecked();
    if (m_dispatcher->isRemote()) {
        m_dispatcher->setFreeze(position, attitude);
        showSimStatus(tr("已发送冻结设置"));
        emit freezeSet(position, attitude);
        return;
    }
    ISimBackend *backend = m_dispatcher->localBackend();
    QString problem;
    if (!backend || !backend->isConnected())
        problem = tr("模拟器未连接");
    else if (!backend->setFrozen(position, attitude))
        problem = tr("此模拟器不支持冻结");
    if (problem.isEmpty()) {
        showSimStatus(position || attitude ? tr("已冻结") : tr("已解除冻结"));
        emit freezeSet(position, attitude);
        return;
    }
    showSimStatus(problem);
    const QSignalBlocker positionBlocker(m_freezePosition);
    const QSignalBlocker attitudeBlocker(m_freezeAttitude);
    m_freezePosition->setChecked(false);
    m_freezeAttitude->setChecked(false);
}

void AircraftTab::slewStep(int step)
{
    if (!m_slew)
        return;
    const double feet = m_stepFt->value();
    const double degrees = m_stepDeg->value();
    switch (step) {
    case Forward:
        m_slew->moveForward(feet);
        break;
    case Back:
        m_slew->moveForward(-feet);
        break;
    case Left:
        m_slew->moveRight(-feet);
        break;
    case Right:
        m_slew->moveRight(feet);
        break;
    case Up:
        m_slew->moveUp(feet);
        break;
    case Down:
        m_slew->moveUp(-feet);
        break;
    case TurnLeft:
        m_slew->rotateRight(-degrees);
        break;
    case TurnRight:
        m_slew->rotateRight(degrees);
        break;
    default:
        break;
    }
}
