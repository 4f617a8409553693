#!/bin/bash
# release.sh: the packages of a version, as they are published.
#
#   scripts/release.sh v1.1.0
#
# Leaves them in build/release, with SHA256SUMS. With a certificate the programs and
# the MSI are signed, and the hashes of the unsigned packages, which anybody can build
# again, stand in SHA256SUMS.unsigned:
#
#   SIGN_CERTIFICATE    a PKCS#12 file in base64
#   SIGN_PASSWORD       its password
#   SIGN_TIMESTAMP_URL  who confirms the time; empty: nobody
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=scripts/machine.sh
. "$root/scripts/machine.sh"

output=$root/build/release
build=$root/build/release-build

# The version of the tree, its tag and its changes have to be one.
check_tag() {
  local version
  version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")
  [ "$1" = "v$version" ] || give_up "the tag is $1, the version is $version"
  grep -q "^## ${version//./\\.} ([0-9-]*)$" "$root/CHANGELOG.md" ||
    give_up "CHANGELOG.md has no heading with $version and a day"
}

# Leaves the packages in build/release. pack.py signs with the command of SIGN_COMMAND.
make_packages() {
  rm -f "$build/packaging/packages/SHA256SUMS"
  cmake --build "$build" --target packages
  cp "$build"/packaging/packages/{*.zip,*.msi,*.json,SHA256SUMS} "$output"
}

# Signs one file with the certificate in the folder that SIGN_FOLDER names.
sign_file() {
  local time=()
  [ -z "$SIGN_TIMESTAMP_URL" ] || time=(-ts "$SIGN_TIMESTAMP_URL")
  osslsigncode sign -pkcs12 "$SIGN_FOLDER/certificate" -readpass "$SIGN_FOLDER/password" -h sha256 \
    -n "Zephon launcher" "${time[@]}" -in "$1" -out "$1.signed"
  mv "$1.signed" "$1"
}

make_signed_packages() {
  install_packages osslsigncode
  SIGN_FOLDER=$(mktemp -d)
  trap 'rm -rf "$SIGN_FOLDER"' EXIT
  (umask 077 && base64 -d <<<"$SIGN_CERTIFICATE" >"$SIGN_FOLDER/certificate" &&
    printf '%s' "${SIGN_PASSWORD:-}" >"$SIGN_FOLDER/password")
  export SIGN_FOLDER SIGN_TIMESTAMP_URL=${SIGN_TIMESTAMP_URL-http://timestamp.digicert.com}
  mv "$output/SHA256SUMS" "$output/SHA256SUMS.unsigned"
  SIGN_COMMAND="$root/scripts/release.sh --sign" make_packages
}

main() {
  check_tag "${1:-}"
  install_packages "${build_packages[@]}" "${package_packages[@]}"
  rm -rf "$output" "$build"
  mkdir -p "$output"
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw.cmake"
  make_packages
  [ -z "${SIGN_CERTIFICATE:-}" ] || make_signed_packages
  ls -l "$output"
}

if [ "${1:-}" = --sign ]; then
  sign_file "$2"
else
  main "$@"
fi
