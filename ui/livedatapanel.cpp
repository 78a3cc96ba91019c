#include "ui/livedatapanel.h"

#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

#include <cmath>

namespace {

constexpr char kNoValue[] = "—";

// Fixed decimals, without the "-0.0" that tiny negative values would otherwise print.
QString number(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    if (std::round(value * scale) == 0.0)
        value = 0.0;
    return QString::number(value, 'f', decimals);
}

QString withUnit(double value, int decimals, const char *unit)
{
    return number(value, decimals) + QString::fromUtf8(unit);
}

QString hemisphere(double degrees, char positive, char negative)
{
    return number(std::fabs(degrees), 6) + QStringLiteral("° ") + QLatin1Char(degrees < 0 ? negative : positive);
}

QString textOrDash(const QString &text)
{
    return text.isEmpty() ? QString::fromUtf8(kNoValue) : text;
}

} // namespace

LiveDataPanel::LiveDataPanel(QWidget *parent) : QWidget(parent)
{
    auto *content = new QWidget;
    auto *columns = new QHBoxLayout(content);
    QVBoxLayout *column[4];
    for (auto &c : column) {
        c = new QVBoxLayout;
        columns->addLayout(c);
    }
    columns->addStretch();

    buildPosition(addGroup(column[0], QT_TR_NOOP("位置")));
    buildSpeeds(addGroup(column[0], QT_TR_NOOP("速度")));
    buildAttitude(addGroup(column[0], QT_TR_NOOP("姿态")));
    buildEngines(addGroup(column[1], QT_TR_NOOP("发动机")));
    buildControls(addGroup(column[1], QT_TR_NOOP("操纵")));
    buildAutopilot(addGroup(column[2], QT_TR_NOOP("自动驾驶")));
    buildFuelAndWeights(addGroup(column[2], QT_TR_NOOP("燃油与重量")));
    buildRadios(addGroup(column[3], QT_TR_NOOP("无线电")));
    buildEnvironment(addGroup(column[3], QT_TR_NOOP("环境")));
    buildOther(addGroup(column[3], QT_TR_NOOP("其他")));
    for (auto *c : column)
        c->addStretch();

    auto *scroll = new QScrollArea;
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(scroll);

    enableEngineColumns(0);
    retranslateUi();
}

void LiveDataPanel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void LiveDataPanel::retranslateUi()
{
    m_on = tr("开");
    m_off = tr("关");
    m_yes = tr("是");
    m_no = tr("否");
    for (const auto &[group, title] : std::as_const(m_groupTitles))
        group->setTitle(tr(title));
    for (const auto &[label, caption] : std::as_const(m_captions))
        label->setText(tr(caption));
    for (int i = 0; i < kEngineColumns; ++i)
        m_engineHeaders[i]->setText(tr("发动机 %1").arg(i + 1));
    // The values that are words follow at once, also on a hidden tab: a language switch is rare.
    render();
}

void LiveDataPanel::setAircraftData(const AircraftData &data)
{
    m_data = data;
    m_dirty = true;
    if (isVisible())
        render();
}

void LiveDataPanel::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_dirty)
        render();
}

QGroupBox *LiveDataPanel::addGroup(QVBoxLayout *column, const char *title)
{
    auto *group = new QGroupBox;
    m_groupTitles.append({group, title});
    auto *grid = new QGridLayout(group);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(3);
    column->addWidget(group);
    return group;
}

QLabel *LiveDataPanel::createValueLabel(const Value &value)
{
    auto *label = new QLabel;
    label->setObjectName(value.name);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setFixedWidth(label->fontMetrics().horizontalAdvance(value.widest) + 6);
    m_fields.append({label, value.format});
    return label;
}

QLabel *LiveDataPanel::addCaption(const char *caption)
{
    auto *label = new QLabel;
    m_captions.append({label, caption});
    return label;
}

QList<QLabel *> LiveDataPanel::addRow(QGroupBox *group, const char *caption, const QList<Value> &values)
{
    auto *grid = static_cast<QGridLayout *>(group->layout());
    const int row = grid->count() == 0 ? 0 : grid->rowCount();
    grid->addWidget(addCaption(caption), row, 0);
    QList<QLabel *> labels;
    for (int i = 0; i < values.size(); ++i) {
        labels.append(createValueLabel(values[i]));
        grid->addWidget(labels.last(), row, i + 1, Qt::AlignRight);
    }
    return labels;
}

void LiveDataPanel::buildPosition(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("纬度"),
           {{"lat", "89.999999° N", [](const AircraftData &d) { return hemisphere(d.lat, 'N', 'S'); }}});
    addRow(group, QT_TR_NOOP("经度"),
           {{"lon", "179.999999° W", [](const AircraftData &d) { return hemisphere(d.lon, 'E', 'W'); }}});
    addRow(group, QT_TR_NOOP("高度 (MSL)"),
           {{"alt", "-99999 ft", [](const AircraftData &d) { return withUnit(d.alt, 0, " ft"); }}});
    addRow(group, QT_TR_NOOP("指示高度"),
           {{"altInd", "-99999 ft", [](const AircraftData &d) { return withUnit(d.altInd, 0, " ft"); }}});
    addRow(group, QT_TR_NOOP("离地高度"),
           {{"altAGL", "-99999 ft", [](const AircraftData &d) { return withUnit(d.altAGL, 0, " ft"); }}});
    addRow(group, QT_TR_NOOP("在地面"),
           {{"onGround", "MMMM", [this](const AircraftData &d) { return d.onGround ? m_yes : m_no; }}});
}

void LiveDataPanel::buildSpeeds(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("指示空速"),
           {{"ias", "9999.9 kt", [](const AircraftData &d) { return withUnit(d.ias, 1, " kt"); }}});
    addRow(group, QT_TR_NOOP("真空速"),
           {{"tas", "9999.9 kt", [](const AircraftData &d) { return withUnit(d.tas, 1, " kt"); }}});
    addRow(group, QT_TR_NOOP("地速"),
           {{"gs", "9999.9 kt", [](const AircraftData &d) { return withUnit(d.gs, 1, " kt"); }}});
    addRow(group, QT_TR_NOOP("垂直速度"),
           {{"vs", "-99999 ft/min", [](const AircraftData &d) { return withUnit(d.vs, 0, " ft/min"); }}});
    addRow(group, QT_TR_NOOP("马赫数"), {{"mach", "9.999", [](const AircraftData &d) { return number(d.mach, 3); }}});
}

void LiveDataPanel::buildAttitude(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("磁航向"),
           {{"hdg", "359.9°", [](const AircraftData &d) { return withUnit(d.hdg, 1, "°"); }}});
    addRow(group, QT_TR_NOOP("真航向"),
           {{"hdgTrue", "359.9°", [](const AircraftData &d) { return withUnit(d.hdgTrue, 1, "°"); }}});
    addRow(group, QT_TR_NOOP("航迹"),
           {{"track", "359.9°", [](const AircraftData &d) { return withUnit(d.track, 1, "°"); }}});
    addRow(group, QT_TR_NOOP("俯仰"),
           {{"pitch", "-180.0°", [](const AircraftData &d) { return withUnit(d.pitch, 1, "°"); }}});
    addRow(group, QT_TR_NOOP("坡度"),
           {{"bank", "-180.0°", [](const AircraftData &d) { return withUnit(d.bank, 1, "°"); }}});
    addRow(group, QT_TR_NOOP("过载"),
           {{"gForce", "-99.99 g", [](const AircraftData &d) { return withUnit(d.gForce, 2, " g"); }}});
}

void LiveDataPanel::buildEngines(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("发动机类型"),
           {{"engType", "9999", [](const AircraftData &d) { return QString::number(d.engType); }}});
    addRow(group, QT_TR_NOOP("发动机数量"),
           {{"engCnt", "9", [](const AircraftData &d) { return QString::number(d.engCnt); }}});
    addRow(group, QT_TR_NOOP("油门 1"),
           {{"thr1", "100.0 %", [](const AircraftData &d) { return withUnit(d.thr1, 1, " %"); }}});
    addRow(group, QT_TR_NOOP("油门 2"),
           {{"thr2", "100.0 %", [](const AircraftData &d) { return withUnit(d.thr2, 1, " %"); }}});

    auto *grid = static_cast<QGridLayout *>(group->layout());
    const int headerRow = grid->rowCount();
    for (int i = 0; i < kEngineColumns; ++i) {
        auto *header = m_engineHeaders[i] = new QLabel;
        header->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(header, headerRow, i + 1);
        m_engineColumns[i].append(header);
    }

    const auto perEngine = [this, group](const char *caption, const QString &member, const QString &widest,
                                         const std::function<QString(const AircraftData &, int)> &format) {
        QList<Value> values;
        for (int i = 0; i < kEngineColumns; ++i)
            values.append({QStringLiteral("%1_%2").arg(member).arg(i), widest,
                           [format, i](const AircraftData &d) { return format(d, i); }});
        const QList<QLabel *> labels = addRow(group, caption, values);
        for (int i = 0; i < kEngineColumns; ++i)
            m_engineColumns[i].append(labels[i]);
    };
    perEngine(QT_TR_NOOP("N1"), "engN1", "100.0 %",
              [](const AircraftData &d, int i) { return withUnit(d.engN1[i], 1, " %"); });
    perEngine(QT_TR_NOOP("N2"), "engN2", "100.0 %",
              [](const AircraftData &d, int i) { return withUnit(d.engN2[i], 1, " %"); });
    perEngine(QT_TR_NOOP("排气温度"), "egt", "-9999 °C",
              [](const AircraftData &d, int i) { return withUnit(d.egt[i], 0, " °C"); });
    perEngine(QT_TR_NOOP("转速"), "rpm", "99999 rpm",
              [](const AircraftData &d, int i) { return withUnit(d.rpm[i], 0, " rpm"); });
    perEngine(QT_TR_NOOP("燃油流量"), "ff", "9999.9 gal/h",
              [](const AircraftData &d, int i) { return withUnit(d.ff[i], 1, " gal/h"); });
    perEngine(QT_TR_NOOP("运行"), "engRun", "MMMM",
              [this](const AircraftData &d, int i) { return d.engRun[i] ? m_yes : m_no; });
    perEngine(QT_TR_NOOP("火警"), "engFire", "MMMM", [this](const AircraftData &d, int i) {
        // Only two fire flags exist; engines 3 and 4 have none to show.
        if (i >= 2)
            return QString::fromUtf8(kNoValue);
        return d.engFire[i] ? m_yes : m_no;
    });
}

void LiveDataPanel::buildControls(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("起落架"),
           {{"gear", "MMMMMM", [](const AircraftData &d) { return d.gear ? tr("放下") : tr("收起"); }}});
    addRow(group, QT_TR_NOOP("襟翼"),
           {{"flaps", "100 %", [](const AircraftData &d) { return withUnit(d.flaps, 0, " %"); }}});
    addRow(group, QT_TR_NOOP("减速板"),
           {{"spoiler", "100.0 %", [](const AircraftData &d) { return withUnit(d.spoiler, 1, " %"); }}});
    addRow(group, QT_TR_NOOP("停留刹车"),
           {{"parkBrake", "100 %", [](const AircraftData &d) { return withUnit(d.parkBrake, 0, " %"); }}});
    addRow(group, QT_TR_NOOP("升降舵配平"),
           {{"elevTrim", "-99.99°", [](const AircraftData &d) { return withUnit(d.elevTrim, 2, "°"); }}});
    addRow(group, QT_TR_NOOP("副翼配平"),
           {{"ailTrim", "-99.99", [](const AircraftData &d) { return number(d.ailTrim, 2); }}});
    addRow(group, QT_TR_NOOP("方向舵配平"),
           {{"rudTrim", "-99.99", [](const AircraftData &d) { return number(d.rudTrim, 2); }}});
}

void LiveDataPanel::buildRadios(QGroupBox *group)
{
    auto *grid = static_cast<QGridLayout *>(group->layout());
    for (const auto &[column, text] : {std::pair{1, QT_TR_NOOP("主用")}, std::pair{2, QT_TR_NOOP("备用")}}) {
        auto *header = addCaption(text);
        header->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(header, 0, column);
    }
    const auto mhz = [](double AircraftData::*member) {
        return [member](const AircraftData &d) { return withUnit(d.*member, 3, " MHz"); };
    };
    const QString widest = QStringLiteral("999.999 MHz");
    addRow(group, QT_TR_NOOP("NAV1"),
           {{"nav1", widest, mhz(&AircraftData::nav1)}, {"nav1s", widest, mhz(&AircraftData::nav1s)}});
    addRow(group, QT_TR_NOOP("NAV2"),
           {{"nav2", widest, mhz(&AircraftData::nav2)}, {"nav2s", widest, mhz(&AircraftData::nav2s)}});
    addRow(group, QT_TR_NOOP("COM1"),
           {{"com1", widest, mhz(&AircraftData::com1)}, {"com1s", widest, mhz(&AircraftData::com1s)}});
    addRow(group, QT_TR_NOOP("COM2"),
           {{"com2", widest, mhz(&AircraftData::com2)}, {"com2s", widest, mhz(&AircraftData::com2s)}});
    addRow(group, QT_TR_NOOP("ADF"),
           {{"adf", "9999.9 kHz", [](const AircraftData &d) { return withUnit(d.adf, 1, " kHz"); }}});
    addRow(group, QT_TR_NOOP("应答机"), {{"xpdr", "9999", [](const AircraftData &d) {
                                              return QStringLiteral("%1").arg(qRound(d.xpdr), 4, 10, QLatin1Char('0'));
                                          }}});
    addRow(group, QT_TR_NOOP("航向道偏离"),
           {{"loc", "-9.99 dots", [](const AircraftData &d) { return withUnit(d.loc, 2, " dots"); }}});
    addRow(group, QT_TR_NOOP("下滑道偏离"),
           {{"gsDev", "-9.99 dots", [](const AircraftData &d) { return withUnit(d.gsDev, 2, " dots"); }}});
}

void LiveDataPanel::buildAutopilot(QGroupBox *group)
{
    const auto mode = [this](bool AircraftData::*member) {
        return [this, member](const AircraftData &d) { return d.*member ? m_on : m_off; };
    };
    addRow(group, QT_TR_NOOP("自动驾驶"), {{"apMaster", "MMMM", mode(&AircraftData::apMaster)}});
    addRow(group, QT_TR_NOOP("航向保持"), {{"apHdgLock", "MMMM", mode(&AircraftData::apHdgLock)}});
    addRow(group, QT_TR_NOOP("高度保持"), {{"apAltLock", "MMMM", mode(&AircraftData::apAltLock)}});
    addRow(group, QT_TR_NOOP("速度保持"), {{"apSpdLock", "MMMM", mode(&AircraftData::apSpdLock)}});
    addRow(group, QT_TR_NOOP("垂直导航"), {{"apVnav", "MMMM", mode(&AircraftData::apVnav)}});
    addRow(group, QT_TR_NOOP("进近"), {{"apAppr", "MMMM", mode(&AircraftData::apAppr)}});
    addRow(group, QT_TR_NOOP("导航保持"), {{"apNavLock", "MMMM", mode(&AircraftData::apNavLock)}});
    addRow(group, QT_TR_NOOP("目标高度"),
           {{"apAlt", "99999 ft", [](const AircraftData &d) { return withUnit(d.apAlt, 0, " ft"); }}});
    addRow(group, QT_TR_NOOP("目标航向"),
           {{"apHdg", "359°", [](const AircraftData &d) { return withUnit(d.apHdg, 0, "°"); }}});
    addRow(group, QT_TR_NOOP("目标速度"),
           {{"apSpd", "999 kt", [](const AircraftData &d) { return withUnit(d.apSpd, 0, " kt"); }}});
    addRow(group, QT_TR_NOOP("目标垂直速度"),
           {{"apVs", "-99999 ft/min", [](const AircraftData &d) { return withUnit(d.apVs, 0, " ft/min"); }}});
    addRow(group, QT_TR_NOOP("备用值"),
           {{"apSpare", "99999", [](const AircraftData &d) { return QString::number(d.apSpare); }}});
}

void LiveDataPanel::buildFuelAndWeights(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("总燃油"),
           {{"fuelTotal", "999999.9 gal", [](const AircraftData &d) { return withUnit(d.fuelTotal, 1, " gal"); }}});
    addRow(group, QT_TR_NOOP("左油箱"),
           {{"fuelL", "99999.9 gal", [](const AircraftData &d) { return withUnit(d.fuelL, 1, " gal"); }}});
    addRow(group, QT_TR_NOOP("右油箱"),
           {{"fuelR", "99999.9 gal", [](const AircraftData &d) { return withUnit(d.fuelR, 1, " gal"); }}});
    addRow(group, QT_TR_NOOP("总重"),
           {{"totalWt", "9999999 kg", [](const AircraftData &d) { return withUnit(d.totalWt, 0, " kg"); }}});
    addRow(group, QT_TR_NOOP("重心"),
           {{"cg", "99.9 % MAC", [](const AircraftData &d) { return withUnit(d.cg, 1, " % MAC"); }}});
}

void LiveDataPanel::buildEnvironment(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("外界温度"),
           {{"ambTemp", "-99.9 °C", [](const AircraftData &d) { return withUnit(d.ambTemp, 1, " °C"); }}});
    addRow(group, QT_TR_NOOP("风向"),
           {{"windDir", "359°", [](const AircraftData &d) { return withUnit(d.windDir, 0, "°"); }}});
    addRow(group, QT_TR_NOOP("风速"),
           {{"windSpd", "999 kt", [](const AircraftData &d) { return withUnit(d.windSpd, 0, " kt"); }}});
    addRow(group, QT_TR_NOOP("能见度"),
           {{"vis", "999999 m", [](const AircraftData &d) { return withUnit(d.vis, 0, " m"); }}});
    addRow(group, QT_TR_NOOP("海平面气压"),
           {{"baroSea", "9999.9 hPa", [](const AircraftData &d) { return withUnit(d.baroSea, 1, " hPa"); }}});
    addRow(group, QT_TR_NOOP("高度表设定"),
           {{"baro", "9999.9 hPa", [](const AircraftData &d) { return withUnit(d.baro, 1, " hPa"); }}});
}

void LiveDataPanel::buildOther(QGroupBox *group)
{
    addRow(group, QT_TR_NOOP("备用 1"),
           {{"spare1", "-99999.999", [](const AircraftData &d) { return number(d.spare1, 3); }}});
    addRow(group, QT_TR_NOOP("备用 2"),
           {{"spare2", "-99999.999", [](const AircraftData &d) { return number(d.spare2, 3); }}});
    const QString widest = QStringLiteral("MMMMMMMMMMMM");
    addRow(group, QT_TR_NOOP("文本 1"), {{"text1", widest, [](const AircraftData &d) { return textOrDash(d.text1); }}});
    addRow(group, QT_TR_NOOP("文本 2"), {{"text2", widest, [](const AircraftData &d) { return textOrDash(d.text2); }}});
    addRow(group, QT_TR_NOOP("文本 3"), {{"text3", widest, [](const AircraftData &d) { return textOrDash(d.text3); }}});
    addRow(group, QT_TR_NOOP("文本 4"), {{"text4", widest, [](const AircraftData &d) { return textOrDash(d.text4); }}});
}

void LiveDataPanel::render()
{
    m_dirty = false;
    for (const Field &field : std::as_const(m_fields)) {
        const QString text = field.format(m_data);
        if (field.label->text() != text)
            field.label->setText(text);
    }
    enableEngineColumns(m_data.engCnt);
}

void LiveDataPanel::enableEngineColumns(int engineCount)
{
    if (engineCount == m_enabledEngines)
        return;
    m_enabledEngines = engineCount;
    // Columns of engines the aircraft does not have stay visible but greyed, so nothing moves.
    for (int i = 0; i < kEngineColumns; ++i) {
        for (QWidget *widget : std::as_const(m_engineColumns[i]))
            widget->setEnabled(i < engineCount);
    }
}
