// A line on the terminal that shows what a program is doing when it takes long.
#ifndef PROGRESS_H
#define PROGRESS_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

#include <unistd.h>

// Shows the name of the present step and the seconds since the start, from the first second on.
// Does nothing if standard error is not a terminal.
class progress {
public:
    progress() {
        if (isatty(STDERR_FILENO)) ticker_ = std::thread([this] { tick(); });
    }
    ~progress() {
        if (!ticker_.joinable()) return;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            is_over_ = true;
        }
        over_.notify_one();
        ticker_.join();
    }
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    // `name` must outlive the step.
    void step(const char* name) { step_ = name; }

private:
    void tick() {
        std::unique_lock<std::mutex> lock(mutex_);
        int seconds = 0;
        while (!over_.wait_for(lock, std::chrono::seconds(1), [this] { return is_over_; })) {
            std::fprintf(stderr, "\r\x1b[K%s ... %d s", step_.load(), ++seconds);
            std::fflush(stderr);
        }
        if (seconds > 0) std::fputs("\r\x1b[K", stderr);
    }

    std::atomic<const char*> step_{""};
    std::mutex mutex_;
    std::condition_variable over_;
    bool is_over_ = false;
    std::thread ticker_;
};

#endif
