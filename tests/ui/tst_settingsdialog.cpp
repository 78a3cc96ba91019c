#include "sim/simbackendmanager.h"
#include "tests/support/logexpect.h"
#include "ui/language.h"
#include "ui/settingsdialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

class TestSettingsDialog : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }
    void showsFileValuesOrDefaults_data();
    void showsFileValuesOrDefaults();
    void saveWritesEveryKey();
    void cancelWritesNothing();

private:
    QTemporaryDir m_dir;
};

void TestSettingsDialog::showsFileValuesOrDefaults_data()
{
    QTest::addColumn<QVariantMap>("file");
    QTest::addColumn<bool>("autoConnect");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::addColumn<int>("bridgePort");
    QTest::addColumn<QString>("language");

    QTest::newRow("missing keys") << QVariantMap{} << true << "127.0.0.1" << 49000 << 48448 << "zh_CN";
    QTest::newRow("unknown language") << QVariantMap{{"language", "de_DE"}} << true << "127.0.0.1" << 49000 << 48448
                                      << "zh_CN";
}

void TestSettingsDialog::showsFileValuesOrDefaults()
{
    QFETCH(QVariantMap, file);
    QFETCH(bool, autoConnect);
    QFETCH(QString, host);
    QFETCH(int, port);
    QFETCH(int, bridgePort);
    QFETCH(QString, language);

    const QString path = m_dir.filePath(QStringLiteral("%1.ini").arg(QTest::currentDataTag()));
    {
        QSettings settings(path, QSettings::IniFormat);
        for (auto it = file.cbegin(); it != file.cend(); ++it)
            settings.setValue(it.key(), it.value());
    }
    SettingsDialog dialog(path);
    QCOMPARE(dialog.findChild<QCheckBox *>("autoConnect")->isChecked(), autoConnect);
    QCOMPARE(dialog.findChild<QLineEdit *>("xplaneHost")->text(), host);
    QCOMPARE(dialog.findChild<QSpinBox *>("xplanePort")->value(), port);
    QCOMPARE(dialog.findChild<QSpinBox *>("bridgePort")->value(), bridgePort);
    QCOMPARE(dialog.findChild<QComboBox *>("language")->currentData().toString(), language);
}

void TestSettingsDialog::saveWritesEveryKey()
{
    // Saving accepts the dialog, trims the host the user typed and makes the chosen language the
    // one the next start reads.
    const QString path = m_dir.filePath(QStringLiteral("save.ini"));
    SettingsDialog dialog(path);
    dialog.findChild<QLineEdit *>("xplaneHost")->setText(QStringLiteral(" 192.168.1.20 "));
    auto *language = dialog.findChild<QComboBox *>("language");
    language->setCurrentIndex(language->findData(QString::fromLatin1(kLanguageEnglish)));
    dialog.findChild<QPushButton *>("save")->click();

    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    const QSettings settings(path, QSettings::IniFormat);
    QCOMPARE(settings.value(SimBackendManager::kXPlaneHostKey).toString(), QStringLiteral("192.168.1.20"));
    QCOMPARE(readLanguage(path), QStringLiteral("en_US"));
}

void TestSettingsDialog::cancelWritesNothing()
{
    const QString path = m_dir.filePath(QStringLiteral("cancel.ini"));
    SettingsDialog dialog(path);
    dialog.findChild<QSpinBox *>("xplanePort")->setValue(49100);
    dialog.reject();
    QVERIFY(!QFile::exists(path));
}

QTEST_MAIN(TestSettingsDialog)
#include "tst_settingsdialog.moc"
