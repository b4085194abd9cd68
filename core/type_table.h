// A table with one row per element type, each row written beside the name of its type.
#ifndef TESSMAKER_CORE_TYPE_TABLE_H
#define TESSMAKER_CORE_TYPE_TABLE_H

#include <array>
#include <cstddef>

#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

inline constexpr std::size_t nbr_element_types = 23;

inline constexpr auto all_element_types = [] {
    std::array<element_type, nbr_element_types> types{};
    for (std::size_t i = 0; i < types.size(); ++i) types[i] = static_cast<element_type>(i);
    return types;
}();

// Compiles only if it has a row for each type, in the order of `element_type`.
template <class Row> class type_table {
public:
    struct entry {
        element_type type;
        Row row;
    };

    consteval type_table(const entry (&entries)[nbr_element_types]) {
        for (std::size_t i = 0; i < nbr_element_types; ++i) {
            if (static_cast<std::size_t>(entries[i].type) != i) throw "a row is not at its place";
            rows_[i] = entries[i].row;
        }
    }

    // A value that is none of the types has the row of ET_UNKNOWN.
    constexpr const Row& operator[](element_type type) const {
        const auto i = static_cast<std::size_t>(type);
        return rows_[i < nbr_element_types ? i : 0];
    }

private:
    std::array<Row, nbr_element_types> rows_{};
};

} // namespace kv7::tessmaker

#endif
