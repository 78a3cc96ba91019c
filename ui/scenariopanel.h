#pragma once

#include "supervision/scenario.h"

#include <QList>
#include <QPair>
#include <QPointer>
#include <QWidget>

class QComboBox;
class QLabel;
class QListWidget;
class QPushButton;
class ScenarioLibrary;

// The scenario list: the scenarios of the library's folder with what each holds, applied in one
// step to the chosen aircraft (the own one or an agent), saved from the present situation, or
// deleted. It only asks: the owner applies and saves, and reports back with showResult.
//
// Created by the supervision wiring; GUI thread only. The library is borrowed.
class ScenarioPanel : public QWidget
{
    Q_OBJECT
public:
    explicit ScenarioPanel(ScenarioLibrary *library, QWidget *parent = nullptr);

    // The targets besides the own aircraft ("own"), as (id, label).
    void setTargets(const QList<QPair<QString, QString>> &targets);
    void showResult(const QString &text);
    // Selects the scenario with this name; false when there is none.
    bool select(const QString &name);
    QString selectedPath() const;

signals:
    void applyRequested(const Scenario &scenario, const QString &targetId);
    void saveCurrentRequested(const QString &name);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void refresh();
    void showDetails();
    void onApply();
    void onSaveCurrent();
    void onDelete();
    static QString describe(const Scenario &scenario);

    QPointer<ScenarioLibrary> m_library;
    QList<QPair<QString, QString>> m_targets;
    QListWidget *m_list = nullptr;
    QLabel *m_details = nullptr;
    QLabel *m_targetLabel = nullptr;
    QComboBox *m_target = nullptr;
    QPushButton *m_apply = nullptr;
    QPushButton *m_save = nullptr;
    QPushButton *m_delete = nullptr;
    QPushButton *m_rescan = nullptr;
    QLabel *m_result = nullptr;
};
