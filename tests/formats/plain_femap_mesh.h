// A plain reader of FEMAP neutral files as meshes, of whole texts and with the standard's
// containers.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_FEMAP_MESH_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_FEMAP_MESH_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tessmaker/element_type.h"

namespace test {

class plain_femap_mesh {
public:
    using ids = std::vector<unsigned int>;

    bool is_good = true;
    std::uint64_t error_line = 0; // of the first fault; 0 if it has none
    std::vector<std::array<double, 3>> nodes;
    ids node_numbers;
    std::vector<ids> elements; // IDs of nodes
    std::vector<kv7::element_type> types;
    ids pids, element_numbers;
    std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> counts; // seen, read

    explicit plain_femap_mesh(const std::string& text) : lines_(lines_of(text)) {
        read_blocks();
        if (is_good) check_nodes();
        if (is_good) find_nodes();
    }

private:
    static std::string trimmed(const std::string& text) {
        const char* const blanks = " \t\r\n\v\f";
        const std::size_t begin = text.find_first_not_of(blanks);
        if (begin == std::string::npos) return "";
        return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
    }
    static std::vector<std::string> lines_of(const std::string& text) {
        std::vector<std::string> lines(1);
        for (std::size_t k = 0; k < text.size(); ++k) {
            if (text[k] == '\r' && k + 1 < text.size() && text[k + 1] == '\n') continue;
            if (text[k] == '\n' || text[k] == '\r') {
                lines.emplace_back();
            } else {
                lines.back() += text[k];
            }
        }
        if (lines.back().empty()) lines.pop_back();
        return lines;
    }
    static std::vector<std::string> fields_of(const std::string& line) {
        std::vector<std::string> fields(1);
        for (const char c : line) {
            if (c == ',') {
                fields.emplace_back();
            } else {
                fields.back() += c;
            }
        }
        for (std::string& f : fields) f = trimmed(f);
        if (fields.back().empty()) fields.pop_back();
        return fields;
    }
    static bool to_integer(const std::string& text, long& value) {
        const std::size_t start = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
        if (text.size() == start) return false;
        if (text.find_first_not_of("0123456789", start) != std::string::npos) return false;
        value = std::strtol(text.c_str(), nullptr, 10);
        return true;
    }
    static bool to_real(std::string text, double& value) {
        std::replace(text.begin(), text.end(), 'D', 'e');
        char* end = nullptr;
        value = std::strtod(text.c_str(), &end);
        return *end == '\0';
    }
    static bool is_number(long value, long from) { return value >= from && value < 0xFFFFFFFFL; }

    void fail(std::uint64_t line) {
        if (is_good) error_line = line;
        is_good = false;
    }
    // The next line of a block that isn't blank; false at its end.
    bool next(std::string& line) {
        for (; at_ < lines_.size();) {
            line = lines_[at_++];
            if (trimmed(line) == "-1") return false;
            if (!trimmed(line).empty()) return true;
        }
        fail(lines_.size());
        return false;
    }

    void read_blocks() {
        bool is_open = false;
        bool has_mesh = false;
        bool has_more = false;
        while (is_good && at_ < lines_.size()) {
            const std::string line = trimmed(lines_[at_++]);
            if (line.empty()) continue;
            if (line == "-1") {
                is_open = true;
                continue;
            }
            long number = 0;
            if (is_open && to_integer(line, number)) {
                auto& [seen, read] = counts["block " + std::to_string(number)];
                ++seen;
                if (number == 403 || number == 404) has_mesh = true;
                if (number == 403 || number == 404 || number == 100) {
                    ++read;
                } else {
                    has_more = true;
                }
                read_block(number);
            } else if (line.find_first_of("0123456789-+.") == 0) {
                has_more = true;
            }
            is_open = false;
        }
        const bool has_dropped = counts.size() > counts.count("node") + counts.count("block 403") +
                                                     counts.count("block 404") +
                                                     counts.count("block 100");
        if (!has_mesh) fail(0);
        if (nodes.empty() && elements.empty() && (has_more || is_open || has_dropped)) fail(0);
    }
    void read_block(long number) {
        std::string line;
        if (number == 403) {
            while (next(line) && is_good) read_node(fields_of(line));
        } else if (number == 404) {
            while (next(line) && is_good) read_element(fields_of(line));
        } else {
            while (next(line)) {
            }
        }
    }
    void read_node(const std::vector<std::string>& fields) {
        if (fields.size() < 14) return fail(at_);
        ++counts["node"].first;
        long number = 0;
        if (!to_integer(fields[0], number) || !is_number(number, 1)) return fail(at_);
        std::array<double, 3> p{};
        for (std::size_t i = 0; i < 3; ++i) {
            if (!to_real(fields[11 + i], p[i])) return fail(at_);
        }
        nodes.push_back(p);
        node_numbers.push_back(static_cast<unsigned int>(number));
        node_lines_.push_back(at_);
        ++counts["node"].second;
    }

    struct kind {
        int type;
        std::vector<std::size_t> slots;
        int linear;
        std::vector<std::size_t> linear_slots;
    };
    static const std::map<long, kind>& kinds() {
        using namespace kv7;
        const std::vector<std::size_t> brick{0, 1, 2, 3, 4, 5, 6, 7};
        const std::vector<std::size_t> wedge{0, 1, 2, 4, 5, 6};
        const std::vector<std::size_t> tetra{1, 0, 2, 4};
        static const std::map<long, kind> all{
            {0, {ET_BAR2, {0, 1}, ET_BAR2, {0, 1}}},
            {1, {ET_BAR3, {0, 1, 2}, ET_BAR2, {0, 1}}},
            {2, {ET_TRIA3, {0, 1, 2}, ET_TRIA3, {0, 1, 2}}},
            {3, {ET_TRIA6, {0, 1, 2, 4, 5, 3}, ET_TRIA3, {0, 1, 2}}},
            {4, {ET_QUAD4, {0, 1, 2, 3}, ET_QUAD4, {0, 1, 2, 3}}},
            {5, {ET_QUAD8, {0, 1, 2, 3, 4, 5, 6, 7}, ET_QUAD4, {0, 1, 2, 3}}},
            {6, {ET_TETRA4, tetra, ET_TETRA4, tetra}},
            {7, {ET_PENTA6, wedge, ET_PENTA6, wedge}},
            {8, {ET_HEXA8, brick, ET_HEXA8, brick}},
            {9, {ET_NODE, {0}, ET_NODE, {0}}},
            {10, {ET_TETRA10, {0, 2, 1, 4, 9, 8, 10, 12, 14, 13}, ET_TETRA4, tetra}},
            {11,
             {ET_PENTA15, {0, 1, 2, 4, 5, 6, 12, 13, 14, 9, 10, 8, 17, 18, 16}, ET_PENTA6, wedge}},
            {12,
             {ET_HEXA20,
              {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17, 18, 19, 12, 13, 14, 15},
              ET_HEXA8,
              brick}}};
        return all;
    }

    void read_element(const std::vector<std::string>& fields) {
        const std::uint64_t line = at_;
        long number = 0;
        long property = 0;
        long topology = 0;
        if (fields.size() < 5) return fail(at_);
        if (!to_integer(fields[0], number) || !is_number(number, 1)) return fail(at_);
        if (!fields[2].empty() && !to_integer(fields[2], property)) return fail(at_);
        if (property < 0 || property > 0xFFFFFFFFL || !to_integer(fields[4], topology)) {
            return fail(at_);
        }
        std::array<long, 20> slots{};
        std::vector<std::string> last;
        for (std::size_t k = 0; k < 6; ++k) {
            std::string text;
            if (!next(text)) return fail(at_);
            last = fields_of(text);
            if (k > 1) continue;
            if (last.size() < 10) return fail(at_);
            for (std::size_t i = 0; i < 10; ++i) {
                long& slot = slots[10 * k + i];
                if (!last[i].empty() && !to_integer(last[i], slot)) return fail(at_);
                if (!is_number(slot, 0)) return fail(at_);
            }
        }
        auto& [seen, read] = counts["topology " + std::to_string(topology)];
        ++seen;
        const auto found = kinds().find(topology);
        if (found == kinds().end()) return skip_lists(last);
        kind k = found->second;
        if (k.type == kv7::ET_TRIA6 && slots[3] == 0 && slots[6] != 0) k.slots = {0, 1, 2, 5, 6, 4};
        const auto is_free = [&](std::size_t s) { return slots[s] == 0; };
        if (std::any_of(k.linear_slots.begin(), k.linear_slots.end(), is_free)) {
            return skip_lists(last);
        }
        ++read;
        const bool is_linear = std::any_of(k.slots.begin(), k.slots.end(), is_free);
        elements.emplace_back();
        for (const std::size_t s : is_linear ? k.linear_slots : k.slots) {
            elements.back().push_back(static_cast<unsigned int>(slots[s]));
        }
        types.push_back(static_cast<kv7::element_type>(is_linear ? k.linear : k.type));
        pids.push_back(static_cast<unsigned int>(property));
        element_numbers.push_back(static_cast<unsigned int>(number));
        element_lines_.push_back(line);
        skip_lists(last);
    }
    void skip_lists(const std::vector<std::string>& flags) {
        for (std::size_t k = 12; k < std::min<std::size_t>(flags.size(), 16); ++k) {
            long value = 0;
            if (!to_integer(flags[k], value) || value == 0) continue;
            for (value = 0; value != -1;) {
                if (at_ == lines_.size()) return fail(at_);
                const std::vector<std::string> fields = fields_of(lines_[at_++]);
                if (fields.empty() || !to_integer(fields[0], value)) value = 0;
            }
        }
    }

    // Nodes that are given again go, in the order of the file.
    void check_nodes() {
        std::map<unsigned int, std::size_t> first;
        std::vector<std::array<double, 3>> kept;
        ids kept_numbers;
        for (std::size_t k = 0; k < nodes.size(); ++k) {
            const auto [at, is_new] = first.emplace(node_numbers[k], k);
            if (is_new) {
                kept.push_back(nodes[k]);
                kept_numbers.push_back(node_numbers[k]);
            } else if (nodes[at->second] != nodes[k]) {
                fail(node_lines_[k]);
            }
        }
        nodes = kept;
        node_numbers = kept_numbers;
    }
    void find_nodes() {
        std::map<unsigned int, unsigned int> by_number;
        for (std::size_t k = 0; k < node_numbers.size(); ++k) {
            by_number[node_numbers[k]] = static_cast<unsigned int>(k);
        }
        for (std::size_t e = 0; e < elements.size(); ++e) {
            for (unsigned int& node : elements[e]) {
                const auto at = by_number.find(node);
                if (at == by_number.end()) return fail(element_lines_[e]);
                node = at->second;
            }
            if (types[e] == kv7::ET_HEXA20) order_brick(elements[e]);
        }
    }
    // Upper edges, then those between, whichever come first in the file.
    void order_brick(ids& brick) const {
        const auto distance = [&](std::size_t node, std::size_t a, std::size_t b) {
            double sum = 0.0;
            for (std::size_t i = 0; i < 3; ++i) {
                const double middle = (nodes[brick[a]][i] + nodes[brick[b]][i]) / 2;
                sum += (nodes[brick[node]][i] - middle) * (nodes[brick[node]][i] - middle);
            }
            return sum;
        };
        double as_it_is = 0.0;
        double other = 0.0;
        for (std::size_t k = 0; k < 4; ++k) {
            as_it_is += distance(12 + k, 4 + k, 4 + (k + 1) % 4) + distance(16 + k, k, 4 + k);
            other += distance(16 + k, 4 + k, 4 + (k + 1) % 4) + distance(12 + k, k, 4 + k);
        }
        if (other < as_it_is) {
            std::swap_ranges(brick.begin() + 12, brick.begin() + 16, brick.begin() + 16);
        }
    }

    std::vector<std::string> lines_;
    std::size_t at_ = 0; // the next line; the number of the last one
    std::vector<std::uint64_t> node_lines_, element_lines_;
};

} // namespace test

#endif
