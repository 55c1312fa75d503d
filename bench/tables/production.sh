# shellcheck shell=bash
production_heading="Frames produced"

# produced straight|through SIZE: frames per second, and the processor time of one in milliseconds.
produced() {
  local line
  line=$(scene "$1" --size "$2" --seconds "$seconds")
  echo "$(field fps "$line") $(field cpu_ms "$line")"
}

measure_production() {
  local size round a b
  need_displays
  for size in "${sizes[@]}"; do
    for ((round = 1; round <= rounds; ++round)); do
      say "produced at $size, round $round of $rounds"
      # Which goes first changes from round to round, so that a drift of the machine evens out.
      if ((round % 2)); then
        a=$(produced straight "$size")
        b=$(produced through "$size")
      else
        b=$(produced through "$size")
        a=$(produced straight "$size")
      fi
      awk '{ print $0, $3 / $1 }' <<<"$a $b" >>"$scratch/production.$size"
    done
  done
}

print_production() {
  local size file
  echo "| size | straight, frames/s | through the library, frames/s | ratio | lowest to highest of $rounds" \
    "| straight, processor ms a frame | through, processor ms a frame |"
  echo "|---|--:|--:|--:|--:|--:|--:|"
  for size in "${sizes[@]}"; do
    file=$scratch/production.$size
    {
      median "$file" 1
      median "$file" 3
      statistics "$file" 5
      median "$file" 2
      median "$file" 4
    } | paste -sd' ' | awk -v size="$size" '{
      printf "| %s | %.0f | %.0f | %.2f | %.2f to %.2f | %.2f | %.2f |\n",
        size, $1, $2, $3, $4, $5, $6, $7 }'
  done
}
