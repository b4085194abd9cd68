// Streams and files with given contents.
#ifndef TESSMAKER_TESTS_FORMATS_SCRATCH_FILES_H
#define TESSMAKER_TESTS_FORMATS_SCRATCH_FILES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace test {

// A stream in memory, open for reading and writing, at its start.
class scratch_stream {
public:
    explicit scratch_stream(const std::string& contents = "")
        : file_(fdopen(memfd_create("scratch", 0), "w+b")) {
        std::fwrite(contents.data(), 1, contents.size(), file_);
        std::rewind(file_);
    }
    ~scratch_stream() { std::fclose(file_); }
    scratch_stream(const scratch_stream&) = delete;
    scratch_stream& operator=(const scratch_stream&) = delete;

    std::FILE* get() const { return file_; }
    std::string contents() const {
        std::fflush(file_);
        std::rewind(file_);
        std::string all;
        char block[4096];
        for (std::size_t n; (n = std::fread(block, 1, sizeof block, file_)) != 0;) {
            all.append(block, n);
        }
        return all;
    }

private:
    std::FILE* file_;
};

// The name of a file that vanishes at the end of its scope.
class scratch_file {
public:
    scratch_file() {
        static int nbr_made = 0;
        name_ =
            folder() + "tessmaker_" + std::to_string(getpid()) + "_" + std::to_string(nbr_made++);
    }
    explicit scratch_file(const std::string& contents) : scratch_file() {
        std::ofstream(name_, std::ios::binary) << contents;
    }
    ~scratch_file() { std::remove(name_.c_str()); }
    scratch_file(const scratch_file&) = delete;
    scratch_file& operator=(const scratch_file&) = delete;

    const char* name() const { return name_.c_str(); }
    bool exists() const { return std::filesystem::exists(name_); }
    std::string contents() const {
        std::ifstream in(name_, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

private:
    // In memory where there is such a place: files that are written over wait for a disk.
    static std::string folder() {
        return access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : testing::TempDir();
    }

    std::string name_;
};

// Descriptors that this process has open.
inline std::size_t nbr_open_files() {
    std::error_code none_listed;
    const std::filesystem::directory_iterator open("/proc/self/fd", none_listed);
    return static_cast<std::size_t>(std::distance(begin(open), end(open)));
}

// The bytes of a value in memory, which is little-endian on every machine that these tests run on.
template <class T> void append_bytes(std::string& bytes, const T& value) {
    char raw[sizeof(T)];
    std::memcpy(raw, &value, sizeof(T));
    bytes.append(raw, sizeof(T));
}

} // namespace test

#endif
