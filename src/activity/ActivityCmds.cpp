// The named commands of Activity. Replies are plain text (or the status
// bytes); a refused request still answers as a carried-out one.
#include <cstdlib>
#include <cstring>

#include "activity/Activity.h"
#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

bool Activity::InitVyrd() {
    LOGI("+");
    return InitVyrdArConfig() && InitVyrdArOn() && InitVyrdArOff() && InitVyrdArStatus() &&
           InitVyrdArAllStatus() && InitVyrdSceneUpdate() && InitVyrdModemUpdate() &&
           InitVyrdHsFlagUpdate() && InitVyrdArCmd();
}

bool Activity::InitVyrdArConfig() {
    return AddCmd("ar_config", [this](const std::string /*client*/, const std::string /*param*/,
                                      std::vector<uint8_t> &out) {
        LOGD("VYR_CMD_ARCFG +");
        const uint64_t mask = GetArConfigMask();
        out.resize(sizeof(mask));
        for (size_t i = 0; i < sizeof(mask); ++i) {
            out[i] = static_cast<uint8_t>(mask >> (8 * i));
        }
        LOGD("VYR_CMD_ARCFG -");
    });
}

bool Activity::InitVyrdArOn() {
    return AddCmd("ar-on", [this](const std::string client, const std::string param,
                                  std::vector<uint8_t> &out) {
        std::string reply = param + " ok";
        if (client + param == mLastArCommand) {
            SetReply(out, reply);
            return;
        }
        mLastArCommand = client + param;
        const std::vector<std::string> items = Split(param, ";");
        for (size_t i = 0; i < items.size(); ++i) {
            const std::vector<std::string> fields = Split(items[i], ",");
            if (fields.size() < 4) {
                reply = "index: " + std::to_string(i) +
                        ", usage: ar-on arType,eventType,reportLatency,isWakeAp.\n";
                continue;
            }
            const int activityHandle = atoi(fields[0].c_str());
            const int eventType = atoi(fields[1].c_str());
            const int64_t reportLatencyNs = atoll(fields[2].c_str());
            const int isWakeAp = atoi(fields[3].c_str());
            LOGI("activityHandle: %d, eventType: %d, reportLatencyNs: %ld, isWakeAp: %d enable",
                 activityHandle, eventType, static_cast<long>(reportLatencyNs), isWakeAp);
            ActivitySwitch(client, activityHandle, static_cast<uint32_t>(eventType), true,
                           reportLatencyNs);
        }
        SetReply(out, reply);
    });
}

bool Activity::InitVyrdArOff() {
    return AddCmd("ar-off", [this](const std::string client, const std::string param,
                                   std::vector<uint8_t> &out) {
        std::string reply = param + " ok";
        if (client + param == mLastArCommand) {
            SetReply(out, reply);
            return;
        }
        mLastArCommand = client + param;
        const std::vector<std::string> items = Split(param, ";");
        for (size_t i = 0; i < items.size(); ++i) {
            const std::vector<std::string> fields = Split(items[i], ",");
            if (fields.size() < 2) {
                reply = "index: " + std::to_string(i) + ", usage: ar-off arType,eventType.\n";
                continue;
            }
            const int activityHandle = atoi(fields[0].c_str());
            const int eventType = atoi(fields[1].c_str());
            LOGI("activityHandle: %d, eventType: %d disable", activityHandle, eventType);
            ActivitySwitch(client, activityHandle, static_cast<uint32_t>(eventType), false, 0);
        }
        SetReply(out, reply);
    });
}

bool Activity::InitVyrdArStatus() {
    return AddCmd("ar_status", [this](const std::string /*client*/, const std::string /*param*/,
                                      std::vector<uint8_t> &out) { GetCurrentArStatus(out); });
}

bool Activity::InitVyrdArAllStatus() {
    return AddCmd("ar_all_status",
                  [this](const std::string /*client*/, const std::string /*param*/,
                         std::vector<uint8_t> &out) { GetAllCurrentArStatus(out); });
}

bool Activity::InitVyrdSceneUpdate() {
    return AddCmd("scene-update", [this](const std::string /*client*/, const std::string param,
                                         std::vector<uint8_t> &out) {
        std::string reply = "scene update";
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() < 2) {
            reply = "usage: scene-update para1,para2,para3,para4,para5";
        } else if (fields[0] == "screen_state") {
            std::lock_guard<std::mutex> lock(mLock);
            mHal.EnableConnectSensors(atoi(fields[1].c_str()) != 0);
        } else if (fields[0] == "modem_state" && fields.size() >= 3) {
            InjectModemEvent(atoi(fields[1].c_str()), atoi(fields[2].c_str()));
        }
        SetReply(out, reply);
    });
}

bool Activity::InitVyrdModemUpdate() {
    return AddCmd("modem-update", [this](const std::string /*client*/, const std::string param,
                                         std::vector<uint8_t> &out) {
        std::string reply = "modem update";
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() == 2) {
            InjectModemEvent(atoi(fields[0].c_str()), atoi(fields[1].c_str()));
        } else {
            reply = "usage: modem-update rat,cellId";
        }
        SetReply(out, reply);
    });
}

bool Activity::InitVyrdHsFlagUpdate() {
    return AddCmd("hsFlag-update", [this](const std::string /*client*/, const std::string param,
                                          std::vector<uint8_t> &out) {
        std::string reply = "hsflag update";
        const std::vector<std::string> fields =
            param.empty() ? std::vector<std::string>() : Split(param, ",");
        if (!fields.empty()) {
            std::lock_guard<std::mutex> lock(mLock);
            mHsFlag = atoi(fields[0].c_str());
            mHsFlagTime = VyrHal::MonoTimeNs();
        } else {
            reply = "usage: hsflag-update hsflag";
        }
        SetReply(out, reply);
    });
}

bool Activity::InitVyrdArCmd() {
    return AddCmd("ar-cmd", [this](const std::string /*client*/, const std::string param,
                                   std::vector<uint8_t> &out) {
        std::string reply = "ar-cmd: " + param;
        if (!param.empty()) {
            const int value = atoi(param.c_str());
            const char byte = static_cast<char>(static_cast<uint8_t>(value));
            SendArEngineCmd(&byte, 1);
        } else {
            reply += "usage: ar-cmd xxx";
        }
        SetReply(out, reply);
    });
}
