// Events of XML texts.
#include "formats/xml_reader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "support/random.h"

using namespace kv7::tessmaker;
using namespace test;

namespace {

// "<a x=1>", "text", "</>", and at the end "." or what is wrong, with its place.
std::string events_of(std::string_view text, std::string_view attribute = "x") {
    xml_reader reader(text);
    std::string all;
    for (;;) {
        const xml_reader::event event = reader.next();
        EXPECT_LE(reader.position(), text.size());
        EXPECT_LE(reader.place(), text.size());
        switch (event) {
        case xml_reader::event::start:
            all += '<' + std::string(reader.name());
            if (!reader.attribute(attribute).empty()) {
                all +=
                    ' ' + std::string(attribute) + '=' + std::string(reader.attribute(attribute));
            }
            all += '>';
            break;
        case xml_reader::event::end: all += "</>"; break;
        case xml_reader::event::text:
            all += reader.piece();
            if (!reader.is_verbatim()) all += '~';
            break;
        case xml_reader::event::finish: return all + '.';
        case xml_reader::event::fault:
            return all + '!' + std::to_string(reader.place()) + ' ' + reader.fault();
        }
    }
}

TEST(xml_reader, tells_elements_attributes_and_text) {
    EXPECT_EQ(events_of("<a/>"), "<a></>.");
    EXPECT_EQ(
        events_of("\xEF\xBB\xBF <?xml version=\"1.0\"?>\n<a x = '1' ><b x=\"2\"/>t<b\n/></a >\n"),
        "<a x=1><b x=2></>t<b></></>.");
    EXPECT_EQ(events_of("<a y='>' x='\"'>1 > 2</a>"), "<a x=\">1 > 2</>.");
    EXPECT_EQ(events_of("<a x='1' x='2'/>"), "<a x=1></>.");
    EXPECT_EQ(events_of("<n:a-1.b_2/>"), "<n:a-1.b_2></>.");
    EXPECT_EQ(events_of("<a><a><a/></a></a>"), "<a><a><a></></></>.");
}

TEST(xml_reader, passes_over_comments_and_instructions) {
    EXPECT_EQ(events_of("<!-- <b> --><a>1<!---->2<?b > ?>3</a><!-- x -->"), "<a>123</>.");
}

TEST(xml_reader, text_may_stand_in_cdata) {
    EXPECT_EQ(events_of("<a><![CDATA[<b> & ]] ]]>c</a>"), "<a><b> & ]] c</>.");
    EXPECT_EQ(events_of("<a><![CDATA[]]></a>"), "<a></>.");
}

TEST(xml_reader, entities_are_decoded) {
    EXPECT_EQ(events_of("<a x='&lt;&gt;&amp;&quot;&apos;'>&#65;&#x42;b&#xe9;&#x20AC;&#x1F600;</a>"),
              "<a x=<>&\"'>AB"
              "b\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80~</>.");
    for (const char* const bad :
         {"&", "&;", "&x;", "&#;", "&#x;", "&#0;", "&#x110000;", "&#-5;", "&#xD800;", "&#xDFFF;",
          "&amp", "&#99999999999;", "&LT;", "&#6 5;"}) {
        EXPECT_EQ(events_of(std::string("<a>12") + bad + "</a>"),
                  "<a>!5 an entity that is known is expected");
        EXPECT_EQ(events_of(std::string("<a b='") + bad + "'/>"),
                  "!6 an entity that is known is expected");
    }
}

TEST(xml_reader, faults_have_a_place) {
    EXPECT_EQ(events_of(""), "!0 an element is expected");
    EXPECT_EQ(events_of(" \n"), "!2 an element is expected");
    EXPECT_EQ(events_of("x<a/>"), "!0 an element is expected");
    EXPECT_EQ(events_of("<a/>x"), "<a></>!4 an element is expected");
    EXPECT_EQ(events_of("<![CDATA[x]]><a/>"), "!0 an element is expected");
    EXPECT_EQ(events_of("</a>"), "!0 an element is expected");
    EXPECT_EQ(events_of("<a/><b/>"), "<a></>!4 the end of the file is expected");
    EXPECT_EQ(events_of("<a>"), "<a>!3 the end of a is expected, and the file ends");
    EXPECT_EQ(events_of("<a><b></a>"), "<a><b>!6 the end of b is expected");
    EXPECT_EQ(events_of("<a></a x='1'>"), "<a>!3 the end of a is expected");
    EXPECT_EQ(events_of("< a/>"), "!1 the name of an element is expected");
    EXPECT_EQ(events_of("<1/>"), "!1 the name of an element is expected");
    EXPECT_EQ(events_of("<a"), "!2 an attribute or the end of a is expected");
    EXPECT_EQ(events_of("<a b"), "!3 an attribute or the end of a is expected");
    EXPECT_EQ(events_of("<a b c='1'>"), "!3 an attribute or the end of a is expected");
    EXPECT_EQ(events_of("<a b="), "!5 the value of b is expected, between quotes");
    EXPECT_EQ(events_of("<a b=1>"), "!5 the value of b is expected, between quotes");
    EXPECT_EQ(events_of("<a b='1>"), "!5 the value of b is expected, between quotes");
    EXPECT_EQ(events_of("<a / >"), "!3 an attribute or the end of a is expected");
    EXPECT_EQ(events_of("<!-- a --"), "!0 the end of a comment is expected, and the file ends");
    EXPECT_EQ(events_of("<?xml ?"), "!0 the end of an instruction is expected, and the file ends");
    EXPECT_EQ(events_of("<a><![CDATA[ ]]"),
              "<a>!3 the end of CDATA is expected, and the file ends");
    EXPECT_EQ(events_of("<!DOCTYPE a [<!ENTITY b 'c'>]><a/>"), "!0 document types are not read");
}

TEST(xml_reader, faults_show_the_start_of_a_name_in_ascii) {
    const std::string name = "a\x1B[2J\xC3\xA9" + std::string(100000, 'b');
    const std::string shown = "a?[2J??" + std::string(25, 'b');
    const auto fault_in = [](const std::string& text) {
        const std::string all = events_of(text);
        return all.substr(all.rfind('!'));
    };
    EXPECT_EQ(fault_in('<' + name + "></c>"), "!100009 the end of " + shown + " is expected");
    EXPECT_EQ(fault_in('<' + name + '>'),
              "!100009 the end of " + shown + " is expected, and the file ends");
    EXPECT_EQ(fault_in('<' + name), "!100008 an attribute or the end of " + shown + " is expected");
    EXPECT_EQ(fault_in("<a " + name + "=1>"),
              "!100011 the value of " + shown + " is expected, between quotes");
}

TEST(xml_reader, depth_is_bounded) {
    const auto nested = [](std::size_t depth) {
        std::string text;
        for (std::size_t k = 0; k < depth; ++k) text += "<a>";
        for (std::size_t k = 0; k < depth; ++k) text += "</a>";
        return text;
    };
    EXPECT_EQ(events_of(nested(xml_reader::most_depth)).back(), '.');
    const std::string beyond = events_of(nested(1000000));
    EXPECT_EQ(beyond.substr(beyond.find('!')), "!192 elements are nested deeper than 64");
}

// Trees that are written in any of the ways there are.
void put_tree(random_source& random, std::size_t depth, std::string& text, std::string& events) {
    const std::string name(1, static_cast<char>('a' + random.below(3)));
    text += '<' + name;
    events += '<' + name;
    if (random.one_in(2)) {
        text += random.one_in(2) ? " x='5'" : "\n y=\"'\" x\t= \"5\"";
        events += " x=5";
    }
    events += '>';
    if (random.one_in(4)) {
        text += random.one_in(2) ? "/>" : " />";
        events += "</>";
        return;
    }
    text += '>';
    for (std::size_t n = random.below(5); n != 0; --n) {
        const std::size_t kind = random.below(4);
        if (kind == 0 && depth != 0) {
            put_tree(random, depth - 1, text, events);
        } else if (kind == 1) {
            text += "<!-- <z> & -- -->";
        } else if (kind == 2) {
            text += "<![CDATA[<z> &]]>";
            events += "<z> &";
        } else {
            text += "t" + std::to_string(n) + ' ';
            events += "t" + std::to_string(n) + ' ';
        }
    }
    text += "</" + name + '>';
    events += "</>";
}

TEST(xml_reader, reads_any_tree_and_no_part_of_it) {
    random_source random(67);
    for (int k = 0; k < 300; ++k) {
        std::string text;
        std::string events;
        put_tree(random, 4, text, events);
        ASSERT_EQ(events_of(text), events + '.') << text;
        for (std::size_t size = 0; size < text.size(); ++size) {
            ASSERT_NE(events_of(std::string_view(text).substr(0, size)).back(), '.') << text;
        }
        std::string changed = text;
        changed[random.below(text.size())] = static_cast<char>(random.below(256));
        EXPECT_FALSE(events_of(changed).empty());
    }
}

} // namespace
