// Writes every frame into one file per frame type under the log directory.
#pragma once

#include "log/LogSocketBase.h"

class LogToFile : public LogSocketBase {
public:
    LogToFile(VyrHal &hal, int32_t type);
    ~LogToFile() override;

    // Saves each frame once (frames are told apart by their stamp). The run
    // flag is not consulted: once started, the socket writes for as long as
    // the module lives.
    bool HandleFrame(VyrFrame &frame) override;
};
