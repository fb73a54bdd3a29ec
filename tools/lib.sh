# tools/lib.sh : what ./run, ./test and ./dev share: messages, packages, building, testing.
# Sourced by bash with the repository as the current directory.

set -euo pipefail

# An environment may be nearly empty, and system programs may be outside an ordinary user's PATH.
export PATH="${PATH:-/usr/local/bin:/usr/bin:/bin}:/usr/sbin:/sbin"
export LC_ALL=C.UTF-8
HOME=${HOME:-$(getent passwd "$(id -u)" | cut -d: -f6 || true)}
if [[ ! -d $HOME || ! -w $HOME ]]; then
  HOME=$PWD/build/home  # the compiler cache refuses to be without
  mkdir -p "$HOME"
fi
export HOME
# Lets the compiler cache work beside precompiled headers.
export CCACHE_SLOPPINESS=pch_defines,time_macros
# The presets decide, not what a shell may have set for other projects.
unset CXXFLAGS CFLAGS LDFLAGS CMAKE_GENERATOR CMAKE_BUILD_TYPE CMAKE_BUILD_PARALLEL_LEVEL DESTDIR

# The targets of what is installed.
shipped=(HTTPClient kelhost ovcommon ovclient chainhost)

step() { printf '==> %s\n' "$*"; }

fail() {
  printf '==> %s\n' "$*" >&2
  exit 1
}

# packages_of SECTION... : the packages that these sections of cmake/packages.txt name.
packages_of() {
  local section
  for section in "$@"; do
    sed -n "/^\[$section\]\$/,/^\[/{/^[a-z]/p}" cmake/packages.txt
  done
}

# missing_packages PACKAGE... : those that are not installed.
missing_packages() {
  local installed
  installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null |
    sed -n 's/^installed //p') || true
  printf '%s\n' "$@" | grep -vxF -f <(printf '%s\n' "$installed") || true
}

# need_packages SECTION... : installs what is missing; asks no package source when nothing is.
need_packages() {
  local packages missing as_root=()
  command -v dpkg-query >/dev/null || fail "This needs Debian 12: dpkg-query is not here"
  mapfile -t packages < <(packages_of "$@")
  mapfile -t missing < <(missing_packages "${packages[@]}")
  if [[ ${#missing[@]} -eq 0 ]]; then
    return
  fi
  step "Installing missing packages: ${missing[*]}"
  if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || fail "Neither root nor sudo: install the packages named above"
    as_root=(sudo)
  fi
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q
    -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3)
  quietly packages "${apt[@]}" update
  quietly packages "${apt[@]}" install -y --no-install-recommends "${missing[@]}"
}

# quietly NAME COMMAND... : runs it with its output in build/log/NAME.log, shown when it fails.
quietly() {
  local log="build/log/$1.log"
  shift
  mkdir -p build/log
  if ! "$@" >"$log" 2>&1 </dev/null; then
    tail -n 100 "$log" >&2
    printf '==> Failed: %s (all of its output: %s)\n' "$*" "$log" >&2
    return 1
  fi
}

# build PRESET [TARGET...] : configures the preset and builds the targets, or all of them.
build() {
  local preset=$1
  shift
  step "Configuring build/$preset"
  quietly "configure-$preset" cmake --preset "$preset" || return
  step "Building build/$preset${*:+: $*}"
  cmake --build --preset "$preset" ${*:+--target "$@"} </dev/null
}

# ctest_of PRESET ARGUMENT... : runs ctest for the preset.
ctest_of() {
  local preset=$1 plain=()
  shift
  # The sanitizers of this compiler stand only so much randomness of addresses.
  if [[ $preset == [at]san && $(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0) -gt 28 ]] &&
    setarch "$(uname -m)" -R true 2>/dev/null; then
    plain=(setarch "$(uname -m)" -R)
  fi
  "${plain[@]}" ctest --preset "$preset" -j "$(nproc)" "$@" </dev/null
}
