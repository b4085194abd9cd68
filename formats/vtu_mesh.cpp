#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "formats/characters.h"
#include "formats/mesh_filler.h"
#include "formats/mesh_readers.h"
#include "formats/vtk_cells.h"
#include "formats/vtk_fields.h"
#include "formats/vtu_arrays.h"
#include "formats/vtu_file.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form not_in_all_pieces{remark_kind::lost, "array left out", "arrays left out",
                                        "not in all pieces with as many components"};

// Makes a mesh of the arrays of a file.
class vtu_builder {
public:
    vtu_builder(vtu_file& file, mesh& result)
        : file_(file), report_(file.report()), filler_(result), fields_(result) {}

    int build() {
        vtk_cells cells(filler_, report_,
                        file_.has_wedge_comment() ? vtk_cells::form::of_write_mesh
                                                  : vtk_cells::form::of_vtk);
        for (const vtu_piece& piece : file_.pieces()) {
            const auto first_node = static_cast<unsigned int>(filler_.nbr_nodes());
            if (!read_points(piece) || !read_cells(piece, first_node, cells)) return code_;
        }
        const bool is_done =
            read_fields(field_place::nodes, nullptr, filler_.nbr_nodes()) &&
            read_fields(field_place::elements, &cells.elements(), cells.nbr_elements());
        if (!is_done) return code_;
        return filler_.finish() ? 0 : out_of_memory;
    }

private:
    // Of the whole numbers below 2^32.
    static constexpr double number_limit = 4294967296.0;

    bool fail(const vtu_array& array, const std::string& text) {
        const std::string name = shown_word(array.name);
        code_ = file_.fail(array.place, name.empty() ? text : name + ": " + text);
        return false;
    }
    bool fail_for_memory() {
        code_ = out_of_memory;
        return false;
    }

    bool read_values(const vtu_array& array, dense1D<double>& values) {
        const std::string fault = read_vtu_values(array, file_.encoding(), values);
        return fault.empty() || fail(array, fault);
    }
    bool check_count(const vtu_array& array, std::uint64_t found, std::uint64_t wanted) {
        if (found == wanted) return true;
        return fail(array, std::to_string(wanted) + " values are expected, and " +
                               std::to_string(found) + " are there");
    }

    bool read_points(const vtu_piece& piece) {
        const std::uint64_t n = piece.nbr_points;
        const unsigned int keyword = report_.keyword("Points");
        report_.count_seen(keyword, n);
        if (n == 0) return true;
        if (piece.points.empty()) {
            code_ = file_.fail(0, "the array of Points is expected");
            return false;
        }
        const vtu_array& array = piece.points.front();
        if (array.rows != 3) return fail(array, "three coordinates are expected");
        dense1D<double> values;
        if (!read_values(array, values)) return false;
        // Compared so, no product can be too large.
        if (values.size() % 3 != 0 || values.size() / 3 != n) {
            return fail(array, std::to_string(n) + " points are expected, and " +
                                   std::to_string(values.size()) + " coordinates are there");
        }
        for (std::size_t k = 0; k < values.size(); k += 3) {
            const double* const xyz = values.begin() + k;
            if (!std::isfinite(xyz[0]) || !std::isfinite(xyz[1]) || !std::isfinite(xyz[2])) {
                return fail(array, "a coordinate of point " + std::to_string(k / 3) +
                                       " is no finite number");
            }
            if (!filler_.add_node(xyz)) return fail_for_memory();
        }
        report_.count_read(keyword, n);
        return true;
    }

    // Reads an array of Cells, which must be there. Null if that fails.
    const vtu_array* find_cells_array(const vtu_piece& piece, std::string_view name,
                                      dense1D<double>& values) {
        for (const vtu_array& array : piece.cells) {
            if (array.name == name) return read_values(array, values) ? &array : nullptr;
        }
        code_ = file_.fail(0, "the array " + std::string(name) + " of Cells is expected");
        return nullptr;
    }

    bool read_cells(const vtu_piece& piece, unsigned int first_node, vtk_cells& cells) {
        const std::uint64_t n = piece.nbr_cells;
        const unsigned int keyword = report_.keyword("Cells");
        report_.count_seen(keyword, n);
        if (n == 0) return true;
        dense1D<double> ends;
        const vtu_array* const offsets = find_cells_array(piece, "offsets", ends);
        if (!offsets || !check_count(*offsets, ends.size(), n)) return false;
        dense1D<double> types;
        const vtu_array* const kinds = find_cells_array(piece, "types", types);
        if (!kinds || !check_count(*kinds, types.size(), n)) return false;
        id_list nodes;
        if (!read_nodes(piece, first_node, nodes)) return false;

        const std::size_t nbr_before = cells.nbr_elements();
        std::size_t begin = 0;
        for (std::size_t k = 0; k < n; ++k) {
            if (!(ends[k] >= static_cast<double>(begin)) ||
                ends[k] > static_cast<double>(nodes.size()) || ends[k] != std::floor(ends[k])) {
                return fail(*offsets, "the offset of cell " + std::to_string(k) +
                                          " is expected from " + std::to_string(begin) + " to " +
                                          std::to_string(nodes.size()));
            }
            if (!is_whole(types[k])) return fail(*kinds, "types are whole numbers");
            const auto end = static_cast<std::size_t>(ends[k]);
            const int code = cells.add(static_cast<std::uint64_t>(types[k]), nodes.begin() + begin,
                                       end - begin, {});
            if (code < 0) {
                code_ = code;
                return false;
            }
            begin = end;
        }
        if (!cells.finish()) return fail_for_memory();
        report_.count_read(keyword, cells.nbr_elements() - nbr_before);
        return true;
    }

    static bool is_whole(double value) {
        return value >= 0.0 && value < number_limit && value == std::floor(value);
    }

    // Of cells, whose points are counted from the first of the piece.
    bool read_nodes(const vtu_piece& piece, unsigned int first_node, id_list& nodes) {
        dense1D<double> ids;
        const vtu_array* const array = find_cells_array(piece, "connectivity", ids);
        if (!array) return false;
        if (!nodes.resize(ids.size())) return fail_for_memory();
        for (std::size_t k = 0; k < ids.size(); ++k) {
            // As many as have been read.
            if (!is_whole(ids[k]) || ids[k] >= static_cast<double>(piece.nbr_points)) {
                return fail(*array, "point " + std::to_string(k) +
                                        " of the list is expected below " +
                                        std::to_string(piece.nbr_points));
            }
            nodes[k] = first_node + static_cast<unsigned int>(ids[k]);
        }
        return true;
    }

    // The same array in the pieces that have values.
    struct joined_array {
        std::vector<const vtu_array*> parts;
        std::vector<std::uint64_t> sizes; // tuples of each
    };

    static std::uint64_t nbr_tuples(const vtu_piece& piece, field_place at) {
        return at == field_place::nodes ? piece.nbr_points : piece.nbr_cells;
    }
    static const std::vector<vtu_array>& data_of(const vtu_piece& piece, field_place at) {
        return at == field_place::nodes ? piece.point_data : piece.cell_data;
    }

    // Pieces without values may lack arrays. If there are no others, the first piece stands for
    // all.
    std::vector<joined_array> join_arrays(field_place at, unsigned int keyword) {
        std::vector<const vtu_piece*> pieces;
        for (const vtu_piece& piece : file_.pieces()) {
            if (nbr_tuples(piece, at) != 0) pieces.push_back(&piece);
        }
        if (pieces.empty()) pieces.push_back(&file_.pieces().front());
        std::vector<joined_array> result;
        std::map<std::string_view, std::size_t> by_name; // of arrays in the first piece
        for (const vtu_array& array : data_of(*pieces[0], at)) {
            by_name.emplace(array.name, result.size());
            result.push_back({{&array}, {nbr_tuples(*pieces[0], at)}});
        }
        for (std::size_t p = 1; p < pieces.size(); ++p) {
            for (const vtu_array& array : data_of(*pieces[p], at)) {
                const auto found = by_name.find(array.name);
                joined_array* const joined =
                    found == by_name.end() ? nullptr : &result[found->second];
                if (joined && joined->parts.size() == p && joined->parts[0]->rows == array.rows) {
                    joined->parts.push_back(&array);
                    joined->sizes.push_back(nbr_tuples(*pieces[p], at));
                } else if (!joined || joined->parts.size() > p) { // unknown, or twice
                    drop(array, keyword);
                }
            }
        }
        std::erase_if(result, [&](const joined_array& joined) {
            if (joined.parts.size() == pieces.size()) return false;
            drop(*joined.parts[0], keyword);
            return true;
        });
        return result;
    }

    void drop(const vtu_array& array, unsigned int keyword) {
        report_.count_seen(keyword);
        report_.add(not_in_all_pieces, keyword, file_.line_of(array.place));
    }

    bool read_joined(const joined_array& joined, dense1D<double>& values) {
        for (std::size_t p = 0; p < joined.parts.size(); ++p) {
            const vtu_array& array = *joined.parts[p];
            dense1D<double> part;
            dense1D<double>& target = joined.parts.size() == 1 ? values : part;
            if (joined.sizes[p] != 0 && !read_values(array, target)) return false;
            // Both are below 2^32.
            if (!check_count(array, target.size(), array.rows * joined.sizes[p])) return false;
            for (const double value : part) {
                if (!values.push_back(value)) return fail_for_memory();
            }
        }
        return true;
    }

    bool read_fields(field_place at, const id_list* element_of_cell, std::size_t nbr_columns) {
        const unsigned int keyword =
            report_.keyword(at == field_place::nodes ? "PointData" : "CellData");
        for (const joined_array& joined : join_arrays(at, keyword)) {
            dense1D<double> values;
            if (!read_joined(joined, values)) return false;
            const vtu_array& first = *joined.parts[0];
            if (!fields_.add(first.name, at, values, first.rows, element_of_cell, nbr_columns)) {
                return fail_for_memory();
            }
            report_.count_seen(keyword);
            report_.count_read(keyword);
        }
        return true;
    }

    vtu_file& file_;
    report_builder& report_;
    mesh_filler filler_;
    vtk_fields fields_;
    int code_ = 0;
};

} // namespace

int read_vtu_mesh(std::FILE* file, mesh& result, report_builder& report) {
    vtu_file contents(report);
    if (const int code = contents.read(file); code < 0) return code;
    return vtu_builder(contents, result).build();
}

} // namespace kv7::tessmaker
