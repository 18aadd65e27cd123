#include <android/log.h>
#include <assert.h>

#include <cstdlib>

extern "C" void __assert2(const char *file, int line, const char *function,
                          const char *failed_expression) {
    __android_log_print(ANDROID_LOG_FATAL, "libc", "%s:%d: %s: assertion \"%s\" failed",
                        file != nullptr ? file : "?", line, function != nullptr ? function : "?",
                        failed_expression != nullptr ? failed_expression : "?");
    abort();
}
