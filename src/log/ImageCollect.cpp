#include "log/ImageCollect.h"

#include "file/DirOperator.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"

namespace {

struct PruneRule {
    const char *pattern;
    size_t keep;
    long maxAge;  // seconds; negative: no age limit
};

constexpr long kTwoDays = 172800;
constexpr PruneRule kPruneRules[] = {
    {"tof_rawdata", 20, kTwoDays},
    {"DETECTION", 18, kTwoDays},
    {"TEMPLATE_u2", 1, -1},
    {"TEMPLATE_u3", 1, -1},
};

}  // namespace

ImageCollect::ImageCollect(VyrHal &hal, int32_t socketType) : LogSocketBase(hal, socketType) {}

ImageCollect::~ImageCollect() = default;

bool ImageCollect::Init() {
    LOGI("+");
    return true;
}

bool ImageCollect::HandleFrame(VyrFrame &frame) {
    LOGV("+");
    {
        std::lock_guard<std::mutex> lock(socketMutex);
        frame.LockData(true);
        std::vector<VyrFrameImage> &images = frame.GetData().GetImages();
        DirOperator &dir = mHal.GetDirOperator();
        for (const VyrFrameImage &image : images) {
            dir.DirSaveFile(image.directory, image.fileName, image.bytes);
            for (const PruneRule &rule : kPruneRules) {
                dir.DirUpdateFileList(image.directory, rule.pattern, rule.keep, rule.maxAge);
            }
        }
        frame.LockData(false);
    }
    LOGV("-");
    return true;
}
