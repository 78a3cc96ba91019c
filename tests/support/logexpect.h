#pragma once

#include "app/log/applogger.h"

#include <QObject>
#include <QRegularExpression>
#include <QString>
#include <QTest>

// Makes an application-log warning or error that a test did not announce fail that test, the way
// QTest::failOnWarning(".*") does for Qt warnings: each such entry is re-issued as the Qt warning
// "[log] <category>: <message>". Call failOnLoggedProblems() once (initTestCase or init) beside
// QTest::failOnWarning; a test that expects a logged problem announces it with expectLogged().
namespace testlog {

inline void failOnLoggedProblems()
{
    static QMetaObject::Connection connection;
    if (connection)
        return;
    connection = QObject::connect(&AppLogger::instance(), &AppLogger::entryAdded, [](const AppLogger::Entry &entry) {
        if (entry.level >= AppLogger::Warning)
            qWarning().noquote() << QStringLiteral("[log] %1: %2").arg(entry.category, entry.message);
    });
}

// The next warning or error logged in category whose message matches messagePattern (a regular
// expression, searched anywhere in the message) is expected and does not fail the test.
inline void expectLogged(const QString &category, const QString &messagePattern)
{
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("^\\[log\\] ") + QRegularExpression::escape(category) +
                                            QStringLiteral(": .*") + messagePattern));
}

} // namespace testlog
