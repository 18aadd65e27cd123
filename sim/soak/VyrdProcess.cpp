#include "soak/VyrdProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace soak {

VyrdProcess::~VyrdProcess() {
    if (mPid > 0 && !mExited) {
        Kill();
        int status = 0;
        Wait(5000, status);
    }
    CloseInput();
    if (mReader.joinable()) {
        mReader.join();
    }
}

bool VyrdProcess::Start(const std::string &program, const std::vector<std::string> &args,
                        const std::string &stderrPath, LineHandler onLine) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0) {
        return false;
    }
    if (pipe2(out, O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return false;
    }
    const int err = open(stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    // Under an emulator (a cross build run on another machine), VYR_EMULATOR
    // holds its command words, an absolute path first: vyrd starts through it.
    std::vector<std::string> words;
    const char *prefix = getenv("VYR_EMULATOR");
    std::istringstream emulator(prefix != nullptr ? prefix : "");
    for (std::string word; emulator >> word;) {
        words.push_back(word);
    }
    words.push_back(program);
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        if (err >= 0) {
            dup2(err, STDERR_FILENO);
        }
        signal(SIGPIPE, SIG_DFL);
        execv(argv[0], argv.data());
        _exit(127);
    }
    const int saved = errno;
    close(in[0]);
    close(out[1]);
    if (err >= 0) {
        close(err);
    }
    if (pid < 0) {
        close(in[1]);
        close(out[0]);
        errno = saved;
        return false;
    }
    mPid = pid;
    mInput = in[1];
    mExited = false;
    mReader = std::thread([this, fd = out[0], onLine]() { ReadLines(fd, onLine); });
    return true;
}

void VyrdProcess::ReadLines(int fd, LineHandler onLine) {
    std::string pending;
    char buffer[65536];
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        pending.append(buffer, static_cast<size_t>(n));
        size_t start = 0;
        for (size_t end = pending.find('\n'); end != std::string::npos;
             end = pending.find('\n', start)) {
            onLine(pending.substr(start, end - start));
            start = end + 1;
        }
        pending.erase(0, start);
    }
    if (!pending.empty()) {
        onLine(pending);
    }
    close(fd);
}

bool VyrdProcess::Send(const std::string &line) {
    if (mInput < 0) {
        return false;
    }
    const std::string text = line + "\n";
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(mInput, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

void VyrdProcess::CloseInput() {
    if (mInput >= 0) {
        close(mInput);
        mInput = -1;
    }
}

bool VyrdProcess::Wait(int timeoutMs, int &status) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!mExited) {
        const pid_t done = waitpid(mPid, &mStatus, WNOHANG);
        if (done == mPid) {
            mExited = true;
            break;
        }
        if (done < 0 && errno != EINTR) {
            return false;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        usleep(10000);
    }
    status = mStatus;
    if (mReader.joinable()) {
        mReader.join();
    }
    return true;
}

void VyrdProcess::Kill() {
    if (mPid > 0 && !mExited) {
        kill(mPid, SIGKILL);
    }
}

std::string DescribeStatus(int status) {
    if (WIFEXITED(status)) {
        return "exit " + std::to_string(WEXITSTATUS(status));
    }
    if (WIFSIGNALED(status)) {
        return "signal " + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) +
               ")";
    }
    return "status " + std::to_string(status);
}

}  // namespace soak
