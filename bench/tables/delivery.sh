# shellcheck shell=bash
delivery_heading="Frames that reach the window"

# How many windows, of which sizes.
delivered_windows=(
  "1 ${sizes[*]}"
  "8 300x300 1280x720"
)

measure_delivery() {
  local rate row windows size line
  need_displays
  for rate in "${rates[@]}"; do
    for row in "${delivered_windows[@]}"; do
      windows=${row%% *}
      for size in ${row#* }; do
        say "delivered to $windows at $size, at most $rate a second"
        line=$(ZOL_GL_COPYBACK_FRAME_RATE=$rate checked through zol-bench-delivery \
          --seconds "$((2 * seconds))" --size "$size" --windows "$windows")
        echo "$rate $windows $size $(fields "$line" produced_fps reached_fps fewest_fps)" \
          >>"$scratch/delivery"
      done
    done
  done
}

print_delivery() {
  echo "| \"copyback-frame-rate\" | windows | size | produced, frames/s each | reach the window, frames/s each" \
    "| of the rate | the one with the fewest |"
  echo "|--:|--:|---|--:|--:|--:|--:|"
  awk '{
    printf "| %d | %d | %s | %.0f | %.1f | %.1f %% | %.1f %% |\n",
      $1, $2, $3, $4, $5, 100 * $5 / $1, 100 * $6 / $1 }' "$scratch/delivery"
}
