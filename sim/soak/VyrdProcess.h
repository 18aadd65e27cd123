// One life of the daemon under the soak: vyrd started as a child with its
// commands on a pipe to its standard input, its JSON lines read from its
// standard output on a thread of this class, and its standard error kept in a
// file.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace soak {

class VyrdProcess {
public:
    using LineHandler = std::function<void(const std::string &line)>;

    VyrdProcess() = default;
    ~VyrdProcess();
    VyrdProcess(const VyrdProcess &) = delete;
    VyrdProcess &operator=(const VyrdProcess &) = delete;

    // Starts `program` with `args`; every line of its standard output goes to
    // `onLine`, on the reader thread. False (with errno) when it cannot start.
    bool Start(const std::string &program, const std::vector<std::string> &args,
               const std::string &stderrPath, LineHandler onLine);
    // Writes one command line. False when the daemon no longer reads.
    bool Send(const std::string &line);
    // Ends the daemon's input: it finishes its commands and ends.
    void CloseInput();
    // Waits up to timeoutMs for the daemon to end; true with its wait status.
    bool Wait(int timeoutMs, int &status);
    void Kill();
    pid_t Pid() const { return mPid; }

private:
    void ReadLines(int fd, LineHandler onLine);
    void Reap();

    pid_t mPid = -1;
    int mInput = -1;
    bool mExited = false;
    int mStatus = 0;
    std::thread mReader;
};

// "exit 0", "signal 6 (Aborted)" and so on.
std::string DescribeStatus(int status);

}  // namespace soak
