# shellcheck shell=bash
production_heading="Frames produced"

# Frames per second; and milliseconds of processor time a frame, in the program and both X servers.
produce() {
  local line
  say "produced at $2, ${way_names[$1]}"
  line=$(scene "$1" --size "$2" --seconds "$seconds")
  fields "$line" fps frames cpu0_s cpu1_s cpu2_s |
    awk '{ print $1, 1000 * $3 / $2, 1000 * $4 / $2, 1000 * $5 / $2 }' >>"$scratch/production.$2.$1"
}

measure_production() {
  local size
  need_displays
  for size in "${sizes[@]}"; do in_turns produce "$size"; done
}

print_production() {
  local size way file
  echo "| size | way | frames/s | of straight | lowest to highest of $rounds" \
    "| program, processor ms a frame | local X server, ms | application X server, ms |"
  echo "|---|---|--:|--:|--:|--:|--:|--:|"
  for size in "${sizes[@]}"; do
    for way in "${ways[@]}"; do
      file=$scratch/production.$size
      {
        medians <"$file.$way"
        paste -d' ' "$file.$way" "$file.straight" | awk '{ print $1 / $5 }' | statistics 1
      } | paste -sd' ' | awk -v first="$size | ${way_names[$way]}" '{
        printf "| %s | %.0f | %.2f | %.2f to %.2f | %.2f | %.2f | %.2f |\n",
          first, $1, $5, $6, $7, $2, $3, $4 }'
    done
  done
}
