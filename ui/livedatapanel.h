#pragma once

#include "sim/aircraftdata.h"

#include <QList>
#include <QString>
#include <QWidget>

#include <functional>

class QGroupBox;
class QLabel;
class QVBoxLayout;

// Live view of the user aircraft's state: one group box per part of AircraftData (position,
// speeds, attitude, engines with one column per engine, controls, radios, autopilot, fuel and
// weights, environment, other), every member with the one unit AircraftData gives it, whatever
// the simulator (the backends convert).
//
// Created by the main window as a tab page; GUI thread only. A sample that arrives while the
// panel is hidden is only remembered and shown when the panel becomes visible. Value labels have
// fixed widths and are only touched when their text changes, so a sample never relayouts.
// Each value label's objectName is the member it shows ("lat", "engN1_0", "nav1s", ...).
class LiveDataPanel : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kEngineColumns = 4;

    explicit LiveDataPanel(QWidget *parent = nullptr);

public slots:
    void setAircraftData(const AircraftData &data);

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    using Formatter = std::function<QString(const AircraftData &)>;
    struct Value
    {
        QString name;   // objectName of the label, the member's name
        QString widest; // the widest text the label must fit
        Formatter format;
    };
    struct Field
    {
        QLabel *label;
        Formatter format;
    };

    // Titles and captions are source texts (QT_TR_NOOP); retranslateUi() sets them.
    QGroupBox *addGroup(QVBoxLayout *column, const char *title);
    QList<QLabel *> addRow(QGroupBox *group, const char *caption, const QList<Value> &values);
    QLabel *addCaption(const char *caption);
    QLabel *createValueLabel(const Value &value);

    void buildPosition(QGroupBox *group);
    void buildSpeeds(QGroupBox *group);
    void buildAttitude(QGroupBox *group);
    void buildEngines(QGroupBox *group);
    void buildControls(QGroupBox *group);
    void buildRadios(QGroupBox *group);
    void buildAutopilot(QGroupBox *group);
    void buildFuelAndWeights(QGroupBox *group);
    void buildEnvironment(QGroupBox *group);
    void buildOther(QGroupBox *group);

    void retranslateUi();
    void render();
    void enableEngineColumns(int engineCount);

    QList<Field> m_fields;
    QList<QPair<QGroupBox *, const char *>> m_groupTitles;
    QList<QPair<QLabel *, const char *>> m_captions;
    QLabel *m_engineHeaders[kEngineColumns] = {};
    QList<QWidget *> m_engineColumns[kEngineColumns];
    AircraftData m_data;
    bool m_dirty = false;
    int m_enabledEngines = -1;
    QString m_on, m_off, m_yes, m_no;
};
