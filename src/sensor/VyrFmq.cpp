#include "sensor/VyrFmq.h"

#include "hal/VyrHal.h"

VyrFmq::VyrFmq(VyrHal &hal) : mLog(hal) {}

int32_t VyrFmq::ProcessFmqData(uint8_t *data, int32_t size) {
    if (data == nullptr || size <= 0) {
        LOGE("invalid fmq data, size %d", size);
        return 0;
    }
    LOGD("fmq data size %d dropped", size);
    return 0;
}
