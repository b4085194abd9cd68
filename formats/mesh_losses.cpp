#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "core/ids.h"
#include "core/type_table.h"
#include "formats/mesh_writers.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form element_lost{remark_kind::lost, "not written", "not written",
                                   "the format has no such element"};
constexpr remark_form element_reduced{remark_kind::lost, "written without some of its nodes",
                                      "written without some of their nodes", ""};
constexpr remark_form node_lost{remark_kind::lost, "not written", "not written",
                                "in no element that is written"};
constexpr remark_form flat_node{remark_kind::changed, "written with a third coordinate of 0",
                                "written with a third coordinate of 0", ""};
constexpr remark_form numbers_lost{remark_kind::lost, "not written", "not written",
                                   "the format has no numbers"};
constexpr remark_form numbers_replaced{remark_kind::lost, "replaced", "replaced",
                                       "the format asks for different numbers from 1 to "
                                       "4294967294"};
constexpr remark_form numbers_long{remark_kind::note, "above 99999999", "above 99999999",
                                   "not all programs read such numbers"};
constexpr remark_form properties_lost{remark_kind::lost, "not written", "not written",
                                      "the format has no properties"};
constexpr remark_form sets_lost{remark_kind::lost, "not written", "not written",
                                "the format has no such sets"};
constexpr remark_form fields_lost{remark_kind::lost, "not written", "not written",
                                  "the format has no fields"};

std::size_t nbr_long_numbers(const dense1D<unsigned int>& numbers) {
    constexpr unsigned int most = 99'999'999; // of eight digits
    return static_cast<std::size_t>(std::count_if(
        numbers.begin(), numbers.end(), [](unsigned int number) { return number > most; }));
}

using type_counts = std::array<std::size_t, nbr_element_types>;

type_counts count_types(const mesh& m) {
    type_counts counts{};
    visit_elements(m, [&counts](element_type type, std::size_t, const unsigned int*) {
        ++counts[static_cast<std::size_t>(type)];
    });
    return counts;
}

void tell_elements(const mesh_for_file& what, write_losses& losses) {
    const type_counts counts = count_types(what.m);
    for (const element_type type : all_element_types) {
        const std::size_t count = counts[static_cast<std::size_t>(type)];
        const element_type held = what.holdings.held_as(type);
        const char* const name = element_names[type];
        if (held == ET_UNKNOWN) {
            losses.add(element_lost, name, count);
        } else if (nbr_nodes(held) != nbr_nodes(type)) {
            const std::string reason = std::string("as ") + element_names[held];
            losses.add(element_reduced, name, count, reason.c_str());
        }
    }
}

bool are_unique(const dense1D<unsigned int>& numbers) {
    const auto is_none = [](unsigned int number) { return number == 0 || number == no_id; };
    if (std::any_of(numbers.begin(), numbers.end(), is_none)) return false;
    if (std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()) ==
        numbers.end()) {
        return true;
    }
    std::vector<unsigned int> sorted(numbers.begin(), numbers.end());
    std::sort(sorted.begin(), sorted.end());
    return std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
}

void choose_numbers(mesh_for_file& what) {
    const mesh& m = what.m;
    if (!what.holdings.numbers) return;
    const bool takes_any = !what.holdings.strict_numbers;
    if (!m.node_numbers.empty() && (takes_any || are_unique(m.node_numbers))) {
        what.node_numbers = m.node_numbers.data();
    }
    if (!m.element_numbers.empty() && (takes_any || are_unique(m.element_numbers))) {
        what.element_numbers = m.element_numbers.data();
    }
}

void tell_numbers(const mesh_for_file& what, write_losses& losses) {
    const mesh& m = what.m;
    const auto tell = [&what, &losses](const char* name, const dense1D<unsigned int>& numbers,
                                       bool are_written) {
        if (!what.holdings.numbers) {
            losses.add(numbers_lost, name, nbr_real_numbers(numbers));
        } else if (!are_written) {
            losses.add(numbers_replaced, name, nbr_real_numbers(numbers));
        } else if (what.holdings.strict_numbers) {
            losses.add(numbers_long, name, nbr_long_numbers(numbers));
        }
    };
    tell("number of a node", m.node_numbers, what.node_numbers != nullptr);
    tell("number of an element", m.element_numbers, what.element_numbers != nullptr);
}

// Properties are told as numbers are, where both are.
void tell_properties(const mesh_for_file& what, write_losses& losses) {
    const dense1D<unsigned int>& pids = what.m.pids;
    const char* const name = "property of an element";
    if (!what.holdings.properties) {
        losses.add(properties_lost, name, nbr_real_properties(pids));
    } else if (what.holdings.strict_numbers) {
        losses.add(numbers_long, name, nbr_long_numbers(pids));
    }
}

} // namespace

mesh_for_file choose_what_is_written(const mesh& m, const format_holdings& holdings, int digits) {
    mesh_for_file what{m, holdings, digits, {}, m.pos.cols()};
    choose_numbers(what);
    const bool chooses = !holdings.lone_nodes && !m.pos.empty();
    if (chooses && !what.places.resize(m.pos.cols(), no_id)) throw std::bad_alloc();
    unsigned int* const places = what.places.data();
    visit_written(what, [&](element_type type, std::size_t, const unsigned int* nodes) {
        ++what.nbr_elements;
        if (!chooses) return;
        const unsigned int n = nbr_nodes(type);
        for (unsigned int r = 0; r < n; ++r) places[nodes[r]] = 0;
    });
    if (!chooses) return what;
    unsigned int place = 0;
    for (unsigned int& p : what.places) {
        if (p != no_id) p = place++;
    }
    what.nbr_nodes = place;
    return what;
}

void tell_losses(const mesh_for_file& what, write_losses& losses) {
    const mesh& m = what.m;
    const format_holdings& holdings = what.holdings;
    tell_elements(what, losses);
    tell_lone_nodes(what, losses);
    if (m.pos.rows() == 2 && !holdings.flat_nodes) losses.add(flat_node, "node", what.nbr_nodes);
    tell_numbers(what, losses);
    tell_properties(what, losses);
    if (!holdings.node_sets) losses.add(sets_lost, "set of nodes", m.node_sets.size());
    if (!holdings.element_sets) losses.add(sets_lost, "set of elements", m.element_sets.size());
    if (!holdings.fields) losses.add(fields_lost, "field", m.fields.size());
}

void tell_lone_nodes(const mesh_for_file& what, write_losses& losses) {
    losses.add(node_lost, "node", what.m.pos.cols() - what.nbr_nodes);
}

std::size_t nbr_real_numbers(const dense1D<unsigned int>& numbers) {
    std::size_t count = 0;
    for (std::size_t k = 0; k < numbers.size(); ++k) count += numbers[k] != k + 1 ? 1U : 0U;
    return count;
}

std::size_t nbr_real_properties(const dense1D<unsigned int>& pids) {
    return static_cast<std::size_t>(
        std::count_if(pids.begin(), pids.end(), [](unsigned int pid) { return pid != 1; }));
}

bool put_text(std::string_view text, output_buffer& output) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, output_buffer::capacity / 2);
        if (!output.make_room(piece.size())) return false;
        output.put(piece);
        text.remove_prefix(piece.size());
    }
    return true;
}

} // namespace kv7::tessmaker
