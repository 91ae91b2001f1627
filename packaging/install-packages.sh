#!/usr/bin/env bash
# Installs those packages of the given lists that are missing. Asks nothing. A line "name | path" counts
# as installed also where the path exists, however it came there.
# Usage: install-packages.sh [--optional] LIST...   (--optional: a failure is told, and is no error)
set -euo pipefail

optional=no
if [ "${1:-}" = --optional ]; then
  optional=yes
  shift
fi

missing=()
while IFS='|' read -r name path; do
  name=$(tr -d ' ' <<<"$name")
  path=$(tr -d ' ' <<<"${path:-}")
  [ -n "$name" ] || continue
  if [ -n "$path" ] && [ -e "$path" ]; then continue; fi
  if [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" != installed ]; then
    missing+=("$name")
  fi
done < <(sed 's/#.*//' "$@")

if [ ${#missing[@]} -eq 0 ]; then exit 0; fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "These packages are missing, and this is neither root nor is there sudo: ${missing[*]}" >&2
    [ $optional = yes ] && exit 0
    exit 1
  fi
  as_root=(sudo)
fi

echo "Installing: ${missing[*]}"
install() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get -qq install -y --no-install-recommends "${missing[@]}" </dev/null >/dev/null
}
if ! install; then
  echo "Could not install all of: ${missing[*]}" >&2
  [ $optional = yes ] && exit 0
  exit 1
fi
