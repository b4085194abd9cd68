#include "formats/deck_lines.h"

#include <algorithm>

namespace kv7::tessmaker {

namespace {

bool holds(const char* begin, const char* end, char c) {
    return begin != end && std::memchr(begin, c, static_cast<std::size_t>(end - begin));
}

} // namespace

bool deck_lines::next_in_parts() {
    for (;;) {
        if (take_whole_line()) return true;
        if (has_all_) return take_rest();
        if (rest_ == block_ && data_end_ == block_ + block_size) return take_start_of_line();
        read_more();
    }
}

// False if the block doesn't hold all of the line and of its ending.
bool deck_lines::take_whole_line() {
    if (take_to_newline()) return true;
    if (next_return_ == data_end_) return false;
    const char* const end = next_return_;
    const char* const behind = end + 1;
    if (behind == data_end_ && !has_all_) return false; // a LF may follow
    set_line(end, behind != data_end_ && *behind == '\n' ? behind + 1 : behind);
    find_return();
    return true;
}

// The last line, if it has no ending. An error drops it.
bool deck_lines::take_rest() {
    const bool found = rest_ != data_end_ && !std::ferror(file_);
    if (found) {
        set_line(data_end_, data_end_);
    } else {
        rest_ = data_end_;
        line_ = {};
    }
    find_return();
    return found;
}

// Of a line that fills the block. What follows is read up to its ending and dropped.
bool deck_lines::take_start_of_line() {
    std::copy_n(rest_, most_length + nbr_behind, start_of_line_);
    ++number_;
    line_ = {start_of_line_, most_length};
    const std::uint64_t number = number_;
    bool is_whole = false;
    while (!is_whole && !has_all_) {
        // A CR at the end of the block stays, for the LF that may follow.
        const bool ends_in_return = next_return_ + 1 == data_end_;
        rest_ = ends_in_return ? next_return_ : data_end_;
        read_more();
        is_whole = take_whole_line();
    }
    if (!is_whole) rest_ = data_end_;
    find_return();
    number_ = number;
    line_ = {start_of_line_, most_length};
    is_cut_ = true;
    has_tabs_ = true; // perhaps: its block is gone
    has_dollars_ = true;
    return true;
}

void deck_lines::find_return() {
    const auto size = static_cast<std::size_t>(data_end_ - rest_);
    const void* const found = size == 0 ? nullptr : std::memchr(rest_, '\r', size);
    next_return_ = found ? static_cast<const char*>(found) : data_end_;
}

// Moves the rest to the start of the block and fills the block up.
void deck_lines::read_more() {
    const bool is_first = data_end_ == block_ && number_ == 0;
    const auto nbr_left = static_cast<std::size_t>(data_end_ - rest_);
    std::memmove(block_, rest_, nbr_left);
    const std::size_t room = block_size - nbr_left;
    const std::size_t size = std::fread(block_ + nbr_left, 1, room, file_);
    has_all_ = size < room;
    rest_ = block_;
    data_end_ = block_ + nbr_left + size;
    std::fill_n(data_end_, nbr_behind, '\0');
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (is_first && std::string_view(block_, size).starts_with(byte_order_mark)) {
        rest_ += byte_order_mark.size();
    }
    has_tabs_ = holds(rest_, data_end_, '\t');
    has_dollars_ = holds(rest_, data_end_, '$');
    find_return();
}

} // namespace kv7::tessmaker
