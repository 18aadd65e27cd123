// Forwards each frame's sensor records, images and camera records to the
// daemon's client "vyr-client" as result messages.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "log/LogSocketBase.h"

// Result types of the collected data.
inline constexpr int32_t LOG_COLLECT_SENSOR_MSG = 255;
inline constexpr int32_t LOG_COLLECT_IMAGE_MSG = 256;
inline constexpr int32_t LOG_COLLECT_CAMERA_MSG = 257;

class LogCollect : public LogSocketBase {
public:
    LogCollect(VyrHal &hal, int32_t type);
    ~LogCollect() override;

    bool Init();
    // False once the run flag is cleared: the log thread then drops it.
    bool HandleFrame(VyrFrame &frame) override;

    // "name#header#records" as one message of type 255.
    void notifySensorCollectData(const std::string &text);
    void notifyCameraCollectData(int32_t msgType, const std::vector<uint8_t> &bytes);
};
