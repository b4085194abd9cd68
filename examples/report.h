// What the example programs share for their reports.
#ifndef REPORT_H
#define REPORT_H

#include <chrono>
#include <cstddef>
#include <cstdio>

class stopwatch {
public:
    double milliseconds() const {
        return std::chrono::duration<double, std::milli>(clock::now() - start_).count();
    }

private:
    using clock = std::chrono::steady_clock;
    clock::time_point start_ = clock::now();
};

inline void print_count(const char* what, std::size_t count, const char* remark = "") {
    std::printf("%-24s%14zu%s%s\n", what, count, *remark != '\0' ? "  " : "", remark);
}
inline void print_value(const char* what, double value, const char* remark = "") {
    std::printf("%-24s%14.6g%s%s\n", what, value, *remark != '\0' ? "  " : "", remark);
}
inline void print_pair(const char* what, double before, double after) {
    std::printf("%-24s%14.6g%14.6g\n", what, before, after);
}
inline void print_time(const char* what, double milliseconds, const char* remark) {
    std::printf("%-24s%14.3f  %s\n", what, milliseconds, remark);
}

#endif
