// Touch panel packets: validation and queueing on the queue reader's thread,
// decoding on the packet thread. The decoders only log (at level 4).
#include <cstring>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/WatchDog.h"
#include "touch/TouchScreen.h"

namespace {

constexpr uint64_t kDecodeExpectMs = 20000;
constexpr int32_t kHeaderSize = static_cast<int32_t>(sizeof(TpPkgStruct));

// Little-endian reads at a byte position; the callers test the bounds.
template <typename T>
T ReadAt(const uint8_t *base, size_t at) {
    T value;
    memcpy(&value, base + at, sizeof(T));
    return value;
}

// One section of a packet of `total` bytes: true when [offset, offset + size)
// lies in the packet and holds at least `need` bytes.
bool SectionFits(uint32_t offset, uint32_t size, size_t need, uint32_t total) {
    return static_cast<uint64_t>(offset) + size <= total && size >= need;
}

}  // namespace

int TouchScreen::ThpDataPost(uint8_t *data, int32_t size) {
    if (data == nullptr || size <= kHeaderSize - 1) {
        LOGE("size %d < %d", size, kHeaderSize);
        return size;
    }
    TpPkgStruct pkg;
    memcpy(&pkg, data, sizeof(pkg));
    if (!CheckTpData(pkg)) {
        return size;
    }
    // A packet of no bytes would leave the caller where it stands: it takes
    // the rest of the buffer instead.
    const int32_t used = pkg.size == 0 ? size : static_cast<int32_t>(pkg.size);
    if (pkg.size == 0) {
        LOGE("pkg size 0, drop remain %d", size);
    }
    // A packet that claims more than the buffer holds costs the rest.
    if (pkg.size > static_cast<uint32_t>(size)) {
        LOGE("data size error: %u < %d", pkg.size, size);
        return size;
    }
    if ((mThpConfig & kConfigTpData) == 0) {
        return used;
    }
    std::vector<uint8_t> packet(data, data + pkg.size);
    {
        std::lock_guard<std::mutex> lock(mPacketMutex);
        mPackets.push_back(std::move(packet));
        mPacketCond.notify_all();
    }
    return used;
}

bool TouchScreen::CheckTpData(const TpPkgStruct pkg) {
    const uint64_t sum = static_cast<uint64_t>(pkg.section0Size) + pkg.diffSize + pkg.lineDiffSize +
                         pkg.touchSize + pkg.stylusSize + pkg.peakSize;
    if (sum != pkg.size || (pkg.head != tp::kHeadThp && pkg.head != tp::kHeadTpp)) {
        LOGE("pkg.head: 0x%x, size: %d, pkg len: %d, error mesaage format", pkg.head,
             static_cast<int>(sum), static_cast<int>(pkg.size));
        return false;
    }
    return true;
}

void TouchScreen::ProcessThpData(TpPkgStruct *pkg) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr, "ProcessThpData754",
                         kDecodeExpectMs);
    if (pkg == nullptr || mLog.GetLevel() < 4) {
        return;
    }
    const auto *base = reinterpret_cast<const uint8_t *>(pkg);
    const uint32_t total = pkg->size;
    LOGD("thp row: %d, col: %d", static_cast<int>(pkg->rows), static_cast<int>(pkg->cols));
    if (SectionFits(pkg->touchOffset, pkg->touchSize, tp::kTouchSectionMin, total)) {
        const uint8_t *touch = base + pkg->touchOffset;
        LOGD("tNum: %d, downNum: %d", ReadAt<int32_t>(touch, tp::kTouchNum),
             ReadAt<int32_t>(touch, tp::kTouchDownNum));
        const bool peaks = SectionFits(pkg->peakOffset, pkg->peakSize, 0, total);
        const bool diff = SectionFits(pkg->diffOffset, pkg->diffSize, 0, total);
        const bool lineDiff = SectionFits(pkg->lineDiffOffset, pkg->lineDiffSize, 0, total);
        size_t valid = 0;
        for (size_t i = 0; i < tp::kTouchRecords; ++i) {
            const uint8_t *record = touch + i * tp::kTouchRecordSize;
            if (record[tp::kTouchValid] == 0) {
                continue;
            }
            const size_t k = valid++;
            if (!peaks || (k + 1) * 4 > pkg->peakSize) {
                LOGW("touch %d has no peak", static_cast<int>(k));
                continue;
            }
            const int16_t row = ReadAt<int16_t>(base, pkg->peakOffset + k * 4);
            const int16_t col = ReadAt<int16_t>(base, pkg->peakOffset + k * 4 + 2);
            LOGD("touch id: %d, x: %d, y: %d, peak row: %d, peak col: %d",
                 ReadAt<int32_t>(record, tp::kTouchId), ReadAt<int32_t>(record, tp::kTouchX),
                 ReadAt<int32_t>(record, tp::kTouchY), row, col);
            if (row < 0 || col < 0 || static_cast<uint32_t>(row) >= pkg->rows ||
                static_cast<uint32_t>(col) >= pkg->cols) {
                continue;
            }
            const uint64_t cell =
                static_cast<uint64_t>(col) + static_cast<uint64_t>(pkg->cols) * row;
            const uint64_t rowLine = static_cast<uint64_t>(row);
            const uint64_t colLine = static_cast<uint64_t>(pkg->rows) + col;
            if (!diff || !lineDiff || (cell + 1) * 2 > pkg->diffSize ||
                (colLine + 1) * 4 > pkg->lineDiffSize) {
                continue;
            }
            LOGD("diff: %d, linediff: %d, %d", ReadAt<int16_t>(base, pkg->diffOffset + cell * 2),
                 ReadAt<uint32_t>(base, pkg->lineDiffOffset + rowLine * 4),
                 ReadAt<uint32_t>(base, pkg->lineDiffOffset + colLine * 4));
        }
    }
    if (SectionFits(pkg->stylusOffset, pkg->stylusSize, tp::kStylusSectionMin, total)) {
        const uint8_t *stylus = base + pkg->stylusOffset;
        if (ReadAt<uint32_t>(stylus, tp::kStylusPresent) != 0) {
            LOGD("tipStatus: %d, x: %d, y: %d, tiltX: %d, tiltY: %d, pressure: %d",
                 ReadAt<int32_t>(stylus, tp::kStylusTipStatus),
                 ReadAt<int32_t>(stylus, tp::kStylusX), ReadAt<int32_t>(stylus, tp::kStylusY),
                 ReadAt<int8_t>(stylus, tp::kStylusTiltX), ReadAt<int8_t>(stylus, tp::kStylusTiltY),
                 ReadAt<int32_t>(stylus, tp::kStylusPressure));
        }
    }
}

void TouchScreen::ProcessTppData(TpPkgStruct *pkg) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr, "ProcessTppData785",
                         kDecodeExpectMs);
    if (pkg == nullptr || mLog.GetLevel() < 4) {
        return;
    }
    if (SectionFits(pkg->touchOffset, pkg->touchSize, tp::kTppTouchNum + 4, pkg->size)) {
        LOGD("tNum: %d", ReadAt<int32_t>(reinterpret_cast<const uint8_t *>(pkg),
                                         pkg->touchOffset + tp::kTppTouchNum));
    }
}
