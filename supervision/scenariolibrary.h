#pragma once

#include "supervision/scenario.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

// The scenario files of a folder: one JSON file per scenario, named after it. The list is read
// from the folder (a file that does not read is listed with its reason, not hidden); saving a
// scenario under a name that exists replaces that file.
//
// Created by the supervision wiring with the folder; GUI thread only.
class ScenarioLibrary : public QObject
{
    Q_OBJECT
public:
    struct Item
    {
        QString name; // the scenario's name, or the file name when it does not read
        QString path;
        QString error;
    };

    // Scenario files are small; a larger file is not read.
    static constexpr qint64 kMaxFileBytes = 1024 * 1024;

    explicit ScenarioLibrary(const QString &folder, QObject *parent = nullptr);

    QString folder() const { return m_folder; }
    const QList<Item> &items() const { return m_items; }
    void rescan();

    static std::optional<Scenario> load(const QString &path, QString *error);
    // Writes the scenario to "<folder>/<name>.json" (characters a file name cannot hold become
    // '_'); the path written on success.
    std::optional<QString> save(const Scenario &scenario, QString *error);
    bool remove(const QString &path);
    static QString fileNameFor(const QString &name);

signals:
    void changed();

private:
    QString m_folder;
    QList<Item> m_items;
};
