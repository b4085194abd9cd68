#include "formats/deck_coordinates.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kv7::tessmaker {

namespace {

struct named_system {
    std::uint64_t name;
    char kind;
    bool is_by_nodes;
};
constexpr std::array<named_system, 6> named_systems{{{deck_name("CORD1R"), 'R', true},
                                                     {deck_name("CORD1C"), 'C', true},
                                                     {deck_name("CORD1S"), 'S', true},
                                                     {deck_name("CORD2R"), 'R', false},
                                                     {deck_name("CORD2C"), 'C', false},
                                                     {deck_name("CORD2S"), 'S', false}}};

const named_system* find_kind(std::uint64_t name) {
    for (const named_system& s : named_systems) {
        if (s.name == name) return &s;
    }
    return nullptr;
}

deck_system_fault bad_field(const deck_card& card, std::size_t i, deck_value value) {
    deck_system_fault fault;
    fault.kind = deck_system_fault::bad_field;
    fault.position = card.position(i);
    fault.value = value;
    return fault;
}

// A field may be blank, and then leaves the number alone.
bool is_good(deck_value value) { return value == deck_value::number || value == deck_value::blank; }

// A system's number may be 0, or blank.
deck_value read_reference(const deck_card& card, std::size_t i, unsigned int& system) {
    const deck_value value = read_id(card, i, system);
    std::int64_t number = 1;
    if (value == deck_value::not_an_id && read_integer(card[i], number) == deck_value::number &&
        number == 0) {
        system = 0;
        return deck_value::number;
    }
    return value;
}

struct sine_and_cosine {
    double sine;
    double cosine;
};

// Exact at multiples of 90 degrees.
sine_and_cosine of_degrees(double angle) {
    int quarter = 0;
    const double rest = std::remquo(angle, 90.0, &quarter);
    const double radians = rest * (std::numbers::pi / 180.0);
    const double s = std::sin(radians);
    const double c = std::cos(radians);
    switch (static_cast<unsigned int>(quarter) & 3U) {
    case 0: return {s, c};
    case 1: return {c, -s};
    case 2: return {-s, -c};
    default: return {-c, s};
    }
}

// Scales to length 1; false if there is no direction.
bool normalize(double* v) {
    const double length = std::hypot(v[0], v[1], v[2]);
    if (!(length > 0.0) || !std::isfinite(length)) return false;
    for (std::size_t i = 0; i < 3; ++i) v[i] /= length;
    return true;
}
void cross(const double* a, const double* b, double* product) {
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        product[i] = a[j] * b[k] - a[k] * b[j];
    }
}

} // namespace

bool deck_coordinates::is_system(std::uint64_t name) { return find_kind(name) != nullptr; }

deck_system_fault deck_coordinates::read_node(const deck_card& card, deck_node& node) {
    node = {};
    const deck_value id = read_id(card, 0, node.id);
    if (id != deck_value::number) return bad_field(card, 0, id);
    if (!is_good(read_reference(card, 1, node.system)))
        return bad_field(card, 1, read_reference(card, 1, node.system));
    for (std::size_t k = 0; k < 3; ++k) {
        const deck_value x = read_real(card[2 + k], node.xyz[k]);
        if (!is_good(x)) return bad_field(card, 2 + k, x);
    }
    return {};
}

deck_system_fault deck_coordinates::read_defaults(const deck_card& card) {
    unsigned int system = 0;
    const deck_value value = read_reference(card, 1, system);
    if (!is_good(value)) return bad_field(card, 1, value);
    if (has_defaults_ && system != default_) {
        deck_system_fault fault;
        fault.kind = deck_system_fault::given_twice;
        fault.position = card.position();
        return fault;
    }
    has_defaults_ = true;
    default_ = system;
    if (system != 0) uses_.emplace(system, card.position(1));
    return {};
}

// Four fields from `first` on.
deck_coordinates::local_system deck_coordinates::read_by_nodes(const deck_card& card,
                                                               std::size_t first,
                                                               deck_system_fault& fault) {
    local_system s{};
    s.is_by_nodes = true;
    unsigned int* const numbers[] = {&s.id, &s.nodes[0], &s.nodes[1], &s.nodes[2]};
    for (std::size_t k = 0; k < 4 && !fault; ++k) {
        const deck_value value = read_id(card, first + k, *numbers[k]);
        if (value != deck_value::number) fault = bad_field(card, first + k, value);
    }
    return s;
}

deck_coordinates::local_system deck_coordinates::read_by_points(const deck_card& card,
                                                                deck_system_fault& fault) {
    local_system s{};
    const deck_value id = read_id(card, 0, s.id);
    if (id != deck_value::number) fault = bad_field(card, 0, id);
    const deck_value reference = read_reference(card, 1, s.reference);
    if (!fault && !is_good(reference)) fault = bad_field(card, 1, reference);
    for (std::size_t k = 0; k < 9 && !fault; ++k) {
        const deck_value value = read_real(card[2 + k], s.points[k / 3].x[k % 3]);
        if (!is_good(value)) fault = bad_field(card, 2 + k, value);
    }
    return s;
}

deck_system_fault deck_coordinates::read_system(const deck_card& card) {
    const named_system* const kind = find_kind(card.name());
    if (!kind) return {};
    // A second system stands in the fields behind the first of CORD1.
    const std::size_t nbr_parts = kind->is_by_nodes && !card.is_blank(4) ? 2 : 1;
    for (std::size_t k = 0; k < nbr_parts; ++k) {
        deck_system_fault fault;
        local_system s =
            kind->is_by_nodes ? read_by_nodes(card, 4 * k, fault) : read_by_points(card, fault);
        if (fault) return fault;
        s.kind = kind->kind;
        s.position = card.position(4 * k);
        fault = add_system(s);
        if (fault) return fault;
    }
    return {};
}

deck_system_fault deck_coordinates::add_system(const local_system& added) {
    const auto [place, is_new] = places_.emplace(added.id, systems_.size());
    if (is_new) {
        systems_.push_back(added);
        return {};
    }
    const local_system& first = systems_[place->second];
    bool is_same = first.kind == added.kind && first.is_by_nodes == added.is_by_nodes &&
                   first.reference == added.reference;
    for (std::size_t k = 0; k < 3; ++k) {
        is_same = is_same && first.nodes[k] == added.nodes[k] &&
                  std::equal(first.points[k].x, first.points[k].x + 3, added.points[k].x);
    }
    deck_system_fault fault;
    if (!is_same) {
        fault.kind = deck_system_fault::given_twice;
        fault.position = added.position;
        fault.system = added.id;
    }
    return fault;
}

void deck_coordinates::add_node(unsigned int system, const deck_position& position) {
    if (runs_.empty() || runs_.back().system != system) {
        runs_.push_back({nbr_nodes_, system});
        if (system != 0 && system != no_id) uses_.emplace(system, position);
    }
    ++nbr_nodes_;
}

const deck_coordinates::local_system* deck_coordinates::find_system(unsigned int id) const {
    const auto found = places_.find(id);
    return found == places_.end() ? nullptr : &systems_[found->second];
}

unsigned int deck_coordinates::system_of_node(std::size_t node) const {
    const auto behind =
        std::upper_bound(runs_.begin(), runs_.end(), node,
                         [](std::size_t n, const run& r) { return n < r.first_node; });
    if (behind == runs_.begin()) return 0;
    const unsigned int system = (behind - 1)->system;
    return system == no_id ? default_ : system;
}

// The number of the system in which point `k` of a system is given.
unsigned int deck_coordinates::referred(const local_system& s, unsigned int k,
                                        const mesh_nodes& nodes, deck_system_fault& fault) const {
    if (!s.is_by_nodes) return s.reference;
    const unsigned int column = nodes.find(s.nodes[k]);
    if (column < nodes.pos.cols()) return system_of_node(column);
    fault.kind = deck_system_fault::unknown_node;
    fault.position = s.position;
    fault.system = s.id;
    fault.other = s.nodes[k];
    return 0;
}

// The systems on the stack from `system` on refer to each other.
deck_system_fault deck_coordinates::circle_from(const std::vector<visit>& stack,
                                                std::size_t system) const {
    deck_system_fault fault;
    fault.kind = deck_system_fault::circle;
    fault.position = systems_[system].position;
    fault.system = systems_[system].id;
    auto member = std::find_if(stack.begin(), stack.end(),
                               [&](const visit& v) { return v.system == system; });
    for (; member != stack.end(); ++member) fault.members.push_back(systems_[member->system].id);
    return fault;
}

// Places a system, and before it all that it refers to. If that fails, all on the way have failed.
deck_system_fault deck_coordinates::place_with_others(std::size_t first, const mesh_nodes& nodes) {
    std::vector<visit> stack;
    deck_system_fault fault;
    const auto enter = [&](std::size_t system) {
        systems_[system].state = open;
        stack.push_back({system, 0});
    };
    if (systems_[first].state == unvisited) enter(first);
    while (!stack.empty() && !fault) {
        visit& v = stack.back();
        local_system& s = systems_[v.system];
        if (v.nbr_done == (s.is_by_nodes ? 3U : 1U)) {
            fault = place(s, nodes);
            if (!fault) stack.pop_back();
            continue;
        }
        const unsigned int id = referred(s, v.nbr_done++, nodes, fault);
        if (id == 0 || fault) continue;
        const auto found = places_.find(id);
        const system_state state = found == places_.end() ? failed : systems_[found->second].state;
        if (state == open) {
            fault = circle_from(stack, found->second);
        } else if (state == unvisited) {
            enter(found->second);
        } else if (state == failed) {
            fault.kind = deck_system_fault::unknown_system;
            fault.position = s.position;
            fault.system = s.id;
            fault.other = id;
        }
    }
    for (const visit& v : stack) systems_[v.system].state = failed;
    return fault;
}

// A point of a system, 0 for the basic one, which must be placed.
deck_coordinates::point deck_coordinates::basic_point(unsigned int id, const point& local) const {
    if (id == 0) return local;
    const local_system& s = *find_system(id);
    const double* const p = local.x;
    double x[3] = {p[0], p[1], p[2]};
    if (s.kind == 'C') {
        const sine_and_cosine a = of_degrees(p[1]);
        x[0] = p[0] * a.cosine;
        x[1] = p[0] * a.sine;
    } else if (s.kind == 'S') {
        const sine_and_cosine from_z = of_degrees(p[1]);
        const sine_and_cosine from_x = of_degrees(p[2]);
        x[0] = p[0] * from_z.sine * from_x.cosine;
        x[1] = p[0] * from_z.sine * from_x.sine;
        x[2] = p[0] * from_z.cosine;
    }
    point result = s.origin;
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < 3; ++i) result.x[i] += x[k] * s.axes[k].x[i];
    }
    return result;
}

// All that it refers to must be placed.
deck_system_fault deck_coordinates::place(local_system& s, const mesh_nodes& nodes) const {
    point points[3];
    for (std::size_t k = 0; k < 3; ++k) {
        if (s.is_by_nodes) {
            const unsigned int column = nodes.find(s.nodes[k]);
            point local;
            std::copy_n(nodes.pos.column(column), 3, local.x);
            points[k] = basic_point(system_of_node(column), local);
        } else {
            points[k] = basic_point(s.reference, s.points[k]);
        }
    }
    s.origin = points[0];
    double to_plane[3];
    double* const z = s.axes[2].x;
    for (std::size_t i = 0; i < 3; ++i) {
        z[i] = points[1].x[i] - points[0].x[i];
        to_plane[i] = points[2].x[i] - points[0].x[i];
    }
    bool has_axes = normalize(z) && normalize(to_plane);
    cross(z, to_plane, s.axes[1].x);
    // Of directions that are rounded, less than this angle means none.
    constexpr double least_angle = 1e-14;
    has_axes = has_axes && std::hypot(s.axes[1].x[0], s.axes[1].x[1], s.axes[1].x[2]) > least_angle;
    has_axes = has_axes && normalize(s.axes[1].x);
    cross(s.axes[1].x, z, s.axes[0].x);
    deck_system_fault fault;
    if (has_axes) {
        s.state = placed;
    } else {
        fault.kind = deck_system_fault::no_axes;
        fault.position = s.position;
        fault.system = s.id;
    }
    return fault;
}

// Places the systems in which nodes are given.
deck_system_fault deck_coordinates::place_needed(const mesh_nodes& nodes) {
    for (const auto& [id, position] : uses_) {
        const auto found = places_.find(id);
        if (found == places_.end()) {
            deck_system_fault fault;
            fault.kind = deck_system_fault::unknown_system;
            fault.position = position;
            fault.other = id;
            return fault;
        }
        deck_system_fault fault = place_with_others(found->second, nodes);
        if (fault) return fault;
    }
    return {};
}

deck_system_fault deck_coordinates::look_for_circles(const mesh_nodes& nodes) {
    for (std::size_t k = 0; k < systems_.size(); ++k) {
        deck_system_fault fault = place_with_others(k, nodes);
        if (fault.kind == deck_system_fault::circle) return fault;
    }
    return {};
}

deck_system_fault deck_coordinates::to_basic(dense2D<double>& pos, const node_finder& find_node) {
    const mesh_nodes nodes{pos, find_node};
    deck_system_fault fault = place_needed(nodes);
    if (!fault) fault = look_for_circles(nodes);
    if (fault) return fault;
    for (std::size_t r = 0; r < runs_.size(); ++r) {
        const unsigned int system = runs_[r].system == no_id ? default_ : runs_[r].system;
        if (system == 0) continue;
        const std::size_t end = r + 1 < runs_.size() ? runs_[r + 1].first_node : nbr_nodes_;
        for (std::size_t n = runs_[r].first_node; n < end; ++n) {
            point local;
            std::copy_n(pos.column(n), 3, local.x);
            std::copy_n(basic_point(system, local).x, 3, pos.column(n));
        }
    }
    return {};
}

} // namespace kv7::tessmaker
