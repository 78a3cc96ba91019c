#pragma once

// The parse side of the X-Plane text imports: a helper thread reads the file, parses its rows and
// hands them to the writing thread in batches. Internal to the X-Plane importers.

#include "nav/batchqueue.h"
#include "nav/textinput.h"

#include <QString>

#include <vector>

namespace navimport {

constexpr int kRowsPerBatch = 2048;

template <typename Row> struct RowBatch
{
    std::vector<Row> rows;
    int skipped = 0;
    qint64 position = 0;
};

inline QString skippedSuffix(int skipped)
{
    return skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString();
}

// Reads an X-Plane text file on the calling (helper) thread and pushes parsed rows in batches;
// check learns what the file showed (read it once the pipeline has ended).
template <typename Row>
void produceRows(XPlaneTextReader &reader, BatchQueue<RowBatch<Row>> &queue, bool (*parse)(QByteArrayView, Row *),
                 InputCheck *check)
{
    RowBatch<Row> batch;
    batch.rows.reserve(kRowsPerBatch);
    QByteArrayView line;
    bool overlong = false;
    Row row;
    while (reader.next(&line, &overlong)) {
        const bool usable = !overlong && parse(line, &row);
        check->note(reader.lineNumber(), usable, reader.lineComplete());
        if (!usable) {
            ++batch.skipped;
            continue;
        }
        batch.rows.push_back(std::move(row));
        row = Row();
        if (int(batch.rows.size()) == kRowsPerBatch) {
            batch.position = reader.position();
            if (!queue.push(std::move(batch)))
                return;
            batch = RowBatch<Row>();
            batch.rows.reserve(kRowsPerBatch);
        }
    }
    check->noteFrame(reader);
    batch.position = reader.position();
    queue.push(std::move(batch));
}

} // namespace navimport
