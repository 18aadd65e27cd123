#include "vyrd/TraceWriter.h"

#include <unistd.h>

#include <ctime>
#include <fstream>
#include <nlohmann/json.hpp>

namespace vyrd {

namespace {

std::string ThreadName(pid_t tid) {
    std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/comm");
    std::string name;
    std::getline(in, name);
    return name;
}

}  // namespace

TraceWriter::~TraceWriter() {
    Finish();
}

bool TraceWriter::Open(const std::string &path) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mFile != nullptr) {
        return false;
    }
    mFile = fopen(path.c_str(), "we");
    if (mFile == nullptr) {
        return false;
    }
    mPid = getpid();
    mFirst = true;
    fputs("[\n", mFile);
    fflush(mFile);
    return true;
}

bool TraceWriter::IsOpen() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mFile != nullptr;
}

uint64_t TraceWriter::NowUs() {
    timespec ts{};
    if (clock_gettime(CLOCK_MONOTONIC, &ts) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

void TraceWriter::WriteEvent(const char *ph, const std::string &name, pid_t tid, uint64_t ts) {
    nlohmann::ordered_json event = {
        {"name", name}, {"ph", ph}, {"ts", ts}, {"pid", mPid}, {"tid", tid}};
    std::string text = event.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    fputs(mFirst ? "" : ",\n", mFile);
    fputs(text.c_str(), mFile);
    // Written through at once: a run that dies still leaves its events.
    fflush(mFile);
    mFirst = false;
    ++mEvents;
}

void TraceWriter::Begin(const char *name) {
    const pid_t tid = gettid();
    const uint64_t ts = NowUs();
    std::string text = name != nullptr ? name : "";
    std::lock_guard<std::mutex> lock(mMutex);
    if (mFile == nullptr) {
        return;
    }
    WriteEvent("B", text, tid, ts);
    mOpen[tid].push_back(std::move(text));
}

void TraceWriter::End() {
    const pid_t tid = gettid();
    const uint64_t ts = NowUs();
    std::lock_guard<std::mutex> lock(mMutex);
    if (mFile == nullptr) {
        return;
    }
    auto it = mOpen.find(tid);
    if (it == mOpen.end() || it->second.empty()) {
        return;
    }
    WriteEvent("E", it->second.back(), tid, ts);
    it->second.pop_back();
}

void TraceWriter::Finish() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mFile == nullptr) {
        return;
    }
    const uint64_t ts = NowUs();
    for (auto &[tid, names] : mOpen) {
        while (!names.empty()) {
            WriteEvent("E", names.back(), tid, ts);
            names.pop_back();
        }
    }
    // Thread names, read now: threads name themselves after their first
    // event. A thread that has already ended keeps a numbered label.
    for (const auto &entry : mOpen) {
        const pid_t tid = entry.first;
        std::string name = ThreadName(tid);
        if (name.empty()) {
            name = "thread " + std::to_string(tid);
        }
        nlohmann::ordered_json meta = {{"name", "thread_name"},
                                       {"ph", "M"},
                                       {"pid", mPid},
                                       {"tid", tid},
                                       {"args", {{"name", name}}}};
        fputs(mFirst ? "" : ",\n", mFile);
        fputs(meta.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str(),
              mFile);
        mFirst = false;
    }
    fputs("\n]\n", mFile);
    fclose(mFile);
    mFile = nullptr;
}

uint64_t TraceWriter::EventCount() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mEvents;
}

}  // namespace vyrd
