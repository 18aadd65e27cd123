// The table of named commands.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class LogSink;

using VyrCmdFunc = std::function<void(const std::string client, const std::string param,
                                      std::vector<uint8_t> &out)>;

struct Cmd {
    std::string name;
    VyrCmdFunc func;
};

// Replaces `out` with the bytes of `text`, without a terminator.
void SetReply(std::vector<uint8_t> &out, const std::string &text);

class ServerCmds {
public:
    explicit ServerCmds(LogSink &log);

    bool Init();
    bool PushCmd(std::unique_ptr<Cmd> cmd);
    // Allocates a row without throwing and pushes it.
    bool AddCmd(const std::string &name, VyrCmdFunc func);
    void PopCmd(const std::string name);
    void ClearCmds();
    std::string ToStr() const;
    VyrCmdFunc GetCmd(std::string cmd, std::string param);
    void HandleCmd(const std::string client, const std::string cmd, const std::vector<uint8_t> in,
                   std::vector<uint8_t> &out);
    void HandleData(const std::string cmd, int32_t size, std::vector<uint8_t> &out);

private:
    LogSink &mLog;
    mutable std::mutex mMutex;
    std::vector<std::unique_ptr<Cmd>> mCmds;
    VyrCmdFunc mDefault;
};
