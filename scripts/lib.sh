# What the scripts share; sourced, not run. Puts the caller in the project's root.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# What a build needs, as Debian 12 names it; ccache spares compiling what ships for
# packages again.
build_packages=(g++ cmake ninja-build ccache libcli11-dev nlohmann-json3-dev nettle-dev
  libebml-dev libmatroska-dev)
# What the GStreamer plugin needs to be built.
gstreamer_packages=(pkg-config libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev)
# What the tests need besides.
test_packages=(binutils make pkg-config python3 python3-jsonschema libgtest-dev abigail-tools blueprint-tools
  doxygen libavcodec-dev libavutil-dev libswscale-dev
  ffmpeg gstreamer1.0-tools gstreamer1.0-plugins-good gstreamer1.0-plugins-ugly
  "${gstreamer_packages[@]}")
# What the presets need besides that build with clang: asan, fuzz, coverage.
clang_packages=(clang-14 libclang-rt-14-dev)
# What takes the NDK's place in the test of the Android build.
ndk_packages=(clang-14 lld-14 llvm-14)

# The fuzz targets: the sources of fuzz/ with lower-case names.
fuzz_targets=(fuzz/[a-z]*.cpp)
fuzz_targets=("${fuzz_targets[@]#fuzz/}")
fuzz_targets=("${fuzz_targets[@]%.cpp}")

configure_options=()

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

# Unpacks Debian packages of another architecture, without what they depend on,
# into FOLDER: unpack_foreign_packages ARCHITECTURE FOLDER NAME... Apt gets lists
# of its own there, so that the system never hears of the architecture.
unpack_foreign_packages() {
  local architecture=$1 folder=$2 apt
  shift 2
  [ "$(cat "$folder/.unpacked" 2>/dev/null)" != "$*" ] || return 0
  echo "Unpacking for $architecture: $*" >&2
  rm -rf "$folder"
  mkdir -p "$folder"/.apt/{lists,cache}/partial
  apt=$(realpath "$folder/.apt")
  : >"$apt/status"
  cat >"$apt/apt.conf" <<END
APT::Architecture "$architecture";
#clear APT::Architectures;
APT::Architectures { "$architecture"; };
APT::Sandbox::User "root";
Dir::State "$apt";
Dir::State::status "$apt/status";
Dir::Cache "$apt/cache";
END
  (cd "$apt" && apt-get -c apt.conf update -qq && apt-get -c apt.conf download -qq "$@") >&2 ||
    die "these packages for $architecture could not be downloaded: $*"
  find "$apt" -name '*.deb' -exec dpkg-deb -x {} "$folder" \;
  rm -r "$apt"
  echo "$*" >"$folder/.unpacked"
}

# Configures a preset. An array configure_options adds to it, for this once.
configure_preset() {
  # Without preprocessing first, which compilers report the outcome of all the same.
  if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_DEPEND=1; fi
  cmake --preset "$1" "${configure_options[@]}" >/dev/null
}

# Configures and builds a preset; further arguments name targets.
build_preset() {
  local preset=$1
  shift
  configure_preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"} >&2
}
