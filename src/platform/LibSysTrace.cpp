#include "platform/LibSysTrace.h"

namespace {

constexpr int64_t kTraceTag = 1;

int32_t DefaultAtraceIsTagEnabled(int64_t) {
    return 0;
}
void DefaultAtraceBegin(int64_t, const char *) {}
void DefaultAtraceEnd(int64_t) {}

}  // namespace

LibSysTrace::LibSysTrace()
    : GetVersion(&UnknownVersion),
      AtraceIsTagEnabled(&DefaultAtraceIsTagEnabled),
      AtraceBegin(&DefaultAtraceBegin),
      AtraceEnd(&DefaultAtraceEnd) {}

LibSysTrace::~LibSysTrace() = default;

bool LibSysTrace::Init() {
    mEnable.store(false, std::memory_order_relaxed);
    LoadSymbols();
    return true;
}

void LibSysTrace::LoadSymbols() {
    VYR_LIB_SYMBOL_OR(GetVersion, UnknownVersion);
    VYR_LIB_SYMBOL_OR(AtraceIsTagEnabled, DefaultAtraceIsTagEnabled);
    VYR_LIB_SYMBOL_OR(AtraceBegin, DefaultAtraceBegin);
    VYR_LIB_SYMBOL_OR(AtraceEnd, DefaultAtraceEnd);
}

void LibSysTrace::SetHooks(const vyr_sys_device_t &sys) {
    if (sys.AtraceIsTagEnabled == nullptr || sys.AtraceBegin == nullptr ||
        sys.AtraceEnd == nullptr) {
        return;
    }
    AtraceIsTagEnabled = sys.AtraceIsTagEnabled;
    AtraceBegin = sys.AtraceBegin;
    AtraceEnd = sys.AtraceEnd;
}

ScopedTrace::ScopedTrace(LibSysTrace &trace, const char *name)
    : mTrace(trace), mEnabled(trace.IsEnabled()) {
    if (mEnabled) {
        mTrace.AtraceIsTagEnabled(kTraceTag);
        mTrace.AtraceBegin(kTraceTag, name);
    }
}

ScopedTrace::~ScopedTrace() {
    if (mEnabled) {
        mTrace.AtraceEnd(kTraceTag);
    }
}
