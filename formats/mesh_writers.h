// The writers behind `write_mesh`, one for each format, and what they share.
#ifndef TESSMAKER_FORMATS_MESH_WRITERS_H
#define TESSMAKER_FORMATS_MESH_WRITERS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/file_report.h"
#include "formats/format_holdings.h"
#include "formats/output_buffer.h"
#include "formats/rounded_real.h"
#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// What a writer is given: a mesh without fault, and the columns and nodes of it that are written.
struct mesh_for_file {
    const mesh& m;
    const format_holdings& holdings;
    int digits;
    // The place of each node in the file, from 0; the absent ID if it is not written. Empty if all
    // nodes are written.
    id_list places;
    std::size_t nbr_nodes = 0;    // that are written
    std::size_t nbr_elements = 0; // likewise
    // In formats with numbers those of the mesh; null if the places, from 1, are in their stead.
    const unsigned int* node_numbers = nullptr;
    const unsigned int* element_numbers = nullptr;

    bool has_node(std::size_t id) const { return places.empty() || places[id] != no_id; }
    unsigned int place(unsigned int id) const { return places.empty() ? id : places[id]; }
    unsigned int node_number(std::size_t id) const {
        return node_numbers ? node_numbers[id] : static_cast<unsigned int>(id) + 1;
    }
    unsigned int element_number(std::size_t c) const {
        return element_numbers ? element_numbers[c] : static_cast<unsigned int>(c) + 1;
    }
    unsigned int property(std::size_t c) const { return m.pids.empty() ? 1 : m.pids[c]; }
};

// Calls `visit(type, c, nodes)` for each element of a mesh without fault: its plain type, its
// column and its nodes.
template <class Visit> void visit_elements(const mesh& m, const Visit& visit) {
    const std::size_t ld = m.connect.ld();
    for (std::size_t k = 0; k < m.types.size(); ++k) {
        const std::size_t end = m.indices[k + 1];
        std::size_t c = m.indices[k];
        if (c == end) continue;
        const auto type = static_cast<element_type>(m.types[k]);
        const unsigned int* nodes = m.connect.column(c);
        for (; c < end; ++c, nodes += ld) visit(column_type(type, nodes), c, nodes);
    }
}

// The same for each element that is written, with the type as which it is.
template <class Visit> void visit_written(const mesh_for_file& what, const Visit& visit) {
    visit_elements(what.m, [&](element_type type, std::size_t c, const unsigned int* nodes) {
        const element_type held = what.holdings.held_as(type);
        if (held != ET_UNKNOWN) visit(held, c, nodes);
    });
}

// Collects what a format can't hold, or holds in another form. Names are those of the elements or
// a word such as "node".
class write_losses {
public:
    explicit write_losses(report_builder& report) : report_(report) {}

    // Nothing if `count` is 0.
    void add(const remark_form& form, std::string_view name, std::uint64_t count) {
        if (count == 0) return;
        report_.add(form, name, {}, count);
        if (form.kind == remark_kind::lost) any_ = true;
    }
    void add(const remark_form& form, std::string_view name, std::uint64_t count,
             const char* reason) {
        add(form, name, count);
        if (count != 0) report_.explain(form, name, reason);
    }
    bool any() const { return any_; } // lost

private:
    report_builder& report_;
    bool any_ = false;
};

// Says which nodes and elements are written. std::bad_alloc may leave it.
mesh_for_file choose_what_is_written(const mesh& m, const format_holdings& holdings, int digits);

// Tells what is to be told of a mesh by the table of the format alone.
void tell_losses(const mesh_for_file& what, write_losses& losses);

// Tells of the nodes alone that are not written.
void tell_lone_nodes(const mesh_for_file& what, write_losses& losses);

// How many numbers say more than the order, in which number k is k + 1.
std::size_t nbr_real_numbers(const dense1D<unsigned int>& numbers);
// How many properties are not 1.
std::size_t nbr_real_properties(const dense1D<unsigned int>& pids);

// Writes a text of any length. False when the stream fails.
bool put_text(std::string_view text, output_buffer& output);

// Writes a number with the digits that are asked for, at most `real_size` characters.
inline void put_real(double value, int digits, output_buffer& output) {
    output.put_by([value, digits](char* text) {
        return digits >= 17 ? std::to_chars(text, text + real_size, value).ptr
                            : put_rounded_real(value, digits, text);
    });
}

// A writer of one format. `tell` tells what the table of the format doesn't say; it may be null.
// `write` returns false when the stream fails. std::bad_alloc may leave both.
struct mesh_writer {
    const format_holdings* holdings;
    void (*tell)(const mesh_for_file& what, write_losses& losses);
    bool (*write)(std::FILE* file, const mesh_for_file& what);
};

extern const mesh_writer stl_text_writer;
extern const mesh_writer stl_binary_writer;
extern const mesh_writer obj_writer;
extern const mesh_writer medit_writer;
extern const mesh_writer vtk_writer;
extern const mesh_writer vtu_writer;
extern const mesh_writer nastran_writer;
extern const mesh_writer femap_writer;
extern const mesh_writer ensight_writer;

// The file of fields beside a MEDIT file: those at nodes, with the values of the nodes that are
// written there. `what` is as for that file. The functions are as those of a writer.
std::size_t nbr_medit_fields(const mesh& m); // that can be written
void tell_medit_field_losses(const mesh_for_file& what, write_losses& losses);
bool write_medit_fields(std::FILE* file, const mesh_for_file& what);

} // namespace kv7::tessmaker

#endif
