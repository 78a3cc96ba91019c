#include "supervision/atclog.h"

#include <QRegularExpression>
#include <QSaveFile>

#include <cmath>

namespace {

constexpr double kMaxAltitudeFt = 60000.0;
constexpr int kMaxTextLength = 500;

std::optional<double> readAltitude(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^(FL)?\\s*(\\d{1,5})\\s*(FT)?$"),
                                            QRegularExpression::CaseInsensitiveOption);
    const auto match = pattern.match(text);
    if (!match.hasMatch() || (match.hasCaptured(1) && match.hasCaptured(3)))
        return std::nullopt;
    double feet = match.captured(2).toDouble();
    if (match.hasCaptured(1))
        feet *= 100.0;
    if (feet > kMaxAltitudeFt)
        return std::nullopt;
    return feet;
}

std::optional<double> readNumber(const QString &text, double min, double max)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < min || value > max)
        return std::nullopt;
    return value;
}

// One CSV field: quoted when it holds a separator, quote or line break; a leading character that
// makes a spreadsheet evaluate the cell is neutralised.
QString csvField(QString text)
{
    if (!text.isEmpty() && QStringLiteral("=+@\t\r").contains(text.front()))
        text.prepend(QLatin1Char('\''));
    if (text.contains(QLatin1Char(',')) || text.contains(QLatin1Char('"')) || text.contains(QLatin1Char('\n')) ||
        text.contains(QLatin1Char('\r'))) {
        text.replace(QLatin1Char('"'), QLatin1String("\"\""));
        return QLatin1Char('"') + text + QLatin1Char('"');
    }
    return text;
}

} // namespace

QString AtcInstruction::kindText(Kind kind)
{
    switch (kind) {
    case Kind::Altitude:
        return tr("高度");
    case Kind::Heading:
        return tr("航向");
    case Kind::Speed:
        return tr("速度");
    case Kind::Frequency:
        return tr("频率");
    case Kind::FreeText:
        return tr("其他");
    }
    return QString();
}

std::optional<AtcInstruction> AtcInstruction::make(const QString &aircraftId, const QString &aircraftLabel, Kind kind,
                                                   const QString &value, const QString &note, const QDateTime &timeUtc,
                                                   QString *error)
{
    AtcInstruction instruction;
    instruction.timeUtc = timeUtc;
    instruction.aircraftId = aircraftId.trimmed();
    instruction.aircraftLabel = aircraftLabel.trimmed().isEmpty() ? instruction.aircraftId : aircraftLabel.trimmed();
    instruction.kind = kind;
    instruction.value = value.trimmed();
    instruction.note = note.trimmed().left(kMaxTextLength);
    if (instruction.aircraftId.isEmpty()) {
        *error = tr("未选择航空器");
        return std::nullopt;
    }
    std::optional<double> number;
    switch (kind) {
    case Kind::Altitude:
        number = readAltitude(instruction.value);
        if (!number)
            *error = tr("高度应为 0 至 60000 英尺，或 FL 加飞行高度层");
        break;
    case Kind::Heading:
        number = readNumber(instruction.value, 0.0, 360.0);
        if (!number)
            *error = tr("航向应为 0 至 360 度");
        break;
    case Kind::Speed:
        if (instruction.value.startsWith(QLatin1Char('M'), Qt::CaseInsensitive) &&
            readNumber(instruction.value.mid(1), 0.1, 0.99)) {
            number = 0.0; // a Mach number stays text
        } else {
            number = readNumber(instruction.value, 0.0, 999.0);
            if (!number)
                *error = tr("速度应为 0 至 999 节，或 M 加马赫数");
        }
        break;
    case Kind::Frequency:
        number = readNumber(instruction.value, 118.0, 136.99);
        if (!number)
            *error = tr("频率应为 118.000 至 136.990 兆赫");
        break;
    case Kind::FreeText:
        if (instruction.value.isEmpty() || instruction.value.size() > kMaxTextLength)
            *error = tr("内容不能为空，最多 500 字");
        else
            number = 0.0;
        break;
    }
    if (!number)
        return std::nullopt;
    instruction.number = *number;
    return instruction;
}

AtcLog::AtcLog(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<AtcInstruction>();
}

void AtcLog::add(const AtcInstruction &instruction)
{
    m_entries.append(instruction);
    emit entryAdded(int(m_entries.size() - 1));
    if (instruction.kind == AtcInstruction::Kind::Altitude)
        emit assignedAltitudeChanged(instruction.aircraftId, instruction.number);
}

void AtcLog::clear()
{
    QStringList assigned;
    for (const AtcInstruction &entry : std::as_const(m_entries)) {
        if (entry.kind == AtcInstruction::Kind::Altitude && !assigned.contains(entry.aircraftId))
            assigned.append(entry.aircraftId);
    }
    m_entries.clear();
    emit cleared();
    for (const QString &id : std::as_const(assigned))
        emit assignedAltitudeRemoved(id);
}

std::optional<double> AtcLog::assignedAltitude(const QString &aircraftId) const
{
    for (auto it = m_entries.crbegin(); it != m_entries.crend(); ++it) {
        if (it->aircraftId == aircraftId && it->kind == AtcInstruction::Kind::Altitude)
            return it->number;
    }
    return std::nullopt;
}

QByteArray AtcLog::toCsv() const
{
    QStringList lines;
    lines << QStringList{AtcInstruction::tr("时间 (UTC)"), AtcInstruction::tr("航空器"), AtcInstruction::tr("类型"),
                         AtcInstruction::tr("指令"), AtcInstruction::tr("备注")}
                 .join(QLatin1Char(','));
    for (const AtcInstruction &entry : m_entries) {
        lines << QStringList{csvField(entry.timeUtc.toUTC().toString(Qt::ISODate)), csvField(entry.aircraftLabel),
                             csvField(AtcInstruction::kindText(entry.kind)), csvField(entry.value),
                             csvField(entry.note)}
                     .join(QLatin1Char(','));
    }
    return QByteArray("\xEF\xBB\xBF") + lines.join(QLatin1String("\r\n")).toUtf8() + "\r\n";
}

bool AtcLog::exportCsv(const QString &path, QString *error) const
{
    QSaveFile file(path);
    const QByteArray bytes = toCsv();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}
