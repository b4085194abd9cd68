// Nodes in systems that refer to each other, against a recursive walk with plain formulas.
#include "formats/deck_coordinates.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "formats/deck_lexer.h"
#include "formats/scratch_files.h"
#include "support/failing_call.h"
#include "support/meshes.h"
#include "support/random.h"

using namespace kv7;
using namespace kv7::tessmaker;
using namespace test;

namespace {

// The nodes of a deck in the basic system.
struct placed_deck {
    std::map<unsigned int, unsigned int> columns;
    dense2D<double> pos;
    deck_system_fault fault;

    std::vector<double> node(unsigned int id) const {
        const double* const p = pos.column(columns.at(id));
        return {p[0], p[1], p[2]};
    }
};

deck_system_fault read_card(const deck_card& card, deck_coordinates& coordinates,
                            placed_deck& deck) {
    if (card.name() == deck_name("GRDSET")) return coordinates.read_defaults(card);
    if (deck_coordinates::is_system(card.name())) return coordinates.read_system(card);
    if (card.name() != deck_name("GRID")) return {};
    deck_node node;
    deck_system_fault fault = deck_coordinates::read_node(card, node);
    if (fault) return fault;
    coordinates.add_node(node.system, card.position(1));
    deck.columns[node.id] = static_cast<unsigned int>(deck.pos.cols());
    if (!deck.pos.resize(3, deck.pos.cols() + 1)) throw std::bad_alloc();
    for (std::size_t r = 0; r < 3; ++r) deck.pos(r, deck.pos.cols() - 1) = node.xyz[r];
    return fault;
}

unsigned int find_column(const void* columns, unsigned int id) {
    const auto& map = *static_cast<const std::map<unsigned int, unsigned int>*>(columns);
    const auto found = map.find(id);
    return found == map.end() ? none : found->second;
}

placed_deck place(std::FILE* file) {
    placed_deck deck;
    deck_coordinates coordinates;
    deck_lexer lexer(file);
    while (lexer.next() && !deck.fault) deck.fault = read_card(lexer.card(), coordinates, deck);
    if (!deck.fault) deck.fault = coordinates.to_basic(deck.pos, {find_column, &deck.columns});
    return deck;
}
placed_deck place(const std::string& text) {
    const scratch_stream stream(text);
    return place(stream.get());
}

void expect_node(const placed_deck& deck, unsigned int id, const std::vector<double>& expected) {
    ASSERT_FALSE(deck.fault) << deck.fault.kind << " in line " << deck.fault.position.line;
    const std::vector<double> node = deck.node(id);
    for (std::size_t r = 0; r < 3; ++r) EXPECT_NEAR(node[r], expected[r], 1e-12) << id;
}

TEST(deck_coordinates, moves_nodes_of_each_kind_of_system) {
    const std::string origin = ",,1.,2.,3.,1.,2.,7.\n,5.,2.,3.\n";
    const std::string turned = ",0,0.,0.,0.,1.,0.,0.\n,0.,1.,0.\n";
    expect_node(place("CORD2R,5" + origin + "GRID,1,5,1.,2.,3.\n"), 1, {2, 4, 6});
    expect_node(place("GRID,1,5,2.,90.,3.\nCORD2C,5" + origin), 1, {1, 4, 6});
    expect_node(place("GRID,1,5,2.,90.,180.\nCORD2S,5" + origin), 1, {-1, 2, 3});
    expect_node(place("GRID,1,5,2.,0.,33.\nCORD2S,5" + origin), 1, {1, 2, 5});
    // The axes are y, z and x.
    expect_node(place("CORD2R,5" + turned + "GRID,1,5,1.,2.,3.\n"), 1, {3, 1, 2});
    expect_node(place("GRID,2,,1.,1.,1.\nGRID,1,5,1.,2.,3.\nGRID,3,,1.,1.,4.\nGRID,4,,1.,9.,1.\n"
                      "CORD1R,7,2,3,2,5,2,3,4\n"),
                1, {-1, 2, 4});
}

TEST(deck_coordinates, turns_by_quarters_exactly) {
    const std::string system = "CORD2C,5,,0.,0.,0.,0.,0.,1.\n,1.,0.,0.\n";
    for (int quarter = -8; quarter <= 8; ++quarter) {
        const auto deck = place(system + "GRID,1,5,3.," + std::to_string(90 * quarter) + ".,0.\n");
        ASSERT_FALSE(deck.fault);
        const int turn = (quarter % 4 + 4) % 4;
        const double x = turn == 0 ? 3.0 : turn == 2 ? -3.0 : 0.0;
        const double y = turn == 1 ? 3.0 : turn == 3 ? -3.0 : 0.0;
        EXPECT_EQ(deck.node(1), (std::vector<double>{x, y, 0.0})) << quarter;
    }
}

TEST(deck_coordinates, takes_blank_fields_for_0_and_for_the_defaults) {
    expect_node(place("GRID,1\n"), 1, {0, 0, 0});
    expect_node(place("GRID,1,,,5.\n"), 1, {0, 5, 0});
    const std::string system = "CORD2R,5,,1.,2.,3.,1.,2.,7.\n,5.,2.,3.\n";
    const auto deck = place("GRID,1,,1.\nGRID,2,0,1.\nGRID,3,5,1.\n" + system +
                            "GRDSET,,5,,,,,126\nGRID,4,,1.\nGRDSET,,5\n");
    expect_node(deck, 1, {2, 2, 3});
    expect_node(deck, 2, {1, 0, 0});
    expect_node(deck, 3, {2, 2, 3});
    expect_node(deck, 4, {2, 2, 3});
    EXPECT_EQ(place("GRDSET,,5\nGRID,1\nGRDSET,,6\n").fault.kind, deck_system_fault::given_twice);
}

// Systems 1 to n, each moved by 1 along x from the one before, in both orders of their cards.
std::string chain(unsigned int n, bool ascending) {
    std::string text = "GRID,1," + std::to_string(n) + ",0.,0.,0.\n";
    for (unsigned int k = 1; k <= n; ++k) {
        const unsigned int id = ascending ? k : n + 1 - k;
        text += "CORD2R," + std::to_string(id) + "," + std::to_string(id - 1) +
                ",1.,0.,0.,1.,0.,1.\n,2.,0.,0.\n";
    }
    return text;
}

TEST(deck_coordinates, follows_a_chain_of_100000_systems) {
    for (const bool ascending : {false, true}) {
        expect_node(place(chain(100'000, ascending)), 1, {100'000, 0, 0});
    }
}

TEST(deck_coordinates, names_the_members_of_a_circle) {
    const std::string points = ",1.,0.,0.,1.,0.,1.\n,2.,0.,0.\n";
    const std::string circle =
        "CORD2R,4,5" + points + "CORD2R,5,6" + points + "CORD2R,6,5" + points;
    // Also where no node needs them.
    for (const std::string grid : {"GRID,1,4\n", "GRID,1\n"}) {
        const auto deck = place(grid + circle);
        EXPECT_EQ(deck.fault.kind, deck_system_fault::circle);
        EXPECT_EQ(deck.fault.members, (std::vector<unsigned int>{5, 6}));
        EXPECT_EQ(deck.fault.position.line, 4U);
        EXPECT_EQ(deck.node(1), (std::vector<double>{0, 0, 0}));
    }
    EXPECT_EQ(place("CORD2R,4,4" + points).fault.members, (std::vector<unsigned int>{4}));
    const auto by_nodes =
        place("CORD1R,7,1,2,3\nGRID,1,,1.\nGRID,2,8,1.\nGRID,3,,1.,1.\nCORD2C,8,7" + points);
    EXPECT_EQ(by_nodes.fault.kind, deck_system_fault::circle);
    EXPECT_EQ(by_nodes.fault.members.size(), 2U);
    std::string long_circle = chain(100'000, true);
    long_circle += "CORD2R,200000,100000" + points;
    long_circle.replace(long_circle.find("CORD2R,1,0"), 10, "CORD2R,1,200000");
    EXPECT_EQ(place(long_circle).fault.members.size(), 100'001U);
}

TEST(deck_coordinates, tells_the_line_of_what_is_wrong) {
    const std::string points = ",1.,0.,0.,1.,0.,1.\n,2.,0.,0.\n";
    struct {
        std::string text;
        deck_system_fault::fault_kind kind;
        std::uint64_t line;
        unsigned int system, other;
    } const all[] = {
        {"GRID,1\nGRID,2,7\n", deck_system_fault::unknown_system, 2, 0, 7},
        {"GRID,1,4\nCORD2R,4,9" + points, deck_system_fault::unknown_system, 2, 4, 9},
        {"GRID,1,4\n\nCORD1S,4,2,2,3\n", deck_system_fault::unknown_node, 3, 4, 2},
        {"GRID,1,4\nCORD2R,4,0,1.,1.,1.,2.,2.,2.\n,3.,3.,3.\n", deck_system_fault::no_axes, 2, 4,
         0},
        {"GRID,1,4\nCORD2R,4\n", deck_system_fault::no_axes, 2, 4, 0},
        {"CORD2R,4," + points + "CORD2C,4," + points, deck_system_fault::given_twice, 3, 4, 0},
        {"CORD2R,4,,1.x\n", deck_system_fault::bad_field, 1, 0, 0},
        {"CORD2R,,0" + points, deck_system_fault::bad_field, 1, 0, 0},
        {"CORD1R,4,1,2\n", deck_system_fault::bad_field, 1, 0, 0},
        {"GRID,0\n", deck_system_fault::bad_field, 1, 0, 0},
        {"GRID,1,-1\n", deck_system_fault::bad_field, 1, 0, 0},
        {"\nGRID,1,,1.,2.,nan\n", deck_system_fault::bad_field, 2, 0, 0},
        // No node needs these.
        {"GRID,1\nCORD2R,4,9" + points + "CORD2R,5,4" + points + "CORD1R,6,1,2,3\nCORD2R,7\n",
         deck_system_fault::none, 0, 0, 0},
        {"GRID,1,4\nCORD2R,4,0" + points + "CORD2R,4," + points, deck_system_fault::none, 0, 0, 0},
    };
    for (const auto& c : all) {
        const deck_system_fault fault = place(c.text).fault;
        EXPECT_EQ(fault.kind, c.kind) << c.text;
        EXPECT_EQ(fault.position.line, c.line) << c.text;
        EXPECT_EQ(fault.system, c.system) << c.text;
        EXPECT_EQ(fault.other, c.other) << c.text;
    }
}

using vector3 = std::array<double, 3>;

// Systems and nodes as numbers, placed by recursion.
class plain_systems {
public:
    struct system {
        char kind = 'R';
        bool is_by_nodes = false;
        unsigned int reference = 0;
        std::array<unsigned int, 3> nodes{};
        std::array<vector3, 3> points{};
    };
    struct node {
        unsigned int system;
        vector3 x;
    };

    vector3 basic(unsigned int id, vector3 p) const {
        if (id == 0) return p;
        const system& s = systems.at(id);
        std::array<vector3, 3> points;
        for (std::size_t k = 0; k < 3; ++k) {
            points[k] = s.is_by_nodes ? basic_node(s.nodes[k]) : basic(s.reference, s.points[k]);
        }
        const double degree = std::acos(-1.0) / 180.0;
        vector3 x = p;
        if (s.kind == 'C') {
            x = {p[0] * std::cos(p[1] * degree), p[0] * std::sin(p[1] * degree), p[2]};
        } else if (s.kind == 'S') {
            const double across = p[0] * std::sin(p[1] * degree);
            x = {across * std::cos(p[2] * degree), across * std::sin(p[2] * degree),
                 p[0] * std::cos(p[1] * degree)};
        }
        const vector3 ez = unit(minus(points[1], points[0]));
        const vector3 to_plane = minus(points[2], points[0]);
        const double along = dot(to_plane, ez);
        const vector3 ex = unit({to_plane[0] - along * ez[0], to_plane[1] - along * ez[1],
                                 to_plane[2] - along * ez[2]});
        const vector3 ey{ez[1] * ex[2] - ez[2] * ex[1], ez[2] * ex[0] - ez[0] * ex[2],
                         ez[0] * ex[1] - ez[1] * ex[0]};
        vector3 result;
        for (std::size_t i = 0; i < 3; ++i)
            result[i] = points[0][i] + x[0] * ex[i] + x[1] * ey[i] + x[2] * ez[i];
        return result;
    }
    vector3 basic_node(unsigned int id) const { return basic(nodes.at(id).system, nodes.at(id).x); }

    std::map<unsigned int, system> systems;
    std::map<unsigned int, node> nodes;

private:
    static vector3 minus(const vector3& a, const vector3& b) {
        return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
    }
    static double dot(const vector3& a, const vector3& b) {
        return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    }
    static vector3 unit(const vector3& v) {
        const double length = std::sqrt(dot(v, v));
        return {v[0] / length, v[1] / length, v[2] / length};
    }
};

vector3 random_vector(random_source& random) {
    return {random.uniform(-3, 3), random.uniform(-200, 200), random.uniform(-90, 90)};
}

// Each system refers to systems, or to nodes in systems, that were made before it.
plain_systems random_systems(random_source& random) {
    plain_systems all;
    unsigned int last_node = 0;
    const auto any_system = [&](unsigned int below) { return random.id_below(below); };
    const auto new_node = [&](unsigned int system) {
        all.nodes[++last_node] = {system, random_vector(random)};
        return last_node;
    };
    const unsigned int n = 1 + random.id_below(7);
    for (unsigned int id = 1; id <= n; ++id) {
        plain_systems::system& s = all.systems[id];
        s.kind = "RCS"[random.below(3)];
        s.is_by_nodes = random.one_in(3);
        s.reference = any_system(id);
        for (std::size_t k = 0; k < 3; ++k) {
            if (s.is_by_nodes) {
                s.nodes[k] = new_node(any_system(id));
            } else {
                s.points[k] = random_vector(random);
            }
        }
    }
    for (std::size_t k = random.below(6); k > 0; --k) new_node(any_system(n + 1));
    return all;
}

std::string reals(const vector3& x) {
    char text[100];
    std::snprintf(text, sizeof text, ",%.17g,%.17g,%.17g", x[0], x[1], x[2]);
    return text;
}

std::vector<std::string> cards_of(const plain_systems& all, unsigned int first_id) {
    std::vector<std::string> cards;
    const auto name = [&](unsigned int id) {
        return id == 0 ? "0" : std::to_string(first_id - id);
    };
    for (const auto& [id, s] : all.systems) {
        std::string text =
            std::string("CORD") + (s.is_by_nodes ? "1" : "2") + s.kind + "," + name(id);
        if (s.is_by_nodes) {
            for (const unsigned int node : s.nodes) text += "," + std::to_string(node);
        } else {
            text += "," + name(s.reference) + reals(s.points[0]) + reals(s.points[1]) + "\n" +
                    reals(s.points[2]);
        }
        cards.push_back(text + "\n");
    }
    for (const auto& [id, node] : all.nodes) {
        cards.push_back("GRID," + std::to_string(id) + "," + name(node.system) + reals(node.x) +
                        "\n");
    }
    return cards;
}

TEST(deck_coordinates, places_random_systems_in_any_order_as_the_recursion_does) {
    for (std::uint64_t seed = 0; seed < nbr_runs(4000); ++seed) {
        random_source random(seed);
        const plain_systems all = random_systems(random);
        std::vector<std::string> cards = cards_of(all, 1000);
        random.shuffle(cards);
        std::string text;
        for (const std::string& card : cards) text += card;
        const placed_deck deck = place(text);
        ASSERT_FALSE(deck.fault) << seed << " " << deck.fault.kind;
        for (const auto& [id, node] : all.nodes) {
            const vector3 expected = all.basic_node(id);
            // Points of a system may lie near one line, which magnifies rounding.
            for (std::size_t r = 0; r < 3; ++r) {
                ASSERT_NEAR(deck.node(id)[r], expected[r], 1e-6) << "seed " << seed << "\n" << text;
            }
        }
    }
}

TEST(deck_coordinates, fails_by_bad_alloc_or_places_all) {
    const std::string text = chain(20, false) + "GRID,2,3,1.\nGRDSET,,7\nGRID,3\nCORD1R,50,1,2,3\n";
    const placed_deck whole = place(text);
    ASSERT_FALSE(whole.fault);
    std::size_t nbr_failed = 0;
    for (const bool and_later : {false, true}) {
        for (std::size_t k = 0;; ++k) {
            const scratch_stream stream(text);
            const failing_call call = call_failing(k, and_later, [&] {
                const placed_deck deck = place(stream.get());
                return deck.pos.cols() == 3 && deck.node(3) == whole.node(3) ? 0 : 1;
            });
            if (!call.failed) {
                EXPECT_EQ(call.code, 0);
                break;
            }
            ++nbr_failed;
        }
    }
    EXPECT_GT(nbr_failed, 50U);
}

} // namespace
