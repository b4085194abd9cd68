// FEMAP neutral files read and written as plainly as possible, and short ways to read and compare.
#ifndef TESSMAKER_TESTS_FORMATS_FEMAP_FILES_H
#define TESSMAKER_TESTS_FORMATS_FEMAP_FILES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "formats/plain_writers.h"
#include "formats/run_files.h"
#include "formats/scratch_files.h"
#include "repair/random_meshes.h"
#include "support/memory_failure.h"
#include "support/meshes.h"
#include "tessmaker/formats.h"

namespace test {

struct femap_functions {
    static constexpr const char* name = "FEMAP";
    template <class... Arguments> static int input(Arguments&&... arguments) {
        return kv7::tessmaker::FEMAP_input(arguments...);
    }
    template <class... Arguments> static int output(const Arguments&... arguments) {
        return kv7::tessmaker::FEMAP_output(arguments...);
    }
};
using femap_arrays = run_arrays<femap_functions>;
using femap_one_connectivity = one_connectivity_of<femap_functions>;
using femap_two_connectivities = two_connectivities_of<femap_functions>;

inline femap_arrays read_femap(const std::string& text) { return read_as<femap_arrays>(text); }

// ---- What files are made of

inline std::string femap_block(const std::string& number, const std::string& lines) {
    return "   -1\n" + number + "\n" + lines + "   -1\n";
}
inline std::string femap_node(const std::string& id, const std::string& x = "0.",
                              const std::string& y = "0.", const std::string& z = "0.") {
    return id + ",0,0,1,46,0,0,0,0,0,0," + x + "," + y + "," + z + ",0,\n";
}
inline const std::string femap_four_lines = "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n"
                                            "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";
// An element with these slots, zeros behind them.
inline std::string femap_element(int pid, int topology, std::vector<int> slots) {
    slots.resize(20, 0);
    std::string text =
        "9," + std::to_string(pid) + ",1,99," + std::to_string(topology) + ",1,0,0,0,0,0,0,0,\n";
    for (std::size_t k = 0; k < 20; ++k) {
        text += std::to_string(slots[k]) + (k % 10 == 9 ? ",\n" : ",");
    }
    return text + femap_four_lines;
}

// Blocks and elements with short names.
namespace femap_parts {

inline std::string nodes(const std::string& lines) { return femap_block("403", lines); }
inline std::string elements(const std::string& lines) { return femap_block("404", lines); }

inline const std::string bar = femap_element(4, 0, {1, 2});
inline const std::string triangle = femap_element(5, 2, {1, 2, 3});
inline const std::string quadrangle = femap_element(6, 4, {1, 2, 3, 4});
inline const std::string unknown = femap_element(7, 11, {1, 2, 3});

} // namespace femap_parts

// ---- The plain ones

struct femap_row {
    int element_class;
    int topology;
};
inline const std::map<int, femap_row>& plain_femap_types() {
    using namespace kv7;
    static const std::map<int, femap_row> rows{
        {ET_BAR2, {5, 0}},   {ET_BAR3, {8, 1}},   {ET_TRIA3, {17, 2}},    {ET_TRIA6, {18, 3}},
        {ET_QUAD4, {17, 4}}, {ET_QUAD8, {18, 5}}, {ET_TETRA4, {25, 6}},   {ET_PENTA6, {25, 7}},
        {ET_HEXA8, {25, 8}}, {ET_NODE, {10, 9}},  {ET_TETRA10, {25, 10}}, {ET_HEXA20, {26, 12}}};
    return rows;
}
inline std::vector<std::size_t> plain_femap_slots(int type) {
    using namespace kv7;
    if (type == ET_TRIA6) return {0, 1, 2, 4, 5, 3};
    if (type == ET_TETRA4) return {1, 0, 2, 4};
    if (type == ET_TETRA10) return {0, 2, 1, 4, 9, 8, 10, 12, 14, 13};
    if (type == ET_PENTA6) return {0, 1, 2, 4, 5, 6};
    std::vector<std::size_t> slots(kv7::tessmaker::nbr_nodes(static_cast<element_type>(type)));
    for (std::size_t i = 0; i < slots.size(); ++i) slots[i] = i;
    return slots;
}

class plain_femap {
public:
    int code = 0;
    number_lists nodes;
    id_lists elements; // as long as `connect` has rows at the end
    std::vector<unsigned int> indices{0};
    std::vector<int> types;
    std::vector<unsigned int> pids;

    // Node numbers above `largest_id` are taken for those that memory doesn't suffice for.
    plain_femap(std::FILE* file, unsigned int largest_id) : file_(file), largest_id_(largest_id) {
        read_blocks();
        for (auto& element : elements) element.resize(nbr_rows_, none);
    }

    id_lists run(std::size_t k, std::size_t rows) const {
        id_lists columns;
        if (rows == 0) return columns;
        for (unsigned int c = indices[k]; c < indices[k + 1]; ++c) {
            columns.emplace_back(elements[c].begin(),
                                 elements[c].begin() + static_cast<std::ptrdiff_t>(rows));
        }
        return columns;
    }
    std::size_t nbr_rows() const { return nbr_rows_; }

private:
    bool next_line(std::string& line) {
        char buffer[256] = "";
        const bool found = std::fgets(buffer, sizeof buffer, file_) != nullptr;
        line = found ? buffer : "";
        return found;
    }
    static bool is_blank(char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
    }
    static std::vector<std::string> split(const std::string& line) {
        std::vector<std::string> fields;
        std::istringstream stream(line);
        for (std::string field; std::getline(stream, field, ',');) {
            if (!field.empty()) fields.push_back(field);
        }
        return fields;
    }

    void read_blocks() {
        int block = -1;
        bool inside = false;
        std::string line;
        while (code >= 0 && next_line(line)) {
            while (!line.empty() && is_blank(line.back())) line.pop_back();
            if (!inside) {
                std::string text = line;
                text.erase(std::remove_if(text.begin(), text.end(), is_blank), text.end());
                block = text == "403" ? 0 : text == "404" ? 1 : -1;
                inside = block >= 0;
                continue;
            }
            if (line == "   -1") {
                inside = false;
                continue;
            }
            const std::vector<std::string> fields = split(line);
            if (block == 0) {
                read_node(fields);
            } else {
                if (fields.size() < 4) {
                    code = -102;
                    break;
                }
                read_element(std::atoi(fields[1].c_str()),
                             fields.size() > 4 ? std::atoi(fields[4].c_str()) : 0);
            }
        }
        indices.push_back(count_);
    }

    void read_node(const std::vector<std::string>& fields) {
        if (fields.size() < 14) {
            code = -102;
            return;
        }
        const auto id = static_cast<unsigned int>(std::atoi(fields[0].c_str()));
        if (id == 0) {
            code = -102;
        } else if (id > largest_id_) {
            code = -199;
        } else {
            if (id > nodes.size()) nodes.resize(id, {0.0, 0.0, 0.0});
            for (std::size_t r = 0; r < 3; ++r) {
                nodes[id - 1][r] = std::atof(fields[11 + r].c_str());
            }
            code = 0;
        }
    }

    int read_slots() {
        for (std::size_t half = 0; half < 2; ++half) {
            std::string line;
            next_line(line);
            const std::vector<std::string> fields = split(line);
            if (fields.size() < 10) return -102;
            for (std::size_t k = 0; k < 10; ++k) {
                slots_[10 * half + k] = std::atoi(fields[k].c_str());
            }
        }
        return 0;
    }

    void read_element(int pid, int topology) {
        int type = kv7::ET_UNKNOWN;
        for (const auto& [candidate, row] : plain_femap_types()) {
            if (row.topology == topology) type = candidate;
        }
        std::string dropped;
        if (type == kv7::ET_UNKNOWN) {
            for (int k = 0; k < 6; ++k) next_line(dropped);
        } else {
            code = read_slots();
            std::vector<unsigned int> element;
            for (const std::size_t slot : plain_femap_slots(type)) {
                element.push_back(static_cast<unsigned int>(slots_[slot]) - 1U);
            }
            nbr_rows_ = std::max(nbr_rows_, element.size());
            elements.push_back(element);
            for (int k = 0; k < 4; ++k) next_line(dropped);
            pids.push_back(static_cast<unsigned int>(pid));
            ++count_;
        }
        if (last_ == kv7::ET_UNKNOWN) {
            types.push_back(type);
        } else if (last_ != type) {
            types.push_back(type);
            indices.push_back(count_ - 1);
        }
        last_ = type;
    }

    std::FILE* file_;
    unsigned int largest_id_;
    std::array<int, 20> slots_{};
    std::size_t nbr_rows_ = 0;
    unsigned int count_ = 0;
    int last_ = kv7::ET_UNKNOWN;
};

// What is written for runs that pass the checks.
inline std::string plain_femap_text(const dense2D<double>& pos,
                                    const dense2D<unsigned int>& connect,
                                    const std::vector<unsigned int>& indices,
                                    const std::vector<int>& types,
                                    const std::vector<unsigned int>& pids) {
    using namespace kv7;
    plain_text out;
    out.add("*********************************\n*********** NODES ***************\n"
            "*********************************\n   -1\n403\n");
    for (std::size_t i = 0; i < pos.cols(); ++i) {
        const int number = static_cast<int>(i + 1);
        if (pos.rows() == 3) {
            out.add("%d,0,0,1,0,0,0,0,0,0,0,%lf,%lf,%lf,0,\n", number, pos(0, i), pos(1, i),
                    pos(2, i));
        } else {
            out.add("%d,0,0,1,0,0,0,0,0,0,0,%lf,%lf,0.0,0,\n", number, pos(0, i), pos(1, i));
        }
    }
    out.add("   -1\n*********************************\n********* ELEMENTS **************\n"
            "*********************************\n   -1\n404\n");
    for (std::size_t k = 0; k < types.size(); ++k) {
        for (unsigned int c = indices[k]; c < indices[k + 1]; ++c) {
            int type = types[k];
            if (type == ET_FACE_MIX) type = connect(3, c) != none ? ET_QUAD4 : ET_TRIA3;
            if (type == ET_SOLID_MIX) {
                type = connect(4, c) == none   ? ET_TETRA4
                       : connect(5, c) == none ? ET_PYRA5
                       : connect(6, c) == none ? ET_PENTA6
                                               : ET_HEXA8;
            }
            const auto row = plain_femap_types().find(type);
            if (row == plain_femap_types().end()) continue;
            std::array<unsigned int, 20> slots{};
            const std::vector<std::size_t> places = plain_femap_slots(type);
            for (std::size_t i = 0; i < places.size(); ++i) {
                const bool from_zero = type == ET_TRIA6 && i < 3;
                slots[places[i]] = connect(i, c) + (from_zero ? 0U : 1U);
            }
            out.add("%d,%d,1,%d,%d,1,0,0,0,0,0,0,0,\n", static_cast<int>(c + 1),
                    static_cast<int>(pids[c]), row->second.element_class, row->second.topology);
            for (std::size_t i = 0; i < 20; ++i) {
                out.add("%d,", static_cast<int>(slots[i]));
                if (i % 10 == 9) out.add("\n");
            }
            out.add("0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n"
                    "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n");
        }
    }
    out.add("   -1\n");
    return out.text();
}

// Memory for this many nodes, so that tests may hold large numbers at no cost.
inline constexpr unsigned int nbr_femap_nodes_in_memory = 1U << 16;

// What the plain reader and ours make of a file, in all forms: codes, arrays, and the place where
// the stream is left.
inline testing::AssertionResult same_as_plain_femap(const std::string& bytes,
                                                    std::size_t* nbr_elements = nullptr) {
    const auto different = [&](const char* what) {
        return testing::AssertionFailure() << what << " for\n" << bytes << "<end>";
    };
    const scratch_stream plain_stream(bytes);
    const plain_femap expected(plain_stream.get(), nbr_femap_nodes_in_memory);
    const long end = std::ftell(plain_stream.get());
    dense2D<double> nodes(expected.nodes.empty() ? 0 : 3, expected.nodes.size());
    for (std::size_t c = 0; c < expected.nodes.size(); ++c) {
        for (std::size_t r = 0; r < 3; ++r) nodes(r, c) = expected.nodes[c][r];
    }
    if (nbr_elements) *nbr_elements += expected.elements.size();

    const memory_limit limit(nbr_femap_nodes_in_memory * 3 * sizeof(double) + 7);
    const scratch_stream stream(bytes);
    femap_arrays full;
    full.read(stream.get());
    if (full.code != expected.code) {
        return different("another code") << ": " << full.code << ", not " << expected.code;
    }
    if (std::ftell(stream.get()) != end) {
        return different("another place") << ": " << std::ftell(stream.get()) << ", not " << end;
    }
    if (!same_bits(full.pos, nodes)) return different("other nodes");
    if (list(full.connect) != expected.elements) return different("other elements");
    if (list(full.indices) != expected.indices) return different("other indices");
    if (list(full.types) != expected.types) return different("other types");
    if (list(full.pids) != expected.pids) return different("other pids");

    std::rewind(stream.get());
    femap_one_connectivity one;
    one.read(stream.get());
    const bool one_type = expected.code == 0 && expected.types.size() == 1;
    if (one.code != expected.code || std::ftell(stream.get()) != end ||
        !same_bits(one.pos, nodes) || list(one.connect) != expected.elements ||
        one.type != (one_type ? expected.types[0] : kv7::ET_UNKNOWN)) {
        return different("another result with one connectivity");
    }

    std::rewind(stream.get());
    femap_two_connectivities two;
    two.read(stream.get());
    const bool first = expected.code == 0 && expected.indices[1] != 0;
    const bool second = expected.code == 0 && expected.indices.size() > 2;
    const int type1 = first ? expected.types[0] : kv7::ET_QUAD9;
    const int type2 = second ? expected.types[1] : kv7::ET_PYRA14;
    const auto rows2 = kv7::tessmaker::nbr_nodes(static_cast<kv7::element_type>(type2));
    if (two.code != expected.code || std::ftell(stream.get()) != end ||
        !same_bits(two.pos, nodes) || two.type1 != type1 || two.type2 != type2 ||
        list(two.connect1) != (first ? expected.run(0, expected.nbr_rows()) : id_lists{{71}}) ||
        list(two.connect2) != (second ? expected.run(1, rows2) : id_lists{{72}})) {
        return different("another result with two connectivities");
    }
    return testing::AssertionSuccess();
}

} // namespace test

#endif
