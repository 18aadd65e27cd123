// The trace hooks: found in the process's global scope, replaced by the
// daemon's hooks when it gives them, and default stubs otherwise. Never
// opens a library.
//
// Hot operations trace with a ScopedTrace:
//     ScopedTrace trace(hal.GetTrace(), "DetectActivity");
#pragma once

#include <atomic>

#include "hal/vyr_hal.h"
#include "platform/LibBase.h"
#include "platform/api/sys_trace_api.h"

class LibSysTrace : public LibBase {
public:
    LibSysTrace();
    ~LibSysTrace() override;

    // Disables tracing and resolves the hooks from the global scope (or
    // their stubs). Always true.
    bool Init();
    void LoadSymbols() override;
    bool IsEnabled() const { return mEnable.load(std::memory_order_relaxed); }
    void SetEnable(bool enable) { mEnable.store(enable, std::memory_order_relaxed); }
    // Takes the daemon's three Atrace hooks when all of them are set.
    void SetHooks(const vyr_sys_device_t &sys);

    GetVersion_t GetVersion;
    AtraceIsTagEnabled_t AtraceIsTagEnabled;
    AtraceBegin_t AtraceBegin;
    AtraceEnd_t AtraceEnd;

private:
    std::atomic<bool> mEnable{false};
};

// One trace section around a scope, with tag 1. Whether tracing is on is
// read once at the start, so the end always matches the begin.
class ScopedTrace {
public:
    ScopedTrace(LibSysTrace &trace, const char *name);
    ~ScopedTrace();

    ScopedTrace(const ScopedTrace &) = delete;
    ScopedTrace &operator=(const ScopedTrace &) = delete;

private:
    LibSysTrace &mTrace;
    const bool mEnabled;
};
