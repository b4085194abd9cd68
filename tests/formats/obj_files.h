// Wavefront OBJ files read and written with streams, as plainly as possible, and short ways to read
// and compare.
#ifndef TESSMAKER_TESTS_FORMATS_OBJ_FILES_H
#define TESSMAKER_TESTS_FORMATS_OBJ_FILES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "formats/scratch_files.h"
#include "repair/random_meshes.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/formats.h"

namespace test {

using id_lists = std::vector<std::vector<unsigned int>>;
using number_lists = std::vector<std::vector<double>>;

// The outputs of a read. They hold something before.
struct obj_arrays {
    int code = 12345;
    dense2D<double> pos = dense2D<double>(2, 5, 7.0);
    dense2D<double> normals = dense2D<double>(1, 2, 7.0);
    dense2D<double> textures = dense2D<double>(3, 1, 7.0);
    dense2D<unsigned int> triangles = dense2D<unsigned int>(9, 4, 7U);
    dense2D<unsigned int> quadrangles = dense2D<unsigned int>(3, 4, 7U);

    void read(const char* filename) {
        code = kv7::tessmaker::WavefrontOBJ_input(filename, pos, normals, textures, triangles,
                                                  quadrangles);
    }
    bool all_empty() const {
        return pos.empty() && normals.empty() && textures.empty() && triangles.empty() &&
               quadrangles.empty();
    }
};

inline obj_arrays read_obj(const std::string& text) {
    const scratch_file file(text);
    obj_arrays result;
    result.read(file.name());
    return result;
}

// What a file holds, by the standard's streams.
class plain_obj {
public:
    int code = 0;
    number_lists pos, normals, textures;
    id_lists triangles, quadrangles;

    explicit plain_obj(const char* filename) {
        std::ifstream file(filename);
        if (!file.is_open()) {
            code = -1;
            return;
        }
        while (code == 0 && file.good()) {
            std::string line;
            if (!std::getline(file, line)) break;
            std::istringstream stream(line);
            std::string word;
            if (!(stream >> word)) continue;
            if (word == "v") {
                code = read_vertex(stream);
            } else if (word == "vn") {
                code = read_normal(stream);
            } else if (word == "vt") {
                code = read_texture(stream);
            } else if (word == "f") {
                code = read_face(stream, file);
            }
        }
    }

private:
    static int read_numbers(std::istream& line, std::vector<double>& values) {
        values.clear();
        std::string rest;
        if (!std::getline(line, rest)) return -2;
        std::istringstream stream(rest);
        for (double value; stream >> value;) values.push_back(value);
        return 0;
    }

    int read_vertex(std::istream& line) {
        std::vector<double> values;
        if (read_numbers(line, values) != 0 || values.size() < 3) return -2;
        pos.push_back({values[0], values[1], values[2]});
        return 0;
    }
    int read_normal(std::istream& line) {
        normals_seen_ = true;
        std::vector<double> values;
        if (read_numbers(line, values) != 0 || values.size() != 3) return -2;
        normals.push_back(values);
        return 0;
    }
    int read_texture(std::istream& line) {
        textures_seen_ = true;
        std::vector<double> values;
        if (read_numbers(line, values) != 0 || values.size() > 3) return -2;
        if (values.empty()) return 0;
        if (textures.empty() || textures[0].size() == values.size()) textures.push_back(values);
        return 0;
    }

    static int read_index(std::istream& token, std::vector<int>& numbers) {
        char c;
        if (!(token >> c)) return 0;
        if (c == '/') return 0;
        token.putback(c);
        int number;
        if (!(token >> number)) return 0;
        numbers.push_back(number);
        if (token >> c && c != '/') return -2;
        return 0;
    }

    int read_face(std::istream& line, const std::ifstream& file) {
        std::vector<int> corners, texture_numbers, normal_numbers;
        std::string rest;
        if (!std::getline(line, rest)) return -2;
        std::istringstream words(rest);
        for (std::string word; words >> word;) {
            std::istringstream token(word);
            for (std::vector<int>* const numbers : {&corners, &texture_numbers, &normal_numbers}) {
                const int failure = read_index(token, *numbers);
                if (failure != 0) return failure;
            }
        }
        if (!texture_numbers.empty() && !textures_seen_) return -2;
        if (!normal_numbers.empty() && !normals_seen_) return -2;
        if (!file.good()) return 0;
        std::vector<unsigned int> column;
        for (const int k : corners) {
            column.push_back(k == 0 ? static_cast<unsigned int>(pos.size())
                                    : static_cast<unsigned int>(k) - 1U);
        }
        if (column.size() == 3) triangles.push_back(column);
        if (column.size() == 4) quadrangles.push_back(column);
        return 0;
    }

    bool normals_seen_ = false;
    bool textures_seen_ = false;
};

inline dense2D<double> matrix_of(const number_lists& values) {
    dense2D<double> matrix(values.empty() ? 0 : values[0].size(), values.size());
    for (std::size_t c = 0; c < values.size(); ++c) {
        for (std::size_t r = 0; r < values[c].size(); ++r) matrix(r, c) = values[c][r];
    }
    return matrix;
}

// What the plain reader and ours make of a file. Columns are counted to `nbr_stored`.
inline testing::AssertionResult same_as_plain_obj(const std::string& bytes,
                                                  std::size_t* nbr_stored = nullptr) {
    const scratch_file file(bytes);
    const plain_obj expected(file.name());
    obj_arrays found;
    found.read(file.name());
    const char* different = nullptr;
    if (found.code != expected.code) different = "another code";
    if (!same_bits(found.pos, matrix_of(expected.pos))) different = "other vertices";
    if (!same_bits(found.normals, matrix_of(expected.normals))) different = "other normals";
    if (!same_bits(found.textures, matrix_of(expected.textures))) different = "other textures";
    if (list(found.triangles) != expected.triangles) different = "other triangles";
    if (list(found.quadrangles) != expected.quadrangles) different = "other quadrangles";
    if (different) {
        return testing::AssertionFailure()
               << different << " (codes " << found.code << " and " << expected.code << ") for\n"
               << bytes << "<end>";
    }
    if (nbr_stored) {
        *nbr_stored += expected.pos.size() + expected.normals.size() + expected.textures.size() +
                       expected.triangles.size() + expected.quadrangles.size();
    }
    return testing::AssertionSuccess();
}

// What is written of arrays that pass the checks.
inline std::string plain_obj_text(const dense2D<double>& pos, const dense2D<double>& normals,
                                  const dense2D<double>& textures,
                                  const dense2D<unsigned int>& triangles,
                                  const dense2D<unsigned int>& quadrangles) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.flags(std::ios::fixed);
    out.precision(12);
    const auto put_numbers = [&](const char* word, const dense2D<double>& values, std::size_t n) {
        for (std::size_t c = 0; c < values.cols(); ++c) {
            out << word << " ";
            for (std::size_t r = 0; r < n; ++r)
                out << (r < values.rows() ? values(r, c) : 0.) << " ";
            out << "\n";
        }
    };
    put_numbers("v", pos, 3);
    put_numbers("vt", textures, 2);
    put_numbers("vn", normals, 3);
    for (const dense2D<unsigned int>* const faces : {&triangles, &quadrangles}) {
        for (const auto& face : list(*faces)) {
            out << "f ";
            for (const unsigned int id : face) {
                out << id + 1;
                if (!textures.empty() || !normals.empty()) {
                    out << "/";
                    if (!textures.empty()) out << id + 1;
                    out << "/";
                    if (!normals.empty()) out << id + 1;
                }
                out << " ";
            }
            out << "\n";
        }
    }
    return out.str();
}

} // namespace test

#endif
