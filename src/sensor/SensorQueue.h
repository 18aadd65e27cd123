// The message list of the hub: a FIFO of messages in fixed chunks, so that
// appending never moves what is queued, and emptied chunks are kept for
// reuse, so that a steady stream allocates nothing. Not locked by itself:
// the owner guards it with its queue mutex.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/api/sensor_event.h"

inline constexpr size_t SENSOR_CALLER_SIZE = 128;

// One request.
struct SensorSetting {
    char name[SENSOR_CALLER_SIZE];  // caller, NUL-terminated
    int32_t type;
    bool enable;
    int32_t rate;  // Hz
    int32_t batch;
    bool wakeup;
};

struct SensorIdleSetting {
    bool enter;
    int32_t rate;
};

enum SensorMessageTag : uint32_t {
    SENSOR_MSG_DATA = 0,         // event
    SENSOR_MSG_SETTING = 1,      // setting
    SENSOR_MSG_FUSION = 2,       // none
    SENSOR_MSG_CLIENT_DIED = 3,  // setting, name only
    SENSOR_MSG_IDLE = 4,         // idle
    SENSOR_MSG_DISABLE_ALL = 5,  // none
};

// One element of the queue: a tag and the payload of that tag.
struct SensorMessage {
    uint32_t tag;
    union {
        ASensorEvent event;
        SensorSetting setting;
        SensorIdleSetting idle;
    };
};

class SensorQueue {
public:
    struct Chunk {
        static constexpr size_t kCapacity = 128;
        size_t count = 0;
        Chunk *next = nullptr;
        SensorMessage messages[kCapacity];
    };

    SensorQueue() = default;
    ~SensorQueue();
    SensorQueue(const SensorQueue &) = delete;
    SensorQueue &operator=(const SensorQueue &) = delete;

    // The slot of a new last message; null when no memory is left.
    SensorMessage *Append();
    bool Empty() const { return mHead == nullptr; }
    // Detaches every message, oldest chunk first.
    Chunk *TakeAll();
    // Takes a detached chain back; a few chunks are kept, the rest freed.
    void Recycle(Chunk *chain);

    static void Free(Chunk *chain);

private:
    static constexpr size_t kMaxSpare = 96;

    Chunk *mHead = nullptr;
    Chunk *mTail = nullptr;
    Chunk *mSpare = nullptr;
    size_t mSpareCount = 0;
};
