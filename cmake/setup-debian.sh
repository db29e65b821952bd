#!/bin/sh
# Installs the Debian packages the build needs when they are missing: with
# apt-get when running as root, otherwise it prints the command and stops.
PKGS="cmake ninja-build g++ make libgtest-dev libbenchmark-dev pkg-config python3 libisal-dev libssl-dev"
missing=""
for p in $PKGS; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" = 0 ]; then
  echo "Installing:$missing"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq && apt-get install -y -qq $missing >/dev/null || { echo "apt-get failed"; exit 1; }
else
  echo "Missing build packages. Run:"
  echo "  sudo apt-get install -y$missing"
  exit 1
fi
