#include "formats/number_index.h"

namespace kv7::tessmaker {

namespace {

// A table of the range takes as much memory for each column, in words of 4 bytes; buckets take 2.
constexpr std::uint64_t most_words = 3;

bool run_on(const id_list& numbers) {
    const unsigned int* const n = numbers.begin();
    const std::size_t size = numbers.size();
    std::size_t c = 1;
    while (c < size && n[c] - n[c - 1] == 1) ++c;
    return c >= size;
}

} // namespace

void number_index::begin(const id_list& numbers) {
    numbers_ = numbers;
    repeated_.clear();
    columns_.clear();
    first_in_bucket_.clear();
    form_ = form::runs_on;
    least_ = numbers.empty() ? 0 : numbers[0];
    range_ = numbers.size();
    if (run_on(numbers)) return;
    const auto [least, greatest] = std::minmax_element(numbers.begin(), numbers.end());
    least_ = *least;
    range_ = std::uint64_t{*greatest} - least_ + 1;
    form_ = range_ <= most_words * numbers.size() ? form::dense : form::in_buckets;
}

bool number_index::init(const id_list& numbers) {
    begin(numbers);
    if (form_ == form::runs_on) return true;
    return form_ == form::dense ? make_table() : make_buckets();
}

bool number_index::init_repeated(const id_list& numbers) {
    begin(numbers);
    if (form_ == form::runs_on) return true;
    constexpr std::uint64_t bits_of_word = 32;
    const bool fits_bits = range_ <= bits_of_word * numbers.size();
    return fits_bits ? list_repeated() : make_buckets();
}

// By one bit for each number of the range.
bool number_index::list_repeated() {
    dense1D<std::uint64_t, 8> met;
    if (!met.resize(static_cast<std::size_t>(range_ / 64 + 1), 0)) return false;
    std::uint64_t* const words = met.begin();
    const unsigned int* const numbers = numbers_.begin();
    const std::size_t n = numbers_.size();
    for (std::size_t c = 0; c < n; ++c) {
        const unsigned int offset = numbers[c] - least_;
        const std::uint64_t bit = std::uint64_t{1} << offset % 64;
        std::uint64_t& word = words[offset / 64];
        if ((word & bit) != 0 && !repeated_.push_back(static_cast<unsigned int>(c))) return false;
        word |= bit;
    }
    return true;
}

bool number_index::make_table() {
    if (!columns_.resize(static_cast<std::size_t>(range_), no_id)) return false;
    unsigned int* const columns = columns_.begin();
    const unsigned int* const numbers = numbers_.begin();
    const auto n = static_cast<unsigned int>(numbers_.size());
    for (unsigned int c = 0; c < n; ++c) {
        unsigned int& column = columns[numbers[c] - least_];
        if (column == no_id) {
            column = c;
        } else if (!repeated_.push_back(c)) {
            return false;
        }
    }
    column_of_ = columns;
    return true;
}

bool number_index::make_buckets() {
    shift_ = 0;
    while ((range_ - 1) >> shift_ >= numbers_.size()) ++shift_;
    return list_by_bucket() && sort_buckets();
}

// Those of one bucket stay in their order.
bool number_index::list_by_bucket() {
    const std::size_t nbr_buckets = static_cast<std::size_t>((range_ - 1) >> shift_) + 1;
    const std::size_t n = numbers_.size();
    if (!columns_.resize(n) || !first_in_bucket_.resize(nbr_buckets + 1, 0)) return false;
    const unsigned int* const numbers = numbers_.begin();
    unsigned int* const columns = columns_.begin();
    // Counts of the buckets, then their ends, which become their beginnings.
    unsigned int* const first = first_in_bucket_.begin();
    for (std::size_t c = 0; c < n; ++c) ++first[bucket_of(numbers[c])];
    for (std::size_t b = 1; b <= nbr_buckets; ++b) first[b] += first[b - 1];
    for (std::size_t c = n; c-- > 0;) {
        columns[--first[bucket_of(numbers[c])]] = static_cast<unsigned int>(c);
    }
    return true;
}

// Sorts the columns of each bucket by their numbers. Of columns with one number the first stays.
bool number_index::sort_buckets() {
    const unsigned int* const numbers = numbers_.begin();
    unsigned int* const columns = columns_.begin();
    unsigned int* const first = first_in_bucket_.begin();
    const auto precedes = [numbers](unsigned int a, unsigned int b) {
        return numbers[a] != numbers[b] ? numbers[a] < numbers[b] : a < b;
    };
    const std::size_t nbr_buckets = first_in_bucket_.size() - 1;
    unsigned int nbr_kept = 0;
    for (std::size_t b = 0; b < nbr_buckets; ++b) {
        unsigned int* const begin = columns + first[b];
        unsigned int* const end = columns + first[b + 1];
        if (!std::is_sorted(begin, end, precedes)) std::sort(begin, end, precedes);
        first[b] = nbr_kept;
        for (const unsigned int* c = begin; c != end; ++c) {
            const bool is_first = c == begin || numbers[*c] != numbers[columns[nbr_kept - 1]];
            if (is_first) {
                columns[nbr_kept++] = *c;
            } else if (!repeated_.push_back(*c)) {
                return false;
            }
        }
    }
    first[nbr_buckets] = nbr_kept;
    std::sort(repeated_.begin(), repeated_.end());
    return true;
}

unsigned int number_index::find_in_bucket(unsigned int number) const {
    const unsigned int* const numbers = numbers_.begin();
    const unsigned int* const in_bucket = first_in_bucket_.begin() + bucket_of(number);
    const unsigned int* const first = columns_.begin() + in_bucket[0];
    const unsigned int* const end = columns_.begin() + in_bucket[1];
    if (first == end || number < numbers[*first]) return no_id;
    // Numbers of a bucket ascend, so that none stands further from the first than they differ.
    const auto most = static_cast<std::size_t>(end - first) - 1;
    const std::size_t distance = number - numbers[*first];
    const unsigned int* const guess = first + std::min(distance, most);
    if (numbers[*guess] == number) return *guess;
    const unsigned int* const found = std::lower_bound(
        first, guess, number, [numbers](unsigned int c, unsigned int n) { return numbers[c] < n; });
    return found != guess && numbers[*found] == number ? *found : no_id;
}

} // namespace kv7::tessmaker
