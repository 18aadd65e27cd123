// Name, build stamp and three-part version number of the HAL and its modules.
#pragma once

#include <cstdint>
#include <string>

class HalVersion {
public:
    HalVersion() = default;
    HalVersion(const std::string &name, int32_t major, int32_t minor, int32_t patch,
               const std::string &build);

    void SetVersion(int32_t major, int32_t minor, int32_t patch);
    void SetName(const std::string &name);
    void SetBuild(const std::string &build);

    // "major.minor.patch"; kept in mText.
    std::string GetVersionNumber();
    // "<name>/Version:<major.minor.patch>/<build>"; kept in mText.
    std::string GetVersionText();

    const std::string &GetName() const { return mName; }
    const std::string &GetBuild() const { return mBuild; }
    const std::string &GetText() const { return mText; }

    // The HAL's own version ("VyrHal" 1.5.2, build stamp of this library).
    // Modules copy it and put their name in. Changed only on the start thread.
    static HalVersion &Default();

private:
    std::string mName;
    std::string mBuild;
    int32_t mMajor = 0;
    int32_t mMinor = 0;
    int32_t mPatch = 0;
    std::string mText;
};
