// Groups and objects of an OBJ file as sets of elements.
#ifndef TESSMAKER_FORMATS_OBJ_SETS_H
#define TESSMAKER_FORMATS_OBJ_SETS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// Elements come in ascending order. Each belongs to the groups and to the object that were begun
// last; a name may come again, and its set goes on then.
class obj_sets {
public:
    // So that the sets of a file are not larger than it in proportion.
    static constexpr std::size_t most_groups = 64;

    // From element `at` on, until they begin anew, elements belong to the groups that are added.
    void begin_groups(std::size_t at);
    // False if there are too many.
    bool add_group(std::string_view name);
    // From element `at` on elements belong to this object; to none if the name is empty.
    void begin_object(const std::string& name, std::size_t at);
    // No elements are left from `at` on.
    void finish(std::size_t at);

    // Appends the sets that have elements, in the order in which their names came first. An object
    // and a group of one name and the same elements are one set. False when memory fails.
    bool store(std::vector<named_set>& sets);

private:
    using range = std::pair<std::size_t, std::size_t>; // from, to but not including
    struct entry {
        std::string name;
        std::vector<range> ranges;
        unsigned int other; // the entry of the other kind with this name
    };
    // The entries of one kind by name.
    using name_table = std::unordered_map<std::string, unsigned int>;

    unsigned int find_or_add(const std::string& name, name_table& own, const name_table& others);
    void end(std::vector<unsigned int>& current, std::size_t from, std::size_t to);

    std::vector<entry> entries_;
    name_table groups_;
    name_table objects_;
    std::vector<unsigned int> current_groups_;
    std::vector<unsigned int> current_object_; // one or none
    std::size_t groups_from_ = 0;
    std::size_t object_from_ = 0;
};

} // namespace kv7::tessmaker

#endif
