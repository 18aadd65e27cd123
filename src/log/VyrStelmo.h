// One hang event to the system's hang-reporting service through the event
// monitor library. Short-lived: made for one event.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

class LibVyrMonitor;
class LogSink;
class VyrHal;

enum VyrStelmoInitEnum : int32_t {
    STELMO_INIT_ENABLED = 0,
    STELMO_INIT_FAILED = 1,
    STELMO_INIT_NOT_NUMBER = 2,
    STELMO_INIT_DISABLED = 3,
};

class VyrStelmo {
public:
    // The watch point of this library.
    static constexpr int32_t STELMO_WP_VYR = 9;
    static constexpr uint64_t kEventDelayMs = 30;

    explicit VyrStelmo(VyrHal &hal);
    ~VyrStelmo();

    VyrStelmo(const VyrStelmo &) = delete;
    VyrStelmo &operator=(const VyrStelmo &) = delete;

    VyrStelmoInitEnum Getconfig();
    void SendEvent(const std::string key, const std::string message, uint64_t timeMs);

    // "t=10,T=vyr_tolvi,T=zuphal,d=40,e=<timeMs + 30>"
    static std::string Command(uint64_t timeMs);

private:
    LogSink &mLog;
    std::unique_ptr<LibVyrMonitor> library;
    bool initDone = false;
};
