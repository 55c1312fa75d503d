# shellcheck shell=bash
delay_heading="From the swap to the window"

# delays WAY SIZE: median and 95th percentile, of frames that follow each other freely and of single
# ones.
delays() {
  local how line
  for how in "" --one-at-a-time; do
    # shellcheck disable=SC2086 # no option is none
    line=$(checked "$1" zol-bench-delivery --seconds "$seconds" --size "$2" $how)
    fields "$line" delay_ms delay95_ms
  done | paste -sd' '
}

measure_delay() {
  local size rate way
  need_displays
  for size in "${sizes[@]}"; do
    say "delay at $size"
    for rate in "${rates[@]}"; do
      echo "$size through $rate $(ZOL_GL_COPYBACK_FRAME_RATE=$rate delays through "$size")"
    done
    for way in straight unaided; do echo "$size $way 0 $(delays "$way" "$size")"; done
  done >"$scratch/delay"
}

print_delay() {
  local size way rate figures interval
  echo "| size | way | interval of the pacing, ms | single frames, median ms | 95 % within, ms" \
    "| running free, median ms | 95 % within, ms |"
  echo "|---|---|--:|--:|--:|--:|--:|"
  while read -r size way rate figures; do
    interval=-
    [ "$rate" = 0 ] || interval=$(awk -v rate="$rate" 'BEGIN { printf "%.1f", 1000 / rate }')
    awk -v first="$size | ${way_names[$way]} | $interval" '{
      printf "| %s | %.1f | %.1f | %.1f | %.1f |\n", first, $3, $4, $1, $2 }' <<<"$figures"
  done <"$scratch/delay"
}
