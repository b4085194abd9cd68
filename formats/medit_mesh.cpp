#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/medit_words.h"
#include "formats/mesh_filler.h"
#include "formats/mesh_readers.h"
#include "formats/reported_words.h"
#include "formats/vtk_cell_orders.h"
#include "tessmaker/element_type.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form reference_dropped{remark_kind::lost, "reference left out",
                                        "references left out", "a node has no property"};
constexpr remark_form reference_replaced{remark_kind::changed, "reference read as 0",
                                         "references read as 0",
                                         "a property is a number from 0 to 4294967295"};
constexpr remark_form read_as_linear{remark_kind::changed, "read as linear", "read as linear",
                                     "the order of further nodes is not known"};
constexpr remark_form read_as_pyramid{remark_kind::changed, "read as pyramid", "read as pyramids",
                                      "four nodes are one"};
constexpr remark_form read_as_wedge{remark_kind::changed, "read as wedge", "read as wedges",
                                    "two edges have one node each"};
constexpr std::size_t most_nodes = 27;

// Where each node stands in the file: tetrahedra and mid-edge nodes there are those of VTK's cells.
constexpr vtk_order as_in_file{0, 1, 2, 3, 4, 5, 6, 7, 8};
constexpr vtk_order triangle_6 = vtk_orders::inverse(vtk_cell_table[ET_TRIA6].nodes, 6);
constexpr vtk_order turned_tetrahedron = vtk_orders::inverse(vtk_cell_table[ET_TETRA10].nodes, 10);

struct element_section {
    std::string_view keyword;
    std::string_view lower_keyword;
    element_type type;
    std::uint8_t nbr_nodes; // in the file
    vtk_order order = as_in_file;
};

// Of the quadratic types that are read as linear the format does not fix the order of nodes.
constexpr element_section element_sections[] = {
    {"Tetrahedra", "tetrahedra", ET_TETRA4, 4, turned_tetrahedron},
    {"Triangles", "triangles", ET_TRIA3, 3},
    {"Edges", "edges", ET_BAR2, 2},
    {"Quadrilaterals", "quadrilaterals", ET_QUAD4, 4},
    {"Hexahedra", "hexahedra", ET_HEXA8, 8},
    {"Hexaedra", "hexaedra", ET_HEXA8, 8},
    {"Prisms", "prisms", ET_PENTA6, 6},
    {"Pentahedra", "pentahedra", ET_PENTA6, 6},
    {"Pyramids", "pyramids", ET_PYRA5, 5},
    {"EdgesP2", "edgesp2", ET_BAR3, 3},
    {"TrianglesP2", "trianglesp2", ET_TRIA6, 6, triangle_6},
    {"QuadrilateralsQ2", "quadrilateralsq2", ET_QUAD9, 9},
    {"TetrahedraP2", "tetrahedrap2", ET_TETRA10, 10, turned_tetrahedron},
    {"PyramidsP2", "pyramidsp2", ET_PYRA5, 14},
    {"PrismsP2", "prismsp2", ET_PENTA6, 18},
    {"HexahedraQ2", "hexahedraq2", ET_HEXA8, 27},
};

const element_section* find_section(std::string_view keyword) {
    for (const element_section& section : element_sections) {
        if (is_word(keyword, section.lower_keyword)) return &section;
    }
    return nullptr;
}

// Elements of a hexahedron in which nodes coincide, as they are written for want of a section.
bool is_pyramid(const unsigned int* nodes) {
    return nodes[4] == nodes[5] && nodes[4] == nodes[6] && nodes[4] == nodes[7];
}
bool is_wedge(const unsigned int* nodes) { return nodes[2] == nodes[3] && nodes[6] == nodes[7]; }

class medit_reader {
public:
    medit_reader(std::FILE* file, mesh& result, report_builder& report)
        : words_(file, report), report_(report), filler_(result) {}

    int read() {
        if (!words_.read_version()) return words_.code();
        for (;;) {
            const std::string_view word = words_.next_keyword();
            if (words_.code() < 0) return words_.code();
            if (word.empty()) break;
            if (!read_section(word)) return words_.code();
        }
        if (nbr_nodes_ == unknown) return report_.fail(file_malformed, "Vertices are expected");
        if (const int result = check_early_elements(); result < 0) return result;
        return filler_.finish() ? 0 : out_of_memory;
    }

private:
    static constexpr std::uint64_t unknown = std::numeric_limits<std::uint64_t>::max();

    // Elements that stand ahead of the nodes.
    struct early_section {
        file_place at;
        std::size_t begin;
        std::size_t end;
    };

    bool read_section(std::string_view word) {
        if (is_word(word, "dimension")) return words_.read_dimension(dim_);
        if (is_word(word, "vertices")) return read_vertices();
        if (const element_section* const section = find_section(word)) {
            return read_elements(*section);
        }
        const std::string_view ending = "ordering";
        if (word.size() > ending.size() &&
            is_word(word.substr(word.size() - ending.size()), ending)) {
            return words_.fail("elements with nodes in an order of their own are not read");
        }
        return words_.pass_section(word);
    }

    bool read_vertices() {
        if (nbr_nodes_ != unknown) return words_.fail("Vertices stand in the file already");
        if (dim_ == 0) return words_.fail("Dimension is expected ahead of Vertices");
        const unsigned int keyword = report_.keyword("Vertices");
        std::uint64_t n = 0;
        if (!words_.next_count(n)) return false;
        for (std::uint64_t k = 0; k < n; ++k) {
            double xyz[3] = {0.0, 0.0, 0.0};
            for (unsigned int r = 0; r < dim_; ++r) {
                if (!words_.next_number(xyz[r])) return false;
            }
            std::int64_t reference = 0;
            if (!words_.next_integer(reference)) return false;
            if (reference != 0) report_.add(reference_dropped, keyword, words_.place());
            if (!filler_.add_node(xyz)) return words_.fail_for_memory();
        }
        report_.count_seen(keyword, n);
        report_.count_read(keyword, n);
        nbr_nodes_ = n;
        return true;
    }

    bool read_elements(const element_section& section) {
        const unsigned int keyword = report_.keyword(section.keyword);
        const file_place at = words_.place();
        const std::size_t begin = filler_.nbr_elements();
        std::uint64_t n = 0;
        if (!words_.next_count(n)) return false;
        for (std::uint64_t k = 0; k < n; ++k) {
            if (!read_element(section, keyword)) return false;
        }
        report_.count_seen(keyword, n);
        report_.count_read(keyword, n);
        if (nbr_nodes_ == unknown) early_.push_back({at, begin, filler_.nbr_elements()});
        return true;
    }

    bool read_element(const element_section& section, unsigned int keyword) {
        std::array<unsigned int, most_nodes> nodes;
        file_place at;
        for (std::size_t k = 0; k < section.nbr_nodes; ++k) {
            if (!read_node(nodes[k])) return false;
            if (k == 0) at = words_.place();
        }
        std::int64_t reference = 0;
        if (!words_.next_integer(reference)) return false;
        if (reference < 0 || reference > std::int64_t{no_id}) {
            report_.add(reference_replaced, keyword, words_.place());
            reference = 0;
        }
        if (section.nbr_nodes != shape_of(section.type).nbr_nodes) {
            report_.add(read_as_linear, keyword, at);
        }
        return add_element(section, nodes.data(), static_cast<unsigned int>(reference), keyword,
                           at);
    }

    bool read_node(unsigned int& id) {
        std::uint64_t number = 0;
        const std::uint64_t most = nbr_nodes_ == unknown ? no_id - 1 : nbr_nodes_;
        if (word_to_integer(words_.next(), number) && number != 0 && number <= most) {
            id = static_cast<unsigned int>(number - 1);
            return true;
        }
        if (nbr_nodes_ == unknown) return words_.expect("the number of a node");
        return words_.expect("a node from 1 to " + std::to_string(most));
    }

    bool add_element(const element_section& section, const unsigned int* nodes, unsigned int pid,
                     unsigned int keyword, file_place at) {
        element_type type = section.type;
        if (type == ET_HEXA8 && is_pyramid(nodes)) {
            report_.add(read_as_pyramid, keyword, at);
            type = ET_PYRA5;
        } else if (type == ET_HEXA8 && is_wedge(nodes)) {
            report_.add(read_as_wedge, keyword, at);
            type = ET_PENTA6;
        }
        unsigned int* const element = filler_.add_element(type, pid);
        if (!element) return words_.fail_for_memory();
        if (type == ET_PENTA6 && section.type == ET_HEXA8) {
            constexpr std::array<std::uint8_t, 6> wedge{0, 1, 2, 4, 5, 6};
            for (std::size_t k = 0; k < wedge.size(); ++k) element[k] = nodes[wedge[k]];
            return true;
        }
        // Kept: `medit_output` does not turn tetrahedra.
        const bool is_as_ours = type == ET_TETRA4 && words_.is_ours();
        const vtk_order& order = is_as_ours ? as_in_file : section.order;
        for (std::size_t k = 0; k < shape_of(type).nbr_nodes; ++k) element[k] = nodes[order[k]];
        return true;
    }

    // Of elements ahead of the nodes it is known only now whether these are there.
    int check_early_elements() {
        for (const early_section& section : early_) {
            const std::size_t c = filler_.find_without_nodes(section.begin, section.end);
            if (c == section.end) continue;
            return report_.fail(file_malformed, section.at, 0,
                                "a node of element " + std::to_string(c - section.begin + 1) +
                                    " of this section is not there");
        }
        return 0;
    }

    medit_words words_;
    report_builder& report_;
    mesh_filler filler_;
    unsigned int dim_ = 0; // 0 before it is known
    std::uint64_t nbr_nodes_ = unknown;
    std::vector<early_section> early_;
};

} // namespace

int read_medit_mesh(std::FILE* file, mesh& result, report_builder& report) {
    return medit_reader(file, result, report).read();
}

} // namespace kv7::tessmaker
