// A folder for the files of a benchmark.
#ifndef TESSMAKER_BENCH_WORK_FOLDER_H
#define TESSMAKER_BENCH_WORK_FOLDER_H

#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace bench {

// In memory where the system has such a place; gone at the end.
class work_folder {
public:
    work_folder() { std::filesystem::create_directories(folder_); }
    ~work_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    work_folder(const work_folder&) = delete;
    work_folder& operator=(const work_folder&) = delete;

    std::string path(const char* name) const { return (folder_ / name).string(); }

private:
    static std::filesystem::path base() {
        return std::filesystem::is_directory("/dev/shm") ? "/dev/shm"
                                                         : std::filesystem::temp_directory_path();
    }

    std::filesystem::path folder_ = base() / ("tessmaker_bench_" + std::to_string(getpid()));
};

} // namespace bench

#endif
