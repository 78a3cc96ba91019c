#pragma once

#include "app/log/applogger.h"

#include <QList>
#include <QWidget>

class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;

// The log tab: shows the application log's recent entries and appends new ones as they are
// logged, filtered by a minimum level chosen by the operator. Keeps its own copy of the entries
// (capped like the log itself) so that changing the filter can redraw without asking the log.
//
// Created by the main window on the GUI thread; entries logged on other threads arrive queued.
class LogView : public QWidget
{
    Q_OBJECT
public:
    explicit LogView(AppLogger &logger, QWidget *parent = nullptr);

    AppLogger::Level minimumLevel() const;
    void setMinimumLevel(AppLogger::Level level);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void onEntryAdded(const AppLogger::Entry &entry);
    void onClearClicked();
    void redraw();
    void appendLine(const AppLogger::Entry &entry);

    AppLogger &m_logger;
    QList<AppLogger::Entry> m_entries;
    QComboBox *m_levelFilter = nullptr;
    QPlainTextEdit *m_text = nullptr;
    QLabel *m_levelLabel = nullptr;
    QPushButton *m_clear = nullptr;
};
