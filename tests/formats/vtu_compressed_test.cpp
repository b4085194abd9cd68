// VTU files whose arrays are compressed by zlib.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "formats/mesh_files.h"
#include "formats/plain_zlib.h"
#include "formats/zlib_stream.h"
#include "support/meshes.h"
#include "support/random.h"
#include "tessmaker/element_type.h"
#include "tessmaker/mesh_file.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

using strings = std::vector<std::string>;
using table = std::vector<std::vector<double>>;
using numbers = std::vector<std::uint64_t>;

read_file read(const std::string& contents) { return read_as(file_format::vtu, contents); }

std::string base64(const std::string& bytes) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t k = 0; k < bytes.size(); k += 3) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const unsigned int byte =
                k + i < bytes.size() ? static_cast<unsigned char>(bytes[k + i]) : 0U;
            group = group << 8 | byte;
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += k + i <= bytes.size() ? digits[group >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

template <class T> std::string bytes_of(const std::vector<double>& values, bool is_big) {
    std::string bytes;
    for (const double value : values) {
        const T number = static_cast<T>(value);
        std::string raw(sizeof(T), '\0');
        std::memcpy(raw.data(), &number, sizeof(T));
        if (is_big) std::reverse(raw.begin(), raw.end());
        bytes += raw;
    }
    return bytes;
}
std::string bytes_of(const std::string& type, const std::vector<double>& values, bool is_big) {
    if (type == "UInt8") return bytes_of<std::uint8_t>(values, is_big);
    if (type == "Int16") return bytes_of<std::int16_t>(values, is_big);
    if (type == "Int32") return bytes_of<std::int32_t>(values, is_big);
    if (type == "Int64") return bytes_of<std::int64_t>(values, is_big);
    if (type == "Float32") return bytes_of<float>(values, is_big);
    return bytes_of<double>(values, is_big);
}
std::string header_of(const numbers& header, std::size_t size, bool is_big) {
    std::string bytes;
    for (std::uint64_t number : header) {
        std::string raw;
        for (std::size_t k = 0; k < size; ++k, number >>= 8) raw += static_cast<char>(number & 255);
        if (is_big) std::reverse(raw.begin(), raw.end());
        bytes += raw;
    }
    return bytes;
}

// --- random files ---

struct plain_array {
    std::string name;
    std::string type;
    std::size_t rows = 1;
    std::vector<double> values;
};

// Points on a line, bars and polygons, which are no elements.
struct plain_piece {
    std::vector<double> points;
    std::vector<std::vector<double>> cells;
    std::vector<double> flow;   // two values at a point
    std::vector<double> number; // at a cell
};

std::vector<plain_piece> random_pieces(random_source& random) {
    std::vector<plain_piece> pieces(random.between(1, 3));
    for (plain_piece& piece : pieces) {
        const std::size_t nbr_points = random.below(60);
        for (std::size_t k = 0; k < nbr_points; ++k) {
            for (const std::size_t most : {100U, 1U, 1U}) {
                piece.points.push_back(static_cast<double>(random.below(most)));
            }
            for (std::size_t r = 0; r < 2; ++r) {
                piece.flow.push_back(static_cast<double>(random.below(120)));
            }
        }
        for (std::size_t c = nbr_points == 0 ? 0 : random.below(40); c != 0; --c) {
            std::vector<double>& cell = piece.cells.emplace_back(random.one_in(4) ? 0 : 2);
            for (double& id : cell) id = static_cast<double>(random.below(nbr_points));
            piece.number.push_back(static_cast<double>(random.below(5)));
        }
    }
    return pieces;
}

class compressed_writer {
public:
    explicit compressed_writer(random_source& random)
        : random_(random), zlib_(random), is_big_(random.one_in(2)),
          header_size_(random.one_in(2) ? 8 : 4), is_base64_(random.one_in(2)) {}

    std::string write(const std::vector<plain_piece>& pieces) {
        text_ = "<VTKFile type=\"UnstructuredGrid\" compressor=\"vtkZLibDataCompressor\"";
        text_ += std::string(" byte_order=\"") + (is_big_ ? "Big" : "Little") + "Endian\"";
        text_ += std::string(" header_type=\"UInt") + (header_size_ == 8 ? "64" : "32") + "\">\n";
        text_ += "<UnstructuredGrid>\n";
        for (const plain_piece& piece : pieces) put(piece);
        text_ += "</UnstructuredGrid>\n";
        if (appended_.empty()) return text_ + "</VTKFile>\n";
        return text_ + "<AppendedData encoding=\"" + (is_base64_ ? "base64" : "raw") + "\">\n_" +
               appended_ + "\n</AppendedData>\n</VTKFile>\n";
    }
    // What stands in the text alone, without the end of the file.
    bool has_appended() const { return !appended_.empty(); }

private:
    void put(const plain_piece& piece) {
        text_ += "<Piece NumberOfPoints=\"" + std::to_string(piece.points.size() / 3) +
                 "\" NumberOfCells=\"" + std::to_string(piece.cells.size()) + "\">\n<PointData>";
        put({"flow", random_.one_of(strings{"UInt8", "Float64"}), 2, piece.flow});
        text_ += "</PointData>\n<CellData>";
        put({"number", random_.one_of(strings{"Int16", "Float32"}), 1, piece.number});
        text_ += "</CellData>\n<Points>";
        put({"Points", random_.one_of(strings{"Float32", "Float64"}), 3, piece.points});
        plain_array connectivity{"connectivity", "Int64", 1, {}};
        plain_array offsets{"offsets", random_.one_of(strings{"Int32", "Int64"}), 1, {}};
        plain_array types{"types", "UInt8", 1, {}};
        for (const std::vector<double>& cell : piece.cells) {
            connectivity.values.insert(connectivity.values.end(), cell.begin(), cell.end());
            offsets.values.push_back(static_cast<double>(connectivity.values.size()));
            types.values.push_back(cell.empty() ? 7 : 3);
        }
        text_ += "</Points>\n<Cells>";
        for (const plain_array& array : {connectivity, offsets, types}) put(array);
        text_ += "</Cells>\n</Piece>\n";
    }

    void put(const plain_array& array) {
        text_ += "<DataArray type=\"" + array.type + "\" Name=\"" + array.name +
                 "\" NumberOfComponents=\"" + std::to_string(array.rows) + '"';
        const std::size_t form = random_.below(5);
        if (form == 0) { // in a file that names a compressor, too, text is as it is
            text_ += ">";
            for (const double value : array.values) {
                text_ += std::to_string(static_cast<int>(value)) + ' ';
            }
        } else {
            std::string header;
            std::string blocks;
            compress(bytes_of(array.type, array.values, is_big_), header, blocks);
            if (form < 3) {
                text_ += " format=\"binary\">\n " + base64(header) + base64(blocks) + "\n";
            } else {
                text_ +=
                    " format=\"appended\" offset=\"" + std::to_string(appended_.size()) + "\">";
                appended_ += is_base64_ ? base64(header) + base64(blocks) : header + blocks;
            }
        }
        text_ += "</DataArray>\n";
    }

    // Blocks end within numbers, too.
    void compress(const std::string& bytes, std::string& header, std::string& blocks) {
        const std::size_t size = random_.between(1, random_.one_in(2) ? 2 * bytes.size() + 1 : 50);
        const std::size_t nbr_blocks = (bytes.size() + size - 1) / size;
        std::size_t last = bytes.size() % size;
        if (last == 0 && random_.one_in(2)) last = size; // or 0 for a whole one
        numbers all{nbr_blocks, size, last};
        for (std::size_t k = 0; k < nbr_blocks; ++k) {
            const std::string block = zlib_.compress(bytes.substr(k * size, size));
            all.push_back(block.size());
            blocks += block;
        }
        header = header_of(all, header_size_, is_big_);
    }

    random_source& random_;
    plain_zlib zlib_;
    bool is_big_;
    std::size_t header_size_;
    bool is_base64_;
    std::string text_;
    std::string appended_;
};

class vtu_compressed : public testing::Test {
protected:
    void SetUp() override {
        if (!has_zlib()) GTEST_SKIP() << "built without zlib";
    }
};

// What is wrong with a mesh that was read, or nothing.
std::string difference(const read_file& file, const std::vector<plain_piece>& pieces) {
    table pos;
    table flow;
    table number;
    std::vector<plain_element> elements;
    for (const plain_piece& piece : pieces) {
        const auto first = static_cast<unsigned int>(pos.size());
        for (std::size_t k = 0; k < piece.points.size() / 3; ++k) {
            const double* const p = piece.points.data() + 3 * k;
            pos.push_back({p[0], p[1], p[2]});
            flow.push_back({piece.flow[2 * k], piece.flow[2 * k + 1]});
        }
        for (std::size_t c = 0; c < piece.cells.size(); ++c) {
            if (piece.cells[c].empty()) continue;
            plain_element bar{ET_BAR2, {}, 1};
            for (const double id : piece.cells[c]) {
                bar.nodes.push_back(first + static_cast<unsigned int>(id));
            }
            elements.push_back(bar);
            number.push_back({piece.number[c]});
        }
    }
    if (list(file.m.pos) != pos) return "points";
    if (elements_of(file.m) != elements) return "elements";
    if (file.m.fields.size() != 2) return "fields";
    if (list(file.m.fields[0].values) != flow) return "flow";
    if (list(file.m.fields[1].values) != number) return "number";
    return "";
}

TEST_F(vtu_compressed, equals_what_was_written_in_any_form) {
    random_source random(401);
    std::size_t nbr_elements = 0;
    for (std::uint64_t k = 0; k < nbr_runs(1000); ++k) {
        const std::vector<plain_piece> pieces = random_pieces(random);
        const std::string text = compressed_writer(random).write(pieces);
        const read_file file = read(text);
        ASSERT_EQ(file.code, 0) << file.error() << '\n' << text;
        ASSERT_EQ(difference(file, pieces), "") << text;
        nbr_elements += file.m.connect.cols();
    }
    EXPECT_GT(nbr_elements, 1000U);
}

TEST_F(vtu_compressed, cut_off_at_every_byte_is_a_fault_unless_all_arrays_are_there) {
    random_source random(403);
    for (int k = 0; k < 10; ++k) {
        const std::vector<plain_piece> pieces = random_pieces(random);
        compressed_writer writer(random);
        const std::string text = writer.write(pieces);
        for (std::size_t size = 0; size < text.size(); ++size) {
            const read_file file = read(text.substr(0, size));
            if (file.code == 0) {
                ASSERT_EQ(difference(file, pieces), "");
                const bool is_whole = size + 1 == text.size(); // but for the end of its last line
                ASSERT_TRUE(is_whole || writer.has_appended());
            } else {
                ASSERT_EQ(file.code, -102);
            }
        }
    }
}

TEST_F(vtu_compressed, changed_bytes_give_a_mesh_or_a_fault) {
    random_source random(405);
    for (std::uint64_t k = 0; k < nbr_runs(3000); ++k) {
        std::string text = compressed_writer(random).write(random_pieces(random));
        for (std::size_t n = 1 + random.below(4); n != 0; --n) {
            text[random.below(text.size())] = static_cast<char>(random.below(256));
        }
        const read_file file = read(text);
        EXPECT_TRUE(file.code == 0 || file.code == -102) << file.code;
    }
}

TEST_F(vtu_compressed, memory_failure_is_a_code_and_an_empty_mesh) {
    random_source random(407);
    for (int k = 0; k < 3; ++k) {
        const std::string text = compressed_writer(random).write(random_pieces(random));
        EXPECT_GT(read_failing(file_format::vtu, text), 20U);
    }
}

// --- single arrays ---

const std::string root = "<VTKFile type=\"UnstructuredGrid\" compressor=\"vtkZLibDataCompressor\"";
const std::string three_points =
    "<Points><DataArray type='Int8' NumberOfComponents='3'>0 0 0 1 0 0 2 0 0</DataArray></Points>";

// A file with the data `a` at three points, of one byte each.
std::string with_data(const std::string& text, const std::string& more = "") {
    return root + more + "><UnstructuredGrid><Piece NumberOfPoints='3' NumberOfCells='0'>" +
           three_points + "<PointData>\n<DataArray type='UInt8' Name='a' format='binary'>" + text +
           "</DataArray></PointData></Piece></UnstructuredGrid></VTKFile>\n";
}
std::string with_blocks(const numbers& header, const std::string& blocks,
                        std::size_t header_size = 4) {
    return with_data(base64(header_of(header, header_size, false)) + base64(blocks),
                     header_size == 8 ? " header_type='UInt64'" : "");
}
std::string error_of(const std::string& text) {
    const read_file file = read(text);
    EXPECT_EQ(file.code, -102) << text;
    return file.error();
}

TEST_F(vtu_compressed, blocks_that_are_not_what_the_header_says_are_a_fault) {
    random_source random(409);
    const std::string abc = plain_zlib(random).compress("abc");
    const std::uint64_t n = abc.size();
    EXPECT_EQ(list(read(with_blocks({1, 3, 0, n}, abc)).m.fields[0].values),
              (table{{97}, {98}, {99}}));
    EXPECT_EQ(list(read(with_blocks({1, 32768, 3, n}, abc)).m.fields[0].values),
              (table{{97}, {98}, {99}}));
    EXPECT_EQ(read(with_blocks({1, 32768, 3, n}, abc + "more")).code, 0);
    const auto expected = [](std::uint64_t k, std::uint64_t size) {
        return "line 2, column 1: a: block " + std::to_string(k) + " is expected to be " +
               std::to_string(size) + " bytes compressed by zlib";
    };
    EXPECT_EQ(error_of(with_blocks({1, 3, 2, n}, abc)), expected(0, 2));
    EXPECT_EQ(error_of(with_blocks({1, 3, 4, n}, abc)), expected(0, 4));
    EXPECT_EQ(error_of(with_blocks({1, 3, 3, n - 1}, abc)), expected(0, 3));
    EXPECT_EQ(error_of(with_blocks({1, 3, 3, n + 1}, abc + "x")), expected(0, 3));
    EXPECT_EQ(error_of(with_blocks({1, 3, 3, n}, "x" + abc)), expected(0, 3));
    EXPECT_EQ(error_of(with_blocks({2, 3, 3, n, 0}, abc)), expected(1, 3));
    EXPECT_EQ(error_of(with_blocks({2, 3, 5, n, n}, abc + abc)), expected(1, 5));
    EXPECT_EQ(error_of(with_blocks({1, 0, 0, n}, abc)), expected(0, 0));
    EXPECT_EQ(error_of(with_blocks({2, 3, 3, n, n}, abc + abc)),
              "line 2, column 1: a: 3 values are expected, and 6 are there");
}

TEST_F(vtu_compressed, headers_that_claim_too_much_take_no_memory) {
    random_source random(411);
    const std::string abc = plain_zlib(random).compress("abc");
    const std::uint64_t n = abc.size();
    const std::string cut_off = "line 2, column 1: a: the data end too early";
    const std::uint64_t most = 0xFFFFFFFFFFFFFFFF;
    for (const std::uint64_t claim :
         {std::uint64_t{200}, std::uint64_t{1} << 32, std::uint64_t{1} << 61,
          std::uint64_t{1} << 63, most - 3, most - 2, most}) {
        EXPECT_EQ(error_of(with_blocks({claim, 3, 3, n}, abc, 8)), cut_off);
        EXPECT_EQ(error_of(with_blocks({1, 3, 3, claim}, abc, 8)), cut_off);
        EXPECT_EQ(error_of(with_blocks({2, 3, 3, n, claim}, abc + abc, 8)), cut_off);
        EXPECT_EQ(error_of(with_blocks({2, 3, 3, claim, n}, abc + abc, 8)), cut_off);
        if (claim == 200) continue;
        const std::string expected =
            " is expected to be " + std::to_string(claim) + " bytes compressed by zlib";
        EXPECT_EQ(error_of(with_blocks({1, 3, claim, n}, abc, 8)),
                  "line 2, column 1: a: block 0" + expected);
        EXPECT_EQ(error_of(with_blocks({2, claim, 3, n, n}, abc + abc, 8)),
                  "line 2, column 1: a: block 0" + expected);
        EXPECT_EQ(error_of(with_blocks({2, 3, claim, n, n}, abc + abc, 8)),
                  "line 2, column 1: a: block 1" + expected);
    }
    EXPECT_EQ(error_of(with_data("AQAAAA==")), cut_off);
    EXPECT_EQ(error_of(with_data("AQA=")), cut_off);
    EXPECT_EQ(error_of(with_data("")), cut_off);
    EXPECT_EQ(error_of(with_data("?")), "line 2, column 1: a: base64 is expected");
}

TEST_F(vtu_compressed, an_array_of_no_blocks_has_no_values) {
    for (const numbers& header : {numbers{0}, numbers{0, 32768, 0}, numbers{0, 32768, 32768}}) {
        EXPECT_EQ(error_of(with_blocks(header, "")),
                  "line 2, column 1: a: 3 values are expected, and 0 are there");
    }
}

TEST_F(vtu_compressed, many_arrays_cant_share_data) {
    random_source random(413);
    const std::string block = plain_zlib(random).compress("abc");
    const std::string appended = header_of({1, 3, 3, block.size()}, 4, false) + block;
    std::string text = root + "><UnstructuredGrid><Piece NumberOfPoints='3' NumberOfCells='0'>" +
                       three_points + "<PointData>\n";
    for (const char* const name : {"a", "b"}) {
        text += std::string("<DataArray type='UInt8' Name='") + name +
                "' format='appended' offset='0'/>\n";
    }
    text += "</PointData></Piece></UnstructuredGrid><AppendedData encoding='raw'>_" + appended;
    EXPECT_EQ(error_of(text), "line 3, column 1: b: arrays have the same data");
}

TEST_F(vtu_compressed, arrays_of_vtk_are_read) {
    // As VTK writes nine numbers of type Float64.
    const std::string text = root + "><UnstructuredGrid><Piece NumberOfPoints='9' "
                                    "NumberOfCells='0'><Points><DataArray type='Int8' "
                                    "NumberOfComponents='3'>0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 "
                                    "0 0 0 0 0 0 0 0</DataArray></Points><PointData><DataArray "
                                    "type='Float64' Name='a' format='binary'>AQAAAACAAABIAAAAIgAAAA"
                                    "==eJxjYEAGF+wh9AMo/QJKf4DSX6D0Dyj9B0ozOAAADlAIag=="
                                    "</DataArray></PointData></Piece></UnstructuredGrid></VTKFile>";
    const read_file file = read(text);
    ASSERT_EQ(file.m.fields.size(), 1U) << file.error();
    EXPECT_EQ(list(file.m.fields[0].values),
              (table{{0}, {0.25}, {0.5}, {0.75}, {1}, {1.25}, {1.5}, {1.75}, {2}}));
}

// --- with zlib and without ---

// A file that names a compressor.
std::string with_compressor(const std::string& name, const std::string& array) {
    return "<VTKFile type='UnstructuredGrid' compressor='" + name +
           "'><UnstructuredGrid><Piece NumberOfPoints='3' NumberOfCells='0'>" + three_points +
           "<PointData>\n" + array + "</PointData></Piece></UnstructuredGrid></VTKFile>\n";
}

TEST(vtu_compressors, that_are_not_known_are_told_by_name) {
    for (const char* const array : {"<DataArray type='UInt8' Name='a' format='binary'/>",
                                    "<DataArray type='Int8' format='appended' offset='0'/>"}) {
        const auto with = [&](const std::string& name) {
            return error_of(with_compressor(name, array));
        };
        const std::string start = "line 2, column 1: compressed data are not read: ";
        EXPECT_EQ(with("vtkLZ4DataCompressor"), start + "vtkLZ4DataCompressor");
        EXPECT_EQ(with("vtkLZMADataCompressor"), start + "vtkLZMADataCompressor");
        EXPECT_EQ(with(std::string(1000, 'a')), start + std::string(32, 'a'));
        EXPECT_EQ(with("a\x01&#xE9;b"), start + "a???b");
        if (has_zlib()) continue;
        EXPECT_EQ(with("vtkZLibDataCompressor"),
                  start + "vtkZLibDataCompressor, since the library was built without zlib");
    }
}

TEST(vtu_compressors, do_not_matter_to_text_and_to_arrays_that_are_left_out) {
    for (const char* const name : {"vtkLZ4DataCompressor", "vtkZLibDataCompressor", "any"}) {
        const read_file file =
            read(with_compressor(name, "<DataArray type='UInt8' Name='a'>1 2 3</DataArray>"
                                       "<Array type='String' Name='b' format='binary'>x</Array>"));
        EXPECT_EQ(file.code, 0) << file.error();
        EXPECT_EQ(file.counts(), "Points 3/3, PointData 2/1");
    }
}

} // namespace
