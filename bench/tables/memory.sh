# shellcheck shell=bash
memory_heading="Memory"

memory_sizes=(300x300 1280x720)
memory_windows=(1 9) # what the second number has more is divided among as many windows

# used WAY SIZE WINDOWS: KiB of their own and shared, of the program and both X servers. An X server
# that has just begun has nothing left over from earlier windows.
used() {
  local line
  need_new_displays
  line=$(scene "$1" --size "$2" --windows "$3" --seconds 1)
  fields "$line" anon0_kb shared0_kb anon1_kb shared1_kb anon2_kb shared2_kb
}

measure_memory() {
  local size way
  for size in "${memory_sizes[@]}"; do
    for way in "${ways[@]}"; do
      say "memory at $size, ${way_names[$way]}"
      used "$way" "$size" "${memory_windows[0]}" >"$scratch/memory.few"
      used "$way" "$size" "${memory_windows[1]}" >"$scratch/memory.many"
      echo "$size $way $(paste -d' ' "$scratch/memory.few" "$scratch/memory.many")"
    done
  done >"$scratch/memory"
}

print_memory() {
  local size way figures
  echo "| size | way | program with one window, MiB | shared, MiB | each further window: program, MiB | shared, MiB" \
    "| local X server, KiB | application X server, KiB |"
  echo "|---|---|--:|--:|--:|--:|--:|--:|"
  while read -r size way figures; do
    awk -v first="$size | ${way_names[$way]}" -v more="$((memory_windows[1] - memory_windows[0]))" '
      function each(column) { return ($(column + 6) - $column) / more / 1024 }
      { printf "| %s | %.1f | %.1f | %.1f | %.1f | %d | %d |\n",
          first, $1 / 1024, $2 / 1024, each(1), each(2), 1024 * each(3), 1024 * each(5) }' <<<"$figures"
  done <"$scratch/memory"
}
