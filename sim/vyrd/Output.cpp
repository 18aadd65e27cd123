#include "vyrd/Output.h"

#include <cstdio>

#include "vyrd/Describe.h"

namespace vyrd {

namespace {

std::string Dump(const nlohmann::ordered_json &json) {
    // Client names and texts come from the library: never trust them to be
    // valid UTF-8.
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

bool Output::IsText(const std::vector<uint8_t> &bytes) {
    for (uint8_t b : bytes) {
        if ((b < 0x20 || b > 0x7e) && b != '\t' && b != '\n' && b != '\r') {
            return false;
        }
    }
    return true;
}

std::string Output::Hex(const std::vector<uint8_t> &bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (uint8_t b : bytes) {
        text.push_back(kDigits[b >> 4]);
        text.push_back(kDigits[b & 0x0f]);
    }
    return text;
}

nlohmann::ordered_json Output::ResultJson(const vyr_msg_t &msg) {
    return nlohmann::ordered_json{
        {"client", msg.client}, {"type", msg.type}, {"dataSize", msg.dataSize}, {"data", msg.data}};
}

void Output::WriteLine(const std::string &text) {
    std::lock_guard<std::mutex> lock(mMutex);
    fwrite(text.data(), 1, text.size(), stdout);
    if (text.empty() || text.back() != '\n') {
        fputc('\n', stdout);
    }
    fflush(stdout);
}

void Output::Event(const nlohmann::ordered_json &line) {
    WriteLine(Dump(line));
}

void Output::Reply(const std::string &command, const std::string &client, const std::string &param,
                   const std::vector<uint8_t> &reply) {
    const bool text = IsText(reply);
    if (mPlainReplies) {
        WriteLine(text ? std::string(reply.begin(), reply.end()) : Hex(reply));
        return;
    }
    nlohmann::ordered_json line = {{"command", command}, {"client", client}, {"param", param}};
    if (text) {
        line["reply"] = std::string(reply.begin(), reply.end());
    } else {
        line["replyHex"] = Hex(reply);
        line["replySize"] = reply.size();
    }
    WriteLine(Dump(line));
}

void Output::Result(const vyr_msg_t &msg) {
    std::string text = Dump(ResultJson(msg));
    std::string human = mDescribe ? Describe(msg) : std::string();
    if (!human.empty()) {
        text += "\n# " + human;
    }
    WriteLine(text);
}

}  // namespace vyrd
