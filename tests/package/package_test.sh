#!/usr/bin/env bash
# The Debian package of a built tree: cpack writes it (building nothing), it holds the program,
# its desktop entry and icons, its dependencies name the Qt libraries and the accessibility
# bus, and the program unpacked from it runs.
set -euo pipefail
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cd "$build"
if ! cpack -G DEB -B "$scratch/out" >"$scratch/cpack.log" 2>&1; then
  cat "$scratch/cpack.log"
  exit 1
fi
deb=$(ls "$scratch"/out/peekwell_*.deb)

contents=$(dpkg-deb -c "$deb")
for file in ./usr/bin/peekwell \
            ./usr/share/applications/peekwell.desktop \
            ./usr/share/icons/hicolor/scalable/apps/peekwell.svg \
            ./usr/share/icons/hicolor/symbolic/apps/peekwell-symbolic.svg \
            ./usr/share/gnome-shell/extensions/peekwell@peekwell.github.io/metadata.json \
            ./usr/share/gnome-shell/extensions/peekwell@peekwell.github.io/extension.js; do
  if ! grep -q " $file\$" <<<"$contents"; then
    echo "the package lacks $file; it holds:"
    echo "$contents"
    exit 1
  fi
done

depends=$(dpkg-deb -f "$deb" Depends)
for package in libqt6widgets6 libsqlite3-0 libsecret-1-0 at-spi2-core; do
  if ! grep -q "\b$package\b" <<<"$depends"; then
    echo "Depends lacks $package: $depends"
    exit 1
  fi
done

dpkg -x "$deb" "$scratch/root"
version=$("$scratch/root/usr/bin/peekwell" --version)
if [ "$version" != "peekwell $(dpkg-deb -f "$deb" Version)" ]; then
  echo "the unpacked program says “$version”"
  exit 1
fi
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate "$scratch/root/usr/share/applications/peekwell.desktop"
fi
echo "package: $(basename "$deb") holds the program, its desktop entry and icons, and runs"
