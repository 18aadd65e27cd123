// Stand-in of the activity recognition library, vehicle part. Its rules, on
// the samples of AlgDataCollect (accelerometer in g with 10 fraction bits,
// magnetometer, modem records):
//  - vibration: the standard deviation of the accelerometer magnitude over
//    the last 200 samples (two seconds at 100 Hz). It is moderate between
//    0.01 g and 0.15 g: a rail car; less is a table, more is a walk.
//  - cell changes: every modem record counts as one (the caller sends one
//    only when the cell id changes); a change stays counted for 1000
//    accelerometer samples (ten seconds at 100 Hz).
//  - in a vehicle: moderate vibration over a full window and at least two
//    cell changes counted. Then slot 20 (high-speed rail) is in when the
//    last modem record had a non-zero hsFlag, else slot 19 (metro).
//  - AlgGetResult_AR writes the whole 260-byte block: header word 0, state
//    1 and score 80 for a slot that is in, state 0 and score 20 for slots
//    19 and 20 when out; all other slots 0.
//  - AlgGetResult_HighSpeedRecog gives the last hsFlag.
// AlgInit_AR starts everything afresh; the context word is not used.
#include <cmath>
#include <cstring>
#include <deque>

#include "platform/api/artolvi_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr size_t kWindow = 200;
constexpr double kOneG = 1024.0;
constexpr double kLowVibration = 0.01;
constexpr double kHighVibration = 0.15;
constexpr uint64_t kCellMemory = 1000;
constexpr size_t kCellChanges = 2;
constexpr int kMetroSlot = 19;
constexpr int kRailSlot = 20;
constexpr int16_t kScoreIn = 80;
constexpr int16_t kScoreOut = 20;

std::deque<double> gMagnitudes;
std::deque<uint64_t> gCellChanges;  // sample numbers of the changes
uint64_t gSamples = 0;
uint8_t gHsFlag = 0;
int32_t gMagCount = 0;

bool Moderate() {
    if (gMagnitudes.size() < kWindow) {
        return false;
    }
    double mean = 0.0;
    for (double m : gMagnitudes) {
        mean += m;
    }
    mean /= static_cast<double>(gMagnitudes.size());
    double variance = 0.0;
    for (double m : gMagnitudes) {
        variance += (m - mean) * (m - mean);
    }
    const double deviation = std::sqrt(variance / static_cast<double>(gMagnitudes.size()));
    return deviation >= kLowVibration && deviation <= kHighVibration;
}

void PutSlot(uint8_t *block, int slot, bool in) {
    block[4 + 4 * slot] = in ? 1 : 0;
    const int16_t score = in ? kScoreIn : kScoreOut;
    memcpy(block + 6 + 4 * slot, &score, sizeof(score));
}

}  // namespace

extern "C" {

VYR_EXPORT int32_t AlgInit_AR(void) {
    gMagnitudes.clear();
    gCellChanges.clear();
    gSamples = 0;
    gHsFlag = 0;
    gMagCount = 0;
    return 0;
}

VYR_EXPORT int32_t ProductIdInit(uint32_t *productId, int32_t /*mode*/) {
    return productId == nullptr ? 1 : 0;
}

VYR_EXPORT int32_t TransInit(void) {
    return 0;
}

VYR_EXPORT int32_t AlgEnableVehicleBicycle(void) {
    return 0;
}

VYR_EXPORT int32_t AlgDisableVehicleBicycle(void) {
    return 0;
}

VYR_EXPORT int32_t AlgDataCollect(const void *sample, int32_t dataType, int32_t count,
                                  void * /*context*/) {
    if (sample == nullptr || count != 1) {
        return -1;
    }
    switch (dataType) {
        case AR_DATA_ACC: {
            int16_t axes[3];
            memcpy(axes, sample, sizeof(axes));
            const double x = axes[0] / kOneG;
            const double y = axes[1] / kOneG;
            const double z = axes[2] / kOneG;
            gMagnitudes.push_back(std::sqrt(x * x + y * y + z * z));
            if (gMagnitudes.size() > kWindow) {
                gMagnitudes.pop_front();
            }
            ++gSamples;
            while (!gCellChanges.empty() && gSamples - gCellChanges.front() > kCellMemory) {
                gCellChanges.pop_front();
            }
            return 0;
        }
        case AR_DATA_MAG:
            ++gMagCount;
            return 0;
        case AR_DATA_MODEM: {
            ar_modem_info_t info;
            memcpy(&info, sample, sizeof(info));
            gHsFlag = info.hsFlag;
            gCellChanges.push_back(gSamples);
            return 0;
        }
        default:
            return -1;
    }
}

VYR_EXPORT int32_t AlgGetResult_AR(uint8_t *statusBlock, void * /*context*/) {
    if (statusBlock == nullptr) {
        return -1;
    }
    memset(statusBlock, 0, AR_STATUS_BLOCK_SIZE);
    const bool vehicle = Moderate() && gCellChanges.size() >= kCellChanges;
    PutSlot(statusBlock, kRailSlot, vehicle && gHsFlag != 0);
    PutSlot(statusBlock, kMetroSlot, vehicle && gHsFlag == 0);
    return 0;
}

VYR_EXPORT int32_t AlgInit_HighSpeedRecog(void * /*context*/) {
    return 0;
}

VYR_EXPORT int32_t AlgGetResult_HighSpeedRecog(int32_t *result, void * /*context*/) {
    if (result == nullptr) {
        return -1;
    }
    *result = gHsFlag;
    return 0;
}

VYR_EXPORT int32_t AlgClose_HighSpeedRecog(void * /*context*/) {
    return 0;
}

}  // extern "C"
