#include "log/LogToFile.h"

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"

namespace {
constexpr int32_t kFilesKept = 2;
}

LogToFile::LogToFile(VyrHal &hal, int32_t socketType) : LogSocketBase(hal, socketType) {
    maxFiles = kFilesKept;
}

LogToFile::~LogToFile() = default;

bool LogToFile::HandleFrame(VyrFrame &frame) {
    LOGV("+");
    {
        std::lock_guard<std::mutex> lock(socketMutex);
        if (frame.GetTimestamp() != lastFrameTime) {
            SaveFrame(frame);
        }
    }
    LOGV("-");
    return true;
}
