// Collects what is to be said on a file.
#ifndef TESSMAKER_FORMATS_FILE_REPORT_H
#define TESSMAKER_FORMATS_FILE_REPORT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tessmaker/mesh_file.h"

namespace kv7::tessmaker {

// A place in one of the files of a call.
struct file_place {
    std::uint64_t line = 0; // from 1; 0 for none
    unsigned int file = 0;  // as `add_file` numbers it; 0 is the file of the report
};

// What remarks of one sort have in common; one object for each sort, and its address is its name.
// The sentence is made of the keyword, the count, `one` or `many` things that happened, the place
// of the first, and the reason, which may be empty:
//
//   CBUSH: 96 not read, first in line 1234: no mesh element
//   1 node is in no element
struct remark_form {
    remark_kind kind;
    const char* one;
    const char* many;
    const char* reason;
};

// Fills a report. Remarks of one form and one keyword are one remark with a count; an addition
// costs a look-up by the keyword at most, and none while the keyword stays the same. Memory failure
// is std::bad_alloc, after which nothing but the end of its life may come.
class report_builder {
public:
    // What becomes one in the report beyond so many different keywords.
    static constexpr std::size_t most_keywords = 4096;
    // Of longer ones the rest is cut.
    static constexpr std::size_t longest_keyword = 32;

    // The report is not touched before `finish`; the path may be one that it holds.
    report_builder(file_report& report, std::string_view path, file_format format);

    // The number of a file that is included at a place of another one. Its lines come behind that
    // place and ahead of the following line there.
    unsigned int add_file(std::string_view path, file_place at);
    // The path of a file, by its number.
    const std::string& path(unsigned int file) const { return files_[file].path; }

    // The number of a keyword: that which it got when it was met first, or a new one.
    unsigned int keyword(std::string_view name);
    // Counts, by the number of a keyword, that it was met, and that what it stands for was read.
    void count_seen(unsigned int keyword, std::uint64_t count = 1) {
        keywords_[keyword].counts.seen += count;
    }
    void count_read(unsigned int keyword, std::uint64_t count = 1) {
        keywords_[keyword].counts.read += count;
    }

    // Adds `count` things of one form, the first of them at a place.
    void add(const remark_form& form, unsigned int keyword, file_place at, std::uint64_t count = 1);
    void add(const remark_form& form, std::string_view name, file_place at,
             std::uint64_t count = 1) {
        add(form, keyword(name), at, count);
    }

    // Gives the remark of a form and a keyword, which is there, a reason of its own.
    void explain(const remark_form& form, std::string_view name, std::string reason);

    // The error at which the work stopped, of which there is one at most: a later one replaces it.
    // `column` is from 1, 0 for the line as a whole. Text comes as "a real number is expected".
    // Returns the code.
    int fail(int code, file_place at, std::uint64_t column, std::string_view text);
    // An error of the file as a whole.
    int fail(int code, std::string_view text) { return fail(code, {}, 0, text); }
    bool has_failed() const { return has_failed_; }

    // Puts everything into the report, sorted and in words. Nothing happens, and no memory is asked
    // for, if there are no further remarks and errors since the last time.
    void finish();

private:
    static constexpr unsigned int none = 0xFFFFFFFF;

    struct included_file {
        std::string path;
        file_place at;
        unsigned int depth;
    };
    struct keyword_entry {
        std::string name;
        keyword_count counts;
        unsigned int first_remark; // and on through `next`
    };
    struct remark_entry {
        const remark_form* form;
        unsigned int keyword;
        unsigned int next;
        file_place at;
        std::uint64_t count;
        std::string reason; // empty for that of the form
    };
    struct text_hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>{}(text);
        }
    };

    unsigned int find_remark(const remark_form& form, unsigned int keyword) const;
    bool precedes(file_place a, file_place b) const;
    remark in_words(const remark_entry& entry) const;

    file_report& report_;
    file_format format_;
    std::vector<included_file> files_;
    std::vector<keyword_entry> keywords_;
    std::unordered_map<std::string, unsigned int, text_hash, std::equal_to<>> numbers_;
    unsigned int last_keyword_ = none;
    std::vector<remark_entry> remarks_;
    remark error_;
    bool has_failed_ = false;
    bool is_finished_ = false;
};

// A report that says that memory failed, if there is memory for it; else it is empty.
void report_memory_failure(file_report& report, std::string_view path, file_format format);

} // namespace kv7::tessmaker

#endif
