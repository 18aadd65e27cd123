#include "platform/PropertyTable.h"

#include <sys/system_properties.h>

#include <cstdlib>

PropertyTable::PropertyTable()
    : mRows{
          {"SystemName", "ro.product.system.name", ""},
          {"VerSys", "ro.build.display.id", ""},
          {"AndroidVer", "ro.build.version.release", "0"},
          {"Holster", "ro.config.tolvi_smallwindow", ""},
          {"ProductName", "ro.boot.product.hardware.sku", ""},
          {"ProductDevice", "ro.product.device", ""},
          {"DebugOn", "persist.sys.tolvi.debug.on", ""},
          {"FarrowRecovery", "farrow.recovery", ""},
          {"VYRlogEnable", "persist.odm.vyr.vyrlog_enabled", ""},
          {"LogtofileOnBoot", "persist.odm.vyr.logtofile_onboot", "false"},
          {"VyrlogRemote", "persist.odm.vyr.remotelog", "false"},
          {"PersistVerDae", "persist.odm.vyr.ver_dae", ""},
          {"ServiceEnable", "odm.vyr.service_enable", "false"},
          {"DaeAlive", "odm.vyr.dae_alive", "false"},
          {"RebootTimes", "odm.vyr.dae_reboot_times", "0"},
          {"LogLevel", "odm.vyr.loglevel", "3"},
          {"BootFlag", "odm.vyr.dae_bootflag", "false"},
          {"VerAlg", "odm.vyr.ver_alg", ""},
          {"VerHal", "odm.vyr.ver_hal", ""},
          {"VerApi", "odm.vyr.ver_api", ""},
          {"GitID", "odm.vyr.git_commit_id", ""},
          {"GitTime", "odm.vyr.git_commit_time", ""},
          {"Permissive", "odm.vyr.debug.selinux.permissive", ""},
          {"OsFlag", "odm.vyr.os.flag", ""},
          {"HalStatus", "odm.vyr.hal_status", ""},
          {"BtPenNode", "odm.vyr.btpen_node", ""},
          {"FrameTimer", "odm.vyr.frame_timer", "1000"},
          {"UserType", "ro.logsystem.usertype", ""},
          {"SosDump", "persist.odm.vyr.sos_dump", "false"},
          {"ArList", "odm.vyr.arlist", "0"},
          {"AoFaceIdSupport", "odm.vyr.ao_faceid_support", "0"},
      } {}

const PropertyRow &PropertyTable::Find(const std::string &key) {
    mName.clear();
    for (const auto &row : mRows) {
        if (row.key == key) {
            mName = row.name;
            return row;
        }
    }
    return mRows.front();
}

int PropertyTable::Read(const std::string &key, std::string &value) {
    std::lock_guard<std::mutex> lock(mMutex);
    const PropertyRow &row = Find(key);
    std::string name = row.name;
    std::string defaultValue = row.defaultValue;
    mBuffer[0] = '\0';
    int n = __system_property_get(name.c_str(), mBuffer);
    if (n < 1) {
        value = defaultValue;
        return static_cast<int>(value.length()) + 1;
    }
    value = mBuffer;
    if (name.find("ro.") == std::string::npos) {
        // Writable properties are written back on every successful read.
        __system_property_set(name.c_str(), value.c_str());
    }
    return n;
}

int PropertyTable::ReadInt(const std::string &key, uint32_t &value) {
    int n = Read(key, mValue);
    if (!mValue.empty()) {
        value = static_cast<uint32_t>(strtoul(mValue.c_str(), nullptr, 10));
    }
    return n;
}

int PropertyTable::Write(const std::string &key, const std::string &value) {
    std::lock_guard<std::mutex> lock(mMutex);
    const PropertyRow &row = Find(key);
    return __system_property_set(row.name.c_str(), value.c_str());
}
