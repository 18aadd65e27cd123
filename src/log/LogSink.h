// The log class: every line of the library goes through one sink.
//
// One statement: test GetLevel() >= level, then Output(Format(...)). The
// VYR_LOG macro below is the only form used, so a disabled statement costs
// one virtual call and a compare and evaluates none of its arguments.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

class VyrHal;

inline constexpr const char *VYR_LOG_TAG = "vyr_tolvi";

class LogSink {
public:
    explicit LogSink(const std::string &name);
    virtual ~LogSink();

    LogSink(const LogSink &) = delete;
    LogSink &operator=(const LogSink &) = delete;

    virtual std::string GetName() const;
    // Builds one line: logcat output by level, and the returned file line
    // (empty when nothing goes to a file).
    virtual std::string Format(int32_t level, const char *function, int32_t line,
                               const char *format, ...) __attribute__((format(printf, 5, 6)));
    virtual void Output(const std::string &line);
    virtual std::string GetText();
    virtual std::string TakeText();
    virtual int32_t GetLevel() const;

    // The process-wide sink named "sys", used before a better one exists.
    static LogSink &System();

    // "virtual bool VyrLog::PreInit()" -> "VyrLog::PreInit".
    static std::string ShortName(const char *signature);
    // "2026-01-31 12.30.05.042 1873 I/[1769862605042]"
    static std::string FileLinePrefix(uint64_t nowMs, int32_t level);

protected:
    // Formats the message into `buffer` (kMessageBuffer bytes, at most
    // kMessageBuffer - 1 characters); a cut message logs `overSizeText` and
    // keeps what fitted. Returns the length.
    static size_t FormatMessage(char *buffer, const char *format, va_list ap,
                                const char *overSizeText) __attribute__((format(printf, 2, 0)));
    // The file line: prefix, short name, ", ", message, newline. The only
    // allocation of a statement.
    static std::string BuildFileLine(uint64_t nowMs, int32_t level, const char *function,
                                     size_t functionLength, const char *message, size_t length);

    static constexpr size_t kMessageBuffer = 2048;

    std::string mName;
    std::string mText;
    std::mutex mTextMutex;
};

// The sink of VyrHal: level and file switch live in the owner.
class HalLogSink : public LogSink {
public:
    HalLogSink(const std::string &name, VyrHal *owner);
    ~HalLogSink() override;

    std::string Format(int32_t level, const char *function, int32_t line, const char *format,
                       ...) override __attribute__((format(printf, 5, 6)));
    void Output(const std::string &line) override;
    std::string TakeText() override;
    int32_t GetLevel() const override;

private:
    VyrHal *mOwner;
};

#define VYR_LOG_AT(sink, gate, level, ...)                                                \
    do {                                                                                  \
        LogSink &vyrLogSink_ = (sink);                                                    \
        if (vyrLogSink_.GetLevel() >= (gate)) {                                           \
            vyrLogSink_.Output(                                                           \
                vyrLogSink_.Format((level), __PRETTY_FUNCTION__, __LINE__, __VA_ARGS__)); \
        }                                                                                 \
    } while (0)

#define VYR_LOG(sink, level, ...) VYR_LOG_AT(sink, level, level, __VA_ARGS__)

// Short forms for classes holding `LogSink &mLog`.
#define LOGE(...) VYR_LOG(mLog, 1, __VA_ARGS__)
#define LOGW(...) VYR_LOG(mLog, 2, __VA_ARGS__)
#define LOGI(...) VYR_LOG(mLog, 3, __VA_ARGS__)
#define LOGD(...) VYR_LOG(mLog, 4, __VA_ARGS__)
// Very frequent statements: need level 5, print as level 4.
#define LOGV(...) VYR_LOG_AT(mLog, 5, 4, __VA_ARGS__)
