#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

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
constexpr remark_form properties_lost{remark_kind::lost, "not written", "not written",
                                      "the format has no properties"};
constexpr remark_form sets_lost{remark_kind::lost, "not written", "not written",
                                "the format has no such sets"};
constexpr remark_form fields_lost{remark_kind::lost, "not written", "not written",
                                  "the format has no fields"};

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
        const char* const name = type_holdings[type].name;
        if (held == ET_UNKNOWN) {
            losses.add(element_lost, name, count);
        } else if (nbr_nodes(held) != nbr_nodes(type)) {
            const std::string reason = std::string("as ") + type_holdings[held].name;
            losses.add(element_reduced, name, count, reason.c_str());
        }
    }
}

} // namespace

mesh_for_file choose_what_is_written(const mesh& m, const format_holdings& holdings, int digits) {
    mesh_for_file what{m, holdings, digits, {}, m.pos.cols()};
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
    losses.add(node_lost, "node", m.pos.cols() - what.nbr_nodes);
    if (m.pos.rows() == 2 && !holdings.flat_nodes) losses.add(flat_node, "node", what.nbr_nodes);
    if (!holdings.numbers) {
        losses.add(numbers_lost, "number of a node", nbr_real_numbers(m.node_numbers));
        losses.add(numbers_lost, "number of an element", nbr_real_numbers(m.element_numbers));
    }
    if (!holdings.properties) {
        losses.add(properties_lost, "property of an element", nbr_real_properties(m.pids));
    }
    if (!holdings.node_sets) losses.add(sets_lost, "set of nodes", m.node_sets.size());
    if (!holdings.element_sets) losses.add(sets_lost, "set of elements", m.element_sets.size());
    if (!holdings.fields) losses.add(fields_lost, "field", m.fields.size());
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
