// Reading and writing of NASTRAN decks as plainly as possible, for tests to compare with.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_NASTRAN_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_NASTRAN_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/meshes.h"
#include "tessmaker/element_type.h"

namespace test {

// What a deck holds. Columns as long as their element.
struct deck {
    int code = 0;
    std::vector<std::array<double, 3>> nodes;
    std::vector<std::vector<unsigned int>> elements;
    std::vector<unsigned int> indices;
    std::vector<int> types;
    std::vector<unsigned int> pids;

    std::size_t nbr_rows() const {
        std::size_t rows = 0;
        for (const auto& element : elements) rows = std::max(rows, element.size());
        return rows;
    }
    std::vector<std::vector<unsigned int>> columns_of_all() const {
        std::vector<std::vector<unsigned int>> all = elements;
        for (auto& column : all) column.resize(nbr_rows(), none);
        return all;
    }
    std::vector<std::vector<unsigned int>> run(std::size_t k) const {
        return {elements.begin() + indices[k], elements.begin() + indices[k + 1]};
    }
    kv7::element_type one_type() const {
        using namespace kv7;
        int t = types[0];
        for (const int u : types) {
            if (u == t) continue;
            const bool face = u == ET_TRIA3 || u == ET_QUAD4;
            const bool solid = u == ET_TETRA4 || u == ET_PYRA5 || u == ET_PENTA6 || u == ET_HEXA8;
            const bool from_face = t == ET_FACE_MIX || t == ET_TRIA3 || t == ET_QUAD4;
            const bool from_solid = t == ET_SOLID_MIX || t == ET_TETRA4 || t == ET_PYRA5 ||
                                    t == ET_PENTA6 || t == ET_HEXA8;
            if (from_face && face) {
                t = ET_FACE_MIX;
            } else if (from_solid && solid) {
                t = ET_SOLID_MIX;
            } else {
                return ET_UNKNOWN;
            }
        }
        return static_cast<element_type>(t);
    }
};

// A node of the file by its place in our column: `ours[i] = file[order[i]]`.
inline std::vector<std::size_t> plain_nastran_order(int type) {
    using namespace kv7;
    static const std::map<int, std::vector<std::size_t>> orders{
        {ET_TRIA6, {0, 1, 2, 4, 5, 3}},
        {ET_TETRA4, {0, 2, 1, 3}},
        {ET_TETRA10, {0, 2, 1, 3, 5, 4, 6, 7, 9, 8}},
        {ET_PENTA15, {0, 1, 2, 3, 4, 5, 11, 9, 10, 6, 7, 8, 14, 12, 13}},
        {ET_HEXA20, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17, 18, 19, 12, 13, 14, 15}}};
    const auto found = orders.find(type);
    if (found != orders.end()) return found->second;
    std::vector<std::size_t> order(kv7::tessmaker::nbr_nodes(static_cast<element_type>(type)));
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    return order;
}

class plain_nastran_reader {
public:
    // Node numbers above `largest_id` are taken for those that memory doesn't suffice for.
    plain_nastran_reader(std::FILE* file, unsigned int largest_id)
        : file_(file), largest_id_(largest_id) {}

    deck read() {
        result_.indices.push_back(0);
        last_type_ = kv7::ET_UNKNOWN;
        while (result_.code == 0 && std::fgets(buffer_, sizeof buffer_, file_)) {
            const std::string line = buffer_;
            if (line[0] == '$') continue;
            if (line.find("BEGIN BULK") != std::string::npos) continue;
            if (line.find("ENDDATA") != std::string::npos) break;
            if (line.find("GRID") == 0) {
                read_node(line);
            } else {
                read_card(line);
                store_card();
            }
        }
        result_.indices.push_back(static_cast<unsigned int>(result_.elements.size()));
        return result_;
    }

private:
    std::string next_line() { return std::fgets(buffer_, sizeof buffer_, file_) ? buffer_ : ""; }

    // A line of 80 characters cut into fields.
    static std::vector<std::string> fields_of(const std::string& line,
                                              const std::vector<std::size_t>& widths) {
        std::string padded = line.substr(0, 80);
        padded.resize(80, ' ');
        std::vector<std::string> fields;
        std::size_t at = 0;
        for (const std::size_t width : widths) {
            fields.push_back(padded.substr(at, width));
            at += width;
        }
        return fields;
    }
    static std::vector<std::string> small_fields(const std::string& line) {
        return fields_of(line, {8, 8, 8, 8, 8, 8, 8, 8, 8, 8});
    }
    static std::vector<std::string> large_fields(const std::string& line) {
        return fields_of(line, {8, 16, 16, 16, 16, 8});
    }

    static double real(const std::string& field) {
        std::string text;
        for (const char c : field) {
            if (!std::strchr(" \t\n\v\f\r", c)) text += c;
        }
        int exponent = 0;
        const std::size_t sign = text.find_last_of("+-");
        if (sign != std::string::npos && sign > 0 && text[sign - 1] != 'E' &&
            text[sign - 1] != 'e') {
            exponent = std::atoi(text.substr(sign).c_str());
            text = text.substr(0, sign);
        }
        const double value = std::atof(text.c_str());
        return exponent == 0 ? value : std::pow(10.0, exponent) * value;
    }

    void read_node(const std::string& line) {
        int id = 0;
        double x = 0, y = 0, z = 0;
        if (line.find("GRID*") == 0) {
            const auto first = large_fields(line);
            const auto second = large_fields(next_line());
            id = std::atoi(first[1].c_str());
            x = real(first[3]);
            y = real(first[4]);
            z = real(second[1]);
        } else if (line.find(',') == std::string::npos) {
            const auto fields = small_fields(line);
            id = std::atoi(fields[1].c_str());
            x = real(fields[3]);
            y = real(fields[4]);
            z = real(fields[5]);
        } else {
            int i, j, k, l, m;
            if (std::sscanf(line.c_str(), "GRID , %d , %d , %lf , %lf , %lf , %d , %d , %d , %d",
                            &id, &i, &x, &y, &z, &j, &k, &l, &m) < 5 &&
                std::sscanf(line.c_str(), "GRID , %d , , %lf , %lf , %lf , %d , %d , %d , %d ", &id,
                            &x, &y, &z, &j, &k, &l, &m) < 4) {
                result_.code = -1;
                return;
            }
        }
        const auto number = static_cast<unsigned int>(id);
        if (number == 0) {
            result_.code = -1;
        } else if (number > largest_id_) {
            result_.code = -199;
        } else {
            if (number > result_.nodes.size()) result_.nodes.resize(number, {0.0, 0.0, 0.0});
            result_.nodes[number - 1] = {x, y, z};
        }
    }

    static std::string up_to(const std::string& text, char stop) {
        return text.substr(0, text.find(stop));
    }

    // Takes the integers of fields up to the first that has none.
    std::size_t take_integers(const std::vector<std::string>& fields, std::size_t n) {
        std::size_t nbr_taken = 0;
        for (std::size_t k = 1; k <= n; ++k) {
            int value = 0;
            if (std::sscanf(fields[k].c_str(), "%d", &value) != 1) break;
            numbers_.push_back(value);
            ++nbr_taken;
        }
        return nbr_taken;
    }

    std::size_t take_small(const std::string& line) {
        const int peek = std::fgetc(file_);
        if (peek != EOF) std::ungetc(peek, file_);
        const auto fields = small_fields(line);
        line_keyword_ = up_to(fields[0], ' ');
        const std::size_t n = take_integers(fields, 8);
        continued_ = fields[9][0] == '+' || (numbers_.size() == 8 && peek == ' ');
        return n;
    }

    std::size_t take_large(const std::string& line) {
        const auto fields = large_fields(line);
        const std::string word = up_to(fields[0], ' ');
        const std::size_t star = word.find('*');
        line_keyword_ = up_to(word, '*');
        const std::size_t n = take_integers(fields, 4);
        continued_ = (star != std::string::npos && star != 0) || fields[5][0] == '*';
        return n;
    }

    std::size_t take_free(const std::string& line) {
        std::vector<std::string> tokens;
        std::istringstream stream(line);
        while (stream.good()) {
            char token[9];
            stream.getline(token, 9, ',');
            tokens.push_back(token);
        }
        const std::size_t n = tokens.size();
        continued_ = tokens.back()[0] == '+' || tokens.back()[0] == '*';
        if (continued_) tokens.pop_back();
        line_keyword_ = tokens.empty() ? "" : tokens[0];
        for (std::size_t k = 1; k < tokens.size(); ++k) {
            numbers_.push_back(std::atoi(tokens[k].c_str()));
        }
        return n;
    }

    void read_card(std::string line) {
        keyword_.clear();
        numbers_.clear();
        count_ = 0;
        pid_ = 0;
        for (;;) {
            const std::size_t n = line.find(',') != std::string::npos   ? take_free(line)
                                  : line.find('*') != std::string::npos ? take_large(line)
                                                                        : take_small(line);
            if (n < 3) break;
            if (count_ == 0) keyword_ = line_keyword_;
            count_ += n;
            if (!continued_ || std::ferror(file_) || std::feof(file_)) break;
            line = next_line();
        }
        if (numbers_.size() >= 2) {
            pid_ = numbers_[1];
            numbers_.erase(numbers_.begin(), numbers_.begin() + 2);
        }
    }

    void store_card() {
        using namespace kv7;
        static const std::map<std::string, int> types{
            {"BAR", ET_BAR2},     {"CBAR", ET_BAR2},    {"BEAM", ET_BAR2},
            {"CBEAM", ET_BAR2},   {"ROD", ET_BAR2},     {"CROD", ET_BAR2},
            {"TRIA3", ET_TRIA3},  {"CTRIA", ET_TRIA3},  {"CTRIA3", ET_TRIA3},
            {"TRIA6", ET_TRIA6},  {"CTRIA6", ET_TRIA6}, {"QUAD4", ET_QUAD4},
            {"CQUAD", ET_QUAD4},  {"CQUAD4", ET_QUAD4}, {"QUAD8", ET_QUAD8},
            {"CQUAD8", ET_QUAD8}, {"TETRA", ET_TETRA4}, {"CTETRA", ET_TETRA4},
            {"PYRA", ET_PYRA5},   {"CPYRA", ET_PYRA5},  {"PYRAM", ET_PYRA5},
            {"CPYRAM", ET_PYRA5}, {"PENTA", ET_PENTA6}, {"CPENTA", ET_PENTA6},
            {"HEXA", ET_HEXA8},   {"CHEXA", ET_HEXA8}};
        const auto found = types.find(keyword_);
        if (count_ == 0 || found == types.end()) return;
        int type = found->second;
        const std::size_t n = numbers_.size();
        if (type == ET_TETRA4 && n == 10) type = ET_TETRA10;
        if (type == ET_PYRA5 && n == 13) type = ET_PYRA13;
        if (type == ET_PENTA6 && n == 15) type = ET_PENTA15;
        if (type == ET_HEXA8 && n == 20) type = ET_HEXA20;
        if (n != kv7::tessmaker::nbr_nodes(static_cast<element_type>(type))) return;

        std::vector<unsigned int> column;
        for (const std::size_t k : plain_nastran_order(type)) {
            column.push_back(static_cast<unsigned int>(numbers_[k]) - 1U);
        }
        if (last_type_ == ET_UNKNOWN) {
            result_.types.push_back(type);
        } else if (type != last_type_) {
            result_.types.push_back(type);
            result_.indices.push_back(static_cast<unsigned int>(result_.elements.size()));
        }
        last_type_ = type;
        result_.elements.push_back(column);
        result_.pids.push_back(static_cast<unsigned int>(pid_));
    }

    std::FILE* file_;
    unsigned int largest_id_;
    char buffer_[256];
    deck result_;
    int last_type_ = 0;

    // The card.
    std::string keyword_;
    std::vector<int> numbers_;
    std::size_t count_ = 0;
    int pid_ = 0;
    // Its line.
    std::string line_keyword_;
    bool continued_ = false;
};

// What is written for runs that pass the checks.
class plain_nastran_writer {
public:
    std::string write(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                      const std::vector<unsigned int>& indices, const std::vector<int>& types,
                      const std::vector<unsigned int>& pids) {
        text_ = "$ KV7 Tessmaker(R) NASTRAN exporter\n"
                "BEGIN BULK\n"
                "$----------------------------------------\n"
                "$ Referenced Material Records -----------\n"
                "$ Material Record :    ------------------\n"
                "$ Description of Material :   -----------\n"
                "MAT1    1       0.                 0.  0.\n"
                "$----------------------------------------\n"
                "$                GRID POINTS            \n"
                "$----------------------------------------\n";
        for (std::size_t i = 0; i < pos.cols(); ++i) {
            put("GRID*   %16d                %16E%16E*C\n", static_cast<int>(i + 1), pos(0, i),
                pos(1, i));
            put("*C      %16E\n", pos.rows() == 3 ? pos(2, i) : 0.0);
        }
        text_ += "$----------------------------------------\n"
                 "$                 ELEMENTS              \n"
                 "$----------------------------------------\n";
        scratch_.assign(27, 0);
        for (std::size_t k = 0; k < types.size(); ++k) {
            for (unsigned int c = indices[k]; c < indices[k + 1]; ++c) {
                write_element(types[k], c, connect.column(c), pids[c]);
            }
        }
        return text_ + "ENDDATA\n";
    }

private:
    template <class... Values> void put(const char* format, Values... values) {
        char text[400];
        std::snprintf(text, sizeof text, format, values...);
        text_ += text;
    }

    void write_element(int type, unsigned int number, const unsigned int* column,
                       unsigned int pid) {
        using namespace kv7;
        if (type == ET_FACE_MIX) type = column[3] != none ? ET_QUAD4 : ET_TRIA3;
        if (type == ET_SOLID_MIX) {
            type = column[4] == none   ? ET_TETRA4
                   : column[5] == none ? ET_PYRA5
                   : column[6] == none ? ET_PENTA6
                                       : ET_HEXA8;
        }
        static const std::map<int, std::string> keywords{
            {ET_BAR2, "CBAR"},     {ET_BAR3, "CBAR"},      {ET_TRIA3, "CTRIA3"},
            {ET_TRIA6, "CTRIA6"},  {ET_QUAD4, "CQUAD4"},   {ET_QUAD8, "CQUAD8"},
            {ET_QUAD9, "CQUAD8"},  {ET_TETRA4, "CTETRA"},  {ET_TETRA10, "CTETRA"},
            {ET_PYRA5, "CPYRAM"},  {ET_PYRA13, "CPYRAM"},  {ET_PYRA14, "CPYRAM"},
            {ET_PENTA6, "CPENTA"}, {ET_PENTA15, "CPENTA"}, {ET_PENTA18, "CPENTA"},
            {ET_HEXA8, "CHEXA"},   {ET_HEXA20, "CHEXA"},   {ET_HEXA27, "CHEXA"}};
        const auto keyword = keywords.find(type);
        if (keyword == keywords.end()) return;
        std::size_t n = kv7::tessmaker::nbr_nodes(static_cast<element_type>(type));
        if (type != ET_QUAD9) {
            if (type == ET_BAR3) type = ET_BAR2;
            if (type == ET_PYRA14) type = ET_PYRA13;
            if (type == ET_PENTA18) type = ET_PENTA15;
            if (type == ET_HEXA27) type = ET_HEXA20;
            std::vector<std::size_t> order = plain_nastran_order(type);
            if (type == ET_TRIA6) order = {0, 1, 2, 5, 3, 4};
            n = order.size();
            for (std::size_t i = 0; i < n; ++i) scratch_[i] = column[order[i]];
        }
        put("%s,%d,%d", keyword->second.c_str(), static_cast<int>(number + 1),
            static_cast<int>(pid));
        int nbr_fields = 3;
        for (std::size_t i = 0; i < n; ++i) {
            if (nbr_fields % 9 == 0) {
                text_ += ",+C\n+C";
                nbr_fields = 1;
            }
            put(",%d", static_cast<int>(scratch_[i] + 1));
            ++nbr_fields;
        }
        text_ += "\n";
    }

    std::string text_;
    std::vector<unsigned int> scratch_;
};

} // namespace test

#endif
