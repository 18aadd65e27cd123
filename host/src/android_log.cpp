// Android log on Linux: every message becomes logcat "threadtime" lines,
//   MM-DD HH:MM:SS.mmm   PID   TID P TAG: message
// written to standard error (unless VYR_LOG_STDERR is "0") and appended to
// the file named by VYR_LOGCAT when set. Each line leaves in one write(), so
// lines of several threads and processes never mix. The letter is V D I W E F
// by priority; UNKNOWN and DEFAULT print as D, anything above FATAL as F.
#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

namespace {

constexpr size_t kMessageMax = 4096;

char PriorityLetter(int prio) {
    switch (prio) {
        case ANDROID_LOG_VERBOSE:
            return 'V';
        case ANDROID_LOG_INFO:
            return 'I';
        case ANDROID_LOG_WARN:
            return 'W';
        case ANDROID_LOG_ERROR:
            return 'E';
        default:
            return prio >= ANDROID_LOG_FATAL ? 'F' : 'D';
    }
}

// The VYR_LOGCAT descriptor, kept open while the variable names the same
// path. The mutex also keeps a message's lines together in the file. All
// three are trivially destructible, so logging keeps working while static
// objects of the process are being destroyed at exit.
std::mutex gFileMutex;
char gFilePath[PATH_MAX] = {0};
int gFileFd = -1;

int FileFor(const char *path) {
    if (gFileFd >= 0 && strcmp(gFilePath, path) == 0) {
        return gFileFd;
    }
    if (gFileFd >= 0) {
        close(gFileFd);
    }
    gFileFd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (gFileFd >= 0 && strlen(path) < sizeof(gFilePath)) {
        memcpy(gFilePath, path, strlen(path) + 1);
    } else {
        gFilePath[0] = '\0';
    }
    return gFileFd;
}

void WriteLine(int fd, const char *line, size_t len) {
    while (write(fd, line, len) < 0 && errno == EINTR) {
    }
}

int Emit(int prio, const char *tag, const char *msg, size_t len) {
    if (tag == nullptr) {
        tag = program_invocation_short_name;
    }
    // Trailing newlines add no lines; an empty message still gives one.
    while (len > 0 && msg[len - 1] == '\n') {
        --len;
    }

    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const int pid = static_cast<int>(getpid());
    const int tid = static_cast<int>(gettid());
    const char letter = PriorityLetter(prio);

    const char *env = getenv("VYR_LOG_STDERR");
    const bool toStderr = env == nullptr || strcmp(env, "0") != 0;
    const char *filePath = getenv("VYR_LOGCAT");
    std::unique_lock<std::mutex> lock(gFileMutex, std::defer_lock);
    int fileFd = -1;
    if (filePath != nullptr && filePath[0] != '\0') {
        lock.lock();
        fileFd = FileFor(filePath);
    }

    size_t start = 0;
    do {
        const char *nl = static_cast<const char *>(memchr(msg + start, '\n', len - start));
        size_t end = nl != nullptr ? static_cast<size_t>(nl - msg) : len;
        char line[kMessageMax + 256];
        int n = snprintf(line, sizeof(line), "%02d-%02d %02d:%02d:%02d.%03d %5d %5d %c %s: %.*s\n",
                         local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                         static_cast<int>(now.tv_nsec / 1000000), pid, tid, letter, tag,
                         static_cast<int>(end - start), msg + start);
        if (n > 0) {
            // A cut line (a huge tag) still ends with its newline.
            size_t lineLen =
                static_cast<size_t>(n) < sizeof(line) ? static_cast<size_t>(n) : sizeof(line) - 1;
            line[lineLen - 1] = '\n';
            if (toStderr) {
                WriteLine(STDERR_FILENO, line, lineLen);
            }
            if (fileFd >= 0) {
                WriteLine(fileFd, line, lineLen);
            }
        }
        start = end + 1;
    } while (start < len);
    return len > 0 ? static_cast<int>(len) : 1;
}

}  // namespace

extern "C" int __android_log_write(int prio, const char *tag, const char *text) {
    if (text == nullptr) {
        text = "(null)";
    }
    return Emit(prio, tag, text, strnlen(text, kMessageMax - 1));
}

extern "C" int __android_log_vprint(int prio, const char *tag, const char *fmt, va_list ap) {
    if (fmt == nullptr) {
        return __android_log_write(prio, tag, nullptr);
    }
    char msg[kMessageMax];
    int n = vsnprintf(msg, sizeof(msg), fmt, ap);
    if (n < 0) {
        return -EINVAL;
    }
    size_t len = static_cast<size_t>(n) < sizeof(msg) ? static_cast<size_t>(n) : sizeof(msg) - 1;
    return Emit(prio, tag, msg, len);
}

extern "C" int __android_log_print(int prio, const char *tag, const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    int result = __android_log_vprint(prio, tag, fmt, ap);
    va_end(ap);
    return result;
}
