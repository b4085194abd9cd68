#include "formats/xml_reader.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "formats/characters.h"

namespace kv7::tessmaker {

namespace {

bool is_name_start(char c) {
    const char lower = to_lower(c);
    const bool is_ascii_letter = lower >= 'a' && lower <= 'z';
    return is_ascii_letter || c == '_' || c == ':' || static_cast<unsigned char>(c) >= 0x80;
}

bool ends_name(char c) {
    return is_space(c) || c == '/' || c == '>' || c == '=' || c == '<' || c == '"' || c == '\'';
}

void append_utf8(unsigned int code, std::string& text) {
    const auto append = [&](unsigned int byte) { text += static_cast<char>(byte); };
    if (code < 0x80) {
        append(code);
    } else if (code < 0x800) {
        append(0xC0 | code >> 6);
        append(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        append(0xE0 | code >> 12);
        append(0x80 | (code >> 6 & 0x3F));
        append(0x80 | (code & 0x3F));
    } else {
        append(0xF0 | code >> 18);
        append(0x80 | (code >> 12 & 0x3F));
        append(0x80 | (code >> 6 & 0x3F));
        append(0x80 | (code & 0x3F));
    }
}

// Appends the character that an entity stands for; the name comes without `&` and `;`.
bool append_entity(std::string_view name, std::string& text) {
    constexpr std::pair<std::string_view, char> entities[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [known, character] : entities) {
        if (name != known) continue;
        text += character;
        return true;
    }
    if (name.size() < 2 || name[0] != '#') return false;
    const bool is_hexadecimal = name[1] == 'x';
    name.remove_prefix(is_hexadecimal ? 2 : 1);
    unsigned int code = 0;
    const char* const end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data(), end, code, is_hexadecimal ? 16 : 10);
    const bool is_half = code >= 0xD800 && code <= 0xDFFF; // of a pair in UTF-16
    if (error != std::errc() || stop != end || code == 0 || code > 0x10FFFF || is_half) {
        return false;
    }
    append_utf8(code, text);
    return true;
}

} // namespace

xml_reader::xml_reader(std::string_view text) : text_(text) {
    if (begins_with("\xEF\xBB\xBF")) at_ = 3;
}

xml_reader::event xml_reader::next() {
    if (ends_at_once_) {
        ends_at_once_ = false;
        open_.pop_back();
        return event::end;
    }
    for (;;) {
        if (open_.empty()) skip_spaces();
        place_ = at_;
        if (at_ == text_.size()) {
            if (!open_.empty()) {
                return fail(at_, "the end of " + shown_word(open_.back()) +
                                     " is expected, and the file ends");
            }
            return has_root_ ? event::finish : fail(at_, "an element is expected");
        }
        if (text_[at_] != '<') return read_text();
        if (begins_with("<!--")) {
            if (!pass("<!--", "-->", "the end of a comment")) return event::fault;
        } else if (begins_with("<?")) {
            if (!pass("<?", "?>", "the end of an instruction")) return event::fault;
        } else if (begins_with("<![CDATA[")) {
            return read_cdata();
        } else if (begins_with("<!")) {
            return fail(at_, "document types are not read");
        } else {
            return begins_with("</") ? read_end() : read_start();
        }
    }
}

std::string_view xml_reader::attribute(std::string_view name) const {
    for (const named_value& a : attributes_) {
        if (a.name == name) return a.value;
    }
    return {};
}

void xml_reader::skip_spaces() {
    while (at_ != text_.size() && is_space(text_[at_])) ++at_;
}

xml_reader::event xml_reader::fail(std::size_t place, std::string text) {
    place_ = place;
    fault_ = std::move(text);
    return event::fault;
}

// Passes over what begins and ends so.
bool xml_reader::pass(std::string_view start, std::string_view end, std::string_view what) {
    const std::size_t found = text_.find(end, at_ + start.size());
    if (found == std::string_view::npos) {
        fail(at_, std::string(what) + " is expected, and the file ends");
        return false;
    }
    at_ = found + end.size();
    return true;
}

xml_reader::event xml_reader::read_text() {
    if (open_.empty()) return fail(at_, "an element is expected");
    const std::size_t end = std::min(text_.find('<', at_), text_.size());
    piece_ = text_.substr(at_, end - at_);
    is_verbatim_ = piece_.find('&') == std::string_view::npos;
    if (!is_verbatim_) {
        if (!decode(piece_, at_, decoded_piece_)) return event::fault;
        piece_ = decoded_piece_;
    }
    at_ = end;
    return event::text;
}

xml_reader::event xml_reader::read_cdata() {
    constexpr std::string_view start = "<![CDATA[";
    constexpr std::string_view end = "]]>";
    if (open_.empty()) return fail(at_, "an element is expected");
    const std::size_t begin = at_ + start.size();
    if (!pass(start, end, "the end of CDATA")) return event::fault;
    piece_ = text_.substr(begin, at_ - end.size() - begin);
    is_verbatim_ = true;
    return event::text;
}

std::string_view xml_reader::read_name() {
    const std::size_t begin = at_;
    if (at_ == text_.size() || !is_name_start(text_[at_])) return {};
    while (at_ != text_.size() && !ends_name(text_[at_])) ++at_;
    return text_.substr(begin, at_ - begin);
}

xml_reader::event xml_reader::read_start() {
    if (open_.empty() && has_root_) return fail(at_, "the end of the file is expected");
    if (open_.size() == most_depth) {
        return fail(at_, "elements are nested deeper than " + std::to_string(most_depth));
    }
    ++at_;
    name_ = read_name();
    if (name_.empty()) return fail(at_, "the name of an element is expected");
    attributes_.clear();
    for (;;) {
        skip_spaces();
        if (begins_with("/>") || begins_with(">")) break;
        if (!read_attribute()) return event::fault;
    }
    ends_at_once_ = text_[at_] == '/';
    at_ += ends_at_once_ ? 2 : 1;
    open_.push_back(name_);
    has_root_ = true;
    return event::start;
}

bool xml_reader::read_attribute() {
    const std::size_t begin = at_;
    const std::string_view name = read_name();
    skip_spaces();
    const bool has_value = !name.empty() && begins_with("=");
    if (!has_value) {
        fail(begin, "an attribute or the end of " + shown_word(name_) + " is expected");
        return false;
    }
    ++at_;
    skip_spaces();
    const char quote = at_ == text_.size() ? '\0' : text_[at_];
    const std::size_t end =
        quote == '"' || quote == '\'' ? text_.find(quote, at_ + 1) : std::string_view::npos;
    if (end == std::string_view::npos) {
        fail(at_, "the value of " + shown_word(name) + " is expected, between quotes");
        return false;
    }
    attributes_.push_back({name, {}});
    const std::string_view value = text_.substr(at_ + 1, end - at_ - 1);
    if (!decode(value, at_ + 1, attributes_.back().value)) return false;
    at_ = end + 1;
    return true;
}

xml_reader::event xml_reader::read_end() {
    at_ += 2;
    const std::string_view name = read_name();
    skip_spaces();
    if (open_.empty() || name != open_.back() || !begins_with(">")) {
        return fail(place_, open_.empty()
                                ? "an element is expected"
                                : "the end of " + shown_word(open_.back()) + " is expected");
    }
    ++at_;
    open_.pop_back();
    return event::end;
}

bool xml_reader::decode(std::string_view encoded, std::size_t place, std::string& decoded) {
    decoded.clear();
    for (std::size_t k = 0; k < encoded.size();) {
        const std::size_t ampersand = std::min(encoded.find('&', k), encoded.size());
        decoded += encoded.substr(k, ampersand - k);
        if (ampersand == encoded.size()) return true;
        constexpr std::size_t longest = 12;
        const std::string_view rest = encoded.substr(ampersand + 1, longest);
        const std::size_t size = rest.find(';');
        if (size == std::string_view::npos || !append_entity(rest.substr(0, size), decoded)) {
            fail(place + ampersand, "an entity that is known is expected");
            return false;
        }
        k = ampersand + 1 + size + 1;
    }
    return true;
}

} // namespace kv7::tessmaker
