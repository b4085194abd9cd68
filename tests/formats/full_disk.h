// A stand-in for a disk without room.
#ifndef TESSMAKER_TESTS_FORMATS_FULL_DISK_H
#define TESSMAKER_TESTS_FORMATS_FULL_DISK_H

#include <csignal>

#include <sys/resource.h>

namespace test {

// Files of this process end at a size.
class size_limit {
public:
    explicit size_limit(rlim_t bytes) : former_handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &former_);
        const rlimit limit{bytes, former_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~size_limit() {
        setrlimit(RLIMIT_FSIZE, &former_);
        std::signal(SIGXFSZ, former_handler_);
    }
    size_limit(const size_limit&) = delete;
    size_limit& operator=(const size_limit&) = delete;

private:
    void (*former_handler_)(int);
    rlimit former_{};
};

} // namespace test

#endif
