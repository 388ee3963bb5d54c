# What the scripts share; each sources it first. Sets `root`, the repository, and makes it the current folder.
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

say() { printf '\n\033[1m==> %s\033[0m\n' "$*"; }
quietly() { # COMMAND...: shows the command's output only when it fails
  quiet_log=$(mktemp)
  quiet_code=0
  "$@" >"$quiet_log" 2>&1 || quiet_code=$?
  [ "$quiet_code" -eq 0 ] || cat "$quiet_log"
  rm -f "$quiet_log"
  return "$quiet_code"
}
as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"
  elif command -v sudo >/dev/null; then sudo "$@"
  else echo "This needs root, or sudo: $*" >&2; return 1
  fi
}
