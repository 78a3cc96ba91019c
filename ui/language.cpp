#include "ui/language.h"

#include <QSettings>

QString readLanguage(const QString &settingsPath)
{
    const QSettings settings(settingsPath, QSettings::IniFormat);
    return settings.value(kLanguageKey, QString::fromLatin1(kLanguageChinese)).toString();
}

bool isEnglish(const QString &language)
{
    return language == QLatin1String(kLanguageEnglish);
}
