// Reads the sensor files of a recorded run back into sensor events, for the
// replay of a run through the sensor path ("motion-emulate").
//
// Each file lies in the log directory as <stem>.csv. Its first two lines
// (label and column header) are not data. A sensor line has six fields:
// time, two unread fields, three values. A modem line has eleven: time in
// field 0, field 6 and field 5 as integers, and only lines whose field 7 is
// 1 count.
#pragma once

#include <string>
#include <vector>

#include "platform/api/sensor_event.h"

class LogSink;
class VyrHal;

// One replay file: its stem and the sensor type of its events.
struct EmulateFile {
    const char *stem;
    int type;
};

// The files of a replay, in the order they are read.
extern const EmulateFile kEmulateFiles[7];

class FileToEvent {
public:
    static constexpr size_t kSensorFields = 6;
    static constexpr size_t kModemFields = 11;

    explicit FileToEvent(VyrHal &hal);
    ~FileToEvent();

    FileToEvent(const FileToEvent &) = delete;
    FileToEvent &operator=(const FileToEvent &) = delete;

    // Appends the events of "<log dir>/<stem>.csv" to events. False when the
    // file cannot be read; a malformed line ends the file, keeping what came
    // before it.
    bool GetEvents(std::string stem, int type, std::vector<ASensorEvent> &events);

private:
    VyrHal &mHal;
    LogSink &mLog;
};
