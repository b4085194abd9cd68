// A hash table of IDs in one array: open addressing, slots of 64 bits.
//
// A slot holds the upper half of a 64-bit hash and an ID. The table knows no keys: its user
// compares those of the few IDs that share the half. The first slot of a hash is told by the
// uppermost bits; entries that find it taken go to the next free one, the first slot following the
// last.
#ifndef TESSMAKER_CORE_SLOT_TABLE_H
#define TESSMAKER_CORE_SLOT_TABLE_H

#include <bit>
#include <cstddef>
#include <cstdint>

#include "core/ids.h"
#include "core/prefetch.h"

namespace kv7::tessmaker {

class slot_table {
public:
    // Empties the table and gives it a power of two of slots, two at least. False when memory
    // fails.
    bool init(std::size_t nbr_slots) {
        slots_.clear();
        nbr_ids_ = 0;
        return set_size(nbr_slots);
    }

    // Empties the table and makes room for `nbr_ids` IDs.
    bool init_for(std::size_t nbr_ids) {
        return init(nbr_ids < 2 ? 2 : std::bit_ceil(2 * nbr_ids));
    }

    [[gnu::always_inline]] void prefetch(std::uint64_t hash) const {
        tessmaker::prefetch(slots_.data() + first_slot(hash));
    }

    // Runs `found(id)` on the IDs with the upper half of `hash`, in no particular order, until it
    // returns true. Returns the number of entries passed, including those of other hashes.
    template <class Found> std::size_t search(std::uint64_t hash, Found found) const {
        return (slot_of(hash, found) - first_slot(hash)) & mask_;
    }

    // The ID with the upper half of `hash` for which `is_same(id)` is true, or the absent ID.
    template <class Same> unsigned int find(std::uint64_t hash, Same is_same) const {
        std::size_t nbr_passed = 0;
        return find(hash, is_same, nbr_passed);
    }
    // The same; adds the number of entries passed, including those of other hashes.
    template <class Same>
    unsigned int find(std::uint64_t hash, Same is_same, std::size_t& nbr_passed) const {
        const std::size_t s = slot_of(hash, is_same);
        nbr_passed += (s - first_slot(hash)) & mask_;
        return id_in(slots_[s]);
    }

    // The same, but inserts and returns `id` if there is none. Never grows: for tables made by
    // `init_for`.
    template <class Same>
    unsigned int find_or_insert(std::uint64_t hash, unsigned int id, Same is_same) {
        std::size_t nbr_passed = 0;
        return find_or_insert(hash, id, is_same, nbr_passed);
    }
    // The same; adds the number of entries passed, including those of other hashes.
    template <class Same>
    unsigned int find_or_insert(std::uint64_t hash, unsigned int id, Same is_same,
                                std::size_t& nbr_passed) {
        const std::size_t s = slot_of(hash, is_same);
        nbr_passed += (s - first_slot(hash)) & mask_;
        std::uint64_t& slot = slots_[s];
        if (slot == free_slot) {
            slot = (hash & upper_half) | id;
            ++nbr_ids_;
        }
        return id_in(slot);
    }

    // Inserts an ID. A table that is half full grows first. False when memory fails; the table is
    // then left unchanged.
    bool insert(std::uint64_t hash, unsigned int id) {
        if (2 * nbr_ids_ > mask_ && !grow()) return false;
        put((hash & upper_half) | id);
        ++nbr_ids_;
        return true;
    }

    std::size_t nbr_slots() const { return slots_.size(); }

private:
    static constexpr std::uint64_t upper_half = 0xFFFFFFFF00000000U;
    // No entry has the absent ID, so none looks like a free slot, whose ID reads as absent.
    static constexpr std::uint64_t free_slot = static_cast<std::uint64_t>(-1);
    // Half a hash tells no more slots apart, so a table does not grow beyond them.
    static constexpr std::size_t most_slots = std::size_t{1} << 32;

    static unsigned int id_in(std::uint64_t slot) { return static_cast<unsigned int>(slot); }

    std::size_t first_slot(std::uint64_t hash) const { return (hash & upper_half) >> shift_; }

    // The slot of the first ID that is accepted, or the free slot where the search ends.
    template <class Found> std::size_t slot_of(std::uint64_t hash, Found& found) const {
        const std::uint64_t* const slots = slots_.data();
        const std::uint64_t half = hash >> 32;
        std::size_t s = first_slot(hash);
        for (; slots[s] != free_slot; s = (s + 1) & mask_) {
            if (slots[s] >> 32 == half && found(id_in(slots[s]))) break;
        }
        return s;
    }

    bool set_size(std::size_t nbr_slots) {
        if (!slots_.resize(nbr_slots, free_slot)) return false;
        mask_ = nbr_slots - 1;
        shift_ = 64 - static_cast<std::size_t>(std::bit_width(mask_));
        return true;
    }

    void put(std::uint64_t entry) {
        std::uint64_t* const slots = slots_.data();
        std::size_t s = first_slot(entry);
        while (slots[s] != free_slot) s = (s + 1) & mask_;
        slots[s] = entry;
    }

    bool grow() {
        slot_table larger;
        if (slots_.size() >= most_slots || !larger.set_size(2 * slots_.size())) return false;
        for (const std::uint64_t entry : slots_) {
            if (entry != free_slot) larger.put(entry);
        }
        larger.nbr_ids_ = nbr_ids_;
        *this = larger;
        return true;
    }

    dense1D<std::uint64_t, 8> slots_;
    std::size_t mask_ = 0;   // number of slots - 1
    std::size_t shift_ = 63; // leaves the bits of a slot's number
    std::size_t nbr_ids_ = 0;
};

} // namespace kv7::tessmaker

#endif
