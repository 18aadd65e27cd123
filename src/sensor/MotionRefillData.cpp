#include "sensor/MotionRefillData.h"

#include <cstring>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "sensor/LogEvents.h"
#include "sensor/SensorHub.h"

namespace {

// How a group of the packet becomes an event.
enum class Fill {
    kNone,
    kIntsAsFloats,  // three signed integers converted
    kRawWords,      // three words copied bit for bit
    kValueAsFloat,  // one word as a signed integer, converted, in data[0]
    kValueRaw,      // one word bit for bit in data[0]
};

struct Slot {
    uint32_t offset = 0;  // from the motion refill family's first type
    Fill fill = Fill::kNone;
};

// By motion type: first group, second group, third value, fourth value.
struct Row {
    uint32_t motionType;
    Slot slots[4];
};

constexpr Row kRows[] = {
    {1, {{9, Fill::kIntsAsFloats}, {10, Fill::kRawWords}, {11, Fill::kValueAsFloat}, {}}},
    {2, {{0, Fill::kIntsAsFloats}, {}, {}, {}}},
    {3,
     {{5, Fill::kIntsAsFloats},
      {6, Fill::kRawWords},
      {7, Fill::kValueAsFloat},
      {8, Fill::kValueAsFloat}}},
    {7, {{12, Fill::kIntsAsFloats}, {13, Fill::kIntsAsFloats}, {14, Fill::kValueRaw}, {}}},
    {19,
     {{1, Fill::kIntsAsFloats},
      {2, Fill::kRawWords},
      {3, Fill::kValueAsFloat},
      {4, Fill::kValueRaw}}},
};

void FillEvent(ASensorEvent &event, Fill fill, const uint32_t words[3]) {
    switch (fill) {
        case Fill::kIntsAsFloats:
            for (int i = 0; i < 3; ++i) {
                event.data[i] = static_cast<float>(static_cast<int32_t>(words[i]));
            }
            break;
        case Fill::kRawWords:
            memcpy(event.data, words, 3 * sizeof(uint32_t));
            break;
        case Fill::kValueAsFloat:
            event.data[0] = static_cast<float>(static_cast<int32_t>(words[0]));
            break;
        case Fill::kValueRaw:
            memcpy(event.data, words, sizeof(uint32_t));
            break;
        case Fill::kNone:
            break;
    }
}

}  // namespace

MotionRefillData::MotionRefillData(VyrHal &hal) : mHal(hal), mLog(hal) {}

void MotionRefillData::Process(const fmq::MotionRefillDataPacketT &packet) {
    const Row *row = nullptr;
    for (const Row &candidate : kRows) {
        if (candidate.motionType == packet.motionType) {
            row = &candidate;
            break;
        }
    }
    if (row == nullptr) {
        LOGE("unknow sensor type: 0x%x", packet.motionType);
        return;
    }
    const uint64_t arrival = VyrHal::RealTimeMs();
    uint32_t groups[4][3] = {};
    memcpy(groups[0], packet.first, sizeof(packet.first));
    memcpy(groups[1], packet.second, sizeof(packet.second));
    groups[2][0] = packet.third;
    groups[3][0] = packet.fourth;
    for (int i = 0; i < 4; ++i) {
        const Slot &slot = row->slots[i];
        if (slot.fill == Fill::kNone) {
            continue;
        }
        const uint32_t type = SENSOR_TYPE_MOTION_REFILL_BASE + slot.offset;
        ASensorEvent event = logevents::Make(type, packet.timestamp, arrival);
        FillEvent(event, slot.fill, groups[i]);
        logevents::AddToFrame(mHal, type, {event});
    }
}
