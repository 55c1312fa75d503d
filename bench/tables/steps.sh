# shellcheck shell=bash
steps_heading="Steps of one frame, each waited for"

measure_steps() {
  local size
  need_displays
  for size in "${sizes[@]}"; do
    say "steps at $size"
    DISPLAY=$local_display LD_LIBRARY_PATH=$lib "$bin/zol-bench-steps" --size "$size" \
      --app-display "$app_display" >"$scratch/steps.$size" 2>"$scratch/errors" ||
      fail "the steps failed: $(tail -n 1 "$scratch/errors")"
  done
}

# The steps' names for people, in the order of a frame.
step_names=(
  "draw|the program draws"
  "swap|the pbuffer's swap"
  "ask-window|one question to the application display"
  "to-read-context|make the read context current"
  "flip|blit upside down"
  "transfer|transfer into the pixel buffer, map"
  "to-program-context|make the program's context current"
  "copy|copy to the image (copyback thread)"
  "paint|paint the window (application display)"
)

print_steps() {
  local size row step
  printf '| step |'
  printf ' %s, ms |' "${sizes[@]}"
  printf '\n|---|'
  printf -- '--:|%.0s' "${sizes[@]}"
  echo
  for row in "${step_names[@]}"; do
    step=${row%%|*}
    printf '| %s |' "${row#*|}"
    for size in "${sizes[@]}"; do
      awk -v step="$step" '$1 == step { printf " %.2f |", $2 / 1000 }' "$scratch/steps.$size"
    done
    echo
  done
}
