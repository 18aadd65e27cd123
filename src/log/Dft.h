// Base of the big-data family: named parameters of one feature, sent at long
// intervals as one event to the system's event monitor.
#pragma once

#include <cstdint>
#include <map>
#include <string>

class LogSink;
class VyrHal;

class Dft {
public:
    // `millis`: GetTime counts wall milliseconds instead of seconds.
    Dft(VyrHal &hal, bool millis);
    virtual ~Dft();

    Dft(const Dft &) = delete;
    Dft &operator=(const Dft &) = delete;

    // The wall clock in the class's unit; 0 when it cannot be read.
    virtual uint64_t GetTime();
    // The start of the period: now, or the first record's time of a file
    // that a previous run left.
    virtual void ReadPreTime(std::string path);

    bool Init(uint32_t eventId, uint64_t interval);
    void SetInt(const char *key, long value);
    void SetFloat(const char *key, float value);
    void SetString(const char *key, const char *value);
    // True once per interval; sets the start of the next period.
    virtual bool CanReport();
    // Sends the parameters as one event and clears them, also on failure.
    void Report();

    uint64_t GetPreTime() const { return mPreTime; }
    uint32_t GetEventId() const { return mEventId; }
    uint64_t GetInterval() const { return mInterval; }

    // Seconds since boot, and the wall-clock second of the boot, as text.
    static std::string BootSecondText();
    static std::string FirstBootSecondText();

protected:
    VyrHal &mHal;
    LogSink &mLog;
    bool initDone = false;
    uint64_t mPreTime = 0;
    uint64_t mInterval = 0;
    uint32_t mEventId = 0;
    std::map<std::string, int64_t> intParams;
    std::map<std::string, float> floatParams;
    std::map<std::string, std::string> stringParams;

private:
    bool mMillis;
};
