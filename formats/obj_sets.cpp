#include "formats/obj_sets.h"

#include <algorithm>

#include "core/ids.h"

namespace kv7::tessmaker {

unsigned int obj_sets::find_or_add(const std::string& name, name_table& own,
                                   const name_table& others) {
    const auto number = static_cast<unsigned int>(entries_.size());
    const auto [at, is_new] = own.emplace(name, number);
    if (!is_new) return at->second;
    const auto other = others.find(name);
    entries_.push_back({name, {}, other == others.end() ? no_id : other->second});
    return number;
}

// The elements between belong to the current sets, of which there are none then.
void obj_sets::end(std::vector<unsigned int>& current, std::size_t from, std::size_t to) {
    for (const unsigned int k : current) {
        if (from == to) break;
        std::vector<range>& ranges = entries_[k].ranges;
        if (!ranges.empty() && ranges.back().second == from) {
            ranges.back().second = to;
        } else {
            ranges.emplace_back(from, to);
        }
    }
    current.clear();
}

void obj_sets::begin_groups(std::size_t at) {
    end(current_groups_, groups_from_, at);
    groups_from_ = at;
}

bool obj_sets::add_group(std::string_view name) {
    const auto has = [this](unsigned int k) {
        return std::find(current_groups_.begin(), current_groups_.end(), k) !=
               current_groups_.end();
    };
    if (current_groups_.size() == most_groups) {
        const auto known = groups_.find(std::string(name));
        return known != groups_.end() && has(known->second);
    }
    const unsigned int k = find_or_add(std::string(name), groups_, objects_);
    if (!has(k)) current_groups_.push_back(k);
    return true;
}

void obj_sets::begin_object(const std::string& name, std::size_t at) {
    end(current_object_, object_from_, at);
    object_from_ = at;
    if (!name.empty()) current_object_.push_back(find_or_add(name, objects_, groups_));
}

void obj_sets::finish(std::size_t at) {
    begin_groups(at);
    begin_object({}, at);
}

bool obj_sets::store(std::vector<named_set>& sets) {
    for (entry& e : entries_) {
        const bool is_there_already = e.other != no_id && entries_[e.other].ranges == e.ranges;
        if (e.ranges.empty() || is_there_already) continue;
        std::size_t size = 0;
        for (const auto& [from, to] : e.ranges) size += to - from;
        named_set set;
        set.name = e.name;
        if (!set.ids.resize(size)) return false;
        unsigned int* id = set.ids.data();
        for (const auto& [from, to] : e.ranges) {
            for (std::size_t k = from; k < to; ++k) *id++ = static_cast<unsigned int>(k);
        }
        sets.push_back(std::move(set));
    }
    return true;
}

} // namespace kv7::tessmaker
