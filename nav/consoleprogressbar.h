#pragma once

#include <QString>

#include <cstdio>

// The progress line of the command-line import programs (zobrel-navdb, zobrel --import-bgl):
// "[#####-----]  45% airports", redrawn in place on the output stream only when the bar or the
// stage changes. A stage that reaches 100 % keeps its line, so log lines that follow start on a
// line of their own. Single-threaded; feed it from one thread.
class ConsoleProgressBar
{
public:
    explicit ConsoleProgressBar(std::FILE *out = stdout) : m_out(out) {}

    void update(const QString &stage, int current, int total);
    // Ends an unfinished line.
    void finish();

private:
    static constexpr int kWidth = 30;

    std::FILE *m_out;
    QString m_stage;
    int m_filled = -1;
    bool m_ended = false;
};
