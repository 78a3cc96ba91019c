#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// The access tokens a service accepts, read from a file with one token per line; "#" starts a
// comment, blank lines and surrounding blanks are ignored. Tokens are kept as digests and a
// presented token is compared with every one of them in full, so neither the position of the
// first differing byte nor which token matched shows in the time taken.
class TokenList
{
public:
    bool load(const QString &path, QString *error);
    void add(const QByteArray &token);
    bool isEmpty() const { return m_digests.isEmpty(); }
    bool accepts(const QByteArray &presented) const;

private:
    QList<QByteArray> m_digests;
};
