#include "log/EventDft.h"

#include <android/log.h>

#include "hal/VyrHal.h"
#include "log/LogSink.h"

EventDft::EventDft(VyrHal &hal) : Dft(hal, true) {
    Init(kEventId, 0);
    mPreTime = GetTime();
}

void EventDft::ReportEvent(int32_t id, const std::string &content) {
    SetInt("INFO_ID", id);
    SetString("EVENT_CONTENT", content.c_str());
    if (!CanReport()) {
        return;
    }
    Report();
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "ReportBigdata eventId: %d",
                        static_cast<int>(kEventId));
}
