# A local display and an application display of the script's own. Sourced; the script that does
# defines `fail TEXT...`, and $bin and $lib, where the build's programs and libraries are.
# shellcheck shell=bash

scratch=$(mktemp -d) # gone in the end
children=()          # processes to end then
local_display=
app_display=

end_children() {
  for pid in "${children[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${children[@]}"; do wait "$pid" 2>/dev/null || true; done
  children=()
}

clean_up() {
  end_children
  rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The settings tried are the defaults: no variable and no file of the user's has a say.
forget_settings() {
  local variable
  for variable in $(compgen -e); do
    case $variable in
      ZOL_GL_* | __GL* | LIBGL_* | GALLIUM_* | MESA_* | PIGLIT_* | LD_LIBRARY_PATH) unset "$variable" ;;
    esac
  done
  mkdir "$scratch/home" "$scratch/log"
  export HOME=$scratch/home XDG_CONFIG_HOME=$scratch/home ZOL_GL_USER_CONFDIR=$scratch/home
  export ZOL_GL_LOG_DIR=$scratch/log
}

# start_display VARIABLE [options of Xzol]: the display's name goes into the variable.
start_display() {
  local -n name=$1
  shift
  local number fd log=$scratch/server.${#children[@]}.log
  exec {fd}<> <(:) # a pipe without a name
  LD_LIBRARY_PATH=$lib "$bin/Xzol" -displayfd "$fd" "$@" >"$log" 2>&1 &
  children+=($!)
  read -r -t 30 -u "$fd" number || fail "Xzol did not start: $(cat "$log")"
  exec {fd}>&-
  name=:$number
}

# start_displays [options of Xzol]
start_displays() {
  start_display local_display --vendor-names "zolsoft mesa" "$@"
  start_display app_display --gl-display "$local_display" "$@"
}
