// A set of IDs that finds by sorting which of the IDs that it is shown are new.
#ifndef TESSMAKER_INDICES_SORTED_IDS_H
#define TESSMAKER_INDICES_SORTED_IDS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "indices/radix_sort.h"

namespace kv7::tessmaker {

// IDs are gathered, and sorted together with their places, a portion at a time: no choice of IDs
// makes that slow.
class sorted_ids {
public:
    // Starts with the IDs of `seen`, which it sorts; the absent ID must be one of them. Gathers
    // `portion` IDs at a time, or as many as can be numbered. False when memory fails.
    bool init(id_list& seen, std::size_t portion) {
        seen_ = seen;
        std::sort(seen_.begin(), seen_.end());
        portion_ = std::min(std::max<std::size_t>(portion, 1), most_gathered);
        nbr_gathered_ = 0;
        return gathered_.resize(portion_) && entries_.resize(portion_) && scratch_.resize(portion_);
    }

    // Adds IDs without telling which are new. False when memory fails.
    bool add_seen(const unsigned int* ids, std::size_t n) {
        const std::size_t old = seen_.size();
        if (!seen_.resize(old + n)) return false;
        std::copy_n(ids, n, seen_.data() + old);
        std::sort(seen_.begin(), seen_.end());
        return true;
    }

    // Adds IDs. Calls `sink(ids, n)` with new ones, in the order in which they were first added,
    // whenever a portion is complete. Without memory to remember them, new ones are dropped.
    template <class Sink> void add(const unsigned int* ids, std::size_t n, Sink sink) {
        while (n != 0) {
            const std::size_t nbr_taken = std::min(n, portion_ - nbr_gathered_);
            std::copy_n(ids, nbr_taken, gathered_.data() + nbr_gathered_);
            nbr_gathered_ += nbr_taken;
            ids += nbr_taken;
            n -= nbr_taken;
            if (nbr_gathered_ != portion_) continue;
            const std::size_t nbr_new = find_new();
            if (remember(nbr_new)) tell(sink);
            nbr_gathered_ = 0;
        }
    }

    // The same with the last, incomplete portion. Nothing is added after it.
    template <class Sink> void finish(Sink sink) {
        find_new();
        tell(sink);
    }

private:
    // So that places fit in the lower half of an entry.
    static constexpr std::size_t most_gathered = std::size_t{1} << 31;

    // Replaces every gathered ID that is not new by the absent one. The new ones, ascending, become
    // the first entries. Returns their number.
    std::size_t find_new() {
        std::uint64_t* const entries = entries_.data();
        unsigned int* const gathered = gathered_.data();
        for (std::size_t k = 0; k < nbr_gathered_; ++k) entries[k] = placed_id(gathered[k], k);
        sort_by_id(entries_, scratch_, nbr_gathered_);

        const unsigned int* seen = seen_.begin();
        std::size_t nbr_new = 0;
        for (std::size_t k = 0; k < nbr_gathered_; ++k) {
            const unsigned int id = id_of(entries[k]);
            const unsigned int place = place_of(entries[k]);
            while (seen != seen_.end() && *seen < id) ++seen;
            const bool was_seen = seen != seen_.end() && *seen == id;
            if (was_seen || (nbr_new != 0 && entries[nbr_new - 1] == id)) {
                gathered[place] = no_id;
            } else {
                entries[nbr_new++] = id;
            }
        }
        return nbr_new;
    }

    // Merges the first entries into the IDs seen, from the back. False when memory fails.
    bool remember(std::size_t nbr_new) {
        std::size_t nbr_old = seen_.size();
        std::size_t end = nbr_old + nbr_new;
        if (!seen_.resize(end)) return false;
        while (nbr_new != 0) {
            const auto id = static_cast<unsigned int>(entries_[nbr_new - 1]);
            const bool old_is_last = nbr_old != 0 && seen_[nbr_old - 1] > id;
            seen_[--end] = old_is_last ? seen_[--nbr_old] : id;
            nbr_new -= old_is_last ? 0 : 1;
        }
        return true;
    }

    template <class Sink> void tell(Sink sink) {
        unsigned int* const gathered = gathered_.data();
        const unsigned int* const end = std::remove(gathered, gathered + nbr_gathered_, no_id);
        sink(gathered, static_cast<std::size_t>(end - gathered));
    }

    id_list seen_;     // ascending
    id_list gathered_; // of the current portion
    placed_ids entries_;
    placed_ids scratch_;
    std::size_t portion_ = 0;
    std::size_t nbr_gathered_ = 0;
};

} // namespace kv7::tessmaker

#endif
