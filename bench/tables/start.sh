# shellcheck shell=bash
start_heading="From exec to the first frame"

# Those that are counted beside all of them.
start_calls=(openat mmap futex poll recvmsg)

start_once() {
  local began line
  began=$EPOCHREALTIME
  line=$(checked "$1" zol-bench-scene --once)
  awk -v began="$began" '{ print 1000 * ($1 - began) }' <<<"$(field drawn "$line")" \
    >>"$scratch/start.$1"
}

# traced WAY: the names of the system calls up to the first frame, one a line; nothing where
# processes may not be traced.
traced() {
  command -v strace >/dev/null && "$1" strace -f -qq -o "$scratch/trace" "$bin/zol-bench-scene" --once \
    >/dev/null || return 0
  sed -n '/write(1, "drawn/q; s/^[0-9]* *\([a-z_0-9]*\)(.*/\1/p' "$scratch/trace"
}

measure_start() {
  local way
  need_displays
  say "start"
  in_turns start_once
  for way in "${ways[@]}"; do traced "$way" >"$scratch/calls.$way"; done
}

print_start() {
  local way call
  printf '| way | ms | lowest to highest of %d | system calls |' "$rounds"
  printf ' %s |' "${start_calls[@]}"
  printf '\n|---|--:|--:|--:|'
  printf -- '--:|%.0s' "${start_calls[@]}"
  echo
  for way in "${ways[@]}"; do
    statistics 1 <"$scratch/start.$way" | awk -v way="${way_names[$way]}" '{
      printf "| %s | %.0f | %.0f to %.0f |", way, $1, $2, $3 }'
    if [ -s "$scratch/calls.$way" ]; then
      printf ' %d |' "$(wc -l <"$scratch/calls.$way")"
      for call in "${start_calls[@]}"; do
        printf ' %d |' "$(grep -cx "$call" "$scratch/calls.$way")"
      done
    else
      printf ' not to be had |'
      printf ' %.0s|' "${start_calls[@]}"
    fi
    echo
  done
}
