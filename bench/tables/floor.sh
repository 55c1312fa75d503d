# shellcheck shell=bash
floor_heading="A swap and the driver calls it needs"

# What the program's options are, and what it means.
floor_readbacks=(
  "|with threads"
  "--single-thread|single thread"
)

measure_floor() {
  local size row
  need_displays
  for row in "${floor_readbacks[@]}"; do
    for size in "${sizes[@]}"; do
      say "floor at $size, ${row#*|}"
      # shellcheck disable=SC2086 # no option is none
      LD_LIBRARY_PATH=$lib "$bin/zol-bench-floor" --local-display "$local_display" \
        --app-display "$app_display" --size "$size" --seconds "$(longer 2)" ${row%%|*} \
        >"$scratch/floor.${row#*|}.$size" 2>"$scratch/errors" ||
        fail "zol-bench-floor failed: $(tail -n 3 "$scratch/errors")"
    done
  done
}

declare -A contestant_names=(
  [floor]="the driver's calls"
  [swap]="a swap"
  [swap-undelivered]="a swap, undelivered"
)

print_floor() {
  local size row contestant figures
  echo "| readback | size | what | µs | of the calls | lowest to highest | running, µs | of the calls" \
    "| lowest to highest | longest of a turn, µs |"
  echo "|---|---|---|--:|--:|--:|--:|--:|--:|--:|"
  for row in "${floor_readbacks[@]}"; do
    for size in "${sizes[@]}"; do
      while read -r contestant figures; do
        awk -v first="${row#*|} | $size | ${contestant_names[$contestant]}" '{
          printf "| %s | %.0f | %.2f | %.2f to %.2f | %.0f | %.2f | %.2f to %.2f | %.0f |\n",
            first, $1, $2, $3, $4, $5, $6, $7, $8, $9 }' <<<"$figures"
      done <"$scratch/floor.${row#*|}.$size"
    done
  done
}
