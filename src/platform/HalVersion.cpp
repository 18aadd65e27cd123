#include "platform/HalVersion.h"

HalVersion::HalVersion(const std::string &name, int32_t major, int32_t minor, int32_t patch,
                       const std::string &build)
    : mName(name), mBuild(build), mMajor(major), mMinor(minor), mPatch(patch) {}

void HalVersion::SetVersion(int32_t major, int32_t minor, int32_t patch) {
    mMajor = major;
    mMinor = minor;
    mPatch = patch;
}

void HalVersion::SetName(const std::string &name) {
    mName = name;
}

void HalVersion::SetBuild(const std::string &build) {
    mBuild = build;
}

std::string HalVersion::GetVersionNumber() {
    mText = std::to_string(mMajor) + "." + std::to_string(mMinor) + "." + std::to_string(mPatch);
    return mText;
}

std::string HalVersion::GetVersionText() {
    std::string number = GetVersionNumber();
    mText = mName + "/Version:" + number + "/" + mBuild;
    return mText;
}

HalVersion &HalVersion::Default() {
    // The build stamp is the compile time of this file.
    static HalVersion version("VyrHal", 1, 5, 2,
                              std::string("BuildTime:") + __DATE__ + " " + __TIME__);
    return version;
}
