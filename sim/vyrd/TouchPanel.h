// The simulated phone's touch panel, pen and fingerprint area: vyrd writes
// real input_event records, pen reports and fingerprint blocks into the
// sandbox's FIFOs (made by the sandbox with touchNodes), whose writers it
// opens before the library starts.
#pragma once

#include <map>
#include <string>
#include <utility>

namespace vyrd {

class TouchPanel {
public:
    static TouchPanel &Get();

    // Opens a writer on every touch FIFO of the sandbox at `root`.
    void Open(const std::string &root);

    // "down ID,X,Y", "move ID,X,Y", "up ID": one finger of the wrapper node
    // (event1); each sends a report of all fingers held. The reply names them.
    std::string Touch(const std::string &param);
    // 25 bytes in hex to the pen's HID node (dev/hidraw0).
    std::string Pen(const std::string &hex);
    // A fingerprint-area block of one frame, every cell 10 and the middle
    // cell PEAK, to the fingerprint auxiliary node.
    std::string FpBlock(const std::string &peak);
    // "NODE HEX": the bytes, as they are, in one write to dev/input/NODE
    // (event1..event3), for truncated or garbage input events.
    std::string Input(const std::string &param);

private:
    int Fd(const std::string &relative) const;

    std::map<std::string, int> mFds;
    std::map<int, std::pair<int, int>> mFingers;
};

}  // namespace vyrd
