#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "core/element_table.h"
#include "core/ids.h"
#include "core/outputs.h"
#include "formats/element_runs.h"
#include "formats/femap_table.h"
#include "formats/growing_arrays.h"
#include "formats/line_reader.h"
#include "formats/numbers.h"
#include "formats/streams.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr int bad_line = -102;
constexpr int out_of_memory = -199;

// The line that begins and ends a block. Kept: its blanks are required.
constexpr std::string_view delimiter = "   -1";

enum class block { none, nodes, elements };

// The block whose number is all that the line holds, apart from white space.
block block_of(std::string_view line) {
    char number[3];
    std::size_t size = 0;
    for (const char c : line) {
        if (is_space(c)) continue;
        if (size == sizeof number) return block::none;
        number[size++] = c;
    }
    const std::string_view id(number, size);
    return id == "403" ? block::nodes : id == "404" ? block::elements : block::none;
}

int read_node(std::string_view line, dense2D<double>& pos) {
    constexpr std::size_t nbr_fields = 14;
    const line_fields<nbr_fields> fields(line);
    if (fields.size() < nbr_fields) return bad_line;
    const unsigned int id = to_integer(fields[0]);
    if (id == 0) return bad_line;
    place_by_id(pos, id);
    if (id > pos.cols()) return out_of_memory;
    double* const p = pos.column(id - 1);
    // Fields aren't terminated, but numbers end at a comma as well as at the end of the line.
    for (std::size_t i = 0; i < 3; ++i) p[i] = to_real(fields[11 + i].data());
    return 0;
}

class element_reader {
public:
    explicit element_reader(const mesh_to_read& mesh) : mesh_(mesh) {}

    unsigned int count() const { return count_; }

    // Reads the lines of an element, of which `line` is the first.
    int read(std::string_view line, line_reader& reader) {
        constexpr std::size_t nbr_fields = 4;
        // Kept: the topology, the fifth field, may be missing.
        const line_fields<nbr_fields + 1> fields(line);
        if (fields.size() < nbr_fields) return bad_line;
        const unsigned int pid = to_integer(fields[1]);
        const element_type type = femap_type_of(to_integer(fields[4]));
        if (type == ET_UNKNOWN) {
            reader.skip(6);
            end_with(ET_UNKNOWN);
            return 0;
        }
        // Kept: an element whose slots can't be read is stored all the same.
        const int result = read_slots(reader);
        store(type);
        reader.skip(4);
        mesh_.pids.push_back(pid);
        ++count_;
        end_with(type);
        return result;
    }

private:
    static constexpr std::size_t slots_per_line = 10;

    // After a bad line the remaining slots keep the values of the element before.
    int read_slots(line_reader& reader) {
        for (std::size_t first = 0; first < femap_nbr_slots; first += slots_per_line) {
            reader.next();
            // Kept: the line ending counts as a field.
            const line_fields<slots_per_line> fields(reader.line());
            if (fields.size() < slots_per_line) return bad_line;
            for (std::size_t i = 0; i < slots_per_line; ++i) {
                slots_[first + i] = to_integer(fields[i]);
            }
        }
        return 0;
    }

    // When memory fails the element is lost.
    void store(element_type type) {
        id_matrix& connect = mesh_.connect;
        std::array<unsigned int, femap_nbr_slots> nodes;
        const femap_slots& order = *femap_elements[type].slots;
        const std::size_t n = shape_of(type).nbr_nodes;
        if (connect.rows() < n) connect.resize(n, connect.cols(), no_id);
        const std::size_t rows = std::max(n, connect.rows());
        for (std::size_t i = 0; i < n; ++i) nodes[i] = slots_[order[i]] - 1;
        std::fill(nodes.begin() + n, nodes.begin() + rows, no_id);
        append_column(nodes.data(), rows, connect);
    }

    // Kept: after an element of unknown topology `types` gets an entry and `indices` none, so that
    // the two no longer match.
    void end_with(element_type type) { add_to_runs(type, count_ - 1, last_, mesh_); }

    mesh_to_read mesh_;
    std::array<unsigned int, femap_nbr_slots> slots_{};
    unsigned int count_ = 0;
    element_type last_ = ET_UNKNOWN;
};

// Reads into empty arrays.
int read_blocks(std::FILE* file, const mesh_to_read& mesh) {
    mesh.indices.push_back(0);
    element_reader elements(mesh);
    line_reader reader(file);
    block inside = block::none;
    int result = 0;
    while (result == 0 && reader.next()) {
        const std::string_view line = trim_right(reader.line());
        if (inside == block::none) {
            inside = block_of(line);
        } else if (line == delimiter) {
            inside = block::none;
        } else if (inside == block::nodes) {
            result = read_node(line, mesh.pos);
        } else {
            result = elements.read(line, reader);
        }
    }
    mesh.indices.push_back(elements.count());
    return result;
}

// A view of run `k`; an empty array if memory failed for some of it.
id_matrix run_of(id_matrix& connect, const element_runs& runs, std::size_t k, std::size_t rows) {
    if (runs.indices[k + 1] > connect.cols() || rows > connect.rows()) return {};
    return view_of_run(connect, runs.indices, k, rows);
}

} // namespace

int FEMAP_input(std::FILE* file, dense2D<double>& pos, id_matrix& connect, id_list& indices,
                type_list& types, id_list& pids) {
    const mesh_to_read mesh{pos, connect, indices, types, pids};
    clear_all(mesh);
    return read_blocks(file, mesh);
}

int FEMAP_input(std::FILE* file, dense2D<double>& pos, id_matrix& connect, element_type& type) {
    clear_outputs(outputs{pos, connect}, inputs{});
    type = ET_UNKNOWN;
    element_runs runs;
    const int result = read_blocks(file, {pos, connect, runs.indices, runs.types, runs.pids});
    if (result == 0 && runs.types.size() == 1) type = static_cast<element_type>(runs.types[0]);
    return result;
}

int FEMAP_input(std::FILE* file, dense2D<double>& pos, id_matrix& connect1, id_matrix& connect2,
                element_type& type1, element_type& type2) {
    clear_outputs(outputs{pos}, inputs{});
    id_matrix connect;
    element_runs runs;
    const int result = read_blocks(file, {pos, connect, runs.indices, runs.types, runs.pids});
    if (result != 0) return result;
    if (runs.indices.size() > 1 && !runs.types.empty() && runs.indices[1] != 0) {
        type1 = static_cast<element_type>(runs.types[0]);
        connect1 = run_of(connect, runs, 0, connect.rows());
    }
    if (runs.indices.size() > 2 && runs.types.size() > 1) {
        type2 = static_cast<element_type>(runs.types[1]);
        connect2 = run_of(connect, runs, 1, nbr_nodes(type2));
    }
    return result;
}

int FEMAP_input(const char* filename, dense2D<double>& pos, id_matrix& connect, id_list& indices,
                type_list& types, id_list& pids) {
    clear_all({pos, connect, indices, types, pids});
    std::FILE* const file = open_without_closing(filename, "rt");
    return file ? FEMAP_input(file, pos, connect, indices, types, pids) : -1;
}

int FEMAP_input(const char* filename, dense2D<double>& pos, id_matrix& connect,
                element_type& type) {
    clear_outputs(outputs{pos, connect}, inputs{});
    std::FILE* const file = open_without_closing(filename, "rt");
    return file ? FEMAP_input(file, pos, connect, type) : -1;
}

int FEMAP_input(const char* filename, dense2D<double>& pos, id_matrix& connect1,
                id_matrix& connect2, element_type& type1, element_type& type2) {
    clear_outputs(outputs{pos}, inputs{});
    std::FILE* const file = open_without_closing(filename, "rt");
    return file ? FEMAP_input(file, pos, connect1, connect2, type1, type2) : -1;
}

} // namespace kv7::tessmaker
