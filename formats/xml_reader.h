// A reader of XML texts, as far as files of meshes need it.
#ifndef TESSMAKER_FORMATS_XML_READER_H
#define TESSMAKER_FORMATS_XML_READER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kv7::tessmaker {

// Reads a text event by event. Comments and instructions are passed over. Elements end in the order
// in which they began, and are not deeper than `most_depth`; one element has all others. Names and
// text are bytes: the encoding does not matter. Document types are a fault.
class xml_reader {
public:
    enum class event {
        start, // of an element
        end,   // of the element that started last and has not ended
        text,  // of an element; there may be several pieces of it
        finish,
        fault
    };
    static constexpr std::size_t most_depth = 64;

    // The text must stay until the reader's end.
    explicit xml_reader(std::string_view text);

    // What comes next; nothing may be asked behind `finish` and `fault`.
    event next();

    // Where the last event begins, or the place of the fault.
    std::size_t place() const { return place_; }
    // Behind the last event.
    std::size_t position() const { return at_; }
    // Of the element that starts.
    std::string_view name() const { return name_; }
    // An attribute of the element that starts; empty if it has none of that name. Lives until the
    // next event.
    std::string_view attribute(std::string_view name) const;
    // The piece of text. If it is verbatim it is a part of the text that is read, else it lives
    // until the next event.
    std::string_view piece() const { return piece_; }
    bool is_verbatim() const { return is_verbatim_; }
    // What the fault is.
    const std::string& fault() const { return fault_; }

private:
    struct named_value {
        std::string_view name;
        std::string value;
    };

    bool begins_with(std::string_view start) const {
        return text_.substr(at_, start.size()) == start;
    }
    void skip_spaces();
    event fail(std::size_t place, std::string text);
    bool pass(std::string_view start, std::string_view end, std::string_view what);
    event read_text();
    event read_cdata();
    event read_start();
    event read_end();
    std::string_view read_name();
    bool read_attribute();
    bool decode(std::string_view encoded, std::size_t place, std::string& decoded);

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t place_ = 0;
    std::vector<std::string_view> open_; // names of elements
    bool has_root_ = false;
    bool ends_at_once_ = false; // the element that has started
    std::string_view name_;
    std::vector<named_value> attributes_;
    std::string_view piece_;
    std::string decoded_piece_;
    bool is_verbatim_ = true;
    std::string fault_;
};

} // namespace kv7::tessmaker

#endif
