#!/usr/bin/env bash
# Installs every Debian package the project needs. Idempotent: packages already present are
# left alone and the package lists are refreshed at most once per run.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang lld pkg-config git
  libpugixml-dev libssl-dev uuid-dev libsystemd-dev
  libgtest-dev libgmock-dev libbenchmark-dev libspdlog-dev libcli11-dev
  libclang-rt-14-dev
  systemd systemd-container dbus
  python3 python3-impacket tshark
  doxygen clang-format clang-tidy
  libgrpc++-dev protobuf-compiler-grpc libprotobuf-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
# tshark asks whether non-root users may capture; answer once so the install never prompts.
echo "wireshark-common wireshark-common/install-setuid boolean false" | $sudo debconf-set-selections
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
