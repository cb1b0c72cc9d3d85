#include "ui/isolated_run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace qv::ui {

struct IsolatedRun::Header {
    uint32_t done;  // 1: work returned true
    uint64_t used;
    char why[240];
};

namespace {
constexpr size_t kHeaderRoom = 4096;  // keeps the data page-aligned
}

IsolatedRun::IsolatedRun(size_t capacity) {
    const size_t total = kHeaderRoom + capacity;
    void* p = ::mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (p == MAP_FAILED) return;
    mapped_ = total;
    header_ = static_cast<Header*>(p);
    data_ = static_cast<uint8_t*>(p) + kHeaderRoom;
    capacity_ = capacity;
}

IsolatedRun::~IsolatedRun() {
    if (header_) ::munmap(header_, mapped_);
}

size_t IsolatedRun::used() const { return header_ ? std::min<size_t>(header_->used, capacity_) : 0; }

bool IsolatedRun::run(int timeoutMs, const Work& work, std::string& why) {
    if (!header_) {
        why = "no memory to decode the picture";
        return false;
    }
    std::memset(header_, 0, sizeof(Header));
    const pid_t pid = ::fork();
    if (pid < 0) {
        why = "the decoder could not be started";
        return false;
    }
    if (pid == 0) {
        // The child: nothing of the foreign code's chatter reaches the user's
        // terminal, and the exit skips the parent's exit handlers.
        int null = ::open("/dev/null", O_WRONLY);
        if (null >= 0) {
            ::dup2(null, 1);
            ::dup2(null, 2);
            ::close(null);
        }
        size_t used = 0;
        std::string reason;
        const bool ok = work(*this, used, reason);
        header_->used = std::min(used, capacity_);
        std::strncpy(header_->why, reason.c_str(), sizeof header_->why - 1);
        __atomic_store_n(&header_->done, ok ? 1u : 0u, __ATOMIC_RELEASE);
        ::_exit(0);
    }

    // Waits with a bound: on the child's process descriptor where the
    // kernel has them (woken the moment it ends), else in short sleeps.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    const int pidFd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    long sleepNs = 50'000;
    int status = 0;
    pid_t got = 0;
    while ((got = ::waitpid(pid, &status, WNOHANG)) == 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            if (pidFd >= 0) ::close(pidFd);
            why = "decoding took too long";
            return false;
        }
        if (pidFd >= 0) {
            pollfd p{pidFd, POLLIN, 0};
            ::poll(&p, 1, static_cast<int>(left.count()));
        } else {
            timespec ts{0, sleepNs};
            ::nanosleep(&ts, nullptr);
            sleepNs = std::min(sleepNs * 2, 2'000'000L);
        }
    }
    if (pidFd >= 0) ::close(pidFd);
    if (got < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        why = "the decoder failed on this file";
        return false;
    }
    if (__atomic_load_n(&header_->done, __ATOMIC_ACQUIRE) != 1) {
        header_->why[sizeof header_->why - 1] = '\0';
        why = header_->why[0] ? header_->why : "the decoder failed on this file";
        return false;
    }
    return true;
}

}  // namespace qv::ui
