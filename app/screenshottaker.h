#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

class QTabWidget;
class QWidget;
class SimBackendManager;

// The --screenshot mode: once the start-up has run its course, shows each tab in turn and writes
// a picture of the whole window to <outputDir>/<index>-<tab objectName>.png, then opens each
// dialog added with addDialog() and writes <outputDir>/dialogs/<name>.png, then reports
// finished(ok). When auto-connect is on and a simulator is running it first waits for the first
// aircraft sample, at most kSampleWaitMs, so the pictures show live data.
//
// Created by the start-up code after the window is shown; GUI thread only. Does not own the
// window or the manager.
class ScreenshotTaker : public QObject
{
    Q_OBJECT
public:
    static constexpr int kSampleWaitMs = 10000;
    // After the first sample, the time given to the rest of the values to arrive.
    static constexpr int kSettleMs = 1000;

    ScreenshotTaker(QWidget *window, QTabWidget *tabs, const QString &outputDir, QObject *parent = nullptr);

    // open shows the dialog and returns it; it is closed again after the picture.
    void addDialog(const QString &name, const std::function<QWidget *()> &open);

    void start(SimBackendManager *manager, bool autoConnect);

signals:
    void finished(bool ok);

private:
    void onFirstSample();
    void onSampleTimeout();
    void beginCapture();
    void showTab(int index);
    void grabTab(int index);
    void showDialog(int index);
    void save(QWidget *widget, const QString &path);

    QWidget *m_window;
    QTabWidget *m_tabs;
    QString m_outputDir;
    QTimer m_sampleTimeout;
    QMetaObject::Connection m_sampleConnection;
    QList<QPair<QString, std::function<QWidget *()>>> m_dialogs;
    bool m_capturing = false;
    bool m_ok = true;
};
