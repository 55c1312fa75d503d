# shellcheck shell=bash
delay_heading="From the swap to the window"

# delays WAY RATE SIZE: after these words, median and 95th percentile, of single frames and of frames
# that follow each other freely. A rate of 0 is none; a dash is of no frame.
delays() {
  local how line
  echo "$*"
  for how in --one-at-a-time ""; do
    # shellcheck disable=SC2086 # no option is none
    line=$(checked "$1" zol-bench-delivery --seconds "$seconds" --size "$3" $how)
    fields "$line" delay_ms delay95_ms
  done
}

measure_delay() {
  local size rate way
  need_displays
  for size in "${sizes[@]}"; do
    say "delay at $size"
    for rate in "${rates[@]}"; do
      ZOL_GL_COPYBACK_FRAME_RATE=$rate delays through "$rate" "$size" | paste -sd' '
    done
    for way in straight unaided; do delays "$way" 0 "$size" | paste -sd' '; done
  done >"$scratch/delay"
}

print_delay() {
  local way figures
  echo "| size | way | interval of the pacing, ms | single frames, median ms | 95 % within, ms" \
    "| running free, median ms | 95 % within, ms |"
  echo "|---|---|--:|--:|--:|--:|--:|"
  while read -r way figures; do
    awk -v way="${way_names[$way]}" '
      function shown(value) { return value == "-" ? value : sprintf("%.1f", value) }
      { printf "| %s | %s | %s | %s | %s | %s | %s |\n", $2, way, shown($1 ? 1000 / $1 : "-"),
          shown($3), shown($4), shown($5), shown($6) }' <<<"$figures"
  done <"$scratch/delay"
}
