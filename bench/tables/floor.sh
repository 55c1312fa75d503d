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
        --app-display "$app_display" --size "$size" --seconds "$((2 * seconds))" ${row%%|*} \
        >"$scratch/floor.${row#*|}.$size" 2>"$scratch/errors" ||
        fail "zol-bench-floor failed: $(tail -n 3 "$scratch/errors")"
    done
  done
}

print_floor() {
  local size row
  echo "| readback | size | floor, µs | swap, µs | ratio | lowest to highest | undelivered, ratio" \
    "| floor, µs running | swap, µs running | ratio | lowest to highest | undelivered, ratio |"
  echo "|---|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|"
  for row in "${floor_readbacks[@]}"; do
    for size in "${sizes[@]}"; do
      paste -sd' ' "$scratch/floor.${row#*|}.$size" | awk -v first="${row#*|} | $size" '{
        printf "| %s | %.0f | %.0f | %.2f | %.2f to %.2f | %.2f | %.0f | %.0f | %.2f | %.2f to %.2f | %.2f |\n",
          first, $2, $11, $12, $13, $14, $21, $6, $15, $16, $17, $18, $25 }'
    done
  done
}
