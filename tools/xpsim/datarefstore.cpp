#include "tools/xpsim/datarefstore.h"

namespace {

constexpr int kMaxPathLength = 500;

bool isPathCharacter(QChar c)
{
    const ushort u = c.unicode();
    return u > 0x20 && u < 0x7f && c != QLatin1Char('[') && c != QLatin1Char(']');
}

} // namespace

std::optional<DatarefStore::Ref> DatarefStore::parse(const QString &path)
{
    if (path.isEmpty() || path.size() > kMaxPathLength)
        return std::nullopt;
    Ref ref;
    QStringView name(path);
    if (path.endsWith(QLatin1Char(']'))) {
        const qsizetype open = path.lastIndexOf(QLatin1Char('['));
        if (open <= 0)
            return std::nullopt;
        const QStringView digits = QStringView(path).mid(open + 1, path.size() - open - 2);
        if (digits.isEmpty() || digits.size() > 4)
            return std::nullopt;
        for (QChar c : digits) {
            if (!c.isDigit())
                return std::nullopt;
        }
        const int index = digits.toInt();
        if (index > kMaxIndex)
            return std::nullopt;
        ref.index = index;
        name = name.left(open);
    }
    for (QChar c : name) {
        if (!isPathCharacter(c))
            return std::nullopt;
    }
    ref.name = name.toString();
    return ref;
}

void DatarefStore::setElement(const QString &name, int index, double value)
{
    if (index < 0 || index > kMaxIndex)
        return;
    QVector<double> &values = m_values[name];
    if (values.size() <= index)
        values.resize(index + 1, 0.0);
    values[index] = value;
}

void DatarefStore::setArray(const QString &name, const double *values, int count)
{
    QVector<double> &stored = m_values[name];
    if (stored.size() < count)
        stored.resize(count, 0.0);
    for (int i = 0; i < count; ++i)
        stored[i] = values[i];
}

double DatarefStore::value(const Ref &ref) const
{
    const auto it = m_values.constFind(ref.name);
    if (it == m_values.constEnd() || ref.element() >= it->size())
        return 0.0;
    return it->at(ref.element());
}

bool DatarefStore::contains(const Ref &ref) const
{
    const auto it = m_values.constFind(ref.name);
    return it != m_values.constEnd() && ref.element() < it->size();
}

bool DatarefStore::write(const Ref &ref, double value)
{
    if (ref.element() > kMaxIndex)
        return false;
    if (!m_values.contains(ref.name) && m_values.size() >= kMaxNames)
        return false;
    setElement(ref.name, ref.element(), value);
    return true;
}
