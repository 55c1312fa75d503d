# shellcheck shell=bash
delivery_heading="Frames that reach the window"

measure_delivery() {
  local size rate line
  need_displays
  for rate in "${rates[@]}"; do
    for size in "${sizes[@]}"; do
      say "delivered at $size, at most $rate a second"
      line=$(ZOL_GL_COPYBACK_FRAME_RATE=$rate through "$bin/zol-frame-watch" --seconds 5 \
        --json "$scratch/delivery.json" "$bin/zol-bench-scene" --size "$size") ||
        fail "no frames reached the window: $(tail -n 1 "$scratch/errors")"
      echo "$rate $size $(sed 's/.*"frames_per_second": \([0-9.]*\).*/\1/' "$scratch/delivery.json")" \
        "$(field fps "$line")" >>"$scratch/delivery"
    done
  done
}

print_delivery() {
  echo "| \"copyback-frame-rate\" | size | reach the window, frames/s | of the rate | produced meanwhile, frames/s |"
  echo "|--:|---|--:|--:|--:|"
  awk '{ printf "| %d | %s | %.1f | %.0f %% | %.0f |\n", $1, $2, $3, 100 * $3 / $1, $4 }' \
    "$scratch/delivery"
}
