// Where the cards of a deck stand that became nodes or elements.
#ifndef TESSMAKER_FORMATS_CARD_PLACES_H
#define TESSMAKER_FORMATS_CARD_PLACES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "formats/deck_card.h"

namespace kv7::tessmaker {

// The lines of cards in their order, and a number that tells what each is. Cards of one kind at
// equal distances in one file take the memory of one.
class card_places {
public:
    struct place {
        unsigned int file;
        std::uint64_t line;
        unsigned int kind;
    };

    // Memory that fails is told by std::bad_alloc.
    void add(const deck_position& position, unsigned int kind) {
        if (position.line != next_line_ || position.file != file_ || kind != kind_) {
            begin_run(position, kind);
        }
        next_line_ = position.line + step_;
        ++nbr_cards_;
    }
    // Adds cards on lines that follow each other.
    void add_lines(deck_position position, std::size_t nbr_lines, unsigned int kind) {
        std::size_t n = 0;
        for (; n < nbr_lines && (n < 2 || step_ != 1); ++n, ++position.line) add(position, kind);
        nbr_cards_ += nbr_lines - n;
        next_line_ += nbr_lines - n;
    }
    std::size_t size() const { return nbr_cards_; }

    place operator[](std::size_t card) const {
        const auto behind =
            std::upper_bound(runs_.begin(), runs_.end(), card,
                             [](std::size_t c, const run& r) { return c < r.first_card; });
        const run& r = *(behind - 1);
        return {r.file, r.first_line + (card - r.first_card) * r.step, r.kind};
    }

    // Calls `visit(first, end, kind)` for cards of one kind in a row, in their order.
    template <class Visit> void for_each_kind(const Visit& visit) const {
        for (std::size_t r = 0; r < runs_.size(); ++r) {
            const std::size_t end = r + 1 < runs_.size() ? runs_[r + 1].first_card : nbr_cards_;
            visit(std::size_t{runs_[r].first_card}, end, unsigned{runs_[r].kind});
        }
    }

private:
    struct run {
        std::uint64_t first_line;
        unsigned int first_card;
        unsigned int file;
        std::uint32_t step; // lines from card to card
        std::uint32_t kind;
    };

    // Or tells how far the second card of a run lies behind the first.
    void begin_run(const deck_position& position, unsigned int kind) {
        const bool is_second = !runs_.empty() && runs_.back().first_card + 1 == nbr_cards_;
        const std::uint64_t step = position.line - (is_second ? runs_.back().first_line : 0);
        if (is_second && position.file == file_ && kind == kind_ &&
            position.line > runs_.back().first_line && step <= most_lines) {
            step_ = static_cast<std::uint32_t>(step);
            runs_.back().step = step_;
            return;
        }
        file_ = position.file;
        kind_ = kind;
        step_ = 0;
        runs_.push_back({position.line, static_cast<unsigned int>(nbr_cards_), file_, step_, kind});
    }

    static constexpr std::uint64_t most_lines = 1000;

    std::vector<run> runs_;
    std::size_t nbr_cards_ = 0;
    // Of the last run; in its first card `step_` is 0, so that the second is not taken for its
    // next.
    std::uint64_t next_line_ = 0; // lines count from 1
    unsigned int file_ = 0;
    unsigned int kind_ = 0;
    std::uint32_t step_ = 0;
};

} // namespace kv7::tessmaker

#endif
