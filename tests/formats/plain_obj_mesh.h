// A plain reader of OBJ files as meshes, of whole texts and with the standard's containers.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_OBJ_MESH_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_OBJ_MESH_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/polygon_triangles.h"
#include "tessmaker/element_type.h"

namespace test {

class plain_obj_mesh {
public:
    using ids = std::vector<unsigned int>;

    std::uint64_t error_line = 0; // of the first fault; 0 if there is none
    bool lacks_vertices = false;
    std::vector<std::array<double, 3>> nodes;
    std::vector<ids> elements;
    std::vector<std::pair<std::string, ids>> sets; // of groups and objects, in order of first use
    std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> counts; // seen, read

    explicit plain_obj_mesh(const std::string& text) {
        for (const logical_line& line : lines_of(text)) {
            if (error_line == 0 && !line.words.empty()) read(line);
        }
        if (error_line != 0) return;
        if (nodes.empty() && !counts.empty()) {
            lacks_vertices = true;
            return;
        }
        for (const auto& [vertex, line] : references_) {
            if (error_line == 0 && vertex > nodes.size()) error_line = line;
        }
        if (error_line == 0) make_elements();
    }

private:
    struct word {
        std::string text;
        std::uint64_t line;
    };
    struct logical_line {
        std::vector<word> words;
        std::uint64_t end = 0; // the number of its last line
    };
    struct raw_element {
        std::vector<std::uint64_t> vertices; // from 1
        std::set<std::string> groups;
        std::string object;
    };

    static bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f'; }

    static std::vector<std::string> physical_lines(const std::string& text) {
        std::vector<std::string> lines(1);
        for (std::size_t k = 0; k < text.size(); ++k) {
            if (text[k] == '\r' && k + 1 < text.size() && text[k + 1] == '\n') continue;
            if (text[k] == '\n' || text[k] == '\r') {
                lines.emplace_back();
            } else {
                lines.back() += text[k];
            }
        }
        return lines;
    }
    static std::vector<logical_line> lines_of(const std::string& text) {
        std::vector<logical_line> result(1);
        std::uint64_t number = 0;
        for (std::string line : physical_lines(text)) {
            ++number;
            bool goes_on = false;
            for (std::size_t k = 0; k < line.size(); ++k) {
                if (line[k] == '#' && (k == 0 || is_blank(line[k - 1]))) line.resize(k);
            }
            std::string trimmed = line;
            while (!trimmed.empty() && is_blank(trimmed.back())) trimmed.pop_back();
            // A comment ends its line, whatever it ends with; it was cut off ahead of this.
            const bool had_comment = line.size() != physical_size(text, number);
            if (!had_comment && !trimmed.empty() && trimmed.back() == '\\') {
                goes_on = true;
                trimmed.pop_back();
            }
            std::string current;
            for (const char c : trimmed + ' ') {
                if (!is_blank(c)) {
                    current += c;
                } else if (!current.empty()) {
                    result.back().words.push_back({current, number});
                    current.clear();
                }
            }
            result.back().end = number;
            if (!goes_on) result.emplace_back();
        }
        return result;
    }
    static std::size_t physical_size(const std::string& text, std::uint64_t number) {
        return physical_lines(text)[number - 1].size();
    }

    void read(const logical_line& line) {
        const std::string& keyword = line.words[0].text;
        ++counts[keyword].first;
        bool is_kept = true;
        if (keyword == "v") {
            read_vertex(line);
        } else if (keyword == "f" || keyword == "fo") {
            is_kept = read_face(line);
        } else if (keyword == "l") {
            is_kept = read_bars(line);
        } else if (keyword == "p") {
            for (const std::uint64_t v : vertices_of(line)) add({v});
        } else if (keyword == "g") {
            groups_.clear();
            for (std::size_t k = 1; k < line.words.size(); ++k) {
                groups_.insert(line.words[k].text);
                note_name("g" + line.words[k].text);
            }
        } else if (keyword == "o") {
            object_.clear();
            for (std::size_t k = 1; k < line.words.size(); ++k) {
                object_ += (k == 1 ? "" : " ") + line.words[k].text;
            }
            if (!object_.empty()) note_name("o" + object_);
        } else {
            is_kept = false;
        }
        if (is_kept) ++counts[keyword].second;
    }

    void read_vertex(const logical_line& line) {
        std::array<double, 3> p{};
        for (std::size_t i = 0; i < 3; ++i) {
            if (line.words.size() < i + 2) {
                error_line = line.end;
                return;
            }
            const std::string& text = line.words[i + 1].text;
            char* end = nullptr;
            p[i] = std::strtod(text.c_str(), &end);
            if (text.find_first_not_of("0123456789+-.eE") != std::string::npos || *end != '\0') {
                error_line = line.words[i + 1].line;
                return;
            }
        }
        nodes.push_back(p);
    }

    std::vector<std::uint64_t> vertices_of(const logical_line& line) {
        std::vector<std::uint64_t> result;
        for (std::size_t k = 1; k < line.words.size() && error_line == 0; ++k) {
            const word& w = line.words[k];
            long vertex = 0;
            if (!is_corner(w.text, vertex)) {
                error_line = w.line;
                break;
            }
            if (vertex < 0) vertex += static_cast<long>(nodes.size()) + 1;
            if (vertex <= 0) {
                error_line = w.line;
                break;
            }
            result.push_back(static_cast<std::uint64_t>(vertex));
            references_.emplace_back(result.back(), w.line);
        }
        return result;
    }
    // `i`, `i/j`, `i//k`, `i/j/k`, with parts behind slashes left out at will.
    static bool is_corner(const std::string& text, long& vertex) {
        std::vector<std::string> parts(1);
        for (const char c : text) {
            if (c == '/') {
                parts.emplace_back();
            } else {
                parts.back() += c;
            }
        }
        if (parts.size() > 3 || parts[0].empty()) return false;
        for (const std::string& part : parts) {
            if (part.empty()) continue;
            const std::size_t start = part[0] == '-' || part[0] == '+' ? 1 : 0;
            if (start == part.size()) return false;
            if (part.find_first_not_of("0123456789", start) != std::string::npos) return false;
        }
        vertex = std::strtol(parts[0].c_str(), nullptr, 10);
        return true;
    }

    void add(std::vector<std::uint64_t> vertices) {
        raw_.push_back({std::move(vertices), groups_, object_});
    }
    bool read_face(const logical_line& line) {
        std::vector<std::uint64_t> face = vertices_of(line);
        if (error_line != 0) return false;
        face.erase(std::unique(face.begin(), face.end()), face.end());
        while (face.size() > 1 && face.back() == face.front()) face.pop_back();
        if (face.size() < 3) return false;
        add(face);
        return true;
    }
    bool read_bars(const logical_line& line) {
        const std::vector<std::uint64_t> way = vertices_of(line);
        if (error_line != 0) return false;
        bool any = false;
        for (std::size_t k = 1; k < way.size(); ++k) {
            if (way[k - 1] == way[k]) continue;
            add({way[k - 1], way[k]});
            any = true;
        }
        return any;
    }

    void note_name(const std::string& name) {
        if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
    }
    void make_elements() {
        std::map<std::string, ids> by_name;
        for (const raw_element& e : raw_) {
            const auto first = static_cast<unsigned int>(elements.size());
            if (e.vertices.size() > 4) {
                add_triangles(e.vertices);
            } else {
                elements.emplace_back();
                for (const std::uint64_t v : e.vertices) {
                    elements.back().push_back(static_cast<unsigned int>(v - 1));
                }
            }
            for (unsigned int k = first; k < elements.size(); ++k) {
                for (const std::string& name : e.groups) by_name["g" + name].push_back(k);
                if (!e.object.empty()) by_name["o" + e.object].push_back(k);
            }
        }
        for (const std::string& name : names_) {
            const std::string other = (name[0] == 'g' ? "o" : "g") + name.substr(1);
            const bool comes_second = std::find(names_.begin(), names_.end(), other) <
                                      std::find(names_.begin(), names_.end(), name);
            if (by_name[name].empty() || (comes_second && by_name[other] == by_name[name]))
                continue;
            sets.emplace_back(name.substr(1), by_name[name]);
        }
    }
    void add_triangles(const std::vector<std::uint64_t>& face) {
        std::vector<double> points;
        for (const std::uint64_t v : face) {
            points.insert(points.end(), nodes[v - 1].begin(), nodes[v - 1].end());
        }
        kv7::tessmaker::polygon_triangles cutter;
        cutter.cut(points.data(), face.size());
        for (std::size_t k = 0; k < cutter.corners().size(); k += 3) {
            elements.emplace_back();
            for (std::size_t i = 0; i < 3; ++i) {
                elements.back().push_back(
                    static_cast<unsigned int>(face[cutter.corners()[k + i]] - 1));
            }
        }
    }

    std::set<std::string> groups_;
    std::string object_;
    std::vector<std::string> names_;
    std::vector<raw_element> raw_;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> references_; // vertex, line
};

} // namespace test

#endif
