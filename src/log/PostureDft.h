// Fold statistics of a foldable phone: one record per completed fold or
// unfold (start and end time, angle and posture). Reached from the posture
// path and the sensor path, so it has a mutex of its own.
#pragma once

#include <cstdint>
#include <mutex>

#include "log/FileDft.h"

class PostureDft : public FileDft {
public:
    explicit PostureDft(VyrHal &hal);

    // One posture result with its hinge angle.
    void UpdatePostureData(float angle, int posture);
    // Forgets a fold in progress.
    void ResetPosture();

protected:
    bool HasKeyContent() const override { return false; }

private:
    // The fold in progress; startAngle -1 when none.
    uint64_t startTime = 0;
    float startAngle = -1.0f;
    int startPosture = 0;
    uint64_t lastTime = 0;
    float lastAngle = 0.0f;
    int lastPosture = 0;
    std::mutex mMutex;
};
