# Sourced by the other scripts: stands in the project's top folder, counts the cores, times a stage.
cd "$(dirname "${BASH_SOURCE[0]}")/.."

jobs=${JOBS:-$(nproc)}

# stage NAME COMMAND...: runs the command between two headlines, the second with the time it took.
stage() {
  local name=$1 start=$SECONDS
  shift
  echo "== $name"
  if ! "$@"; then
    echo "== $name: failed after $((SECONDS - start)) s" >&2
    exit 1
  fi
  echo "== $name: $((SECONDS - start)) s"
}
