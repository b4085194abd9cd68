#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/ids.h"
#include "formats/mesh_writers.h"
#include "formats/output_buffer.h"

namespace kv7::tessmaker {

namespace {

constexpr remark_form set_lost{remark_kind::lost, "not written", "not written",
                               "no element of it is written"};
constexpr remark_form set_renamed{remark_kind::changed, "renamed", "renamed",
                                  "names are words without # and \\"};
constexpr remark_form set_numbered{remark_kind::changed, "numbered", "numbered",
                                   "another one has the name, and both would be one"};

// A word that is no comment, joins no lines, and isn't empty.
std::string group_name(const std::string& name) {
    if (name.empty()) return "_";
    std::string result = name;
    for (char& c : result) {
        const bool is_kept = static_cast<unsigned char>(c) > ' ' && c != '\x7F';
        if (!is_kept || c == '#' || c == '\\') c = '_';
    }
    return result;
}

// The sets of each element that is written, in their order.
class groups_of_elements {
public:
    explicit groups_of_elements(const mesh_for_file& what) {
        if (what.m.element_sets.empty()) return;
        const std::size_t cols = what.m.connect.cols();
        id_list is_written(cols, 0U);
        if (is_written.size() != cols || !first_.resize(cols + 1, 0U)) throw std::bad_alloc();
        visit_written(what,
                      [&](element_type, std::size_t c, const unsigned int*) { is_written[c] = 1; });
        std::size_t size = 0;
        for (const named_set& set : what.m.element_sets) {
            const std::size_t n = count(set, is_written);
            is_lost_.push_back(n == 0);
            size += n;
        }
        if (size >= no_id || !list_.resize(size)) throw std::bad_alloc();
        for (std::size_t c = 0; c < cols; ++c) first_[c + 1] += first_[c];
        fill(what.m.element_sets, is_written);
    }

    // Whether no element of a set is written.
    bool is_lost(std::size_t s) const { return is_lost_[s]; }
    const unsigned int* begin(std::size_t c) const { return list_.data() + first_[c]; }
    const unsigned int* end(std::size_t c) const { return list_.data() + first_[c + 1]; }
    bool empty() const { return first_.empty(); } // no sets

    bool are_equal(std::size_t a, std::size_t b) const {
        return std::equal(begin(a), end(a), begin(b), end(b));
    }

private:
    // Counts the sets of element c in entry c + 1. Returns how many elements of the set there are.
    std::size_t count(const named_set& set, const id_list& is_written) {
        std::size_t n = 0;
        for (const unsigned int c : set.ids) {
            n += is_written[c];
            first_[c + 1] += is_written[c];
        }
        return n;
    }
    void fill(const std::vector<named_set>& sets, const id_list& is_written) {
        for (std::size_t s = sets.size(); s-- > 0;) {
            // From the back: the entry c + 1 goes down to where the sets of c begin.
            for (const unsigned int c : sets[s].ids) {
                if (is_written[c] != 0) list_[--first_[c + 1]] = static_cast<unsigned int>(s);
            }
        }
        // What has become the beginnings stands one entry too far.
        for (std::size_t c = 0; c + 1 < first_.size(); ++c) first_[c] = first_[c + 1];
        first_[first_.size() - 1] = static_cast<unsigned int>(list_.size());
    }

    id_list first_;
    id_list list_;
    std::vector<bool> is_lost_; // by set
};

// The names of the sets in the file, none of them twice; empty for those that are lost.
std::vector<std::string> group_names(const std::vector<named_set>& sets,
                                     const groups_of_elements& groups) {
    std::set<std::string> used;
    std::vector<std::string> names(sets.size());
    for (std::size_t s = 0; s < sets.size(); ++s) {
        if (groups.is_lost(s)) continue;
        const std::string wanted = group_name(sets[s].name);
        names[s] = wanted;
        for (unsigned int k = 2; !used.insert(names[s]).second; ++k) {
            names[s] = wanted + '_' + std::to_string(k);
        }
    }
    return names;
}

void tell(const mesh_for_file& what, write_losses& losses) {
    const groups_of_elements groups(what);
    const std::vector<named_set>& sets = what.m.element_sets;
    const std::vector<std::string> names = group_names(sets, groups);
    std::size_t nbr_lost = 0;
    std::size_t nbr_renamed = 0;
    std::size_t nbr_numbered = 0;
    for (std::size_t s = 0; s < sets.size(); ++s) {
        if (groups.is_lost(s)) {
            ++nbr_lost;
            continue;
        }
        const std::string word = group_name(sets[s].name);
        nbr_renamed += word != sets[s].name ? 1U : 0U;
        nbr_numbered += names[s] != word ? 1U : 0U;
    }
    losses.add(set_lost, "set of elements", nbr_lost);
    losses.add(set_renamed, "set of elements", nbr_renamed);
    losses.add(set_numbered, "set of elements", nbr_numbered);
}

bool write_nodes(const mesh_for_file& what, output_buffer& output) {
    const dense2D<double>& pos = what.m.pos;
    for (std::size_t c = 0; c < pos.cols(); ++c) {
        if (!what.has_node(c)) continue;
        if (!output.make_room(3 * (real_size + 1) + 2)) return false;
        const double* const p = pos.column(c);
        output.put('v');
        for (std::size_t r = 0; r < 3; ++r) {
            output.put(' ');
            put_real(r < pos.rows() ? p[r] : 0.0, what.digits, output);
        }
        output.put('\n');
    }
    return true;
}

// The line that names the groups of the elements behind it: `g` alone, if there are none.
bool write_groups(const groups_of_elements& groups, std::size_t c,
                  const std::vector<std::string>& names, output_buffer& output) {
    if (!put_text("g", output)) return false;
    for (const unsigned int* s = groups.begin(c); s != groups.end(c); ++s) {
        if (!put_text(" ", output) || !put_text(names[*s], output)) return false;
    }
    return put_text("\n", output);
}

bool write_element(element_type type, const unsigned int* nodes, const mesh_for_file& what,
                   output_buffer& output) {
    constexpr std::size_t line_size = 2 + 4 * 11;
    if (!output.make_room(line_size)) return false;
    const unsigned int dim = element_dim(type);
    output.put(dim == 0 ? 'p' : dim == 1 ? 'l' : 'f');
    const unsigned int n = nbr_nodes(type);
    for (unsigned int r = 0; r < n; ++r) {
        output.put(' ');
        output.put_unsigned(std::uint64_t{what.place(nodes[r])} + 1);
    }
    output.put('\n');
    return true;
}

bool write(std::FILE* file, const mesh_for_file& what) {
    const groups_of_elements groups(what);
    const std::vector<std::string> names = group_names(what.m.element_sets, groups);
    output_buffer output(file);
    bool is_good = write_nodes(what, output);
    std::size_t last = no_id; // whose groups were written; none at first, and no group is open
    visit_written(what, [&](element_type type, std::size_t c, const unsigned int* nodes) {
        if (!is_good) return;
        if (!groups.empty()) {
            const bool has_none = last == no_id && groups.begin(c) == groups.end(c);
            if (!has_none && (last == no_id || !groups.are_equal(last, c))) {
                is_good = write_groups(groups, c, names, output);
            }
            if (!has_none) last = c;
        }
        is_good = is_good && write_element(type, nodes, what, output);
    });
    return output.pass_on() && is_good;
}

} // namespace

const mesh_writer obj_writer{&obj_holdings, tell, write};

} // namespace kv7::tessmaker
