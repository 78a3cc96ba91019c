#pragma once

#include <QHash>
#include <QList>
#include <QString>

// The distinct texts of a loaded navigation data set, each kept once and named by a 32-bit id.
// Records held in bulk (millions of procedure legs) store ids instead of QStrings: no allocation
// and no reference count per text, and a tenth of the memory. Id 0 is the empty text.
// Not thread-safe; filled while loading and only read afterwards.
class NavTextTable
{
public:
    static constexpr quint32 kMissing = 0xFFFFFFFFu;

    NavTextTable() { m_texts.append(QString()); }

    // The id of text, added when it is new.
    quint32 add(const QString &text)
    {
        if (text.isEmpty())
            return 0;
        const auto it = m_ids.constFind(text);
        if (it != m_ids.cend())
            return it.value();
        const quint32 id = quint32(m_texts.size());
        m_texts.append(text);
        m_ids.insert(text, id);
        return id;
    }
    // The id of text, or kMissing when the table does not hold it.
    quint32 find(const QString &text) const
    {
        if (text.isEmpty())
            return 0;
        return m_ids.value(text, kMissing);
    }
    const QString &text(quint32 id) const { return m_texts.at(qsizetype(id)); }
    qsizetype size() const { return m_texts.size(); }

private:
    QList<QString> m_texts;
    QHash<QString, quint32> m_ids;
};
