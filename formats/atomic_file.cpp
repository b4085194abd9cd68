#include "formats/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "formats/paths.h"

namespace kv7::tessmaker {

namespace {

// Where a path leads that names no file yet: through links to the name that is not there. False,
// with `errno`, if links go in circles or can't be read.
bool resolve_new(std::string& path) {
    constexpr int most_links = 40; // as the system
    for (int k = 0; k < most_links; ++k) {
        char link[PATH_MAX];
        const ssize_t size = readlink(path.c_str(), link, sizeof link);
        if (size < 0) return errno == ENOENT || errno == EINVAL;
        if (size == 0 || link[0] != '/') {
            path.resize(folder_of(path).size());
        } else {
            path.clear();
        }
        path.append(link, static_cast<std::size_t>(size));
    }
    errno = ELOOP;
    return false;
}

// Where a path leads that names a regular file; empty if the name that it leads to is not that
// file's, as with a descriptor of a file that has been removed.
std::string resolved_regular(const char* path, const struct stat& file) {
    struct free_memory {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, free_memory> resolved(realpath(path, nullptr));
    if (!resolved && errno == ENOMEM) throw std::bad_alloc();
    struct stat found {};
    const bool is_same = resolved && stat(resolved.get(), &found) == 0 &&
                         found.st_dev == file.st_dev && found.st_ino == file.st_ino;
    return is_same ? resolved.get() : "";
}

// Tells what a path names, and of a regular file where it leads. Another writer may replace the
// file between two looks at it; who looks again sees what is there then.
int look_up(const char* path, struct stat& file, std::string& target) {
    constexpr int most_attempts = 100;
    target.clear();
    for (int k = 0; k < most_attempts; ++k) {
        const int result = stat(path, &file);
        if (result != 0 || !S_ISREG(file.st_mode)) return result;
        target = resolved_regular(path, file);
        if (!target.empty()) return result;
    }
    return 0;
}

// Six characters that two calls hardly ever have in common.
std::string random_letters() {
    static std::atomic<std::uint64_t> nbr_calls{0};
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    std::uint64_t x = static_cast<std::uint64_t>(now) + (nbr_calls.fetch_add(1) << 48) +
                      (static_cast<std::uint64_t>(getpid()) << 32);
    x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9; // the last steps of splitmix64
    x = (x ^ x >> 27) * 0x94D049BB133111EB;
    x ^= x >> 31;
    std::string letters(6, ' ');
    for (char& c : letters) {
        c = "0123456789abcdefghijklmnopqrstuvwxyz"[x % 36];
        x /= 36;
    }
    return letters;
}

// Creates a file beside another one, with the mode that new files have. Returns its descriptor, or
// -1 with `errno`.
int create_beside(const std::string& target, std::string& name) {
    constexpr int most_attempts = 100;
    constexpr std::size_t longest_kept = 200; // names end at 255 bytes
    std::string start(folder_of(target));
    start.append(1, '.').append(name_of(target).substr(0, longest_kept)).append(1, '.');
    for (int k = 0; k < most_attempts; ++k) {
        name = start + random_letters();
        const int descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}

} // namespace

atomic_file::atomic_file(const char* path) {
    if (!path || *path == '\0') {
        error_ = path ? ENOENT : EINVAL;
        return;
    }
    if (std::strcmp(path, "-") == 0) {
        file_ = stdout;
        return;
    }
    struct stat file {};
    const bool is_there = look_up(path, file, target_) == 0;
    if (!is_there) {
        target_ = path;
        if (errno != ENOENT || !resolve_new(target_)) {
            remember_error();
            return;
        }
    }
    if (target_.empty()) {
        file_ = std::fopen(path, "wbe");
    } else if (!is_there || faccessat(AT_FDCWD, target_.c_str(), W_OK, AT_EACCESS) == 0) {
        open_beside();
    }
    if (!file_) remember_error();
    errno = 0; // see end_stream
}

void atomic_file::open_beside() {
    const int descriptor = create_beside(target_, other_);
    if (descriptor < 0) {
        other_.clear();
        return;
    }
    struct stat former {};
    if (stat(target_.c_str(), &former) == 0) {
        // Whether the owner may be given is the system's affair. The mode comes second, since a
        // change of the owner takes bits of it away.
        if (fchown(descriptor, former.st_uid, former.st_gid) != 0) errno = 0;
        if (fchmod(descriptor, former.st_mode & 07777) != 0) {
            remember_error();
            close(descriptor);
            return;
        }
    }
    file_ = fdopen(descriptor, "wb");
    if (!file_) {
        remember_error();
        close(descriptor);
    }
}

atomic_file::~atomic_file() {
    if (file_ && file_ != stdout) std::fclose(file_);
    remove_other();
}

void atomic_file::remember_error() {
    if (error_ == 0) error_ = errno != 0 ? errno : EIO;
}

void atomic_file::remove_other() {
    if (!other_.empty()) unlink(other_.c_str());
    other_.clear();
}

// Whether all that was written reached the file.
bool atomic_file::end_stream() {
    std::FILE* const file = file_;
    file_ = nullptr;
    // A failed write has left its cause in `errno`, if nothing else has done so since.
    if (std::ferror(file)) remember_error();
    errno = 0;
    if (std::fflush(file) != 0) remember_error();
    if (file != stdout && std::fclose(file) != 0) remember_error();
    return error_ == 0;
}

bool atomic_file::end() {
    if (file_) is_whole_ = end_stream();
    return is_whole_;
}

bool atomic_file::commit() {
    const bool is_whole = end();
    is_whole_ = false;
    if (is_whole && !other_.empty()) {
        if (std::rename(other_.c_str(), target_.c_str()) == 0) {
            other_.clear();
        } else {
            remember_error();
        }
    }
    remove_other();
    return is_whole && error_ == 0;
}

} // namespace kv7::tessmaker
