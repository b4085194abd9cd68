#include "formats/file_report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/memory_failure.h"
#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

constexpr remark_form not_read{remark_kind::lost, "not read", "not read", "no mesh element"};
constexpr remark_form unused{remark_kind::note, "node is in no element", "nodes are in no element",
                             ""};
constexpr remark_form repeated{remark_kind::note, "given twice", "given twice", "alike both times"};

std::vector<std::string> sentences(const file_report& report) {
    std::vector<std::string> result;
    for (const remark& r : report.remarks()) result.push_back(r.sentence);
    return result;
}

TEST(file_report, tells_a_keyword_its_count_its_first_line_and_the_reason) {
    file_report report;
    report_builder builder(report, "wing.bdf", file_format::nastran);
    for (std::uint64_t line = 1234; line < 1234 + 96; ++line) {
        builder.add(not_read, "CBUSH", {line});
    }
    builder.add(not_read, "CGAP", {77});
    builder.finish();
    EXPECT_EQ(sentences(report), (std::vector<std::string>{
                                     "CGAP: 1 not read, in line 77: no mesh element",
                                     "CBUSH: 96 not read, first in line 1234: no mesh element"}));
    EXPECT_EQ(report.file(), "wing.bdf");
    EXPECT_EQ(report.format(), file_format::nastran);
    EXPECT_EQ(report.error(), nullptr);
    EXPECT_TRUE(report.has_lost());
    const remark& last = report.remarks().back();
    EXPECT_EQ(last.kind, remark_kind::lost);
    EXPECT_EQ(last.keyword, "CBUSH");
    EXPECT_EQ(last.count, 96U);
    EXPECT_EQ(last.file, "wing.bdf");
    EXPECT_EQ(last.line, 1234U);
    EXPECT_EQ(last.column, 0U);
}

TEST(file_report, says_one_and_many_without_a_keyword_or_a_line) {
    file_report report;
    report_builder one(report, "", file_format::obj);
    one.add(unused, "", {});
    one.finish();
    EXPECT_EQ(sentences(report), (std::vector<std::string>{"1 node is in no element"}));
    EXPECT_EQ(report.remarks()[0].line, 0U);
    EXPECT_FALSE(report.has_lost());

    report_builder many(report, "", file_format::obj);
    many.add(unused, "", {}, 4294967296U);
    many.finish();
    EXPECT_EQ(sentences(report), (std::vector<std::string>{"4294967296 nodes are in no element"}));
}

TEST(file_report, the_first_line_is_the_lowest_and_not_the_one_met_first) {
    file_report report;
    report_builder builder(report, "a", file_format::nastran);
    for (const std::uint64_t line : {9U, 4U, 12U}) builder.add(not_read, "CBUSH", {line});
    builder.add(unused, "", {}); // no line: at the end
    builder.add(not_read, "CGAP", {5});
    builder.finish();
    EXPECT_EQ(sentences(report),
              (std::vector<std::string>{"CBUSH: 3 not read, first in line 4: no mesh element",
                                        "CGAP: 1 not read, in line 5: no mesh element",
                                        "1 node is in no element"}));
}

TEST(file_report, forms_of_one_keyword_are_remarks_of_their_own) {
    file_report report;
    report_builder builder(report, "a", file_format::nastran);
    for (std::uint64_t line = 1; line <= 6; ++line) {
        builder.add(line % 2 == 0 ? not_read : repeated, "GRID", {line});
    }
    builder.finish();
    EXPECT_EQ(sentences(report),
              (std::vector<std::string>{"GRID: 3 given twice, first in line 1: alike both times",
                                        "GRID: 3 not read, first in line 2: no mesh element"}));
}

TEST(file_report, included_lines_come_behind_the_line_that_includes_them) {
    file_report report;
    report_builder builder(report, "main", file_format::nastran);
    const unsigned int sub = builder.add_file("sub", {10, 0});
    const unsigned int deep = builder.add_file("deep", {2, sub});
    const unsigned int same_line = builder.add_file("same line", {10, 0});
    const auto add = [&](const char* name, std::uint64_t line, unsigned int file) {
        builder.add(not_read, name, {line, file});
    };
    add("H", 11, 0);
    add("G", 1, same_line);
    add("F", 3, sub);
    add("E", 900, deep);
    add("D", 1, deep);
    add("C", 2, sub);
    add("B", 10, 0);
    add("A", 9, 0);
    builder.finish();
    std::string order;
    for (const remark& r : report.remarks()) order += r.keyword;
    EXPECT_EQ(order, "ABCDEFGH");
    EXPECT_EQ(report.remarks()[3].sentence, "D: 1 not read, in line 1 of deep: no mesh element");
    EXPECT_EQ(report.remarks()[3].file, "deep");
}

TEST(file_report, an_error_says_file_line_column_and_what_was_expected) {
    file_report report;
    {
        report_builder builder(report, "wing.bdf", file_format::nastran);
        builder.add(not_read, "CBUSH", {90});
        EXPECT_EQ(builder.fail(-102, {12, 0}, 17, "a real number is expected"), -102);
        EXPECT_TRUE(builder.has_failed());
        builder.finish();
    }
    ASSERT_NE(report.error(), nullptr);
    EXPECT_EQ(report.error()->sentence, "wing.bdf, line 12, column 17: a real number is expected");
    EXPECT_EQ(report.error()->file, "wing.bdf");
    EXPECT_EQ(report.error()->line, 12U);
    EXPECT_EQ(report.error()->column, 17U);
    EXPECT_EQ(report.remarks().size(), 2U);

    const auto sentence_of = [&](const char* path, file_place at, std::uint64_t column) {
        report_builder builder(report, path, file_format::nastran);
        builder.add_file("sub", {10, 0});
        builder.fail(-1, at, column, "no");
        builder.finish();
        return report.error()->sentence;
    };
    EXPECT_EQ(sentence_of("wing.bdf", {3, 1}, 0), "sub, line 3: no");
    EXPECT_EQ(sentence_of("wing.bdf", {}, 0), "wing.bdf: no");
    EXPECT_EQ(sentence_of("", {12}, 17), "line 12, column 17: no");
    EXPECT_EQ(sentence_of("", {}, 0), "no");
    EXPECT_EQ(report.remarks().size(), 1U); // what was there before is gone
}

TEST(file_report, counts_what_was_seen_and_what_was_read) {
    file_report report;
    report_builder builder(report, "a", file_format::nastran);
    const unsigned int grid = builder.keyword("GRID");
    const unsigned int bush = builder.keyword("CBUSH");
    builder.keyword("never met");
    EXPECT_NE(grid, bush);
    EXPECT_EQ(builder.keyword("GRID"), grid);
    for (int k = 0; k < 1000000; ++k) {
        const unsigned int number = builder.keyword(k % 4 == 3 ? "CBUSH" : "GRID");
        builder.count_seen(number);
        if (number == grid) builder.count_read(number);
    }
    builder.finish();
    ASSERT_EQ(report.counts().size(), 2U);
    EXPECT_EQ(report.counts()[0].keyword, "GRID");
    EXPECT_EQ(report.counts()[0].seen, 750000U);
    EXPECT_EQ(report.counts()[0].read, 750000U);
    EXPECT_EQ(report.counts()[1].keyword, "CBUSH");
    EXPECT_EQ(report.counts()[1].seen, 250000U);
    EXPECT_EQ(report.counts()[1].read, 0U);
}

TEST(file_report, keywords_are_shown_in_ascii_and_cut) {
    file_report report;
    report_builder builder(report, "a", file_format::nastran);
    builder.add(unused, std::string("a\0\n\x1b\xc3\xa9z", 7), {1});
    builder.add(unused, std::string(40, 'x'), {2});
    builder.add(unused, "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx and another end", {3});
    builder.finish();
    ASSERT_EQ(report.remarks().size(), 2U);
    EXPECT_EQ(report.remarks()[0].keyword, "a?????z");
    EXPECT_EQ(report.remarks()[1].keyword, std::string(32, 'x'));
    EXPECT_EQ(report.remarks()[1].count, 2U);
}

TEST(file_report, keywords_beyond_thousands_are_counted_together) {
    constexpr std::size_t n = 3 * report_builder::most_keywords;
    file_report report;
    report_builder builder(report, "a", file_format::nastran);
    for (std::size_t k = 0; k < n; ++k) {
        const unsigned int number = builder.keyword("K" + std::to_string(k));
        builder.count_seen(number);
        builder.add(not_read, number, {k + 1});
    }
    builder.finish();
    EXPECT_EQ(report.counts().size(), report_builder::most_keywords);
    EXPECT_EQ(report.remarks().size(), report_builder::most_keywords);
    EXPECT_EQ(report.counts().back().keyword, "(others)");
    EXPECT_EQ(report.counts().back().seen, n + 1 - report_builder::most_keywords);
    EXPECT_EQ(report.remarks().back().count, n + 1 - report_builder::most_keywords);
    EXPECT_EQ(report.remarks().back().line, report_builder::most_keywords);
}

// Lines of a text with what it includes, one inside the other, in the order of reading.
void unfold(report_builder& builder, unsigned int file, int depth, random_source& random,
            std::vector<file_place>& places) {
    const std::size_t nbr_lines = 1 + random.below(5);
    for (std::uint64_t line = 1; line <= nbr_lines; ++line) {
        places.push_back({line, file});
        if (depth < 4 && random.one_in(3)) {
            unfold(builder, builder.add_file("f", {line, file}), depth + 1, random, places);
        }
    }
}

TEST(file_report, remarks_come_in_the_order_of_reading) {
    random_source random(7);
    for (int round = 0; round < 300; ++round) {
        file_report report;
        report_builder builder(report, "main", file_format::nastran);
        std::vector<file_place> places;
        unfold(builder, 0, 0, random, places);
        // What is said of a keyword: how often, and first at which of the places.
        std::map<std::string, std::pair<std::size_t, std::uint64_t>> expected;
        for (std::size_t k = 0; k < 2 * places.size(); ++k) {
            const std::string keyword(1, static_cast<char>('a' + random.below(20)));
            const std::size_t at = random.below(places.size());
            builder.add(not_read, keyword, places[at]);
            auto& [first, count] = expected.try_emplace(keyword, places.size(), 0).first->second;
            first = std::min(first, at);
            ++count;
        }
        builder.finish();
        ASSERT_EQ(report.remarks().size(), expected.size());
        std::vector<std::size_t> order;
        for (const remark& r : report.remarks()) {
            const auto& [first, count] = expected[r.keyword];
            EXPECT_EQ(r.count, count);
            EXPECT_EQ(r.line, places[first].line);
            order.push_back(first);
        }
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
}

TEST(file_report, memory_failure_leaves_a_report_that_says_so_or_an_empty_one) {
    const std::size_t nbr_failed = fail_each_allocation([](std::size_t k, bool and_later) {
        file_report report;
        bool has_failed = false;
        const memory_failure failure(k, and_later);
        try {
            report_builder builder(report, "a file with a long name", file_format::nastran);
            builder.add_file("another file with a long name", {3});
            builder.add(not_read, "a keyword that is not short", {1});
            builder.fail(-1, {12, 1}, 17, "a real number is expected");
            builder.finish();
        } catch (const std::bad_alloc&) {
            has_failed = true;
            report_memory_failure(report, "a file with a long name", file_format::nastran);
        }
        EXPECT_EQ(has_failed, failure.happened());
        if (!has_failed) {
            EXPECT_EQ(report.remarks().size(), 2U);
        } else if (report.error()) {
            EXPECT_EQ(report.error()->sentence,
                      "a file with a long name: there is not enough memory");
            EXPECT_EQ(report.remarks().size(), 1U);
        } else {
            EXPECT_TRUE(and_later);
            EXPECT_TRUE(report.remarks().empty() && report.file().empty());
        }
        return failure.happened();
    });
    EXPECT_GT(nbr_failed, 20U);
}

} // namespace
