// A 32-bit flag word saved to the "HalStatus" property at every change.
#pragma once

#include <cstdint>
#include <mutex>

inline constexpr uint32_t HAL_STATUS_FACTORY = 0x01;
inline constexpr uint32_t HAL_STATUS_SCREEN_ON = 0x02;
inline constexpr uint32_t HAL_STATUS_UPGRADE = 0x08;
inline constexpr uint32_t HAL_STATUS_WORKING = 0x20;
inline constexpr uint32_t HAL_STATUS_BTPEN = 0x80;
inline constexpr uint32_t HAL_STATUS_BACKTAP = 0x200;
inline constexpr uint32_t HAL_STATUS_IMAGE = 0x400;

class HalStatus {
public:
    HalStatus();  // loads the word from the property

    bool Get(uint32_t mask);
    void Set(uint32_t mask);
    void Clear(uint32_t mask);
    void Update(uint32_t mask, bool on);
    uint32_t Word();
    // Takes and releases the lock without a change ("USER_PRESENT").
    void Touch();

private:
    void Save();  // called with mMutex held

    uint32_t mWord = 0;
    std::mutex mMutex;
};
