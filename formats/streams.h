// Streams that the readers and writers of mesh files work on.
#ifndef TESSMAKER_FORMATS_STREAMS_H
#define TESSMAKER_FORMATS_STREAMS_H

#include <cstddef>
#include <cstdio>

namespace kv7::tessmaker {

// Whether there is a stream, without an error so far.
inline bool is_usable(std::FILE* file) { return file && !std::ferror(file); }

// Passes on what waits in the stream. Whether everything written to it so far has got through.
inline bool has_taken_all(std::FILE* file) { return std::fflush(file) == 0 && !std::ferror(file); }

// The number of bytes up to the end of the file; 0 for pipes and the like.
inline std::size_t nbr_bytes_left(std::FILE* file) {
    const long here = std::ftell(file);
    if (here < 0 || std::fseek(file, 0, SEEK_END) != 0) return 0;
    const long end = std::ftell(file);
    std::fseek(file, here, SEEK_SET);
    return end > here ? static_cast<std::size_t>(end - here) : 0;
}

// A stream opened by name. It is closed at the end of its scope, unless the caller closes it
// earlier, to learn whether everything was written, or leaves it open.
class opened_file {
public:
    opened_file(const char* filename, const char* mode)
        : file_(filename ? std::fopen(filename, mode) : nullptr) {}
    ~opened_file() { close(); }
    opened_file(const opened_file&) = delete;
    opened_file& operator=(const opened_file&) = delete;

    explicit operator bool() const { return file_ != nullptr; }
    std::FILE* get() const { return file_; }

    // Whether everything written has reached the file; true if the stream was not open.
    bool close() {
        std::FILE* const file = leave_open();
        return !file || std::fclose(file) == 0;
    }
    // Returns the stream. It stays open until the process ends.
    std::FILE* leave_open() {
        std::FILE* const file = file_;
        file_ = nullptr;
        return file;
    }

private:
    std::FILE* file_;
};

// Opens a stream that stays open until the process ends; null if that fails. Kept: the NASTRAN and
// FEMAP functions don't close what they open by name.
inline std::FILE* open_without_closing(const char* filename, const char* mode) {
    return opened_file{filename, mode}.leave_open();
}

} // namespace kv7::tessmaker

#endif
