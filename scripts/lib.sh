# What the scripts share; sourced, not run. Puts the caller in the project's root.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# What a build needs, as Debian 12 names it.
build_packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev nettle-dev)

die() {
  echo "${0##*/}: $*" >&2
  exit 2
}

# Installs those of the Debian packages named that are missing.
need_packages() {
  command -v dpkg-query >/dev/null ||
    die "needs Debian or a system made from it; on another one install what these packages hold and use cmake --preset: $*"
  local missing=() name
  for name in "$@"; do
    dpkg-query -W -f '${db:Status-Status}\n' "$name" 2>/dev/null | grep -qx installed || missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  local as_root=() refusal="these packages are missing and could not be installed: ${missing[*]}
As root run: apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || die "$refusal"
    as_root=(sudo)
    [ -t 0 ] || as_root+=(-n)
  fi
  echo "Installing: ${missing[*]}" >&2
  { "${as_root[@]}" apt-get update -qq &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "${missing[@]}"; } </dev/null >&2 ||
    die "$refusal"
}

# Configures and builds a preset; further arguments name targets.
build_preset() {
  local preset=$1
  shift
  if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" ${1:+--target "$@"} >&2
}
