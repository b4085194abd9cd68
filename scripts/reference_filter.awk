# Lets Doxygen read the public headers (docs/Doxyfile), whose contracts are plain comments.
#
# The comment at the top describes the header; it becomes a group that holds what the header
# declares. A comment ahead of a declaration belongs to it, and to those that follow without a blank
# line or a comment between. A comment with a blank line behind it is the beginning of what is told
# about each of the next declarations: those up to a blank line, and behind that as long as the name
# stays the same. Lines indented by two or more are tables and keep their form.

{ line[NR] = $0 }

END {
    header = FILENAME
    sub(/.*\//, "", header)
    group = header
    sub(/\.h$/, "", group)
    at = 1
    while (is_comment(at)) at++
    if (header == "tessmaker.h") print "/// \\mainpage tessmaker"
    else print "/// \\defgroup " group " " header
    print_documentation("", documentation(1, at))
    print ""
    while (at <= NR) at = is_comment(at) ? take_comment(at) : take_line(at)
}

function is_comment(i) { return i <= NR && line[i] ~ /^(    )?\/\// }

# The comment from line `first` up to `end`, as a text for Doxygen. The codes below `Returns` become a
# list.
function documentation(first, end,    i, text, result, table, codes, is_code) {
    table = 0
    codes = 0
    for (i = first; i < end; i++) {
        if (line[i] ~ /\/\/ NOLINT/) continue
        text = line[i]
        sub(/^ *\/\/ ?/, "", text)
        if (codes && text ~ /^  +[^ ]/) {
            is_code = text ~ /^  -[0-9]/
            sub(/^ +/, "", text)
            if (is_code) sub(/^-[0-9]+ +/, "- `" (text + 0) "` ", text)
            result = result (is_code ? "" : "  ") text "\n"
            codes = 2
            continue
        }
        if (codes == 2 && text != "") result = result "\n"
        if (codes == 2 || text == "") codes = 0
        if (table && text !~ /^  /) {
            result = result "~~~\n"
            table = 0
        }
        if (!table && text ~ /^  /) {
            result = result "~~~{.txt}\n"
            table = 1
        }
        if (!table && sub(/^Returns? /, "\n\\returns ", text)) codes = 1
        result = result text "\n"
    }
    return result (table ? "~~~\n" : "")
}

function print_documentation(indent, text,    i, n, lines) {
    sub(/\n+$/, "", text)
    n = split(text, lines, "\n")
    for (i = 1; i <= n; i++) print indent "/// " lines[i]
}

# Returns the line behind the comment.
function take_comment(at,    end, text) {
    end = at
    while (is_comment(end)) end++
    text = documentation(at, end)
    if (text == "") return end
    if (line[end] == "") {
        common = text
        common_name = ""
    } else {
        own = text
    }
    return end
}

function take_line(at,    text, indent) {
    text = line[at]
    if (text ~ /^namespace .*\{$/ || text ~ /^} \/\/ namespace/) {
        if (in_group) print "/// @}"
        print text
        depth += text ~ /^namespace/ ? 1 : -1
        in_group = depth > 0
        if (in_group) print "/// \\addtogroup " group "\n/// @{"
        inside_declaration = 0
        return at + 1
    }
    if (text == "") {
        own = ""
        behind_blank = 1
    } else if (text ~ /^(    )?[^ #}]/ && text !~ /^(public|private):/ && !inside_declaration) {
        indent = text ~ /^ / ? "    " : ""
        document_declaration(indent, text)
    }
    if (text ~ /^private:/) hidden = 1
    if (text ~ /^};/) {
        hidden = 0
        common = ""
    }
    if (text !~ /^ *#/) inside_declaration = text != "" && text !~ /[;}{:]$/ && text !~ /[;}{] *\/\/ /
    if (text ~ /^(template .*)?(class|struct|enum) .*\{$/) own = ""
    if (text ~ /^    ET_/) sub(/ \/\/ /, " ///< ", text) # values of an enumeration
    print text
    return at + 1
}

function document_declaration(indent, text,    name) {
    if (hidden || text ~ /~/) return
    name = match(text, /[a-z_A-Z0-9]+\(/) ? substr(text, RSTART, RLENGTH - 1) : text
    if (behind_blank && common_name != "" && name != common_name) common = ""
    behind_blank = 0
    if (common != "") common_name = name
    if (common own != "") print_documentation(indent, common (common != "" ? "\n" : "") own)
}
