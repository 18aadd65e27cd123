// The text forms of a frame in the log files: for each frame type the label
// and column header at the top of its file, and the records of one frame.
// The replay reader (FileToEvent) reads the sensor files back, so the
// layouts here are a contract with it.
#pragma once

#include <cstdint>
#include <string>

class VyrFrameData;

// How the records of a frame type are laid out.
enum class CsvRecordKind {
    None,      // nothing is written (the log text has its own road)
    Values3,   // arrival, timestamp, 3, data[0..2]
    Values6,   // arrival, timestamp, 3, data[0..5]
    Values16,  // arrival, timestamp, 3, data[0..15]
    Modem,     // arrival, cell id, radio type, signal level, timestamp
    ArResult,  // seconds, index, clock, status, steps, 16 scores and features
    Touch,     // timestamp, id, 8 floats, kind, down, up
    PenEvent,  // the frame's event records
    Blob,      // the frame's blob records, all on one line
    FsData,    // the palmetry raw log records
    FsResult,  // the palmetry result records (header from the first record)
};

struct FrameCsvFormat {
    uint32_t type;
    // Column list under the label; null or empty: the file has no header.
    const char *columns;
    CsvRecordKind kind;
};

// The format of a frame type; null for a type that is not logged.
const FrameCsvFormat *FindFrameCsvFormat(uint32_t type);

// Column lists by their letter.
extern const char *const kCsvColumnsAcc;
extern const char *const kCsvColumnsGyro;
extern const char *const kCsvColumnsProximity;
extern const char *const kCsvColumnsMag;
extern const char *const kCsvColumnsValue;
extern const char *const kCsvColumnsModem;
extern const char *const kCsvColumnsArResult;
extern const char *const kCsvColumnsHinge;

// Label line and column line of the type, or the first record's result
// fields for the palmetry result; empty when the type has no header. The
// caller holds the frame's data (LockData) while these run.
std::string FrameCsvHeader(VyrFrameData &data, uint32_t type);
// The records of the type in this frame; empty for an unknown type or when
// the frame holds none. A sensor type without a list gets an empty one.
std::string FrameCsvRecords(VyrFrameData &data, uint32_t type);
