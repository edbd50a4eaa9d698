# Shared by ./start and ./check, which source it with the project's root as current directory.

say() { printf '\n== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# wanted_packages SECTION...: the names below these headings of the package list
wanted_packages() {
  local section
  for section in "$@"; do
    awk -v heading="# $section" '/^#/ { within = ($0 == heading); next } within && NF { print $1 }' \
      cmake/debian-packages.txt
  done
}

# missing_packages SECTION...
missing_packages() {
  local wanted
  mapfile -t wanted < <(wanted_packages "$@")
  [ "${#wanted[@]}" -gt 0 ] || die "cmake/debian-packages.txt has no section: $*"
  printf '%s\n' "${wanted[@]}" | grep -vxF -f <(
    dpkg-query -W -f '${Package} ${db:Status-Status}\n' "${wanted[@]}" 2>/dev/null | sed -n 's/ installed$//p'
  ) || true
}

# as_root COMMAND...
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    sudo "$@"
  fi
}

# install_packages SECTION...: what is missing, and nothing else
install_packages() {
  command -v dpkg-query >/dev/null || die "this needs Debian's packages; cmake/debian-packages.txt lists them"
  local missing
  mapfile -t missing < <(missing_packages "$@")
  [ "${#missing[@]}" -gt 0 ] || return 0

  say "Installing ${#missing[@]} missing packages: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    die "only root can install packages, and there is no sudo. As root: apt-get install ${missing[*]}"
  fi
  local install=(env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends)
  if ! as_root "${install[@]}" "${missing[@]}" >/dev/null 2>&1; then
    echo "The package lists are missing or old; fetching them."
    as_root apt-get update -qq
    as_root "${install[@]}" "${missing[@]}" >/dev/null
  fi
}

# build PRESET TARGET...: all targets when none is named
build() {
  local preset=$1 quiet=() target targets=()
  shift
  for target in "$@"; do
    targets+=(--target "$target")
  done
  [ -t 1 ] || quiet=(-- --quiet)
  cmake --build "build/$preset" "${targets[@]}" "${quiet[@]}"
}
