#include "nav/consoleprogressbar.h"

#include <QByteArray>
#include <QtGlobal>

void ConsoleProgressBar::update(const QString &stage, int current, int total)
{
    const int percent = total > 0 ? qBound(0, int(qint64(current) * 100 / total), 100) : 0;
    const int filled = percent * kWidth / 100;
    if (stage == m_stage && (filled == m_filled || m_ended))
        return;
    if (stage != m_stage)
        finish();
    m_stage = stage;
    m_filled = filled;
    std::fprintf(m_out, "\r[%s%s] %3d%% %s", QByteArray(filled, '#').constData(),
                 QByteArray(kWidth - filled, '-').constData(), percent, stage.toUtf8().constData());
    if (percent >= 100) {
        std::fputs("\n", m_out);
        m_ended = true;
    }
    std::fflush(m_out);
}

void ConsoleProgressBar::finish()
{
    if (!m_stage.isEmpty() && !m_ended)
        std::fputs("\n", m_out);
    m_stage.clear();
    m_filled = -1;
    m_ended = false;
}
