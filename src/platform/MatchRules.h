// Reads the product XML and picks the product element that fits this phone.
// The rule children of the winning product become the configuration map of
// Sysfs: element name -> item texts joined with "-".
#pragma once

#include <string>

namespace tinyxml2 {
class XMLElement;
}

class LogSink;
class Sysfs;
class VyrHal;

class MatchRules {
public:
    MatchRules(VyrHal &hal, Sysfs &sysfs);

    MatchRules(const MatchRules &) = delete;
    MatchRules &operator=(const MatchRules &) = delete;

    // Does the whole read; false when no file could be opened as XML.
    bool Init();
    // Text of the first child element called `name`; empty when missing.
    std::string GetChildText(tinyxml2::XMLElement *node, const std::string name);
    // Appends the texts of the "item" children of `node`, joined with "-".
    // An item element without text is never stepped over: every item of a
    // product file must hold text.
    void GetItem(tinyxml2::XMLElement *node, std::string &out);
    // Reads "version_info" into mDate and mAuthor.
    void GetVersion(tinyxml2::XMLElement *root);

    const std::string &GetDate() const { return mDate; }
    const std::string &GetAuthor() const { return mAuthor; }

    static constexpr const char *kFileName = "tolvi_vyr_product_config.xml";

private:
    bool IsMatch(const std::string &product, const std::string &name,
                 const std::string &method) const;
    void ReadRule(tinyxml2::XMLElement *product);

    [[maybe_unused]] VyrHal &mHal;
    LogSink &mLog;
    Sysfs &mSysfs;
    std::string mDate;
    std::string mAuthor;
};
