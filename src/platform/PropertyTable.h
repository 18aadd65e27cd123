// Logical keys for every Android property the library reads or writes.
// Made on the caller's stack for one use; nothing is cached.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

struct PropertyRow {
    std::string key;
    std::string name;
    std::string defaultValue;
};

class PropertyTable {
public:
    PropertyTable();

    int GetSystemName(std::string &value) { return Read("SystemName", value); }
    int GetProductName(std::string &value) { return Read("ProductName", value); }
    int GetProductDevice(std::string &value) { return Read("ProductDevice", value); }
    int GetVYRlogEnable(std::string &value) { return Read("VYRlogEnable", value); }
    int GetBtPenNode(std::string &value) { return Read("BtPenNode", value); }
    int GetArList(std::string &value) { return Read("ArList", value); }
    int GetAoFaceIdSupport(std::string &value) { return Read("AoFaceIdSupport", value); }
    int GetSosDump(std::string &value) { return Read("SosDump", value); }

    int GetAndroidVer(uint32_t &value) { return ReadInt("AndroidVer", value); }
    int GetRebootTimes(uint32_t &value) { return ReadInt("RebootTimes", value); }
    int GetHalStatus(uint32_t &value) { return ReadInt("HalStatus", value); }
    int GetFrameTimer(uint32_t &value) { return ReadInt("FrameTimer", value); }
    int GetUserType(uint32_t &value) { return ReadInt("UserType", value); }

    int SetDaeAlive(const std::string &value) { return Write("DaeAlive", value); }
    int SetBtPenNode(const std::string &value) { return Write("BtPenNode", value); }
    int SetArList(const std::string &value) { return Write("ArList", value); }
    int SetVerHal(const std::string &value) { return Write("VerHal", value); }
    int SetPersistVerDae(const std::string &value) { return Write("PersistVerDae", value); }
    int SetVerAlg(const std::string &value) { return Write("VerAlg", value); }
    int SetGitID(const std::string &value) { return Write("GitID", value); }
    int SetGitTime(const std::string &value) { return Write("GitTime", value); }
    int SetAoFaceIdSupport(const std::string &value) { return Write("AoFaceIdSupport", value); }

    int SetDaeAlive(bool value) { return Write("DaeAlive", value ? "true" : "false"); }
    int SetBootFlag(bool value) { return Write("BootFlag", value ? "true" : "false"); }
    int SetServiceEnable(bool value) { return Write("ServiceEnable", value ? "true" : "false"); }

    int SetRebootTimes(uint32_t value) { return Write("RebootTimes", std::to_string(value)); }
    int SetHalStatus(uint32_t value) { return Write("HalStatus", std::to_string(value)); }
    int SetLogLevel(uint32_t value) { return Write("LogLevel", std::to_string(value)); }

    // The Android property name of the row found last (empty on a miss).
    const std::string &LastName() const { return mName; }
    const std::vector<PropertyRow> &Rows() const { return mRows; }

private:
    const PropertyRow &Find(const std::string &key);
    int Read(const std::string &key, std::string &value);
    int ReadInt(const std::string &key, uint32_t &value);
    int Write(const std::string &key, const std::string &value);

    std::string mName;
    std::mutex mMutex;
    char mBuffer[128] = {0};
    std::string mValue;
    std::vector<PropertyRow> mRows;
};
