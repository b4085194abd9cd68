# Lists the results of all exported functions that return an int, from the public headers:
#
#   awk -f scripts/contracts.awk include/tessmaker/*.h include/tessmaker/formats/*.h
#
# prints three fields to a line, separated by tabs: the signature; the code, or `returns`; the text.
# Codes come in the order of the checks. A function without such a contract, or with one of another
# shape, is an error. The shape, ahead of the declarations that share it:
#
#   // Returns the number of nodes merged away, or
#   //   -1    `pos` has neither 2 nor 3 rows
#   //   -198  out of memory; the contents of `pos` are then
#   //         undefined

FNR == 1 { nbr_lines = 0; in_comment = 0; declaration = "" }

/^ *\/\// {
    if ($0 ~ /NOLINT/) next
    if (!in_comment) nbr_lines = 0
    in_comment = 1
    place[nbr_lines] = FILENAME ":" FNR
    text = $0
    sub(/^ *\/\//, "", text)
    comment[nbr_lines++] = text
    if (text ~ /(^|[^0-9a-z`])-[0-9]+:/) fail("a code in running text", nbr_lines - 1)
    next
}

/^$/ { nbr_lines = 0 }
{ in_comment = 0 }
/^#/ { next }
/^private:/ { is_private = 1 }
/^};/ { is_private = 0 }

declaration != "" || /^TESSMAKER_API int / || (/^    int [a-z_]+\(/ && !is_private) {
    line = $0
    gsub(/^ +/, "", line)
    declaration = declaration (declaration == "" ? "" : " ") line
    if (line !~ /;$/ && line !~ /\{/) next
    if (line ~ /;$/) list_contract(declaration)
    declaration = ""
}

END { exit nbr_faults > 0 }

function fail(what, at) {
    printf "%s: %s\n", at < nbr_lines ? place[at] : FILENAME ":" FNR, what > "/dev/stderr"
    ++nbr_faults
}

function list_contract(signature,    i, at, code, text, result, announced, found) {
    sub(/^TESSMAKER_API /, "", signature)
    sub(/;$/, "", signature)
    at = 0
    while (at < nbr_lines && comment[at] !~ /^ Returns? /) ++at
    if (at == nbr_lines) {
        fail("no result is told for " signature, nbr_lines)
        return
    }
    result = substr(comment[at], 2)
    sub(/^Returns? /, "", result)
    for (i = at + 1; i < nbr_lines && comment[i] ~ /^ [^ ]/ && result !~ /, or$/; ++i)
        result = result comment[i]
    announced = result ~ /, or$/
    sub(/, or$/, "", result)
    printf "%s\treturns\t%s\n", signature, result

    found = 0
    for (; i < nbr_lines && comment[i] ~ /^   +[^ ]/; ++i) {
        if (comment[i] !~ /^   -[0-9]+ +[^ ]/ || !match(comment[i], /^   -[0-9]+ +/) || RLENGTH != 9) {
            fail("neither a code nor its text", i)
            continue
        }
        code = substr(comment[i], 4, 5) + 0
        if (!(code >= -8 || code == -102 || code == -198 || code == -199)) fail("no code of ours", i)
        text = substr(comment[i], 10)
        while (i + 1 < nbr_lines && comment[i + 1] ~ /^         [^ ]/)
            text = text " " substr(comment[++i], 10)
        printf "%s\t%d\t%s\n", signature, code, text
        ++found
    }
    if (announced && !found) fail("no code follows", at)
    if (!announced && found) fail("codes that no `, or` announces", at)
    for (; i < nbr_lines; ++i)
        if (comment[i] ~ /^   -[0-9]+  /) fail("a code outside of the list", i)
}
