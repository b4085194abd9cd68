// The IDs of nodes by the numbers that a file gives them.
#ifndef TESSMAKER_FORMATS_NODE_NUMBERS_H
#define TESSMAKER_FORMATS_NODE_NUMBERS_H

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/ids.h"

namespace kv7::tessmaker {

class node_numbers {
public:
    using entry = std::pair<unsigned int, unsigned int>; // a number and an ID

    explicit node_numbers(const id_list& numbers) {
        sorted_.reserve(numbers.size());
        bool is_sorted = true;
        for (std::size_t k = 0; k < numbers.size(); ++k) {
            is_sorted = is_sorted && (k == 0 || numbers[k - 1] < numbers[k]);
            sorted_.emplace_back(numbers[k], static_cast<unsigned int>(k));
        }
        if (!is_sorted) std::sort(sorted_.begin(), sorted_.end());
    }

    // Ascending; entries of one number by their ID.
    const std::vector<entry>& sorted() const { return sorted_; }

    // The smallest ID with a number; the absent ID if there is none.
    unsigned int find(unsigned int number) const {
        if (sorted_.empty() || number < sorted_[0].first) return no_id;
        // Numbers without gaps need no search, nor do those without gaps up to here.
        const std::size_t guess = number - sorted_[0].first;
        if (guess < sorted_.size() && sorted_[guess].first == number &&
            (guess == 0 || sorted_[guess - 1].first != number)) {
            return sorted_[guess].second;
        }
        const auto at = std::lower_bound(sorted_.begin(), sorted_.end(), entry(number, 0));
        return at == sorted_.end() || at->first != number ? no_id : at->second;
    }

private:
    std::vector<entry> sorted_;
};

} // namespace kv7::tessmaker

#endif
