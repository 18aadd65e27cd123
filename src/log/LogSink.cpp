#include "log/LogSink.h"

#include <android/log.h>
#include <boundchk.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "hal/VyrHal.h"

namespace {

uint64_t RealTimeMs() {
    timespec ts{};
    if (clock_gettime(CLOCK_REALTIME, &ts) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

char LevelLetter(int32_t level) {
    switch (level) {
        case 1:
            return 'E';
        case 2:
            return 'W';
        case 3:
            return 'I';
        case 4:
            return 'D';
        default:
            return 'N';
    }
}

int LevelPriority(int32_t level) {
    switch (level) {
        case 1:
            return ANDROID_LOG_ERROR;
        case 2:
            return ANDROID_LOG_WARN;
        case 3:
            return ANDROID_LOG_INFO;
        case 4:
            return ANDROID_LOG_DEBUG;
        default:
            return -1;
    }
}

// The calling thread's id. A system call costs more than the rest of a file
// line, so each thread asks once; a forked child asks again.
thread_local int tCachedTid = 0;

void ForgetTidInChild() {
    tCachedTid = 0;
}

int CurrentTid() {
    if (tCachedTid == 0) {
        static const int registered = pthread_atfork(nullptr, nullptr, ForgetTidInChild);
        (void)registered;
        tCachedTid = static_cast<int>(syscall(SYS_gettid));
    }
    return tCachedTid;
}

// The signature cut at its first "(", then everything up to and including
// its last blank dropped. Points into `signature`.
std::string_view ShortNameView(const char *signature) {
    if (signature == nullptr) {
        return std::string_view("");
    }
    std::string_view name(signature);
    size_t paren = name.find('(');
    if (paren != std::string_view::npos) {
        name = name.substr(0, paren);
    }
    size_t blank = name.rfind(' ');
    if (blank != std::string_view::npos) {
        name = name.substr(blank + 1);
    }
    return name;
}

// "2026-01-31 12.30.05.042 1873 I/[1769862605042]" into `out`; its length,
// 0 on failure.
size_t FormatPrefix(char *out, size_t size, uint64_t nowMs, int32_t level) {
    time_t seconds = static_cast<time_t>(nowMs / 1000);
    struct tm local {};
    localtime_r(&seconds, &local);
    char when[32];
    if (strftime(when, sizeof(when), "%Y-%m-%d %H.%M.%S", &local) == 0) {
        when[0] = '\0';
    }
    int n = snprintf(out, size, "%s.%03u %d %c/[%llu]", when, static_cast<unsigned>(nowMs % 1000),
                     CurrentTid(), LevelLetter(level), static_cast<unsigned long long>(nowMs));
    if (n < 0) {
        out[0] = '\0';
        return 0;
    }
    return static_cast<size_t>(n) < size ? static_cast<size_t>(n) : size - 1;
}

}  // namespace

LogSink::LogSink(const std::string &name) : mName(name) {}

LogSink::~LogSink() {
    std::lock_guard<std::mutex> lock(mTextMutex);
    mText.clear();
}

std::string LogSink::GetName() const {
    return mName;
}

LogSink &LogSink::System() {
    // Never destroyed: code that runs during exit may still log through it.
    static LogSink *sink = new LogSink("sys");
    return *sink;
}

std::string LogSink::ShortName(const char *signature) {
    return std::string(ShortNameView(signature));
}

std::string LogSink::FileLinePrefix(uint64_t nowMs, int32_t level) {
    char prefix[96];
    size_t n = FormatPrefix(prefix, sizeof(prefix), nowMs, level);
    return std::string(prefix, n);
}

size_t LogSink::FormatMessage(char *buffer, const char *format, va_list ap,
                              const char *overSizeText) {
    buffer[0] = '\0';
    if (vsnprintf_s(buffer, kMessageBuffer, kMessageBuffer - 1, format, ap) < 0) {
        __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "%s", overSizeText);
    }
    buffer[kMessageBuffer - 1] = '\0';
    return strlen(buffer);
}

std::string LogSink::BuildFileLine(uint64_t nowMs, int32_t level, const char *function,
                                   size_t functionLength, const char *message, size_t length) {
    char prefix[96];
    size_t prefixLength = FormatPrefix(prefix, sizeof(prefix), nowMs, level);
    std::string line;
    line.reserve(prefixLength + functionLength + 2 + length + 1);
    line.append(prefix, prefixLength);
    line.append(function, functionLength);
    line.append(", ", 2);
    line.append(message, length);
    line.push_back('\n');
    return line;
}

std::string LogSink::Format(int32_t level, const char *function, int32_t line, const char *format,
                            ...) {
    uint64_t nowMs = RealTimeMs();
    char message[kMessageBuffer];
    va_list ap;
    va_start(ap, format);
    size_t length = FormatMessage(message, format, ap, "over size 0");
    va_end(ap);
    std::string_view name = ShortNameView(function);
    if (level != 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%.*s[%d] %s",
                            static_cast<int>(name.size()), name.data(), line, message);
    }
    return BuildFileLine(nowMs, level, name.data(), name.size(), message, length);
}

void LogSink::Output(const std::string &) {}

std::string LogSink::GetText() {
    std::lock_guard<std::mutex> lock(mTextMutex);
    return mText;
}

std::string LogSink::TakeText() {
    std::lock_guard<std::mutex> lock(mTextMutex);
    std::string text;
    text.swap(mText);
    return text;
}

int32_t LogSink::GetLevel() const {
    return 3;
}

HalLogSink::HalLogSink(const std::string &name, VyrHal *owner) : LogSink(name), mOwner(owner) {}

HalLogSink::~HalLogSink() = default;

int32_t HalLogSink::GetLevel() const {
    return mOwner->GetLogLevel();
}

std::string HalLogSink::Format(int32_t level, const char *function, int32_t line,
                               const char *format, ...) {
    uint64_t nowMs = RealTimeMs();
    char message[kMessageBuffer];
    va_list ap;
    va_start(ap, format);
    size_t length = FormatMessage(message, format, ap, "over size 2");
    va_end(ap);
    std::string_view name = ShortNameView(function);
    int32_t current = GetLevel();
    int priority = LevelPriority(level);
    // A sink named "tsa" writes to files only.
    if (priority >= 0 && current >= level && mName != "tsa") {
        __android_log_print(priority, VYR_LOG_TAG, "%.*s[%d] %s", static_cast<int>(name.size()),
                            name.data(), line, message);
    }
    if (!mOwner->IsLogEnable() || current < level) {
        return std::string();
    }
    return BuildFileLine(nowMs, level, name.data(), name.size(), message, length);
}

void HalLogSink::Output(const std::string &line) {
    if (line.empty()) {
        return;
    }
    std::lock_guard<std::mutex> lock(mTextMutex);
    if (mOwner->IsLogEnable()) {
        mText += line;
    }
}

std::string HalLogSink::TakeText() {
    return LogSink::TakeText();
}
