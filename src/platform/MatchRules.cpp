#include "platform/MatchRules.h"

#include <tinyxml2.h>

#include <cstring>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Sysfs.h"
#include "platform/Utils.h"

namespace {
// Where the product file may live, in order of precedence.
constexpr const char *kSearchDirs[] = {"/odm/etc/", "/vendor/etc/"};
}  // namespace

MatchRules::MatchRules(VyrHal &hal, Sysfs &sysfs) : mHal(hal), mLog(hal), mSysfs(sysfs) {}

bool MatchRules::Init() {
    const std::string product = mSysfs.mProduct;

    tinyxml2::XMLDocument doc;
    bool loaded = false;
    for (const char *dir : kSearchDirs) {
        std::string path = std::string(dir) + kFileName;
        LOGI("loading %s", path.c_str());
        std::string real = CheckPath(path);
        if (!real.empty() && doc.LoadFile(real.c_str()) == tinyxml2::XML_SUCCESS) {
            loaded = true;
            break;
        }
        LOGE("load %s fail\n", kFileName);
    }

    // A failed parse may leave the elements read before the error behind.
    tinyxml2::XMLElement *root = loaded ? doc.FirstChildElement() : nullptr;
    if (root == nullptr) {
        LOGE("open xml error");
        return false;
    }

    GetVersion(root);

    for (tinyxml2::XMLElement *element = root->FirstChildElement("product"); element != nullptr;
         element = element->NextSiblingElement()) {
        std::string name = GetChildText(element, "product_name");
        LOGI("%s try to macth %s", product.c_str(), name.c_str());
        if (name.empty()) {
            continue;
        }
        std::string method = GetChildText(element, "method");
        if (method.empty()) {
            LOGE("no mMethod, used default match");
            method = "match";
        }
        LOGI("start used method: %s", method.c_str());
        if (!IsMatch(product, name, method)) {
            continue;
        }
        LOGI("start get rule of %s", name.c_str());
        ReadRule(element);
        break;
    }
    return true;
}

bool MatchRules::IsMatch(const std::string &product, const std::string &name,
                         const std::string &method) const {
    if (method == "match") {
        return product == name;
    }
    if (method == "include") {
        return product.find(name) != std::string::npos;
    }
    if (method == "starts_with") {
        return strncmp(product.c_str(), name.c_str(), name.length()) == 0;
    }
    return method == "skip";
}

void MatchRules::ReadRule(tinyxml2::XMLElement *product) {
    tinyxml2::XMLElement *rule = product->FirstChildElement("rule");
    if (rule == nullptr) {
        return;
    }
    for (tinyxml2::XMLElement *child = rule->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        std::string value;
        GetItem(child, value);
        const char *key = child->Value();
        mSysfs.mConfig[key != nullptr ? key : ""] = value;
    }
}

std::string MatchRules::GetChildText(tinyxml2::XMLElement *node, const std::string name) {
    if (node == nullptr) {
        LOGE("node is nullptr");
        return std::string();
    }
    tinyxml2::XMLElement *child = node->FirstChildElement(name.c_str());
    if (child == nullptr) {
        return std::string();
    }
    const char *text = child->GetText();
    return text != nullptr ? std::string(text) : std::string();
}

void MatchRules::GetItem(tinyxml2::XMLElement *node, std::string &out) {
    if (node == nullptr) {
        LOGE("node is nullptr");
        return;
    }
    tinyxml2::XMLElement *item = node->FirstChildElement("item");
    while (item != nullptr) {
        const char *text = item->GetText();
        if (text == nullptr) {
            // Only an item with text moves the walk on.
            continue;
        }
        std::string value(text);
        if (!value.empty()) {
            if (!out.empty()) {
                out += "-";
            }
            out += value;
        }
        LOGD("item: %s", text);
        item = item->NextSiblingElement("item");
    }
}

void MatchRules::GetVersion(tinyxml2::XMLElement *root) {
    if (root == nullptr) {
        LOGE("node is nullptr");
        return;
    }
    tinyxml2::XMLElement *version = root->FirstChildElement("version_info");
    if (version == nullptr) {
        return;
    }
    mDate = GetChildText(version, "latest_update_time");
    mAuthor = GetChildText(version, "latest_update_author");
    LOGI("%s, %s, ", mAuthor.c_str(), mDate.c_str());
}
