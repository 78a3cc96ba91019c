#pragma once

#include <QList>
#include <QPair>
#include <QPointer>
#include <QWidget>

class AtcLog;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

// Records the instructor's clearances into the ATC log and shows it: aircraft, kind (altitude,
// heading, speed, frequency, other), value and a note; an entry that does not read is refused
// with the reason. The log is exported as CSV.
//
// Created by the supervision wiring; GUI thread only. The log is borrowed.
class AtcLogPanel : public QWidget
{
    Q_OBJECT
public:
    explicit AtcLogPanel(AtcLog *log, QWidget *parent = nullptr);

    // The aircraft to choose from, as (id, label); the own aircraft ("own") is always first.
    void setAircraftChoices(const QList<QPair<QString, QString>> &choices);
    // Records what the form holds; false (with the reason shown) when it does not read.
    bool record();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void refresh();
    void exportCsv();

    QPointer<AtcLog> m_log;
    QList<QPair<QString, QString>> m_choices;
    QLabel *m_aircraftLabel = nullptr;
    QComboBox *m_aircraft = nullptr;
    QComboBox *m_kind = nullptr;
    QLineEdit *m_value = nullptr;
    QLineEdit *m_note = nullptr;
    QPushButton *m_record = nullptr;
    QPushButton *m_export = nullptr;
    QPushButton *m_clear = nullptr;
    QLabel *m_error = nullptr;
    QTreeWidget *m_table = nullptr;
};
