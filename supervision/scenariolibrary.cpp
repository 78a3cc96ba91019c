#include "supervision/scenariolibrary.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>

ScenarioLibrary::ScenarioLibrary(const QString &folder, QObject *parent) : QObject(parent), m_folder(folder)
{
    rescan();
}

void ScenarioLibrary::rescan()
{
    m_items.clear();
    const QDir dir(m_folder);
    for (const QFileInfo &info : dir.entryInfoList({QStringLiteral("*.json")}, QDir::Files, QDir::Name)) {
        QString error;
        const auto scenario = load(info.filePath(), &error);
        m_items.append({scenario ? scenario->name : info.completeBaseName(), info.filePath(), error});
    }
    std::sort(m_items.begin(), m_items.end(),
              [](const Item &a, const Item &b) { return a.name.localeAwareCompare(b.name) < 0; });
    emit changed();
}

std::optional<Scenario> ScenarioLibrary::load(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return std::nullopt;
    }
    if (file.size() > kMaxFileBytes) {
        *error = QStringLiteral("larger than %1 kB").arg(kMaxFileBytes / 1024);
        return std::nullopt;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        *error = QStringLiteral("not JSON (%1 at byte %2)").arg(parseError.errorString()).arg(parseError.offset);
        return std::nullopt;
    }
    return Scenario::fromJson(document.object(), error);
}

QString ScenarioLibrary::fileNameFor(const QString &name)
{
    static const QRegularExpression unsafe(QStringLiteral("[\\\\/:*?\"<>|\\x00-\\x1f]"));
    QString base = name.trimmed();
    base.replace(unsafe, QStringLiteral("_"));
    while (base.startsWith(QLatin1Char('.')))
        base.remove(0, 1);
    if (base.isEmpty())
        base = QStringLiteral("scenario");
    return base.left(100) + QStringLiteral(".json");
}

std::optional<QString> ScenarioLibrary::save(const Scenario &scenario, QString *error)
{
    if (scenario.name.trimmed().isEmpty()) {
        *error = QStringLiteral("the scenario has no name");
        return std::nullopt;
    }
    if (!QDir().mkpath(m_folder)) {
        *error = QStringLiteral("cannot create %1").arg(m_folder);
        return std::nullopt;
    }
    const QString path = QDir(m_folder).filePath(fileNameFor(scenario.name));
    QSaveFile file(path);
    const QByteArray bytes = QJsonDocument(scenario.toJson()).toJson(QJsonDocument::Indented);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        *error = file.errorString();
        return std::nullopt;
    }
    rescan();
    return path;
}

bool ScenarioLibrary::remove(const QString &path)
{
    if (QFileInfo(path).absolutePath() != QFileInfo(m_folder).absoluteFilePath() || !QFile::remove(path))
        return false;
    rescan();
    return true;
}
