#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the tests and the tools need.
# Does nothing when they are all present.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  rapidjson-dev libssl-dev
  libcurl4-openssl-dev libsqlite3-dev libcpp-httplib-dev
  nginx-light
  clang libclang-rt-14-dev
)
if [[ $# -gt 0 ]]; then packages+=("$@"); fi

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
if [[ ${#missing[@]} -eq 0 ]]; then
  exit 0
fi

echo "installing: ${missing[*]}"
sudo_cmd=()
if [[ $(id -u) -ne 0 ]]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
