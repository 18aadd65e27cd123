// The algorithm developer's loop: the sensor files that a run with file
// logging on left in its log directory are laid out as the library's replay
// reader ("motion-emulate on") expects them: one file per stem
// ("acc1.csv", "gyro.csv", ...) in the log directory of the sandbox.
#pragma once

#include <string>

namespace vyrd {

// sourceDir: a sandbox root of the recorded run, or its log directory.
// targetRoot: the sandbox of the replay. Returns the lines telling what was
// done (one per stem); false in *ok when nothing could be laid out.
std::string PrepareReplayFiles(const std::string &sourceDir, const std::string &targetRoot,
                               bool *ok);

}  // namespace vyrd
