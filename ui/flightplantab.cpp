#include "ui/flightplantab.h"

#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

// Construction, texts and the form's lists. The actions are in flightplantab_actions.cpp.

namespace {

QComboBox *choiceBox(QWidget *parent, const char *name)
{
    auto *box = new QComboBox(parent);
    box->setObjectName(QLatin1String(name));
    box->setMinimumContentsLength(8);
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    return box;
}

// The current text, empty for the "none" entry at index 0.
QString chosen(const QComboBox *box)
{
    return box->currentIndex() > 0 ? box->currentText() : QString();
}

void refill(QComboBox *box, const QStringList &items, const QString &keep)
{
    const QSignalBlocker blocker(box);
    box->clear();
    box->addItem(QStringLiteral("—"));
    box->addItems(items);
    const int at = box->findText(keep);
    box->setCurrentIndex(at > 0 ? at : 0);
}

} // namespace

FlightPlanTab::FlightPlanTab(QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(createForm());
    layout->addWidget(createImportRow());
    layout->addWidget(createLegPanel(), 1);
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("planStatus"));
    m_status->setWordWrap(true);
    layout->addWidget(m_status);
    retranslateUi();
    showPlan();
}

QWidget *FlightPlanTab::createForm()
{
    m_formBox = new QGroupBox(this);
    auto *grid = new QGridLayout(m_formBox);
    m_departureLabel = new QLabel(m_formBox);
    m_destinationLabel = new QLabel(m_formBox);
    m_departure = new QLineEdit(m_formBox);
    m_departure->setObjectName(QStringLiteral("departureEdit"));
    m_destination = new QLineEdit(m_formBox);
    m_destination->setObjectName(QStringLiteral("destinationEdit"));
    for (QLineEdit *edit : {m_departure, m_destination}) {
        edit->setMaxLength(4);
        edit->setMaximumWidth(80);
    }
    m_departureRunway = choiceBox(m_formBox, "departureRunwayBox");
    m_sid = choiceBox(m_formBox, "sidBox");
    m_sidTransition = choiceBox(m_formBox, "sidTransitionBox");
    m_destinationRunway = choiceBox(m_formBox, "destinationRunwayBox");
    m_star = choiceBox(m_formBox, "starBox");
    m_starTransition = choiceBox(m_formBox, "starTransitionBox");
    m_approach = choiceBox(m_formBox, "approachBox");
    m_approachTransition = choiceBox(m_formBox, "approachTransitionBox");
    for (QLabel *&label : m_runwayLabels)
        label = new QLabel(m_formBox);
    for (QLabel *&label : m_procedureLabels)
        label = new QLabel(m_formBox);
    for (QLabel *&label : m_transitionLabels)
        label = new QLabel(m_formBox);

    grid->addWidget(m_departureLabel, 0, 0);
    grid->addWidget(m_departure, 0, 1);
    grid->addWidget(m_runwayLabels[0], 0, 2);
    grid->addWidget(m_departureRunway, 0, 3);
    grid->addWidget(m_procedureLabels[0], 0, 4);
    grid->addWidget(m_sid, 0, 5);
    grid->addWidget(m_transitionLabels[0], 0, 6);
    grid->addWidget(m_sidTransition, 0, 7);
    grid->addWidget(m_destinationLabel, 1, 0);
    grid->addWidget(m_destination, 1, 1);
    grid->addWidget(m_runwayLabels[1], 1, 2);
    grid->addWidget(m_destinationRunway, 1, 3);
    grid->addWidget(m_procedureLabels[1], 1, 4);
    grid->addWidget(m_star, 1, 5);
    grid->addWidget(m_transitionLabels[1], 1, 6);
    grid->addWidget(m_starTransition, 1, 7);
    grid->addWidget(m_procedureLabels[2], 2, 4);
    grid->addWidget(m_approach, 2, 5);
    grid->addWidget(m_transitionLabels[2], 2, 6);
    grid->addWidget(m_approachTransition, 2, 7);

    m_cruiseLabel = new QLabel(m_formBox);
    m_cruise = new QSpinBox(m_formBox);
    m_cruise->setObjectName(QStringLiteral("cruiseSpin"));
    m_cruise->setRange(0, 60000);
    m_cruise->setSingleStep(1000);
    m_cruise->setValue(29000);
    m_cruise->setSuffix(QStringLiteral(" ft"));
    grid->addWidget(m_cruiseLabel, 2, 0);
    grid->addWidget(m_cruise, 2, 1, 1, 3);
    m_routeLabel = new QLabel(m_formBox);
    m_route = new QLineEdit(m_formBox);
    m_route->setObjectName(QStringLiteral("routeEdit"));
    m_buildButton = new QPushButton(m_formBox);
    m_buildButton->setObjectName(QStringLiteral("buildRouteButton"));
    grid->addWidget(m_routeLabel, 3, 0);
    grid->addWidget(m_route, 3, 1, 1, 8);
    grid->addWidget(m_buildButton, 3, 9);
    grid->setColumnStretch(8, 1); // the lists keep their width; the route text takes the rest

    connect(m_departure, &QLineEdit::editingFinished, this, [this] {
        fillRunways(m_departureRunway, m_departure->text().trimmed().toUpper());
        fillProcedures(true);
    });
    connect(m_destination, &QLineEdit::editingFinished, this, [this] {
        fillRunways(m_destinationRunway, m_destination->text().trimmed().toUpper());
        fillProcedures(false);
    });
    connect(m_departureRunway, &QComboBox::currentIndexChanged, this, [this] { fillProcedures(true); });
    connect(m_destinationRunway, &QComboBox::currentIndexChanged, this, [this] { fillProcedures(false); });
    connect(m_sid, &QComboBox::currentIndexChanged, this, [this] {
        fillTransitions(m_sidTransition, m_departure->text().trimmed().toUpper(), QStringLiteral("SID"), chosen(m_sid));
    });
    connect(m_star, &QComboBox::currentIndexChanged, this, [this] {
        fillTransitions(m_starTransition, m_destination->text().trimmed().toUpper(), QStringLiteral("STAR"),
                        chosen(m_star));
    });
    connect(m_approach, &QComboBox::currentIndexChanged, this, [this] {
        fillTransitions(m_approachTransition, m_destination->text().trimmed().toUpper(), QStringLiteral("APPCH"),
                        chosen(m_approach));
    });
    connect(m_buildButton, &QPushButton::clicked, this, &FlightPlanTab::buildRoute);
    connect(m_route, &QLineEdit::returnPressed, this, &FlightPlanTab::buildRoute);
    return m_formBox;
}

QWidget *FlightPlanTab::createImportRow()
{
    auto *row = new QWidget(this);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    m_userLabel = new QLabel(row);
    m_simbriefUser = new QLineEdit(row);
    m_simbriefUser->setObjectName(QStringLiteral("simbriefUserEdit"));
    m_simbriefUser->setMaximumWidth(140);
    m_fetchButton = new QPushButton(row);
    m_fetchButton->setObjectName(QStringLiteral("fetchOfpButton"));
    m_ofpUrl = new QLineEdit(row);
    m_ofpUrl->setObjectName(QStringLiteral("ofpUrlEdit"));
    m_urlButton = new QPushButton(row);
    m_urlButton->setObjectName(QStringLiteral("importOfpUrlButton"));
    m_importButton = new QPushButton(row);
    m_importButton->setObjectName(QStringLiteral("importFileButton"));
    m_exportButton = new QPushButton(row);
    m_exportButton->setObjectName(QStringLiteral("exportFileButton"));
    m_sendButton = new QPushButton(row);
    m_sendButton->setObjectName(QStringLiteral("sendPlanButton"));
    layout->addWidget(m_userLabel);
    layout->addWidget(m_simbriefUser);
    layout->addWidget(m_fetchButton);
    layout->addWidget(m_ofpUrl, 1);
    layout->addWidget(m_urlButton);
    layout->addSpacing(12);
    layout->addWidget(m_importButton);
    layout->addWidget(m_exportButton);
    layout->addWidget(m_sendButton);

    connect(m_fetchButton, &QPushButton::clicked, this, [this] {
        if (m_simbrief) {
            setStatus(tr("正在获取 OFP…"));
            m_simbrief->fetchOFP(m_simbriefUser->text());
        }
    });
    connect(m_urlButton, &QPushButton::clicked, this, [this] {
        if (m_simbrief && !m_ofpUrl->text().trimmed().isEmpty()) {
            setStatus(tr("正在获取 OFP…"));
            m_simbrief->importFromUrl(m_ofpUrl->text());
        }
    });
    connect(m_importButton, &QPushButton::clicked, this, &FlightPlanTab::chooseImportFile);
    connect(m_exportButton, &QPushButton::clicked, this, &FlightPlanTab::chooseExportFile);
    connect(m_sendButton, &QPushButton::clicked, this, [this] {
        if (m_plan.waypoints.size() < 2)
            setStatus(tr("飞行计划至少需要两个航点"));
        else
            emit sendRequested(m_plan);
    });
    return row;
}

QWidget *FlightPlanTab::createLegPanel()
{
    auto *panel = new QWidget(this);
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(0, 0, 0, 0);
    m_table = new QTableWidget(0, 9, panel);
    m_table->setObjectName(QStringLiteral("legTable"));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->verticalHeader()->setVisible(false);
    m_table->horizontalHeader()->setStretchLastSection(true);
    layout->addWidget(m_table, 1);
    connect(m_table, &QTableWidget::cellChanged, this, &FlightPlanTab::onAltitudeEdited);

    auto *edit = new QHBoxLayout;
    m_insertIdent = new QLineEdit(panel);
    m_insertIdent->setObjectName(QStringLiteral("insertIdentEdit"));
    m_insertIdent->setMaximumWidth(120);
    m_insertButton = new QPushButton(panel);
    m_insertButton->setObjectName(QStringLiteral("insertWaypointButton"));
    m_removeButton = new QPushButton(panel);
    m_removeButton->setObjectName(QStringLiteral("removeWaypointButton"));
    m_upButton = new QPushButton(panel);
    m_upButton->setObjectName(QStringLiteral("moveUpButton"));
    m_downButton = new QPushButton(panel);
    m_downButton->setObjectName(QStringLiteral("moveDownButton"));
    m_speedLabel = new QLabel(panel);
    m_groundSpeed = new QSpinBox(panel);
    m_groundSpeed->setObjectName(QStringLiteral("groundSpeedSpin"));
    m_groundSpeed->setRange(60, 700);
    m_groundSpeed->setValue(kDefaultGroundSpeedKt);
    m_groundSpeed->setSuffix(QStringLiteral(" kt"));
    for (QWidget *w :
         std::initializer_list<QWidget *>{m_insertIdent, m_insertButton, m_removeButton, m_upButton, m_downButton})
        edit->addWidget(w);
    edit->addStretch(1);
    edit->addWidget(m_speedLabel);
    edit->addWidget(m_groundSpeed);
    layout->addLayout(edit);

    auto *lesson = new QHBoxLayout;
    m_summary = new QLabel(panel);
    m_summary->setObjectName(QStringLiteral("planSummary"));
    m_ofpSummary = new QLabel(panel);
    m_ofpSummary->setObjectName(QStringLiteral("ofpSummary"));
    m_placeButton = new QPushButton(panel);
    m_placeButton->setObjectName(QStringLiteral("placeAtWaypointButton"));
    m_approachDistance = new QSpinBox(panel);
    m_approachDistance->setObjectName(QStringLiteral("approachDistanceSpin"));
    m_approachDistance->setRange(1, 60);
    m_approachDistance->setValue(kDefaultApproachDistanceNm);
    m_approachDistance->setSuffix(QStringLiteral(" nm"));
    m_placeApproachButton = new QPushButton(panel);
    m_placeApproachButton->setObjectName(QStringLiteral("placeBeforeApproachButton"));
    m_loadFuelButton = new QPushButton(panel);
    m_loadFuelButton->setObjectName(QStringLiteral("loadOfpFuelButton"));
    lesson->addWidget(m_summary, 1);
    lesson->addWidget(m_placeButton);
    lesson->addWidget(m_approachDistance);
    lesson->addWidget(m_placeApproachButton);
    lesson->addWidget(m_loadFuelButton);
    layout->addLayout(lesson);
    layout->addWidget(m_ofpSummary);

    connect(m_insertButton, &QPushButton::clicked, this, &FlightPlanTab::insertTyped);
    connect(m_insertIdent, &QLineEdit::returnPressed, this, &FlightPlanTab::insertTyped);
    connect(m_removeButton, &QPushButton::clicked, this, &FlightPlanTab::removeSelected);
    connect(m_upButton, &QPushButton::clicked, this, [this] { moveSelected(-1); });
    connect(m_downButton, &QPushButton::clicked, this, [this] { moveSelected(1); });
    connect(m_groundSpeed, &QSpinBox::valueChanged, this, [this] {
        showPlan();
        emit planChanged(m_plan);
    });
    connect(m_placeButton, &QPushButton::clicked, this, &FlightPlanTab::placeAtSelected);
    connect(m_placeApproachButton, &QPushButton::clicked, this, &FlightPlanTab::placeBeforeApproach);
    connect(m_loadFuelButton, &QPushButton::clicked, this, [this] {
        if (m_ofp.valid)
            emit ofpLoadRequested(m_ofp);
    });
    return panel;
}

void FlightPlanTab::retranslateUi()
{
    m_formBox->setTitle(tr("航路规划"));
    m_departureLabel->setText(tr("起飞机场"));
    m_destinationLabel->setText(tr("目的机场"));
    for (QLabel *label : m_runwayLabels)
        label->setText(tr("跑道"));
    m_procedureLabels[0]->setText(tr("离场程序"));
    m_procedureLabels[1]->setText(tr("进场程序"));
    m_procedureLabels[2]->setText(tr("进近程序"));
    for (QLabel *label : m_transitionLabels)
        label->setText(tr("过渡"));
    m_cruiseLabel->setText(tr("巡航高度"));
    m_routeLabel->setText(tr("航路"));
    m_route->setPlaceholderText(tr("例如 PIKAS G330 PIMOL A593 DUMET；留空则按航路网自动搜索"));
    m_buildButton->setText(tr("生成航路"));
    m_userLabel->setText(tr("SimBrief 用户名"));
    m_fetchButton->setText(tr("获取 OFP"));
    m_ofpUrl->setPlaceholderText(tr("OFP 网址 (XML)"));
    m_urlButton->setText(tr("从网址导入"));
    m_importButton->setText(tr("导入文件…"));
    m_exportButton->setText(tr("导出…"));
    m_sendButton->setText(tr("发送到模拟器"));
    m_insertIdent->setPlaceholderText(tr("航点代码"));
    m_insertButton->setText(tr("插入航点"));
    m_removeButton->setText(tr("删除航点"));
    m_upButton->setText(tr("上移"));
    m_downButton->setText(tr("下移"));
    m_speedLabel->setText(tr("计划地速"));
    m_placeButton->setText(tr("放置飞机到所选航点"));
    m_placeApproachButton->setText(tr("放置到进近前"));
    m_loadFuelButton->setText(tr("装载 OFP 燃油和业载"));
    m_table->setHorizontalHeaderLabels({tr("航点"), tr("类型"), tr("阶段"), tr("航路"), tr("高度 (ft)"), tr("航向 (°)"),
                                        tr("距离 (nm)"), tr("时间"), tr("累计 (nm)")});
    showPlan();
}

void FlightPlanTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void FlightPlanTab::fillRunways(QComboBox *box, const QString &icao)
{
    refill(box, m_planner ? m_planner->runways(icao) : QStringList(), box->currentText());
}

void FlightPlanTab::fillProcedures(bool departure)
{
    if (!m_planner)
        return;
    if (departure) {
        const QString icao = m_departure->text().trimmed().toUpper();
        refill(m_sid, m_planner->procedureNames(icao, QStringLiteral("SID"), chosen(m_departureRunway)),
               m_sid->currentText());
        fillTransitions(m_sidTransition, icao, QStringLiteral("SID"), chosen(m_sid));
        return;
    }
    const QString icao = m_destination->text().trimmed().toUpper();
    const QString runway = chosen(m_destinationRunway);
    refill(m_star, m_planner->procedureNames(icao, QStringLiteral("STAR"), runway), m_star->currentText());
    refill(m_approach, m_planner->approachNames(icao, runway), m_approach->currentText());
    fillTransitions(m_starTransition, icao, QStringLiteral("STAR"), chosen(m_star));
    fillTransitions(m_approachTransition, icao, QStringLiteral("APPCH"), chosen(m_approach));
}

void FlightPlanTab::fillTransitions(QComboBox *box, const QString &icao, const QString &type, const QString &name)
{
    refill(box, m_planner && !name.isEmpty() ? m_planner->transitions(icao, type, name) : QStringList(),
           box->currentText());
}

void FlightPlanTab::refreshChoices()
{
    fillRunways(m_departureRunway, m_departure->text().trimmed().toUpper());
    fillRunways(m_destinationRunway, m_destination->text().trimmed().toUpper());
    fillProcedures(true);
    fillProcedures(false);
}

void FlightPlanTab::fillFormFromPlan()
{
    m_departure->setText(m_plan.departure);
    m_destination->setText(m_plan.destination);
    if (m_plan.cruiseAltitudeFt > 0)
        m_cruise->setValue(m_plan.cruiseAltitudeFt);
    m_route->setText(m_plan.routeString());
    // Runway and procedure lists hold what the data offers plus what the plan names.
    const auto setChoice = [](QComboBox *box, const QString &value) {
        const QSignalBlocker blocker(box);
        if (!value.isEmpty() && box->findText(value) < 0)
            box->addItem(value);
        box->setCurrentIndex(value.isEmpty() ? 0 : box->findText(value));
    };
    fillRunways(m_departureRunway, m_plan.departure);
    fillRunways(m_destinationRunway, m_plan.destination);
    setChoice(m_departureRunway, m_plan.departureRunway);
    setChoice(m_destinationRunway, m_plan.destinationRunway);
    fillProcedures(true);
    fillProcedures(false);
    setChoice(m_sid, m_plan.sid);
    setChoice(m_star, m_plan.star);
    setChoice(m_approach, m_plan.approach);
    fillTransitions(m_sidTransition, m_plan.departure, QStringLiteral("SID"), m_plan.sid);
    fillTransitions(m_starTransition, m_plan.destination, QStringLiteral("STAR"), m_plan.star);
    fillTransitions(m_approachTransition, m_plan.destination, QStringLiteral("APPCH"), m_plan.approach);
    setChoice(m_sidTransition, m_plan.sidTransition);
    setChoice(m_starTransition, m_plan.starTransition);
    setChoice(m_approachTransition, m_plan.approachTransition);
}
