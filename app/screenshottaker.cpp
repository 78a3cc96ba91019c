#include "app/screenshottaker.h"

#include "app/log/applogger.h"
#include "sim/simbackendmanager.h"
#include "sim/simdetector.h"

#include <QDir>
#include <QPixmap>
#include <QTabWidget>
#include <QWidget>

namespace {

void logLine(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("Main"), message);
}

} // namespace

ScreenshotTaker::ScreenshotTaker(QWidget *window, QTabWidget *tabs, const QString &outputDir, QObject *parent)
    : QObject(parent), m_window(window), m_tabs(tabs), m_outputDir(outputDir)
{
    m_sampleTimeout.setSingleShot(true);
    m_sampleTimeout.setInterval(kSampleWaitMs);
    connect(&m_sampleTimeout, &QTimer::timeout, this, &ScreenshotTaker::onSampleTimeout);
}

void ScreenshotTaker::addDialog(const QString &name, const std::function<QWidget *()> &open)
{
    m_dialogs.append({name, open});
}

void ScreenshotTaker::start(SimBackendManager *manager, bool autoConnect)
{
    const bool simulatorRunning = autoConnect && !manager->detector()->detect().isEmpty();
    if (!simulatorRunning) {
        logLine(AppLogger::Info, QStringLiteral("Screenshots: no simulator to wait for"));
        // Let the events the start-up posted (layouts, first paints) run before capturing.
        QTimer::singleShot(0, this, &ScreenshotTaker::beginCapture);
        return;
    }
    logLine(AppLogger::Info, QStringLiteral("Screenshots: waiting up to %1 ms for aircraft data").arg(kSampleWaitMs));
    m_sampleConnection =
        connect(manager, &SimBackendManager::aircraftDataChanged, this, &ScreenshotTaker::onFirstSample);
    m_sampleTimeout.start();
}

void ScreenshotTaker::onFirstSample()
{
    disconnect(m_sampleConnection);
    m_sampleTimeout.stop();
    // One datagram rarely carries every value: let a second of samples fill the panels first.
    QTimer::singleShot(kSettleMs, this, &ScreenshotTaker::beginCapture);
}

void ScreenshotTaker::onSampleTimeout()
{
    disconnect(m_sampleConnection);
    logLine(AppLogger::Warning,
            QStringLiteral("Screenshots: no aircraft data within %1 ms, capturing anyway").arg(kSampleWaitMs));
    beginCapture();
}

void ScreenshotTaker::beginCapture()
{
    if (m_capturing)
        return;
    m_capturing = true;
    if (!QDir().mkpath(m_outputDir)) {
        logLine(AppLogger::Error, QStringLiteral("Screenshots: cannot create folder %1").arg(m_outputDir));
        emit finished(false);
        return;
    }
    showTab(0);
}

void ScreenshotTaker::showTab(int index)
{
    if (index >= m_tabs->count()) {
        logLine(AppLogger::Info, QStringLiteral("Screenshots: %1 tabs done in %2")
                                     .arg(m_tabs->count())
                                     .arg(QDir::toNativeSeparators(m_outputDir)));
        showDialog(0);
        return;
    }
    m_tabs->setCurrentIndex(index);
    // One turn of the event loop lets the newly shown page lay itself out before it is grabbed.
    QTimer::singleShot(0, this, [this, index] { grabTab(index); });
}

void ScreenshotTaker::grabTab(int index)
{
    // Two digits, so a folder listing shows the tabs in their order.
    const QString name =
        QStringLiteral("%1-%2.png").arg(index, 2, 10, QLatin1Char('0')).arg(m_tabs->widget(index)->objectName());
    save(m_window, QDir(m_outputDir).filePath(name));
    showTab(index + 1);
}

void ScreenshotTaker::showDialog(int index)
{
    if (index >= m_dialogs.size()) {
        emit finished(m_ok);
        return;
    }
    QWidget *dialog = m_dialogs.at(index).second();
    const QString folder = QDir(m_outputDir).filePath(QStringLiteral("dialogs"));
    QDir().mkpath(folder);
    const QString path = QDir(folder).filePath(m_dialogs.at(index).first + QStringLiteral(".png"));
    // As for the tabs: one turn of the event loop to lay it out.
    QTimer::singleShot(0, this, [this, index, dialog, path] {
        save(dialog, path);
        dialog->close();
        showDialog(index + 1);
    });
}

void ScreenshotTaker::save(QWidget *widget, const QString &path)
{
    if (widget->grab().save(path, "PNG")) {
        logLine(AppLogger::Info, QStringLiteral("Screenshot written: %1").arg(QDir::toNativeSeparators(path)));
    } else {
        m_ok = false;
        logLine(AppLogger::Error,
                QStringLiteral("Screenshot could not be written: %1").arg(QDir::toNativeSeparators(path)));
    }
}
