#include "vyrd/Output.h"

#include <cstdio>
#include <sstream>

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

std::string Output::HumanReply(const std::vector<uint8_t> &reply) {
    if (!IsText(reply)) {
        return Hex(reply);
    }
    std::string text(reply.begin(), reply.end());
    if (!text.empty() && text.front() == '{') {
        nlohmann::ordered_json doc = nlohmann::ordered_json::parse(text, nullptr, false);
        if (!doc.is_discarded()) {
            return doc.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        }
    }
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    return text;
}

std::string Output::Elapsed() const {
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - mStart).count();
    char text[32];
    snprintf(text, sizeof(text), "%8.2f s  ", seconds);
    return text;
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
    if (mForm == Form::kJson) {
        WriteLine(Dump(line));
        return;
    }
    // Start-up lines matter at a prompt or with -v; a failed start is told
    // on standard error anyway.
    if (!mVerbose) {
        return;
    }
    const std::string event = line.value("event", "");
    if (event == "loaded") {
        WriteLine("vyrd: loaded " + line.value("lib", "") + ", version " +
                  line.value("version", ""));
    } else if (event == "init") {
        WriteLine("vyrd: vyr_init returned " + std::to_string(line.value("result", 0)));
    } else {
        WriteLine(Dump(line));
    }
}

void Output::Fmq(const std::string &what, size_t size, int32_t result) {
    if (mForm == Form::kJson) {
        WriteLine(Dump({{"command", what}, {"size", size}, {"result", result}}));
        return;
    }
    if (ShowReplies()) {
        WriteLine(what + ": " + std::to_string(size) + " bytes to the queue, result " +
                  std::to_string(result));
    }
}

void Output::Command(const std::string &name, const std::string &param) {
    if (mForm == Form::kHuman && mVerbose) {
        WriteLine("> " + name + (param.empty() ? "" : " " + param));
    }
}

void Output::Say(const std::string &text) {
    if (mForm == Form::kJson) {
        WriteLine(Dump({{"say", text}}));
        return;
    }
    WriteLine(text);
}

void Output::Note(const std::string &text) {
    if (mForm == Form::kHuman) {
        WriteLine(text);
    }
}

void Output::Reply(const std::string &command, const std::string &client, const std::string &param,
                   const std::vector<uint8_t> &reply) {
    if (mForm == Form::kHuman) {
        if (ShowReplies()) {
            WriteLine(HumanReply(reply));
        }
        return;
    }
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
    if (mForm == Form::kHuman) {
        std::string human = Describe(msg);
        if (human.empty()) {
            std::ostringstream values;
            for (size_t i = 0; i < msg.data.size(); ++i) {
                values << (i > 0 ? "," : "") << msg.data[i];
            }
            human = msg.client + ", type " + std::to_string(msg.type) + ": " + values.str();
        }
        WriteLine(Elapsed() + human);
        return;
    }
    std::string text = Dump(ResultJson(msg));
    std::string human = mDescribe ? Describe(msg) : std::string();
    if (!human.empty()) {
        text += "\n# " + human;
    }
    WriteLine(text);
}

}  // namespace vyrd
