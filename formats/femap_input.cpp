#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "core/element_table.h"
#include "core/ids.h"
#include "formats/element_runs.h"
#include "formats/femap_table.h"
#include "formats/text_scanning.h"
#include "tessmaker/formats.h"

namespace kv7::tessmaker {

namespace {

constexpr int bad_line = -102;
constexpr int out_of_memory = -199;

// The line that begins and ends a block. Kept: the blanks belong to it.
constexpr std::string_view delimiter = "   -1";

enum class block { none, nodes, elements };

class line_reader {
public:
    explicit line_reader(std::FILE* file) : file_(file) {}

    // Behind the end of the file the line is empty.
    bool next() {
        const bool found = file_ && read_text_line(buffer_, file_);
        line_ = found ? std::string_view(buffer_) : std::string_view();
        return found;
    }
    void skip(int nbr_lines) {
        for (int i = 0; i < nbr_lines; ++i) next();
    }

    // With its ending.
    std::string_view line() const { return line_; }

private:
    std::FILE* file_;
    char buffer_[line_buffer_size];
    std::string_view line_;
};

// The block whose number stands alone in the line, blanks aside.
block femap_block_id(std::string_view line) {
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
    // A number ends at a comma as well as at the end of the line.
    for (std::size_t i = 0; i < 3; ++i) p[i] = to_real(fields[11 + i].data());
    return 0;
}

class element_reader {
public:
    element_reader(dense2D<unsigned int>& connect, id_list& indices, dense1D<int, 8>& types,
                   id_list& pids)
        : connect_(connect), indices_(indices), types_(types), pids_(pids) {}

    unsigned int count() const { return count_; }

    // Reads the lines of an element, of which the first is there.
    int read(std::string_view line, line_reader& reader) {
        constexpr std::size_t nbr_fields = 4;
        // Kept: the topology is not among the fields that must be there.
        const line_fields<nbr_fields + 1> fields(line);
        if (fields.size() < nbr_fields) return bad_line;
        const unsigned int pid = to_integer(fields[1]);
        const femap_element* const element = femap_element_of_topology(to_integer(fields[4]));
        if (!element) {
            reader.skip(6);
            note(ET_UNKNOWN);
            return 0;
        }
        // Kept: an element whose slots can't be read is stored all the same.
        const int result = femap_read_slots(reader);
        store(*element);
        reader.skip(4);
        pids_.push_back(pid);
        ++count_;
        note(element->type);
        return result;
    }

private:
    static constexpr std::size_t slots_per_line = 10;

    // A bad line leaves the slots from there on as the element before has left them.
    int femap_read_slots(line_reader& reader) {
        for (std::size_t first = 0; first < femap_nbr_slots; first += slots_per_line) {
            reader.next();
            // Kept: what ends the line counts as a piece of it.
            const line_fields<slots_per_line> fields(reader.line());
            if (fields.size() < slots_per_line) return bad_line;
            for (std::size_t i = 0; i < slots_per_line; ++i) {
                slots_[first + i] = to_integer(fields[i]);
            }
        }
        return 0;
    }

    // An element that finds no memory is lost.
    void store(const femap_element& element) {
        std::array<unsigned int, femap_nbr_slots> nodes;
        const std::size_t n = shape_of(element.type).nbr_nodes;
        if (connect_.rows() < n) connect_.resize(n, connect_.cols(), no_id);
        const std::size_t rows = std::max(n, connect_.rows());
        for (std::size_t i = 0; i < n; ++i) nodes[i] = slots_[element.slots[i]] - 1;
        std::fill(nodes.begin() + n, nodes.begin() + rows, no_id);
        append_column(nodes.data(), rows, connect_);
    }

    // Kept: behind an ET_UNKNOWN no new run begins, so that `types` and `indices` part.
    void note(element_type type) { note_type(type, count_ - 1, last_, indices_, types_); }

    dense2D<unsigned int>& connect_;
    id_list& indices_;
    dense1D<int, 8>& types_;
    id_list& pids_;
    std::array<unsigned int, femap_nbr_slots> slots_{};
    unsigned int count_ = 0;
    element_type last_ = ET_UNKNOWN;
};

// Reads into empty arrays.
int femap_read_blocks(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                      id_list& indices, dense1D<int, 8>& types, id_list& pids) {
    indices.push_back(0);
    element_reader elements(connect, indices, types, pids);
    line_reader reader(file);
    block inside = block::none;
    int result = 0;
    while (result == 0 && reader.next()) {
        const std::string_view line = trim_right(reader.line());
        if (inside == block::none) {
            inside = femap_block_id(line);
        } else if (line == delimiter) {
            inside = block::none;
        } else if (inside == block::nodes) {
            result = read_node(line, pos);
        } else {
            result = elements.read(line, reader);
        }
    }
    indices.push_back(elements.count());
    return result;
}

// Run `k`, as far as memory has let it in.
dense2D<unsigned int> run_of(dense2D<unsigned int>& connect, const element_runs& runs,
                             std::size_t k, std::size_t rows) {
    if (runs.indices[k + 1] > connect.cols() || rows > connect.rows()) return {};
    return view_of_run(connect, runs.indices, k, rows);
}

} // namespace

int FEMAP_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                id_list& indices, dense1D<int, 8>& types, id_list& pids) {
    clear_all(pos, connect, indices, types, pids);
    return femap_read_blocks(file, pos, connect, indices, types, pids);
}

int FEMAP_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect,
                element_type& type) {
    pos.clear();
    connect.clear();
    type = ET_UNKNOWN;
    element_runs runs;
    const int result = femap_read_blocks(file, pos, connect, runs.indices, runs.types, runs.pids);
    if (result == 0 && runs.types.size() == 1) type = static_cast<element_type>(runs.types[0]);
    return result;
}

int FEMAP_input(std::FILE* file, dense2D<double>& pos, dense2D<unsigned int>& connect1,
                dense2D<unsigned int>& connect2, element_type& type1, element_type& type2) {
    pos.clear();
    dense2D<unsigned int> connect;
    element_runs runs;
    const int result = femap_read_blocks(file, pos, connect, runs.indices, runs.types, runs.pids);
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

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned int>& connect,
                id_list& indices, dense1D<int, 8>& types, id_list& pids) {
    clear_all(pos, connect, indices, types, pids);
    std::FILE* const file = open_for_good(filename, "rt");
    return file ? FEMAP_input(file, pos, connect, indices, types, pids) : -1;
}

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned int>& connect,
                element_type& type) {
    pos.clear();
    connect.clear();
    std::FILE* const file = open_for_good(filename, "rt");
    return file ? FEMAP_input(file, pos, connect, type) : -1;
}

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned int>& connect1,
                dense2D<unsigned int>& connect2, element_type& type1, element_type& type2) {
    pos.clear();
    std::FILE* const file = open_for_good(filename, "rt");
    return file ? FEMAP_input(file, pos, connect1, connect2, type1, type2) : -1;
}

} // namespace kv7::tessmaker
