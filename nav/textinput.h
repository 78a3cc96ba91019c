#pragma once

// Reading the builder's text inputs: files line by line in large blocks, the X-Plane file frame
// (header, rows, closing "99"), and splitting and converting fields without locale surprises.
// Internal to the nav library's importers.

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QString>

#include <initializer_list>

namespace navimport {

// Reads a text file in large blocks and hands out its lines without their end (LF or CRLF); a
// UTF-8 byte-order mark at the start is dropped. A line longer than kMaxLineBytes is returned cut
// with overlong set, and the caller counts it as malformed.
class LineReader
{
public:
    static constexpr int kMaxLineBytes = 64 * 1024;

    // False with errorText() set when the file cannot be opened.
    bool open(const QString &path);
    bool next(QByteArrayView *line, bool *overlong = nullptr);

    qint64 position() const { return m_consumed; }
    qint64 size() const { return m_size; }
    // 1-based number of the line next() returned last (0 before the first).
    int lineNumber() const { return m_line; }
    // Whether that line ended with a line end; the last line of a file cut short does not.
    bool lineComplete() const { return m_lineComplete; }
    // True when the device reported a read error before the end.
    bool failed() const { return m_failed; }
    QString errorText() const { return m_file.errorString(); }

private:
    bool fill();

    QFile m_file;
    QByteArray m_buffer;
    qsizetype m_begin = 0;
    qint64 m_consumed = 0;
    qint64 m_size = 0;
    bool m_eof = false;
    bool m_failed = false;
    bool m_first = true;
    int m_line = 0;
    bool m_lineComplete = true;
};

// The X-Plane text layout around LineReader: an optional "I"/"A" line and version line at the
// top, blank lines anywhere, and "99" closing the data (anything after it is ignored).
class XPlaneTextReader
{
public:
    bool open(const QString &path) { return m_lines.open(path); }
    QString errorText() const { return m_lines.errorText(); }

    // The next data row; false at "99" or at the end of the file.
    bool next(QByteArrayView *row, bool *overlong);

    // The number that starts the version line, 0 when the file has no header.
    int version() const { return m_version; }
    // Whether the file starts with X-Plane's "I"/"A" line: it then also has to end with "99".
    bool presentsHeader() const { return m_sawOrigin; }
    bool sawEndMarker() const { return m_sawEnd; }
    int lineNumber() const { return m_lines.lineNumber(); }
    bool lineComplete() const { return m_lines.lineComplete(); }
    bool readFailed() const { return m_lines.failed(); }
    qint64 position() const { return m_lines.position(); }
    qint64 size() const { return m_lines.size(); }

    // Logs what is unusual about the header and the end: no header, a version outside accepted,
    // no "99". operation prefixes the lines.
    void logHeaderNotes(const QString &operation, const QString &path, std::initializer_list<int> accepted) const;

private:
    LineReader m_lines;
    int m_version = 0;
    int m_headerState = 0; // 0 nothing read, 1 after the "I"/"A" line, 2 in the rows
    bool m_sawOrigin = false;
    bool m_sawEnd = false;
};

// What reading one input file showed about it, and whether it may replace what a table holds.
// An importer notes every data line as it parses it; problem() then says why the file is unusable:
// it has no usable row, it presents X-Plane's header but lacks the closing "99", or its last line
// breaks off unreadable without a line end (a file cut short). A file that passes imports as it
// always did, malformed lines skipped and counted.
struct InputCheck
{
    int usableRows = 0;
    int firstBadLine = 0; // 0: every line was usable
    int lastLine = 0;
    bool lastLineBad = false;
    bool lastLineComplete = true;
    bool needsEndMarker = false;
    bool sawEndMarker = false;

    void note(int line, bool usable, bool complete)
    {
        lastLine = line;
        lastLineBad = !usable;
        lastLineComplete = complete;
        if (usable)
            ++usableRows;
        else if (firstBadLine == 0)
            firstBadLine = line;
    }
    // Takes the frame an X-Plane file showed (header, closing "99").
    void noteFrame(const XPlaneTextReader &reader)
    {
        needsEndMarker = reader.presentsHeader();
        sawEndMarker = reader.sawEndMarker();
    }
    // Empty when the file may be used; else one line naming the file and the line that shows why.
    QString problem(const QString &file) const;
};

QByteArrayView trimmed(QByteArrayView text);

// Splits at runs of blanks and tabs; fills at most maxFields and returns how many it filled.
int splitBlanks(QByteArrayView line, QByteArrayView *fields, int maxFields);
// Splits at every separator (empty fields kept) and trims each field; returns the count, or
// maxFields + 1 when the line has more fields than that.
int splitAt(QByteArrayView line, char separator, QByteArrayView *fields, int maxFields);
// The rest of line from the start of field (a view into line) to the end, trimmed.
QByteArrayView restOfLine(QByteArrayView line, QByteArrayView field);

// Whole-field conversions in the C locale; a leading '+' is accepted.
bool toDouble(QByteArrayView field, double *value);
bool toInt(QByteArrayView field, int *value);
// Latitude within +-90 and longitude within +-180 degrees.
bool validLatLon(double lat, double lon);

inline QString latin1(QByteArrayView field)
{
    return QString::fromLatin1(field.data(), field.size());
}
inline QString utf8(QByteArrayView field)
{
    return QString::fromUtf8(field.data(), field.size());
}
inline bool equals(QByteArrayView field, const char *text)
{
    return field == QByteArrayView(text);
}

} // namespace navimport
