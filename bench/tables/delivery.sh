# shellcheck shell=bash
delivery_heading="Frames that reach the window"

# How many windows, of which sizes.
delivered_windows=(
  "1 ${sizes[*]}"
  "8 300x300 1280x720"
)

# delivered WAY RATE WINDOWS SIZE: frames per second and window that were produced, that reached it,
# and that reached the window with the fewest; after what they are of. A rate of 0 is none.
delivered() {
  local line
  say "delivered to $3 at $4, ${way_names[$1]}, rate $2"
  line=$(checked "$1" zol-bench-delivery --seconds "$(longer 2)" --size "$4" --windows "$3")
  echo "$* $(fields "$line" produced_fps reached_fps fewest_fps)" >>"$scratch/delivery"
}

measure_delivery() {
  local rate row size way
  need_displays
  for rate in "${rates[@]}"; do
    for row in "${delivered_windows[@]}"; do
      for size in ${row#* }; do
        ZOL_GL_COPYBACK_FRAME_RATE=$rate delivered through "$rate" "${row%% *}" "$size"
      done
    done
  done
  for way in straight unaided; do
    for size in "${sizes[@]}"; do delivered "$way" 0 1 "$size"; done
  done
}

print_delivery() {
  local way figures
  echo "| way | \"copyback-frame-rate\" | windows | size | produced, frames/s each" \
    "| reach the window, frames/s each | of the rate, or of those produced | the window with the fewest |"
  echo "|---|--:|--:|---|--:|--:|--:|--:|"
  while read -r way figures; do
    awk -v way="${way_names[$way]}" '{
      all = $1 ? $1 : $4
      printf "| %s | %s | %d | %s | %.0f | %.1f | %.1f %% | %.1f %% |\n",
        way, $1 ? $1 : "-", $2, $3, $4, $5, 100 * $5 / all, 100 * $6 / all }' <<<"$figures"
  done <"$scratch/delivery"
}
