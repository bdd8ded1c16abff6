# shellcheck shell=bash
# Sourced by the benchmark scripts that report in docs/benchmarks.md.
# write_doc_section DOC MARKER TEXT: TEXT (starting with the line MARKER)
# replaces, in its place, the section that starts with MARKER and runs to the
# next "<!-- written by" line or the end of the page; without one it is
# appended.
write_doc_section() {
  local doc=$1 marker=$2 text=$3 tmp
  tmp=$(mktemp)
  printf '%s\n' "$text" >"$tmp"
  if grep -qxF -- "$marker" "$doc"; then
    awk -v m="$marker" -v t="$tmp" '
      $0 == m { while ((getline l < t) > 0) print l; print ""; skip = 1; next }
      skip && /^<!-- written by / { skip = 0 }
      !skip { print }' "$doc" >"$doc.new"
    # no blank line doubled at the end of the page
    awk 'NF { for (; blank > 0; blank--) print ""; print; next } { blank++ }' "$doc.new" >"$doc"
    rm -f "$doc.new"
  else
    printf '\n%s\n' "$text" >>"$doc"
  fi
  rm -f "$tmp"
}
