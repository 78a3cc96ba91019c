#pragma once

#include <QPointer>
#include <QWidget>

class FuelManager;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;

// The fuel and payload tab: each tank with a bar, its gallons and kilograms, the total; loading
// by percent, gallons or one tank; the built-in and the user's presets (saved by name); payload
// stations; fuel freeze. It calls the FuelManager and redraws from its signals.
//
// Created by the main window's control wiring, GUI thread only. The manager is borrowed. Texts
// switch language on QEvent::LanguageChange. Tanks the simulator reports with no capacity are
// not listed.
class FuelTab : public QWidget
{
    Q_OBJECT
public:
    explicit FuelTab(QWidget *parent = nullptr);

    void setFuelManager(FuelManager *manager);

    // The display name of a preset ("__full" -> "满油"); user presets keep their own names.
    static QString presetText(const QString &name);

protected:
    void changeEvent(QEvent *event) override;

private:
    QGroupBox *createTanks();
    QGroupBox *createLoading();
    QGroupBox *createPayload();
    void retranslateUi();
    void refreshTanks();
    void refreshPresets();
    void refreshPayload();
    int selectedTank() const;

    QPointer<FuelManager> m_manager;
    QList<int> m_tankRows; // manager tank index of each table row

    QGroupBox *m_tankBox = nullptr;
    QTableWidget *m_tanks = nullptr;
    QLabel *m_total = nullptr;

    QGroupBox *m_loadBox = nullptr;
    QLabel *m_percentLabel = nullptr;
    QSpinBox *m_percent = nullptr;
    QPushButton *m_loadPercent = nullptr;
    QPushButton *m_loadTank = nullptr;
    QLabel *m_gallonsLabel = nullptr;
    QDoubleSpinBox *m_gallons = nullptr;
    QPushButton *m_loadGallons = nullptr;
    QPushButton *m_drain = nullptr;
    QLabel *m_presetLabel = nullptr;
    QComboBox *m_preset = nullptr;
    QPushButton *m_applyPreset = nullptr;
    QLineEdit *m_presetName = nullptr;
    QPushButton *m_savePreset = nullptr;
    QPushButton *m_deletePreset = nullptr;
    QCheckBox *m_freeze = nullptr;

    QGroupBox *m_payloadBox = nullptr;
    QTableWidget *m_stations = nullptr;
    QLabel *m_payloadTotalLabel = nullptr;
    QDoubleSpinBox *m_payloadTotal = nullptr;
    QPushButton *m_loadPayload = nullptr;
    QLabel *m_payloadSum = nullptr;
};
