# shellcheck shell=bash
calls_heading="Calls above a driver that does nothing"

# bench_calls WHAT [VARIABLE=VALUE...]: the figures of one run of zol-bench-calls. The log is where
# users have it who said nothing of it.
bench_calls() {
  local what=$1
  shift
  say "calls: $what $*"
  env -u ZOL_GL_LOG_DIR DISPLAY="$null_app_display" \
    LD_LIBRARY_PATH="$lib:$build_dir/bench/null_driver" "$@" \
    "$bin/zol-bench-calls" "$what" 2>"$scratch/errors" ||
    fail "the calls could not be timed: $(tail -n 1 "$scratch/errors")"
}

measure_calls() {
  local null_display null_app_display round
  start_display null_display --vendor-names zolnull
  start_display null_app_display --gl-display "$null_display"
  {
    bench_calls frame
    bench_calls frame ZOL_GL_FORCE_SINGLE_THREAD_READBACK=true
    bench_calls calls
    bench_calls viewport
    bench_calls viewport ZOL_GL_VIEWPORT_RESIZE_OPTIMIZATION=true
    bench_calls idle-windows
    bench_calls threads
  } >"$scratch/calls"
  # Built once in a process.
  for ((round = 1; round <= rounds; ++round)); do bench_calls visual-map; done >"$scratch/visual-map"
}

# calls_table HEADING DIVISOR DIGITS <"NAME|text"...>: the figures of these names, divided.
calls_table() {
  local heading=$1 divisor=$2 digits=$3 row
  echo "| $heading | ours | bare calls | above | middle half | ratio |"
  echo "|---|--:|--:|--:|--:|--:|"
  while read -r row; do
    awk -v name="${row%%|*}" -v text="${row#*|}" -v divisor="$divisor" -v digits="$digits" '
      function shown(value) { return sprintf("%.*f", digits, value / divisor) }
      $1 == name {
        found = 1
        printf "| %s | %s | %s | %s | %s to %s | %.2f |\n", text,
          shown($2), shown($3), shown($4), shown($5), shown($6), $2 / $3
      }
      END { exit !found }' "$scratch/calls" || fail "no figure of '${row%%|*}'"
  done
}

print_calls() {
  local count
  calls_table "frame, µs" 1000 2 <<'END'
frame|`glXSwapBuffers`
frame-mapped|the same with "force-single-thread-readback"
END
  echo
  calls_table "call, ns" 1 1 <<'END'
glXGetCurrentContext|`glXGetCurrentContext`
glXMakeCurrent-same|`glXMakeCurrent`, same window
glXMakeCurrent-other|`glXMakeCurrent`, another window
glClear|`glClear`
glViewport|`glViewport` (with its question to the application display)
glViewport-optimized|`glViewport` with "viewport-resize-optimization"
glFlush-back|`glFlush`, drawing to the back buffer
glFlush-front|`glFlush`, drawing to the front buffer, nothing drawn
lookup-gl|GLVND looks up a GL function of ours
lookup-glx|GLVND looks up a GLX function of ours
lookup-driver|GLVND looks up a function of the driver
lookup-unknown|GLVND looks up an unknown name
glXGetProcAddress-gl|`glXGetProcAddress` of a GL function of ours
glXGetProcAddress-glx|`glXGetProcAddress` of a GLX function of ours
glXGetProcAddress-driver|`glXGetProcAddress` of a function of the driver
glXGetProcAddress-unknown|`glXGetProcAddress` of an unknown name
glXChooseVisual|`glXChooseVisual`
glXGetFBConfigs|`glXGetFBConfigs`, 800 of them
glXGetFBConfigAttrib|`glXGetFBConfigAttrib`
glXGetFBConfigAttrib-visual|`glXGetFBConfigAttrib` of GLX_VISUAL_ID
END
  echo
  for count in 1 2 4 8 16 32 64; do echo "idle-$count|$count"; done |
    calls_table "frame beside idle windows, µs" 1000 2
  echo
  for count in 1 2 4 8 16; do echo "threads-$count|$count"; done |
    calls_table "frame in each of several threads, processor µs" 1000 2
  echo
  statistics 2 <"$scratch/visual-map" | awk -v rounds="$rounds" '{
    printf "The visual map of 200 visuals and 800 FBConfigs is built in %.1f ms (%.1f to %.1f of %d).\n",
      $1 / 1e6, $2 / 1e6, $3 / 1e6, rounds }'
}
