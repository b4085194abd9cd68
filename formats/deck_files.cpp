#include "formats/deck_files.h"

#include <fcntl.h>
#include <stdio.h> // the functions that POSIX adds to <cstdio>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "formats/paths.h"

namespace kv7::tessmaker {

namespace {

// Whether two streams read one file. Streams on memory are never the same.
bool is_same_file(std::FILE* a, std::FILE* b) {
    struct stat of_a;
    struct stat of_b;
    if (fileno(a) < 0 || fileno(b) < 0) return false;
    return fstat(fileno(a), &of_a) == 0 && fstat(fileno(b), &of_b) == 0 &&
           of_a.st_dev == of_b.st_dev && of_a.st_ino == of_b.st_ino;
}

// Closes a stream that nobody has taken over.
struct closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

deck_failure open_deck_file(const char* path, std::FILE*& file) {
    file = nullptr;
    // A pipe without a writer would be waited for.
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) return deck_failure::file_not_found;
    struct stat status;
    const bool is_regular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (is_regular) file = fdopen(descriptor, "rb");
    if (!file) close(descriptor);
    if (!is_regular) return deck_failure::not_a_file;
    return file ? deck_failure::none : deck_failure::not_read;
}

deck_files::deck_files(std::FILE* file, std::string_view path, deck_opener open)
    : opener_(open), paths_{std::string(path)}, included_at_(1) {
    open_.reserve(most_depth + 1);
    open_.push_back({file, 0, std::make_unique<deck_lines>(file)});
    lines_ = open_.back().lines.get();
}

deck_files::~deck_files() {
    while (leave()) {
    }
}

// Looks for a path in the two folders.
deck_failure deck_files::open_from(const std::string& path, std::FILE*& file,
                                   std::string& found) const {
    deck_failure result = deck_failure::file_not_found;
    if (path.front() == '/') {
        found = path;
        return opener_(found.c_str(), file);
    }
    const std::string_view folders[] = {folder_of(paths_[open_.back().number]),
                                        folder_of(paths_[0])};
    for (const std::string_view folder : folders) {
        found.assign(folder).append(path);
        result = opener_(found.c_str(), file);
        if (result != deck_failure::file_not_found) break;
    }
    return result;
}

bool deck_files::is_open(std::FILE* file) const {
    return std::any_of(open_.begin(), open_.end(),
                       [&](const open_file& other) { return is_same_file(other.file, file); });
}

deck_failure deck_files::include(const std::string& path, const deck_position& at) {
    if (path.empty() || path.size() > longest_path || path.find('\0') != std::string::npos)
        return deck_failure::no_file_name;
    if (open_.size() > most_depth) return deck_failure::too_deep;
    if (paths_.size() > most_files) return deck_failure::too_many_files;
    std::string found;
    std::FILE* file = nullptr;
    const deck_failure result = open_from(path, file, found);
    if (result != deck_failure::none) return result;
    std::unique_ptr<std::FILE, closer> owned(file);
    if (is_open(file)) return deck_failure::included_in_itself;
    const auto number = static_cast<unsigned int>(paths_.size());
    auto lines = std::make_unique<deck_lines>(file);
    paths_.push_back(std::move(found));
    included_at_.push_back(at);
    open_.push_back({owned.release(), number, std::move(lines)});
    lines_ = open_.back().lines.get();
    return deck_failure::none;
}

bool deck_files::leave() {
    if (open_.size() <= 1) return false;
    std::fclose(open_.back().file);
    open_.pop_back();
    lines_ = open_.back().lines.get();
    return true;
}

} // namespace kv7::tessmaker
