#pragma once

#include <QHash>
#include <QPointer>
#include <QWidget>

class FailureManager;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QTreeWidget;
class QTreeWidgetItem;

// The failures tab: the catalogue by category with each failure's state and time since it
// failed ("正常" or "%1m %2s"), a mark on failures the connected simulator has nothing to write
// for, presets, random failures with their mean time between failures, condition triggers and
// the history. Everything goes through the FailureManager; the tab redraws from its signals.
//
// Created by the main window's control wiring, GUI thread only. The manager is borrowed. Texts
// switch language on QEvent::LanguageChange.
class FailuresTab : public QWidget
{
    Q_OBJECT
public:
    explicit FailuresTab(QWidget *parent = nullptr);

    void setFailureManager(FailureManager *manager);
    // The connected simulator changed: the availability marks are recomputed.
    void refreshAvailability();

    // "正常" for 0 seconds in state normal, else "%1m %2s".
    static QString elapsedText(int state, int elapsedSeconds);

protected:
    void changeEvent(QEvent *event) override;

private:
    QGroupBox *createCatalogue();
    QGroupBox *createPresets();
    QGroupBox *createTriggers();
    QGroupBox *createHistory();
    void retranslateUi();
    void rebuildCatalogue();
    void refreshStates();
    void refreshTriggers();
    void refreshHistory();
    void fillPresetAndFailureBoxes();
    QString selectedFailure() const;

    QPointer<FailureManager> m_manager;
    QHash<QString, QTreeWidgetItem *> m_items;

    QGroupBox *m_catalogueBox = nullptr;
    QTreeWidget *m_tree = nullptr;
    QPushButton *m_trigger = nullptr;
    QPushButton *m_reset = nullptr;
    QPushButton *m_resetAll = nullptr;
    QLabel *m_active = nullptr;

    QGroupBox *m_presetBox = nullptr;
    QComboBox *m_preset = nullptr;
    QPushButton *m_loadPreset = nullptr;
    QCheckBox *m_random = nullptr;
    QLabel *m_mtbfLabel = nullptr;
    QSpinBox *m_mtbf = nullptr;

    QGroupBox *m_triggerBox = nullptr;
    QComboBox *m_triggerFailure = nullptr;
    QComboBox *m_parameter = nullptr;
    QComboBox *m_comparison = nullptr;
    QDoubleSpinBox *m_threshold = nullptr;
    QPushButton *m_addTrigger = nullptr;
    QPushButton *m_clearTriggers = nullptr;
    QTableWidget *m_triggers = nullptr;

    QGroupBox *m_historyBox = nullptr;
    QTableWidget *m_history = nullptr;
    QPushButton *m_clearHistory = nullptr;
};
