#include "formats/number_index.h"

#include <algorithm>

namespace kv7::tessmaker {

namespace {

bool run_on(const id_list& numbers) {
    for (std::size_t c = 1; c < numbers.size(); ++c) {
        if (numbers[c] - numbers[c - 1] != 1) return false;
    }
    return true;
}

} // namespace

void number_index::begin(const id_list& numbers) {
    repeated_.clear();
    entries_.clear();
    first_entries_.clear();
    nbr_columns_ = numbers.size();
    least_ = nbr_columns_ == 0 ? 0 : numbers[0];
    runs_on_ = run_on(numbers);
}

bool number_index::init(const id_list& numbers) {
    begin(numbers);
    return runs_on_ || (list_sorted(numbers) && drop_repeated() && make_buckets());
}

bool number_index::init_repeated(const id_list& numbers) {
    begin(numbers);
    return runs_on_ || (list_sorted(numbers) && drop_repeated());
}

bool number_index::list_sorted(const id_list& numbers) {
    if (!entries_.resize(nbr_columns_)) return false;
    for (std::size_t c = 0; c < nbr_columns_; ++c) {
        entries_[c] = std::uint64_t{numbers[c]} << 32 | c;
    }
    if (!std::is_sorted(entries_.begin(), entries_.end())) {
        std::sort(entries_.begin(), entries_.end());
    }
    least_ = number_of(entries_[0]);
    greatest_ = number_of(entries_[nbr_columns_ - 1]);
    return true;
}

// Of columns with one number the first stays.
bool number_index::drop_repeated() {
    std::size_t nbr_kept = 1;
    for (std::size_t k = 1; k < nbr_columns_; ++k) {
        if (number_of(entries_[k]) != number_of(entries_[nbr_kept - 1])) {
            entries_[nbr_kept++] = entries_[k];
        } else if (!repeated_.push_back(column_of(entries_[k]))) {
            return false;
        }
    }
    std::sort(repeated_.begin(), repeated_.end());
    return entries_.resize(nbr_kept);
}

bool number_index::make_buckets() {
    shift_ = 0;
    while ((greatest_ - least_) >> shift_ >= entries_.size()) ++shift_;
    const std::size_t nbr_buckets = std::size_t{(greatest_ - least_) >> shift_} + 1;
    if (!first_entries_.resize(nbr_buckets + 1)) return false;
    std::size_t bucket = 0;
    for (std::size_t k = 0; k < entries_.size(); ++k) {
        const std::size_t last = (number_of(entries_[k]) - least_) >> shift_;
        for (; bucket <= last; ++bucket) first_entries_[bucket] = static_cast<unsigned int>(k);
    }
    first_entries_[nbr_buckets] = static_cast<unsigned int>(entries_.size());
    return true;
}

unsigned int number_index::find_in_bucket(unsigned int number) const {
    if (number < least_ || number > greatest_) return no_id;
    const std::size_t bucket = (number - least_) >> shift_;
    const std::uint64_t* const first = entries_.data() + first_entries_[bucket];
    const std::uint64_t* const end = entries_.data() + first_entries_[bucket + 1];
    if (first == end || number < number_of(*first)) return no_id;
    // Numbers of a bucket ascend, so that none stands further from the first than they differ.
    const auto most = static_cast<std::size_t>(end - first) - 1;
    const std::size_t distance = number - number_of(*first);
    const std::uint64_t* const guess = first + std::min(distance, most);
    if (number_of(*guess) == number) return column_of(*guess);
    const std::uint64_t* const found = std::lower_bound(first, guess, std::uint64_t{number} << 32);
    return found != guess && number_of(*found) == number ? column_of(*found) : no_id;
}

} // namespace kv7::tessmaker
