#!/usr/bin/env bash
# Checks that a tovrel DLL exports exactly the C interface, by name.
set -euo pipefail
dll=$1
objdump=${2:-objdump}
expected=(map_polygon map_rectangle multisrc_map_rectangle tovrel_set_report_sink)
table=$("$objdump" -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk 'NF>=3 {print $NF}' | grep -v 'Table' | sort)
echo "exports of $(basename "$dll"):"; echo "$table" | sed 's/^/  /'
want=$(printf '%s\n' "${expected[@]}" | sort)
if [ "$table" != "$want" ]; then
  echo "check-exports: expected exactly: ${expected[*]}" >&2
  exit 1
fi
