// Kernel nodes and product facts: the product name, the product's
// configuration map, node reads and writes behind the path check, input
// devices by name, touch panel count and the process's memory figures.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class LogSink;
class VyrHal;

class Sysfs {
public:
    explicit Sysfs(VyrHal &hal);

    Sysfs(const Sysfs &) = delete;
    Sysfs &operator=(const Sysfs &) = delete;

    // Product name, product file, panel count. Always true.
    bool Init();
    void UpdateXml();
    // The product test: true when the product file names `key`.
    bool HasXmlConfig(const std::string key);
    // The items of `key` closed by "-" ("A-B-"), or empty when it is missing.
    std::string GetXmlConfig(const std::string key);
    const std::string &GetProduct() const { return mProduct; }

    // 0 for the single unnumbered panel, otherwise the numbered panels found.
    int GetPanelNum();

    // Raw read of at most `len` bytes. A node that resolves but cannot be
    // opened gives true with `buf` untouched.
    bool ReadFile(const std::string path, char *buf, uint32_t len);
    // Text read, trimmed at both ends; true when the file was opened.
    bool ReadFile(const std::string path, std::string &out);
    bool Write(const std::string path, const std::string text);
    // Raw write; the result is always false and means nothing.
    bool Write(const std::string path, const char *buf, uint32_t len);

    // Input devices whose names start with one of `names`: full device name
    // to an open descriptor, which the caller owns.
    std::map<std::string, int> GetInputDevice(std::vector<std::string> names);
    int OpenFpAuxiliary();
    int SetFpAuxiliaryResult(const uint8_t *data, uint32_t len);

    // Proportional set size of this process in kB; 0 when unknown.
    uint64_t GetMemoryPss();
    // Logs the mappings of this process with their non-zero Pss figures.
    void GetMemInfoDetail();

    // Node helpers.
    bool SetPalmetryEnable(bool enable);
    bool SetPalmetryReqData(bool enable);
    std::string GetPalmetryDataReady();
    bool ReadPalmetryLatchData(char *buf, uint32_t len);
    bool ReadPalmetryLatchData2(char *buf, uint32_t len);
    std::string GetRoiData();
    std::string GetTouchChipInfo();
    std::string GetLcdModel();
    std::string GetLcdModel1();

private:
    friend class MatchRules;

    // Raw read of a short text node: up to the first NUL, empty on failure.
    std::string ReadShortNode(const std::string path);

    VyrHal &mHal;
    LogSink &mLog;
    std::string mProduct;
    std::map<std::string, std::string> mConfig;
    int32_t mPanelNum = 0;
};
