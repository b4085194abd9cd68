#include "formats/text_lines.h"

#include <stdio.h> // the functions that POSIX adds to <cstdio>
#include <sys/stat.h>

#include <algorithm>

namespace kv7::tessmaker {

namespace {

// The position of a stream that can be put back to any position, else a negative number. Of streams
// with a descriptor these are the regular files; memory has none.
off_t position_to_return_to(std::FILE* file) {
    if (!file || std::ferror(file)) return -1;
    const int descriptor = fileno(file);
    struct stat status;
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) return -1;
    return ftello(file);
}

} // namespace

text_lines::text_lines(std::FILE* file)
    : file_(file), lines_(file), start_(position_to_return_to(file)) {
    *block_ = '\0';
}

text_lines::~text_lines() {
    // A stream that was not read, or was read to its end, stays as it is.
    const bool is_read = nbr_read_ != 0 || has_all_;
    if (start_ < 0 || !is_read || has_met_end_) return;
    // What was met behind the current line has not been met yet.
    std::clearerr(file_);
    fseeko(file_, start_ + nbr_read_ - (data_end_ - rest_), SEEK_SET);
}

bool text_lines::next_of_stream() {
    const bool found = lines_.next();
    size_ = lines_.line().size();
    std::copy_n(lines_.text(), size_ + 1, block_);
    std::fill_n(block_ + size_, word_size, '\0');
    return found;
}

// Moves the rest to the start of the block and fills the block up.
void text_lines::read_more() {
    *rest_ = first_of_rest_;
    data_end_ = std::copy(rest_, data_end_, block_);
    const auto room = static_cast<std::size_t>(block_ + block_size - data_end_);
    const std::size_t size = std::fread(data_end_, 1, room, file_);
    has_all_ = size < room;
    has_nulls_ = has_nulls_ || std::memchr(data_end_, '\0', size);
    nbr_read_ += static_cast<off_t>(size);
    data_end_ += size;
    std::fill_n(data_end_, word_size + 1, '\0');
    rest_ = block_;
    first_of_rest_ = *rest_;
    *rest_ = '\0';
}

// The last line, if it has no line ending. An error drops it.
bool text_lines::end_with_rest() {
    has_met_end_ = true;
    const bool found = rest_ != data_end_ && !std::ferror(file_);
    if (!found) rest_ = data_end_;
    set_line(data_end_);
    return found;
}

} // namespace kv7::tessmaker
