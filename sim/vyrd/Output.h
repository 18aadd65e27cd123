// Standard output of vyrd: one JSON object per line, written whole under a
// mutex and flushed, because result messages arrive on library threads at
// any time, beside the replies of the command thread.
//
// Line kinds:
//   {"event":"loaded","lib":..,"version":..}         the library is loaded
//   {"event":"init","result":..}                       vyr_init returned
//   {"command":..,"client":..,"param":..,"reply":..}  a text reply
//   {"command":..,"client":..,"param":..,"replyHex":..,"replySize":..}
//                                                      a reply with bytes that are not text
//   {"client":..,"type":..,"dataSize":..,"data":[..]} a result message
#pragma once

#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "hal/vyr_hal.h"

namespace vyrd {

class Output {
public:
    // plainReplies: replies as their raw text instead of JSON lines.
    explicit Output(bool plainReplies = false) : mPlainReplies(plainReplies) {}

    void SetPlainReplies(bool plain) { mPlainReplies = plain; }
    // Follow each known result line with a human line ("# flip: face down").
    void SetDescribe(bool describe) { mDescribe = describe; }

    void Event(const nlohmann::ordered_json &line);
    void Reply(const std::string &command, const std::string &client, const std::string &param,
               const std::vector<uint8_t> &reply);
    void Result(const vyr_msg_t &msg);

    // Printable ASCII plus tab, newline and carriage return.
    static bool IsText(const std::vector<uint8_t> &bytes);
    static std::string Hex(const std::vector<uint8_t> &bytes);
    // The JSON object of one result message, fields in record order.
    static nlohmann::ordered_json ResultJson(const vyr_msg_t &msg);

private:
    void WriteLine(const std::string &text);

    std::mutex mMutex;
    bool mPlainReplies;
    bool mDescribe = false;
};

}  // namespace vyrd
