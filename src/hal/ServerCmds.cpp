#include "hal/ServerCmds.h"

#include <strings.h>

#include <algorithm>
#include <cctype>

#include "log/LogSink.h"

void SetReply(std::vector<uint8_t> &out, const std::string &text) {
    out.assign(text.begin(), text.end());
}

ServerCmds::ServerCmds(LogSink &log) : mLog(log) {}

bool ServerCmds::Init() {
    LOGI("ServerCmds Init.");
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mCmds.clear();
    }
    mDefault = [this](const std::string client, const std::string, std::vector<uint8_t> &out) {
        std::string text = client + " send unsupported command !";
        LOGI("%s", text.c_str());
        SetReply(out, text);
    };
    std::unique_ptr<Cmd> help(new (std::nothrow) Cmd);
    if (help == nullptr) {
        return false;
    }
    help->name = "help";
    help->func = [this](const std::string, const std::string, std::vector<uint8_t> &out) {
        SetReply(out, ToStr());
    };
    return PushCmd(std::move(help));
}

bool ServerCmds::PushCmd(std::unique_ptr<Cmd> cmd) {
    if (cmd == nullptr) {
        return false;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    for (const auto &row : mCmds) {
        if (row->name == cmd->name) {
            LOGI("%s has been registered", cmd->name.c_str());
            return false;
        }
    }
    mCmds.push_back(std::move(cmd));
    return true;
}

bool ServerCmds::AddCmd(const std::string &name, VyrCmdFunc func) {
    std::unique_ptr<Cmd> cmd(new (std::nothrow) Cmd);
    if (cmd == nullptr) {
        return false;
    }
    cmd->name = name;
    cmd->func = std::move(func);
    return PushCmd(std::move(cmd));
}

void ServerCmds::PopCmd(const std::string name) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = std::find_if(mCmds.begin(), mCmds.end(),
                           [&name](const std::unique_ptr<Cmd> &row) { return row->name == name; });
    if (it != mCmds.end()) {
        mCmds.erase(it);
    }
}

void ServerCmds::ClearCmds() {
    mCmds.clear();
}

std::string ServerCmds::ToStr() const {
    LOGD("ServerCmds ToStr.");
    std::vector<std::string> names;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        for (const auto &row : mCmds) {
            names.push_back(row->name);
        }
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const auto &name : names) {
        text += name + "\n";
    }
    return text;
}

VyrCmdFunc ServerCmds::GetCmd(std::string cmd, std::string param) {
    std::lock_guard<std::mutex> lock(mMutex);
    LOGD("cmd %s size %d", cmd.c_str(), static_cast<int>(cmd.length()));
    auto notAlpha = [](char c) { return isalpha(static_cast<unsigned char>(c)) == 0; };
    auto first = std::find_if_not(cmd.begin(), cmd.end(), notAlpha);
    cmd.erase(cmd.begin(), first);
    auto last = std::find_if_not(cmd.rbegin(), cmd.rend(), notAlpha);
    cmd.erase(last.base(), cmd.end());
    for (const auto &row : mCmds) {
        if (strcasecmp(row->name.c_str(), cmd.c_str()) == 0) {
            LOGI("cmd = %s, param = %s", cmd.c_str(), param.c_str());
            return row->func;
        }
    }
    LOGE("not found cmd = %s, param = %s", cmd.c_str(), param.c_str());
    return mDefault;
}

void ServerCmds::HandleCmd(const std::string client, const std::string cmd,
                           const std::vector<uint8_t> in, std::vector<uint8_t> &out) {
    LOGD("HandleCmd %s from hw binder.", cmd.c_str());
    std::string param(in.begin(), in.end());
    VyrCmdFunc func = GetCmd(cmd, param);
    if (func) {
        func(client, param, out);
    }
}

void ServerCmds::HandleData(const std::string cmd, int32_t size, std::vector<uint8_t> &out) {
    std::string param = std::to_string(size);
    LOGD("HandleDate %s from hw binder.", cmd.c_str());
    VyrCmdFunc func = GetCmd(cmd, param);
    if (func) {
        func("HandleDate", param, out);
    }
}
