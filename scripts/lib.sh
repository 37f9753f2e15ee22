# Shared by the scripts beside it: steps, errors, and where things are. Sourced, never run.

set -euo pipefail

readonly KX_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$KX_ROOT"

# Prints a step; the time since the script began stands before it.
step() { printf '\n[%3ds] %s\n' "$SECONDS" "$*"; }

# Ends the script with one clear sentence.
die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# help "$@": prints the comment at the head of the calling script and ends, when --help is among the arguments.
help() {
  local argument
  for argument in "$@"; do
    case "$argument" in
      -h | --help)
        sed -n '2,/^[^#]/{/^#/{s/^# \{0,1\}//;p;};}' "$0"
        exit 0
        ;;
    esac
  done
}

# Passes the lines of a build on to the log in $1, and shows the newest one in place when a person is watching.
watch_build() {
  if [ -t 1 ]; then
    tee -a "$1" | while IFS= read -r line; do
      case "$line" in \[*) printf '\r\033[K%.100s' "$line" ;; esac
    done
    printf '\r\033[K'
  else
    cat >>"$1"
  fi
}

# configure_and_build <preset> [ninja argument...]
# Quiet when all goes well; on failure the end of the log says why.
configure_and_build() {
  local preset=$1 log
  shift
  mkdir -p "build/$preset"
  log="build/$preset/build.log"
  if ! cmake --preset "$preset" >"$log" 2>&1 ||
    ! cmake --build --preset "$preset" -- -k 0 "$@" 2>&1 | watch_build "$log"; then
    tail -n 60 "$log" >&2
    die "the build of preset '$preset' failed; the whole log is $KX_ROOT/$log."
  fi
}
