#!/usr/bin/env bash
# Installs the Debian 12 packages Peekwell needs to build, run and test.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
packages=$(grep -v -E '^\s*(#|$)' "$here/debian-packages.txt" | tr '\n' ' ')
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing="$missing $p"
done
if [ -n "${missing// }" ]; then
  echo "install-deps: installing $missing" >&2
  $sudo apt-get update -q
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends $missing
else
  echo "install-deps: every package is installed" >&2
fi
# The tests read numbers under a comma-decimal locale.
if ! locale -a 2>/dev/null | grep -qix 'de_DE.utf8'; then
  $sudo localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
