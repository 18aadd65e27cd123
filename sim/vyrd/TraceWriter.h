// Chrome trace-event file writer behind the trace hooks that vyrd gives the
// library. The file is the JSON array form: "B"/"E" duration events with
// microsecond time stamps, plus thread-name metadata, so a run opens in
// Perfetto or chrome://tracing.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace vyrd {

class TraceWriter {
public:
    TraceWriter() = default;
    ~TraceWriter();
    TraceWriter(const TraceWriter &) = delete;
    TraceWriter &operator=(const TraceWriter &) = delete;

    // Starts the file; false (with errno kept) when it cannot be created.
    bool Open(const std::string &path);
    // True between a successful Open and Finish.
    bool IsOpen() const;

    // A section begins on the calling thread.
    void Begin(const char *name);
    // Closes the most recent open section of the calling thread; an end
    // without an open section is dropped, so begins and ends stay paired.
    void End();

    // Closes every section still open (with the current time), writes the
    // thread names and the closing bracket. Later events are dropped. Safe
    // to call more than once and from an exit handler.
    void Finish();

    // Events written so far (begins plus ends), for the exit report.
    uint64_t EventCount() const;

private:
    void WriteEvent(const char *ph, const std::string &name, pid_t tid, uint64_t ts);
    static uint64_t NowUs();

    mutable std::mutex mMutex;
    FILE *mFile = nullptr;
    bool mFirst = true;
    pid_t mPid = 0;
    uint64_t mEvents = 0;
    // Open sections per thread, innermost last.
    std::map<pid_t, std::vector<std::string>> mOpen;
};

}  // namespace vyrd
