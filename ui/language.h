#pragma once

#include <QString>

// The interface language: its key in Zobrel.ini and the two languages the station ships.
// Start-up reads it; the settings dialog writes it and the main window switches the translators at once.
constexpr char kLanguageKey[] = "language";
constexpr char kLanguageChinese[] = "zh_CN";
constexpr char kLanguageEnglish[] = "en_US";

// The configured language code, "zh_CN" when the key is missing. Any value other than "en_US"
// means the Chinese interface.
QString readLanguage(const QString &settingsPath);
bool isEnglish(const QString &language);
