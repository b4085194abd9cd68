// How many elements a deck will have.
#ifndef TESSMAKER_FORMATS_ELEMENT_FORECAST_H
#define TESSMAKER_FORMATS_ELEMENT_FORECAST_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace kv7::tessmaker {

// Where the reading of a deck stands.
struct deck_progress {
    unsigned int file = 0;  // by its number
    std::uint64_t at = 0;   // in the file
    std::uint64_t size = 0; // of the file; 0 if it is no regular one
};

// Foresees the elements of a large deck, as if the rest of the file at hand were like the last part
// that was read of it. Arrays can so be made as large as they will be: doubled ones would be copied
// when they are large, and take memory twice.
class element_forecast {
public:
    // Whether `look` is to be called when there are as many elements.
    bool is_due(std::size_t nbr_elements) const { return nbr_elements >= due_; }

    // Returns how many elements there will be, or 0 if that can't be told yet. `number` is that of
    // the last one, and `nbr_held` are those that there is room for.
    std::size_t look(const deck_progress& now, std::size_t nbr_elements, unsigned int number,
                     std::size_t nbr_held) {
        const bool is_known = has_mark_ && now.file == mark_.file && now.at > mark_.at;
        std::size_t result = 0;
        if (is_known) {
            // Numbers get shorter where they descend, and else perhaps a little.
            const double margin = number < number_at_mark_ ? 1.1 : 1.02;
            const double per_byte = static_cast<double>(nbr_elements - nbr_at_mark_) /
                                    static_cast<double>(now.at - mark_.at);
            const auto left = static_cast<double>(now.size - std::min(now.size, now.at));
            result = nbr_elements + static_cast<std::size_t>(per_byte * margin * left);
        }
        has_mark_ = true;
        mark_ = now;
        nbr_at_mark_ = nbr_elements;
        number_at_mark_ = number;
        due_ =
            nbr_elements + (is_known ? next_step(nbr_elements, std::max(result, nbr_held)) : step);
        return result;
    }

private:
    // Elements, to know their size.
    static constexpr std::size_t step = 25000;
    // More than what is read at once holds.
    static constexpr std::size_t nbr_at_once = 6000;

    // How many elements to wait for: until there is little room, or half of that if there is
    // little.
    static std::size_t next_step(std::size_t nbr_elements, std::size_t nbr_held) {
        const std::size_t room = nbr_held - std::min(nbr_held, nbr_elements);
        return 1 + std::max(room / 2, room - std::min(room, nbr_at_once));
    }

    std::size_t due_ = step;
    bool has_mark_ = false;
    deck_progress mark_;
    std::size_t nbr_at_mark_ = 0;
    unsigned int number_at_mark_ = 0;
};

} // namespace kv7::tessmaker

#endif
