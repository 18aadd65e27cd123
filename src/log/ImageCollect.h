// Stores the images a frame carries and prunes their directories.
#pragma once

#include "log/LogSocketBase.h"

class ImageCollect : public LogSocketBase {
public:
    ImageCollect(VyrHal &hal, int32_t type);
    ~ImageCollect() override;

    bool Init();
    // Like LogToFile, it ignores the run flag.
    bool HandleFrame(VyrFrame &frame) override;
};
