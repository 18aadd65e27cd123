// Serves vyrd's commands, whatever their source (-c, a script, standard
// input). A command line is a name, then after one blank the parameter
// (the rest of the line, blanks included). Blank lines and lines starting
// with '#' are skipped. Besides the library's named commands:
//   sleep MS           pause
//   client NAME        client name for the following commands
//   getdata CMD SIZE   vyr_get_data(CMD, SIZE)
//   fmq HEX            vyr_fmq_data with the bytes in hex (blanks allowed)
//   fmqfile PATH       vyr_fmq_data with the bytes of a file
//   scenario NAME|CSV  plays a scenario on the stand-in sensor service that
//                      the library loaded (built-in name or recorded CSV)
//   hub CHANNEL x,y,z  holds a channel of the stand-in sensor hub at a value
//   hub reset          the stand-in sensor hub restarts
//   replayfiles [DIR]  lays the sensor files of a recorded run (a sandbox or
//                      its log directory; default --replay-from) out for
//                      "motion-emulate on" in this sandbox
//   tof COUNT SCENE [MS]  plays TOF frames of a scene through vyr_fmq_data
//   light LUX          the stand-in light sensor reads LUX
//   ao SCENARIO        plays a scenario on the stand-in always-on service
//   touch down|move ID,X,Y / touch up ID   a finger on the touch panel
//   pen HEX            a 25-byte report of the Bluetooth pen
//   fpblock PEAK       a fingerprint-area block whose middle cell is PEAK
//   say TEXT           tells a step of a script in one line
// Faults, for soak runs:
//   hang MS            the next flip or orientation call of the stand-in
//                      gesture library sleeps MS milliseconds
//   sensorsvc die|restart  the stand-in sensor service dies / comes back
//   input NODE HEX     raw bytes in one write to dev/input/NODE (event1..3)
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "vyrd/HalLibrary.h"
#include "vyrd/Output.h"
#include "vyrd/TraceWriter.h"

namespace vyrd {

struct CommandLine {
    std::string name;
    std::string param;
};

// False for a line that holds no command (blank or comment).
bool ParseCommandLine(std::string line, CommandLine &out);

// Bytes of a hex text; blanks between digit pairs allowed. False on
// anything else.
bool ParseHex(const std::string &text, std::vector<uint8_t> &out);

class CommandRunner {
public:
    CommandRunner(const HalLibrary &lib, Output &out, TraceWriter &trace, std::string client)
        : mLib(lib), mOut(out), mTrace(trace), mClient(std::move(client)) {}

    // Runs one line; false when it was a malformed built-in (reported on
    // standard error).
    bool RunLine(const std::string &line);
    bool Run(const CommandLine &cmd);
    // Runs every line of a stream; the count of malformed lines.
    int RunStream(std::istream &in, bool prompt);

    const std::string &Client() const { return mClient; }
    // The names of vyrd's own commands, sorted.
    static const std::vector<std::string> &BuiltinNames();
    // The library's command names, as its "help" lists them.
    std::vector<std::string> LibraryCommandNames() const;
    void SetReplayFrom(std::string dir) { mReplayFrom = std::move(dir); }

private:
    bool RunFmq(const std::string &what, const std::vector<uint8_t> &bytes);

    const HalLibrary &mLib;
    Output &mOut;
    TraceWriter &mTrace;
    std::string mClient;
    std::string mReplayFrom;
};

}  // namespace vyrd
