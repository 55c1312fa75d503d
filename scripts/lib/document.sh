# Tables for documents and terminals. Sourced; the script that does defines `fail TEXT...`.
# shellcheck shell=bash

# write_section DOCUMENT NAME: puts standard input between the document's lines <!-- NAME --> and
# <!-- /NAME -->.
write_section() {
  local begin="<!-- $2 -->" end="<!-- /$2 -->" text
  [ "$(grep -cx -e "$begin" -e "$end" "$1")" = 2 ] ||
    fail "$(basename "$1") has no lines '$begin' and '$end'"
  text=$(awk -v begin="$begin" -v end="$end" '
    $0 == end { inside = 0 }
    !inside { print }
    $0 == begin { inside = 1; while ((getline line <"-") > 0) print line }' "$1")
  echo "$text" >"$1"
  echo "${0##*/}: wrote '$2' into $(basename "$1")" >&2
}

# Tables for a terminal: each with columns of its own widths, no rulers.
for_terminal() {
  grep -v '^|[-:|]*|$' | awk '
    function flush_table(   r, n, c, i, out, width) {
      for (r = 1; r <= rows; ++r) {
        n = split(row[r], c, / *\| */)
        for (i = 2; i < n; ++i) if (length(c[i]) > width[i]) width[i] = length(c[i])
      }
      for (r = 1; r <= rows; ++r) {
        n = split(row[r], c, / *\| */)
        out = ""
        for (i = 2; i < n; ++i) out = out sprintf("%-" width[i] "s  ", c[i])
        sub(/ +$/, "", out)
        print "  " out
      }
      rows = 0
    }
    /^\|/ { row[++rows] = $0; next }
    { flush_table(); print }
    END { flush_table() }'
}
