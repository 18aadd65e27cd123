// The HAL's own named commands.
#include <android/log.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "hal/ModuleBase.h"
#include "hal/ProcessEnd.h"
#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "platform/Utils.h"

bool VyrHal::InitVyrd() {
    return InitVyrdLogLevel() && InitVyrdVersion() && InitVyrdSystrace() && InitVyrdStartTime() &&
           InitVyrdScreenOn() && InitVyrdScreenOff() && InitVyrdUserPresent() &&
           InitVyrdCallback() && InitVyrdFmqSize() && InitVyrdClientDisable() && InitVyrdReboot() &&
           InitVyrdDump();
}

bool VyrHal::InitVyrdLogLevel() {
    return GetServerCmds().AddCmd(
        "loglevel", [this](const std::string, const std::string param, std::vector<uint8_t> &out) {
            if (!param.empty()) {
                // A non-numeric parameter fails as the standard conversion does.
                uint32_t requested = static_cast<uint32_t>(std::stoi(param));
                uint32_t level = (requested == 0 || requested > 5) ? 3 : requested;
                LOGI("set logleve as %d, actually %d",
                     requested == 0 ? 3 : static_cast<int>(requested), static_cast<int>(level));
                SetLogLevel(static_cast<int>(level));
            }
            SetReply(out, std::to_string(GetLogLevel()));
        });
}

bool VyrHal::InitVyrdVersion() {
    return GetServerCmds().AddCmd(
        "version", [this](const std::string, const std::string param, std::vector<uint8_t> &out) {
            LOGI("%s", param.c_str());
            LOGI("%s", mVersions.c_str());
            SetReply(out, mVersions);
        });
}

bool VyrHal::InitVyrdSystrace() {
    return GetServerCmds().AddCmd(
        "systrace", [this](const std::string, const std::string param, std::vector<uint8_t> &out) {
            std::string lowered;
            for (char c : param) {
                lowered += static_cast<char>(tolower(static_cast<unsigned char>(c)));
            }
            if (lowered == "on" || lowered == "1") {
                mTrace.SetEnable(true);
            } else if (lowered == "off" || lowered == "0") {
                mTrace.SetEnable(false);
            }
            SetReply(out, mTrace.IsEnabled() ? "true" : "false");
        });
}

bool VyrHal::InitVyrdStartTime() {
    return GetServerCmds().AddCmd(
        "starttime", [this](const std::string, const std::string, std::vector<uint8_t> &out) {
            std::string text = FormatTime(mStartRealTime, 0) + "\nduration is " +
                               std::to_string(RealTimeMs() - mStartRealTime) + " ms";
            SetReply(out, text);
        });
}

bool VyrHal::InitVyrdScreenOn() {
    return GetServerCmds().AddCmd(
        "SCREEN_ON", [this](const std::string, const std::string, std::vector<uint8_t> &out) {
            mHalStatus.Set(HAL_STATUS_SCREEN_ON);
            SetReply(out, "receive screen on");
        });
}

bool VyrHal::InitVyrdScreenOff() {
    return GetServerCmds().AddCmd(
        "SCREEN_OFF", [this](const std::string, const std::string, std::vector<uint8_t> &out) {
            mHalStatus.Clear(HAL_STATUS_SCREEN_ON);
            SetReply(out, "receive screen off");
        });
}

bool VyrHal::InitVyrdUserPresent() {
    return GetServerCmds().AddCmd(
        "USER_PRESENT", [this](const std::string, const std::string, std::vector<uint8_t> &out) {
            mHalStatus.Touch();
            SetReply(out, "receive user present");
        });
}

bool VyrHal::InitVyrdCallback() {
    return GetServerCmds().AddCmd(
        "callback", [this](const std::string, const std::string param, std::vector<uint8_t> &out) {
            std::string text = "usage: vyrd callback client,eventType,eventCode";
            if (!param.empty()) {
                std::vector<std::string> fields = Split(param, ",");
                if (fields.size() == 3) {
                    vyr_msg_t msg;
                    msg.client = fields[0];
                    msg.type = atoi(fields[1].c_str());
                    msg.dataSize = 2;
                    msg.data = {1, atoi(fields[2].c_str())};
                    GetNotify().notify(msg);
                    text = "send msg to " + fields[0] + " eventType=" + fields[1] +
                           " eventCode=" + fields[2];
                }
            }
            SetReply(out, text);
        });
}

bool VyrHal::InitVyrdFmqSize() {
    return GetServerCmds().AddCmd(
        "fmqSize", [this](const std::string, const std::string, std::vector<uint8_t> &out) {
            if (mFmqSize == 0) {
                mFmqSize = 4096;
            }
            out.resize(sizeof(mFmqSize));
            memcpy(out.data(), &mFmqSize, sizeof(mFmqSize));
        });
}

bool VyrHal::InitVyrdClientDisable() {
    return GetServerCmds().AddCmd(
        "client-disable",
        [this](const std::string client, const std::string, std::vector<uint8_t> &out) {
            LOGI("client: %s", client.c_str());
            for (auto &module : mModules) {
                module->DisableClient(client);
            }
            SetReply(out, client + " disable ok");
        });
}

bool VyrHal::InitVyrdReboot() {
    return GetServerCmds().AddCmd(
        "reboot", [](const std::string client, const std::string, std::vector<uint8_t> &out) {
            SetReply(out, client + " reboot ok");
            EndProcess();
        });
}

bool VyrHal::InitVyrdDump() {
    return GetServerCmds().AddCmd(
        "dump", [this](const std::string, const std::string param, std::vector<uint8_t> &out) {
            // No parameter; blanks and line ends around nothing are forgiven.
            if (param.find_first_not_of(" \t\r\n") != std::string::npos) {
                SetReply(out, "usage: vyrd dump");
                return;
            }
            SetReply(out, DumpState());
        });
}
