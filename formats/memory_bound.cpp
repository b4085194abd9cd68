#include "formats/memory_bound.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <string_view>
#include <system_error>

namespace kv7::tessmaker {

namespace {

constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

std::uint64_t physical_memory() {
    const long nbr_pages = sysconf(_SC_PHYS_PAGES);
    const long page_size = sysconf(_SC_PAGESIZE);
    if (nbr_pages <= 0 || page_size <= 0) return no_limit;
    return static_cast<std::uint64_t>(nbr_pages) * static_cast<std::uint64_t>(page_size);
}

// The beginning of a file; empty if it can't be read.
template <std::size_t Most> class file_head {
public:
    explicit file_head(const char* path) {
        const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) return;
        for (ssize_t n = 1; n > 0 && size_ < Most;) {
            n = read(descriptor, text_ + size_, Most - size_);
            if (n > 0) size_ += static_cast<std::size_t>(n);
        }
        close(descriptor);
    }
    std::string_view text() const { return {text_, size_}; }

private:
    char text_[Most];
    std::size_t size_ = 0;
};

// Takes the text up to `end`, or all of it, off its front, and `end` with it.
std::string_view take_up_to(std::string_view& text, char end) {
    const std::string_view taken = text.substr(0, text.find(end));
    text.remove_prefix(std::min(taken.size() + 1, text.size()));
    return taken;
}

std::uint64_t limit_in_file(const char* path) {
    const file_head<32> file(path);
    std::string_view rest = file.text();
    const std::string_view line = take_up_to(rest, '\n');
    std::uint64_t limit = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), limit);
    return error == std::errc() && end == line.data() + line.size() ? limit : no_limit;
}

// Where a version of control groups keeps its limits.
struct limit_place {
    const char* subfolder; // of the root
    const char* file;
};
constexpr limit_place version_1{"/memory", "memory.limit_in_bytes"};
constexpr limit_place version_2{"", "memory.max"};

// The least limit in a folder, `/a/b` or empty, and in all above it, down to the root.
std::uint64_t limit_up_from(std::string_view folder, const char* root, const limit_place& place) {
    char path[8192];
    std::uint64_t least = no_limit;
    for (;;) {
        const int size = std::snprintf(path, sizeof path, "%s%s%.*s/%s", root, place.subfolder,
                                       static_cast<int>(folder.size()), folder.data(), place.file);
        const bool fits = size > 0 && static_cast<std::size_t>(size) < sizeof path;
        if (fits) least = std::min(least, limit_in_file(path));
        if (folder.empty()) return least;
        const std::size_t slash = folder.rfind('/');
        folder = folder.substr(0, slash == std::string_view::npos ? 0 : slash);
    }
}

bool lists_memory(std::string_view controllers) {
    while (!controllers.empty()) {
        if (take_up_to(controllers, ',') == "memory") return true;
    }
    return false;
}

} // namespace

std::uint64_t available_memory() {
    return std::min(physical_memory(), group_memory("/proc/self/cgroup", "/sys/fs/cgroup"));
}

std::uint64_t group_memory(const char* groups, const char* root) {
    std::uint64_t least =
        std::min(limit_up_from({}, root, version_1), limit_up_from({}, root, version_2));
    const file_head<8192> file(groups);
    std::string_view rest = file.text();
    while (!rest.empty()) {
        std::string_view folder = take_up_to(rest, '\n');
        const std::string_view number = take_up_to(folder, ':');
        const std::string_view controllers = take_up_to(folder, ':');
        if (number == "0" && controllers.empty()) {
            least = std::min(least, limit_up_from(folder, root, version_2));
        } else if (lists_memory(controllers)) {
            least = std::min(least, limit_up_from(folder, root, version_1));
        }
    }
    return least;
}

} // namespace kv7::tessmaker
