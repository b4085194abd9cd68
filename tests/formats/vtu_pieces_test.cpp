// VTU files of several pieces.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "formats/mesh_files.h"
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

read_file read(const std::string& pieces) {
    return read_as(file_format::vtu, "<VTKFile type=\"UnstructuredGrid\"><UnstructuredGrid>\n" +
                                         pieces + "</UnstructuredGrid></VTKFile>\n");
}

std::string array_of(const std::string& name, std::size_t rows, const std::string& values) {
    return "<DataArray type=\"Float64\" Name=\"" + name + "\" NumberOfComponents=\"" +
           std::to_string(rows) + "\">" + values + "</DataArray>\n";
}

// A piece of triangles, bars and polygons, which are no elements.
class piece_writer {
public:
    void add_point(double x) {
        points_ += std::to_string(x) + " 0 0 ";
        ++nbr_points_;
    }
    void add_cell(const std::vector<unsigned int>& nodes) {
        for (const unsigned int id : nodes) connectivity_ += std::to_string(id) + ' ';
        nbr_connected_ += nodes.size();
        offsets_ += std::to_string(nbr_connected_) + ' ';
        types_ += nodes.size() == 2 ? "3 " : nodes.size() == 3 ? "5 " : "7 ";
        ++nbr_cells_;
    }
    std::string at_points;
    std::string at_cells;

    std::string text() const {
        return "<Piece NumberOfPoints=\"" + std::to_string(nbr_points_) + "\" NumberOfCells=\"" +
               std::to_string(nbr_cells_) + "\">\n<Points>" + array_of("p", 3, points_) +
               "</Points><Cells>" + array_of("connectivity", 1, connectivity_) +
               array_of("offsets", 1, offsets_) + array_of("types", 1, types_) +
               "</Cells><PointData>" + at_points + "</PointData><CellData>" + at_cells +
               "</CellData></Piece>\n";
    }

private:
    std::string points_, connectivity_, offsets_, types_;
    std::size_t nbr_points_ = 0, nbr_cells_ = 0, nbr_connected_ = 0;
};

// A bar of two points, with data.
std::string bar(const std::string& at_points, const std::string& at_cells = "") {
    piece_writer piece;
    piece.add_point(0.0);
    piece.add_point(1.0);
    piece.add_cell({0, 1});
    piece.at_points = at_points;
    piece.at_cells = at_cells;
    return piece.text();
}
const std::string empty_piece = "<Piece NumberOfPoints=\"0\" NumberOfCells=\"0\"/>\n";

TEST(vtu_pieces, follow_each_other) {
    random_source random(81);
    for (std::uint64_t k = 0; k < nbr_runs(500); ++k) {
        std::string text;
        std::vector<plain_element> elements;
        table points;
        table flow;   // at points
        table number; // at elements
        std::vector<unsigned int> pids;
        const std::size_t nbr_pieces = random.between(1, 5);
        for (std::size_t p = 0; p < nbr_pieces; ++p) {
            piece_writer piece;
            const auto first = static_cast<unsigned int>(points.size());
            const std::size_t nbr_points = random.below(6);
            std::string flows;
            std::string numbers;
            std::string properties;
            for (std::size_t i = 0; i < nbr_points; ++i) {
                const auto x = static_cast<double>(random.below(100));
                piece.add_point(x);
                points.push_back({x, 0.0, 0.0});
                flow.push_back({x + 1, x + 2});
                flows += std::to_string(x + 1) + ' ' + std::to_string(x + 2) + ' ';
            }
            for (std::size_t c = nbr_points == 0 ? 0 : random.below(5); c-- > 0;) {
                std::vector<unsigned int> nodes(random.between(2, 4));
                for (unsigned int& id : nodes) id = random.id_below(nbr_points);
                piece.add_cell(nodes);
                const unsigned int value = random.id_below(50);
                numbers += std::to_string(value) + ".5 ";
                properties += std::to_string(value) + ' ';
                if (nodes.size() == 4) continue;
                for (unsigned int& id : nodes) id += first;
                elements.push_back({nodes.size() == 2 ? ET_BAR2 : ET_TRIA3, nodes, value});
                number.push_back({value + 0.5});
            }
            piece.at_points = array_of("flow", 2, flows);
            piece.at_cells = array_of("number", 1, numbers) + array_of("property", 1, properties);
            text += piece.text();
        }
        SCOPED_TRACE(text);
        const read_file file = read(text);
        ASSERT_EQ(file.code, 0) << file.error();
        EXPECT_EQ(list(file.m.pos), points);
        EXPECT_EQ(elements_of(file.m), elements);
        ASSERT_EQ(file.m.fields.size(), 2U);
        EXPECT_EQ(list(file.m.fields[0].values), flow);
        EXPECT_EQ(list(file.m.fields[1].values), number);
        EXPECT_FALSE(file.report.error());
    }
}

TEST(vtu_pieces, have_the_data_that_all_of_them_have) {
    const read_file file =
        read(bar(array_of("a", 1, "1 2") + array_of("b", 1, "3 4") + array_of("c", 1, "5 6")) +
             empty_piece +
             bar(array_of("c", 1, "7 8") + array_of("d", 1, "1 1") + array_of("b", 2, "0 0 0 0") +
                     array_of("c", 1, "9 9"),
                 array_of("e", 1, "2")));
    ASSERT_EQ(file.code, 0) << file.error();
    ASSERT_EQ(file.m.fields.size(), 1U);
    EXPECT_EQ(file.m.fields[0].name, "c");
    EXPECT_EQ(list(file.m.fields[0].values), (table{{5}, {6}, {7}, {8}}));
    // d, the second c, a and b; e
    EXPECT_EQ(file.counts(), "Points 4/4, Cells 2/2, PointData 5/1, CellData 1/0");
    EXPECT_EQ(file.sentences(),
              (strings{"PointData: 4 arrays left out, first in line 7: not in all pieces with as "
                       "many components",
                       "CellData: 1 array left out, in line 21: not in all pieces with as "
                       "many components"}));
}

TEST(vtu_pieces, without_points_need_no_arrays) {
    const std::string one = bar(array_of("a", 1, "1 2"));
    for (const std::string& text :
         {empty_piece + one, one + empty_piece, empty_piece + one + one, one + empty_piece + one}) {
        const read_file file = read(text);
        ASSERT_EQ(file.code, 0) << file.error();
        EXPECT_EQ(file.sentences(), strings());
        EXPECT_EQ(file.m.fields.size(), 1U);
    }
    EXPECT_EQ(read(empty_piece + empty_piece).code, 0);
}

TEST(vtu_pieces, have_cells_of_their_own_points) {
    const std::string good = bar("");
    std::string bad = good;
    bad.replace(bad.find("0 1 </DataArray>"), 3, "0 2");
    EXPECT_EQ(read(bad + good).error().substr(0, 7), "line 4,");
    const std::string error = read(good + bad).error();
    EXPECT_NE(error.find("connectivity: point 1 of the list is expected below 2"),
              std::string::npos)
        << error;
    EXPECT_NE(read(good + bar(array_of("a", 1, "1 2 3"))).code, -102); // in one piece alone
    EXPECT_EQ(read(bar(array_of("a", 1, "1 2")) + bar(array_of("a", 1, "1 2 3"))).code, -102);
}

TEST(vtu_pieces, tell_of_failed_memory) {
    const std::string one = bar(array_of("a", 1, "1 2"), array_of("b", 1, "5"));
    EXPECT_GT(read_failing(file_format::vtu,
                           "<VTKFile type=\"UnstructuredGrid\"><UnstructuredGrid>\n" + one +
                               empty_piece + one + "</UnstructuredGrid></VTKFile>\n"),
              10U);
}

} // namespace
