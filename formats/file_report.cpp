#include "formats/file_report.h"

#include <algorithm>
#include <new>
#include <utility>

#include "formats/characters.h"

namespace kv7::tessmaker {

namespace {

// Stands for keywords beyond `most_keywords`.
constexpr std::string_view others = "(others)";

} // namespace

report_builder::report_builder(file_report& report, std::string_view path, file_format format)
    : report_(report), format_(format) {
    files_.push_back({std::string(path), {}, 0});
}

unsigned int report_builder::add_file(std::string_view path, file_place at) {
    files_.push_back({std::string(path), at, files_[at.file].depth + 1});
    return static_cast<unsigned int>(files_.size() - 1);
}

unsigned int report_builder::keyword(std::string_view name) {
    name = name.substr(0, longest_keyword);
    if (last_keyword_ != none && keywords_[last_keyword_].name == name) return last_keyword_;
    const auto found = numbers_.find(name);
    if (found != numbers_.end()) return last_keyword_ = found->second;
    if (keywords_.size() == most_keywords) return most_keywords - 1;

    const auto number = static_cast<unsigned int>(keywords_.size());
    const std::string_view kept = number == most_keywords - 1 ? others : name;
    numbers_.emplace(kept, number);
    keywords_.push_back({std::string(kept), {in_ascii(kept), 0, 0}, none});
    return last_keyword_ = number;
}

unsigned int report_builder::find_remark(const remark_form& form, unsigned int keyword) const {
    unsigned int k = keywords_[keyword].first_remark;
    while (k != none && remarks_[k].form != &form) k = remarks_[k].next;
    return k;
}

void report_builder::add(const remark_form& form, unsigned int keyword, file_place at,
                         std::uint64_t count) {
    is_finished_ = false;
    unsigned int k = find_remark(form, keyword);
    if (k == none) {
        k = static_cast<unsigned int>(remarks_.size());
        remarks_.push_back({&form, keyword, keywords_[keyword].first_remark, at, 0, {}});
        keywords_[keyword].first_remark = k;
    }
    remark_entry& entry = remarks_[k];
    entry.count += count;
    if (precedes(at, entry.at)) entry.at = at;
}

void report_builder::explain(const remark_form& form, std::string_view name, std::string reason) {
    is_finished_ = false;
    remarks_[find_remark(form, keyword(name))].reason = std::move(reason);
}

// Places without a line come last, and are equal to each other.
bool report_builder::precedes(file_place a, file_place b) const {
    if (a.line == 0 || b.line == 0) return a.line != 0 && b.line == 0;
    // From both places up to a file that leads to both. The file by which the last step came up is
    // 0 where no step was needed: a line that includes comes ahead of those that it includes.
    unsigned int a_below = 0;
    unsigned int b_below = 0;
    const auto climb = [this](file_place& at, unsigned int& below) {
        below = at.file;
        at = files_[at.file].at;
    };
    while (files_[a.file].depth > files_[b.file].depth) climb(a, a_below);
    while (files_[b.file].depth > files_[a.file].depth) climb(b, b_below);
    while (a.file != b.file) {
        climb(a, a_below);
        climb(b, b_below);
    }
    return a.line != b.line ? a.line < b.line : a_below < b_below;
}

remark report_builder::in_words(const remark_entry& entry) const {
    const remark_form& form = *entry.form;
    remark r;
    r.kind = form.kind;
    r.keyword = keywords_[entry.keyword].counts.keyword;
    r.count = entry.count;
    r.file = files_[entry.at.file].path;
    r.line = entry.at.line;

    if (!r.keyword.empty()) r.sentence = r.keyword + ": ";
    r.sentence += std::to_string(r.count) + ' ' + (r.count == 1 ? form.one : form.many);
    if (r.line != 0) {
        r.sentence += (r.count == 1 ? ", in line " : ", first in line ") + std::to_string(r.line);
        if (entry.at.file != 0) r.sentence += " of " + r.file;
    }
    const std::string_view reason = entry.reason.empty() ? form.reason : entry.reason.c_str();
    if (!reason.empty()) r.sentence.append(": ").append(reason);
    return r;
}

int report_builder::fail(int code, file_place at, std::uint64_t column, std::string_view text) {
    error_ = remark();
    error_.kind = remark_kind::error;
    error_.count = 1;
    error_.file = files_[at.file].path;
    error_.line = at.line;
    error_.column = column;
    error_.sentence = error_.file;
    const auto add_place = [this](const char* what, std::uint64_t number) {
        if (number == 0) return;
        if (!error_.sentence.empty()) error_.sentence += ", ";
        error_.sentence += what + std::to_string(number);
    };
    add_place("line ", at.line);
    add_place("column ", column);
    if (!error_.sentence.empty()) error_.sentence += ": ";
    error_.sentence += text;
    has_failed_ = true;
    is_finished_ = false;
    return code;
}

void report_builder::finish() {
    if (is_finished_) return;
    std::vector<const remark_entry*> order;
    order.reserve(remarks_.size());
    for (const remark_entry& entry : remarks_) order.push_back(&entry);
    std::sort(order.begin(), order.end(), [this](const remark_entry* a, const remark_entry* b) {
        if (precedes(a->at, b->at)) return true;
        return !precedes(b->at, a->at) && a < b; // both in remarks_, in the order of being met
    });
    std::vector<remark> remarks;
    remarks.reserve(order.size() + 1);
    for (const remark_entry* entry : order) remarks.push_back(in_words(*entry));
    if (has_failed_) remarks.push_back(error_);

    std::vector<keyword_count> counts;
    for (const keyword_entry& entry : keywords_) {
        if (entry.counts.seen != 0) counts.push_back(entry.counts);
    }
    report_.file_ = files_[0].path;
    report_.format_ = format_;
    report_.remarks_ = std::move(remarks);
    report_.counts_ = std::move(counts);
    is_finished_ = true;
}

void report_memory_failure(file_report& report, std::string_view path, file_format format) {
    try {
        report_builder builder(report, path, format);
        builder.fail(0, "there is not enough memory");
        builder.finish();
    } catch (const std::bad_alloc&) {
        report = file_report();
    }
}

} // namespace kv7::tessmaker
