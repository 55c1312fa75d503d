# shellcheck shell=bash
growth_heading="Cost of a frame as things grow in number"

# what | options of zol-bench-scene with N for the number | numbers
growth_rows=(
  "windows, drawn in turn|--windows N|1 2 4 8 16 32 64"
  "windows, one of them drawn|--windows N --drawn 1|1 2 4 8 16 32 64"
  "threads, each with a window|--threads N|1 2 4 8 16"
  "programs|programs N|1 2 4 8"
  "size|--size N|300x300 1280x720 1920x1080 3840x2160 7680x4320"
)

# scenes WAY N [options]: the lines of N programs that run at the same time, side by side.
scenes() {
  local place way=$1 count=$2 running=()
  shift 2
  for ((place = 0; place < count; ++place)); do
    scene "$way" --place "$place" "$@" >"$scratch/scene.$place" &
    running+=($!)
  done
  for pid in "${running[@]}"; do wait "$pid" || fail "not all of $count programs ran"; done
  for ((place = 0; place < count; ++place)); do cat "$scratch/scene.$place"; done
}

# Frames per second of all together; milliseconds of processor time of a frame, in the programs and
# in both X servers. Each program tells the servers' use while it ran itself, which is the same for
# all of them.
grown() {
  local line options=${2//N/$3}
  # shellcheck disable=SC2086 # options are words
  case $options in
    programs*) scenes "$1" "$3" --seconds "$growth_seconds" ;;
    *) scene "$1" $options --seconds "$growth_seconds" ;;
  esac | while read -r line; do fields "$line" fps frames cpu0_s cpu1_s cpu2_s; done | awk '
    { fps += $1; frames += $2; own += $3; servers += $4 + $5 }
    END { print fps, 1000 * own / frames, 1000 * servers / NR / frames }'
}

measure_growth() {
  local row what options numbers number way
  growth_seconds=$(longer 0.5)
  need_displays
  for row in "${growth_rows[@]}"; do
    IFS='|' read -r what options numbers <<<"$row"
    for number in $numbers; do
      say "growth: $number $what"
      for way in straight through; do grown "$way" "$options" "$number"; done | paste -sd' ' |
        sed "s/^/$what|$number|/"
    done
  done >"$scratch/growth"
}

print_growth() {
  echo "| what | how many | straight, frames/s | program, ms a frame | X servers, ms | through, frames/s" \
    "| program, ms a frame | X servers, ms | through, of the first |"
  echo "|---|--:|--:|--:|--:|--:|--:|--:|--:|"
  awk -F'[| ]' '
    { n = split($0, part, "|"); split(part[3], v, " ")
      cost = v[5] + v[6]
      if (part[1] != what) first = cost
      what = part[1]
      printf "| %s | %s | %.0f | %.2f | %.2f | %.0f | %.2f | %.2f | %.2f |\n",
        what, part[2], v[1], v[2], v[3], v[4], v[5], v[6], cost / first }' "$scratch/growth"
}
