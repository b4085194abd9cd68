// The files of a deck: the one that was opened, and those that it includes.
#ifndef TESSMAKER_FORMATS_DECK_FILES_H
#define TESSMAKER_FORMATS_DECK_FILES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "formats/deck_card.h"
#include "formats/deck_lines.h"

namespace kv7::tessmaker {

// Why a deck can't be read to its end.
enum class deck_failure {
    none,
    not_read,           // the system reported an error
    no_file_name,       // INCLUDE without a name, with an endless one, or without its second quote
    file_not_found,     // or not to be opened
    not_a_file,         // but a folder, a device or a pipe
    included_in_itself, // directly or by way of others
    too_deep,
    too_many_files,
};

// Opens a file for reading. What is no regular file is refused, and nothing is waited for.
using deck_opener = deck_failure (*)(const char* path, std::FILE*& file);
deck_failure open_deck_file(const char* path, std::FILE*& file);

// A line of the deck comes from the file that was opened last and is not at its end.
class deck_files {
public:
    // Files may include each other to this depth.
    static constexpr std::size_t most_depth = 16;
    // In all, so that a few files that include each other again and again come to an end.
    static constexpr std::size_t most_files = 10000;
    static constexpr std::size_t longest_path = 4096;

    // The first file stays the caller's; its path, which may be empty, tells where others are
    // looked for.
    deck_files(std::FILE* file, std::string_view path, deck_opener open);
    ~deck_files();
    deck_files(const deck_files&) = delete;
    deck_files& operator=(const deck_files&) = delete;

    // Reads the next line of the file at hand; false at its end.
    bool next_in_file() { return lines_->next(); }
    const deck_lines& lines() const { return *lines_; }
    void pass_over(std::size_t nbr_bytes, std::size_t nbr_lines) {
        lines_->pass_over(nbr_bytes, nbr_lines);
    }
    // Whether the end was met because of an error.
    bool has_failed() const { return std::ferror(open_.back().file) != 0; }

    // Its number in the order of opening, from 0, and the path of a file.
    unsigned int file() const { return open_.back().number; }
    std::FILE* stream() const { return open_.back().file; }
    const std::string& path(unsigned int number) const { return paths_[number]; }
    // The line with which a file includes another one, which is not the first.
    const deck_position& included_at(unsigned int number) const { return included_at_[number]; }

    // Makes `path` the file at hand. A relative one is looked for in the folder of the file at
    // hand, then in that of the first. `at` is the line that asks for it.
    deck_failure include(const std::string& path, const deck_position& at);
    // Goes back to the file that included the one at hand; false if that is the first.
    bool leave();

private:
    struct open_file {
        std::FILE* file;
        unsigned int number;
        std::unique_ptr<deck_lines> lines;
    };

    deck_failure open_from(const std::string& path, std::FILE*& file, std::string& found) const;
    bool is_open(std::FILE* file) const;

    deck_opener opener_;
    std::vector<std::string> paths_;
    std::vector<deck_position> included_at_;
    std::vector<open_file> open_; // each includes the next
    deck_lines* lines_ = nullptr; // of the last
};

} // namespace kv7::tessmaker

#endif
