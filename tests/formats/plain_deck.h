// Reading the cards of a deck as plainly as possible, for tests to compare with.
#ifndef TESSMAKER_TESTS_FORMATS_PLAIN_DECK_H
#define TESSMAKER_TESTS_FORMATS_PLAIN_DECK_H

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test {

struct plain_field {
    std::string text; // without blanks around it
    unsigned int file = 0;
    std::size_t line = 0;
    std::size_t column = 0;
};

struct plain_card {
    std::string name; // empty for a continuation without a card
    unsigned int file = 0;
    std::size_t line = 0;
    bool is_cut = false;
    std::vector<plain_field> fields;
};

inline std::string plain_strip(std::string text, const char* blanks) {
    text.erase(0, text.find_first_not_of(blanks));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}
inline std::string plain_upper(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

class plain_deck_reader {
public:
    static constexpr std::size_t longest_line = 1024;
    static constexpr const char* white = " \t\n\v\f\r";

    // Files by the names that INCLUDE gives them; none is a folder, none found by two names.
    explicit plain_deck_reader(std::map<std::string, std::string> files = {})
        : files_(std::move(files)) {}

    void read(const std::string& bytes) {
        in_bulk_ = true;
        for (const std::string& line : lines_of(bytes)) {
            if (begins_with(line, {"BEGIN", "BULK"})) {
                in_bulk_ = false;
                break;
            }
            if (begins_with(line, {"ENDDATA"})) break;
        }
        read_file(bytes, 0);
        finish();
    }

    std::vector<plain_card> cards;
    // File and line of each text behind the quotes of an INCLUDE.
    std::vector<std::pair<unsigned int, std::size_t>> behind_quotes;
    std::string fault; // empty, or: name, missing, depth, count
    unsigned int fault_file = 0;
    std::size_t fault_line = 0;

private:
    struct raw_line {
        unsigned int file;
        std::size_t number;
        std::string text;
        bool is_cut;
    };
    struct head {
        bool is_free = false;
        bool is_large = false;
        bool is_card = false;
        std::size_t end = 8;
        std::string whole;
        std::string name; // of the card, or of the continuation behind its sign
    };

    static std::vector<std::string> lines_of(const std::string& all) {
        std::vector<std::string> lines;
        const std::string bytes = all.rfind("\xEF\xBB\xBF", 0) == 0 ? all.substr(3) : all;
        std::string line;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            if (bytes[i] != '\n' && bytes[i] != '\r') {
                line += bytes[i];
                continue;
            }
            if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') ++i;
            lines.push_back(line.substr(0, longest_line + 1));
            line.clear();
        }
        if (!line.empty()) lines.push_back(line.substr(0, longest_line + 1));
        return lines;
    }

    static bool begins_with(const std::string& line, const std::vector<std::string>& words) {
        std::string rest = line.substr(0, longest_line);
        for (const std::string& word : words) {
            rest.erase(0, rest.find_first_not_of(white));
            if (plain_upper(rest.substr(0, word.size())) != word) return false;
            rest.erase(0, word.size());
            if (!rest.empty() && std::isalpha(static_cast<unsigned char>(rest[0])) &&
                static_cast<unsigned char>(rest[0]) < 128)
                return false;
        }
        return true;
    }
    // Within the first field.
    static bool is_keyword(const std::string& line, const std::string& word) {
        const std::size_t at = line.find_first_not_of(' ');
        return at <= 6 && plain_upper(line.substr(at, 1)) == word.substr(0, 1) &&
               begins_with(line, {word});
    }

    static head head_of(const std::string& line) {
        head result;
        const std::size_t comma = line.find(',');
        if (comma < 16) {
            const std::string first = line.substr(0, 8);
            const std::string rest = comma > 8 ? line.substr(8, comma - 8) : "";
            const bool is_blank = rest.find_first_not_of(' ') == std::string::npos;
            const bool is_word = (first + rest).find(' ') == std::string::npos;
            result.is_free = comma <= 8 || is_blank || is_word;
        }
        if (result.is_free) result.end = comma;
        result.whole = plain_strip(line.substr(0, std::min<std::size_t>(8, result.end)), " ");
        result.whole = plain_upper(result.whole);
        result.name = result.whole;
        if (!result.whole.empty() && (result.whole[0] == '+' || result.whole[0] == '*')) {
            result.is_large = result.whole[0] == '*';
            result.name = plain_strip(result.whole.substr(1), " ");
        } else if (!result.whole.empty()) {
            result.is_card = true;
            result.is_large = result.whole.find('*') != std::string::npos;
            result.name = plain_strip(result.whole.substr(0, result.whole.find('*')), " ");
        }
        return result;
    }

    static std::string without_tabs(const std::string& line) {
        std::string with_blanks = line;
        for (char& c : with_blanks) {
            if (c == '\t') c = ' ';
        }
        if (head_of(with_blanks).is_free) return with_blanks;
        std::string result;
        for (const char c : line) {
            std::string next(1, c);
            if (c == '\t') next = std::string(8 - result.size() % 8, ' ');
            if (result.size() + next.size() > longest_line) break;
            result += next;
        }
        return result;
    }

    bool fail(const char* what, unsigned int file, std::size_t line) {
        fault = what;
        fault_file = file;
        fault_line = line;
        return false;
    }

    // Whether reading goes on.
    bool read_file(const std::string& bytes, std::size_t depth) {
        const unsigned int file = nbr_files_++;
        const std::vector<std::string> lines = lines_of(bytes);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::size_t number = i + 1;
            const bool is_cut = lines[i].size() > longest_line;
            const std::string whole = lines[i].substr(0, longest_line);
            const std::string line = without_tabs(whole.substr(0, whole.find('$')));
            if (!in_bulk_ && begins_with(whole, {"BEGIN", "BULK"})) {
                in_bulk_ = true;
            } else if (is_keyword(line, "INCLUDE")) {
                finish();
                std::string name;
                if (!read_name(lines, i, name, file)) return fail("name", file, number);
                if (depth + 1 > 16) return fail("depth", file, number);
                if (nbr_files_ > 10000) return fail("count", file, number);
                const auto found = files_.find(name);
                if (found == files_.end()) return fail("missing", file, number);
                if (!read_file(found->second, depth + 1)) return false;
                finish();
            } else if (in_bulk_ && is_keyword(line, "ENDDATA")) {
                return false;
            } else if (in_bulk_ && !is_blank(line)) {
                add({file, number, line, is_cut});
            }
        }
        return true;
    }

    // Blanks alone in the first field, and white space behind it.
    static bool is_blank(const std::string& line) {
        return plain_strip(line, white).empty() && plain_strip(line.substr(0, 8), " ").empty();
    }

    bool read_name(const std::vector<std::string>& lines, std::size_t& i, std::string& name,
                   unsigned int file) {
        std::string rest = lines[i].substr(0, longest_line);
        rest = plain_strip(rest, white).substr(7);
        rest = plain_strip(rest, white);
        if (rest.empty() || (rest[0] != '\'' && rest[0] != '"')) {
            name = plain_strip(rest.substr(0, rest.find('$')), white);
            return is_good_name(name);
        }
        const char quote = rest[0];
        rest.erase(0, 1);
        for (;;) {
            const std::size_t end = rest.find(quote);
            name += rest.substr(0, end);
            if (end != std::string::npos) {
                const std::string behind = rest.substr(end + 1);
                const bool has_comment = behind.find('$') != std::string::npos;
                const bool may_go_on = lines[i].size() > longest_line && !has_comment;
                if (!plain_strip(behind.substr(0, behind.find('$')), white).empty() || may_go_on)
                    behind_quotes.emplace_back(file, i + 1);
                return is_good_name(name);
            }
            if (name.size() > 4096 || lines[i].size() > longest_line || ++i == lines.size())
                return false;
            rest = plain_strip(lines[i].substr(0, longest_line), white);
        }
    }
    static bool is_good_name(const std::string& name) {
        return !name.empty() && name.size() <= 4096 && name.find('\0') == std::string::npos;
    }

    // The limits of a file end a card.
    void finish() { has_card_ = false; }

    bool continues(const head& h) const {
        if (!has_card_) return false;
        if (h.is_card) return !mark_.empty() && mark_ == h.whole;
        const std::string name = plain_strip(mark_.empty() ? "" : mark_.substr(1), " ");
        return h.name.empty() || name.empty() || h.name == name || h.name == mark_;
    }

    void add(const raw_line& line) {
        const head h = head_of(line.text);
        if (!continues(h)) {
            cards.push_back({h.is_card ? h.name : "", line.file, line.number, false, {}});
            has_card_ = true;
        }
        cards.back().is_cut = cards.back().is_cut || line.is_cut;
        mark_.clear();
        if (h.is_free) {
            add_free(line, h);
        } else {
            add_fixed(line, h.is_large ? 16 : 8);
        }
    }

    void push(const raw_line& line, const std::string& text, std::size_t column) {
        cards.back().fields.push_back({plain_strip(text, " "), line.file, line.number, column});
    }

    void add_fixed(const raw_line& line, std::size_t width) {
        std::string text = line.text;
        if (text.size() < 80) text.resize(80, ' ');
        for (std::size_t at = 8; at < 72; at += width) {
            push(line, text.substr(at, width), at + 1);
        }
        mark_ = plain_upper(plain_strip(text.substr(72, 8), " "));
    }

    void add_free(const raw_line& line, const head& h) {
        const std::size_t room = h.is_large ? 4 : 8;
        std::vector<std::size_t> begins;
        std::vector<std::string> tokens;
        for (std::size_t at = h.end + 1; at <= line.text.size();) {
            const std::size_t comma = std::min(line.text.find(',', at), line.text.size());
            begins.push_back(at);
            tokens.push_back(line.text.substr(at, comma - at));
            at = comma + 1;
        }
        while (tokens.size() > room && plain_strip(tokens.back(), " ").empty()) tokens.pop_back();
        if (tokens.size() > room) {
            const std::string last = plain_strip(tokens[room], white);
            const std::string of_numbers = "0123456789-.";
            if (!last.empty() && of_numbers.find(last[0]) == std::string::npos) {
                mark_ = plain_upper(plain_strip(last.substr(0, 8), " "));
                tokens.resize(room);
            }
        }
        std::size_t n = 0;
        for (; n < tokens.size() || n % room != 0 || n == 0; ++n) {
            const bool is_there = n < tokens.size();
            push(line, is_there ? tokens[n] : "", is_there ? begins[n] + 1 : 0);
        }
    }

    std::map<std::string, std::string> files_;
    unsigned int nbr_files_ = 0;
    bool in_bulk_ = true;
    bool has_card_ = false;
    std::string mark_;
};

} // namespace test

#endif
