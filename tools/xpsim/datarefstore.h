#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

// Current value of every dataref the demo simulator answers for: those the flight model publishes
// each tick and those a client wrote with DREF. Arrays are addressed element by element with an
// "[n]" suffix, as X-Plane does over UDP; a path without a suffix means element 0.
//
// Plain value type owned by the simulator session; single-threaded. Values are kept as doubles
// and narrowed to float32 only on the wire. Unknown datarefs read as 0.0.
class DatarefStore
{
public:
    // A parsed dataref path: the name and the element index (-1 when the path has no suffix).
    struct Ref
    {
        QString name;
        int index = -1;
        int element() const { return index < 0 ? 0 : index; }
    };

    // Array elements above this are refused, so a client cannot make the store grow without bound.
    static constexpr int kMaxIndex = 4095;
    // Distinct names a client may create by writing unknown datarefs.
    static constexpr int kMaxNames = 8192;

    // Splits "a/b/c[3]" into name and index. Refuses empty names, characters outside printable
    // ASCII, spaces, a malformed or too large suffix and paths longer than 500 characters.
    static std::optional<Ref> parse(const QString &path);

    void set(const QString &name, double value) { setElement(name, 0, value); }
    void setElement(const QString &name, int index, double value);
    void setArray(const QString &name, const double *values, int count);

    // 0.0 for unknown names and for elements beyond the stored array.
    double value(const Ref &ref) const;
    bool contains(const Ref &ref) const;

    // A client write: like setElement, but refused (false) once kMaxNames names exist and the
    // name is new, or when the index is out of range.
    bool write(const Ref &ref, double value);

    int nameCount() const { return int(m_values.size()); }
    QStringList names() const { return m_values.keys(); }
    // Number of elements stored under name (0 when unknown).
    int size(const QString &name) const { return int(m_values.value(name).size()); }

private:
    QHash<QString, QVector<double>> m_values;
};
