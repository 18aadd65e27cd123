// Standard output of vyrd, in one of two forms. Lines are written whole
// under a mutex and flushed, because result messages arrive on library
// threads at any time, beside the replies of the command thread.
//
// JSON lines (the default when standard output is not a terminal, and with
// --json), one object per line:
//   {"event":"loaded","lib":..,"version":..}         the library is loaded
//   {"event":"init","result":..}                       vyr_init returned
//   {"command":..,"client":..,"param":..,"reply":..}  a text reply
//   {"command":..,"client":..,"param":..,"replyHex":..,"replySize":..}
//                                                      a reply with bytes that are not text
//   {"command":..,"size":..,"result":..}               bytes handed to vyr_fmq_data
//   {"say":..}                                         a step of a script told ("say TEXT")
//   {"client":..,"type":..,"dataSize":..,"data":[..]} a result message
//
// Human text (when standard output is a terminal, and with --human):
// replies as their text (a JSON reply indented), each result as its human
// line after the seconds since vyrd started, "say" lines as they stand.
// Commands are not echoed unless verbose ("> flip on"); replies of a script
// can be kept quiet, so that a told script reads as its story.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "hal/vyr_hal.h"

namespace vyrd {

class Output {
public:
    enum class Form { kJson, kHuman };

    // plainReplies: replies as their raw text instead of JSON lines.
    explicit Output(bool plainReplies = false)
        : mPlainReplies(plainReplies), mStart(std::chrono::steady_clock::now()) {}

    void SetPlainReplies(bool plain) { mPlainReplies = plain; }
    // Follow each known result line with a human line ("# flip: face down").
    void SetDescribe(bool describe) { mDescribe = describe; }
    void SetForm(Form form) { mForm = form; }
    Form GetForm() const { return mForm; }
    // Human form: echo each command ("> name param") before its reply.
    void SetVerbose(bool verbose) { mVerbose = verbose; }
    // Human form: leave replies out unless verbose (a told script).
    void SetQuietReplies(bool quiet) { mQuietReplies = quiet; }

    void Event(const nlohmann::ordered_json &line);
    void Reply(const std::string &command, const std::string &client, const std::string &param,
               const std::vector<uint8_t> &reply);
    // Bytes handed to vyr_fmq_data by the command `what`.
    void Fmq(const std::string &what, size_t size, int32_t result);
    // Human form, verbose: the command about to run.
    void Command(const std::string &name, const std::string &param);
    void Say(const std::string &text);
    void Result(const vyr_msg_t &msg);
    // A line of text as it stands (human form only; JSON lines skip it).
    void Note(const std::string &text);

    // Printable ASCII plus tab, newline and carriage return.
    static bool IsText(const std::vector<uint8_t> &bytes);
    static std::string Hex(const std::vector<uint8_t> &bytes);
    // The JSON object of one result message, fields in record order.
    static nlohmann::ordered_json ResultJson(const vyr_msg_t &msg);
    // The human text of a reply: its text, a JSON document indented, other
    // bytes in hex.
    static std::string HumanReply(const std::vector<uint8_t> &reply);

private:
    void WriteLine(const std::string &text);
    bool ShowReplies() const { return mVerbose || !mQuietReplies; }
    std::string Elapsed() const;

    std::mutex mMutex;
    bool mPlainReplies;
    bool mDescribe = false;
    Form mForm = Form::kJson;
    bool mVerbose = false;
    bool mQuietReplies = false;
    const std::chrono::steady_clock::time_point mStart;
};

}  // namespace vyrd
