// Wire layouts of the daemon's fast message queue and of the hub's beta
// records: one place for the reader, the refill and beta decoders, the tests,
// the fuzz seeds and the benchmarks. Every field is little-endian; records
// are packed and are read from a buffer by memcpy, never by a cast.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fmq {

// Message heads: the first 32-bit word of every message.
inline constexpr uint32_t kHeadThpFirst = 0x100;
inline constexpr uint32_t kHeadThpSecond = 0x200;
inline constexpr uint32_t kHeadThpThird = 0x300;
inline constexpr uint32_t kHeadPalmetryLog = 0x1000;
inline constexpr uint32_t kHeadArBigData = 0x3000;
inline constexpr uint32_t kHeadArRefill = 0x4000;
inline constexpr uint32_t kHeadMotionRefill = 0x5000;
inline constexpr uint32_t kHeadMotionBigData = 0x5001;
inline constexpr uint32_t kHeadArContext = 0x6000;
inline constexpr uint32_t kHeadArEngine = 0x7000;
inline constexpr uint32_t kHeadTofCamera = 0x9000;
inline constexpr uint32_t kHeadFaceRecognize = 0xA000;
inline constexpr uint32_t kHeadFaceSecond = 0xA100;
inline constexpr uint32_t kHeadFaceThird = 0xA200;
inline constexpr uint32_t kHeadCameraConflict = 0xB000;

inline constexpr int32_t kHeadSize = 4;
// Head, then a 32-bit length, then the bytes (big data, AR engine data).
inline constexpr int32_t kLengthHeaderSize = 8;
inline constexpr int32_t kArContextSize = 80;
inline constexpr int32_t kArContextTextSize = kArContextSize - 12;
inline constexpr int32_t kArContextMaxEvent = 4;
inline constexpr int32_t kTofHeaderSize = 32;
inline constexpr int32_t kTofImageSizeOffset = 16;
inline constexpr int32_t kTofImageSize = 307200;
inline constexpr int32_t kFaceRecordSize = 20;
inline constexpr int32_t kFaceLengthOffset = 8;
inline constexpr int32_t kConflictHeaderSize = 12;
inline constexpr int32_t kPalmetryLogSize = 824;

// Camera event kinds of the messages handed to the camera module.
inline constexpr int32_t kCameraEventTof = 0;
inline constexpr int32_t kCameraEventFaceRecognize = 7;
inline constexpr int32_t kCameraEventFaceSecond = 8;
inline constexpr int32_t kCameraEventFaceThird = 9;

// The AR result of the hub: 44 bytes.
#pragma pack(push, 1)
struct ArResultRecord {
    uint32_t clk;
    int32_t currentARStatus;
    int32_t stepsInfo;
    uint16_t stationaryScore;
    uint16_t walkScore;
    uint16_t runScore;
    uint16_t rideScore;
    uint16_t vehicleScore;
    uint16_t unknownScore;
    int16_t feat[10];
};
#pragma pack(pop)
static_assert(sizeof(ArResultRecord) == 44, "AR result is 44 bytes");

// AR refill packet (head 0x4000): this header, then `count` records of 44
// bytes.
inline constexpr int32_t kArRefillRecordSize = 44;
enum ArRefillKind : uint32_t {
    kArRefillAcc = 0,
    kArRefillMag = 1,
    kArRefillModem = 2,
    kArRefillError = 3,
    kArRefillResult = 4,
};
#pragma pack(push, 1)
struct ArRefillDataPacketT {
    uint32_t head;
    uint32_t kind;
    uint32_t count;
    uint32_t timestamp;  // errorCode for kind 3
};
#pragma pack(pop)
static_assert(sizeof(ArRefillDataPacketT) == 16, "AR refill header is 16 bytes");

// Motion refill packet (head 0x5000): 44 bytes.
#pragma pack(push, 1)
struct MotionRefillDataPacketT {
    uint32_t head;
    uint32_t motionType;
    uint32_t timestamp;
    int32_t first[3];
    uint32_t second[3];
    uint32_t third;
    uint32_t fourth;
};
#pragma pack(pop)
static_assert(sizeof(MotionRefillDataPacketT) == 44, "motion refill packet is 44 bytes");

// One record of a beta frame of the fusion channel: this header, `size`
// payload bytes, two reserved bytes.
#pragma pack(push, 1)
struct sns_fusion_sense_beta_pkg {
    uint16_t type;
    uint16_t reserved;
    uint32_t timestamp;
    uint16_t size;
};
#pragma pack(pop)
static_assert(sizeof(sns_fusion_sense_beta_pkg) == 10, "beta record header is 10 bytes");
inline constexpr uint32_t kBetaRecordOverhead = 12;

inline constexpr uint16_t kBetaArAcc = 0x1000;
inline constexpr uint16_t kBetaArMag = 0x1001;
inline constexpr uint16_t kBetaArModem = 0x1002;
inline constexpr uint16_t kBetaArResult = 0x1003;
inline constexpr uint32_t kBetaArAccSize = 600;
inline constexpr uint32_t kBetaArMagSize = 60;
inline constexpr uint32_t kBetaArModemSize = 12;
inline constexpr uint32_t kBetaArResultSize = sizeof(ArResultRecord);

}  // namespace fmq
