# shellcheck shell=bash
# Sourced by the benchmark scripts that report in docs/benchmarks.md.
# write_doc_section DOC MARKER TEXT: TEXT (starting with the line MARKER)
# replaces the section that starts with MARKER and runs to the next
# "<!-- written by" line or the end of the page; without one it is appended.
write_doc_section() {
  local doc=$1 marker=$2 text=$3 kept
  kept=$(awk -v m="$marker" '
    $0 == m { skip = 1; next }
    skip && /^<!-- written by / { skip = 0 }
    !skip { print }' "$doc")
  printf '%s\n\n%s\n' "$kept" "$text" >"$doc"
}
