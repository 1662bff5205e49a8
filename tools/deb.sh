#!/usr/bin/env bash
# Builds the Debian package with Debian's own tools, from a copy of the tracked sources in build/deb/ (the
# tools write beside the source tree), then checks it with lintian. `tools/deb.sh armhf` cross-builds the
# package for the 32-bit ARM boards. Installs what it needs with apt-get when it is missing; exits 77 (and
# says so loudly) when it cannot.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/install_or_skip.sh
arch=${1:-$(dpkg --print-architecture)}
native=$(dpkg --print-architecture)

need=()
for tool in dpkg-buildpackage:dpkg-dev dh:debhelper cmake:cmake lintian:lintian g++:g++; do
    command -v "${tool%%:*}" >/dev/null || need+=("${tool#*:}")
done
if [ "$arch" != "$native" ]; then
    command -v arm-linux-gnueabihf-g++ >/dev/null || need+=(g++-arm-linux-gnueabihf)
    # The package's dependencies are read off the target's own libraries, installed beside ours.
    if ! dpkg -s "libstdc++6:$arch" >/dev/null 2>&1; then
        need+=("libstdc++6:$arch")
        [ "$(id -u)" = 0 ] && dpkg --add-architecture "$arch" && apt-get update >/dev/null 2>&1 || true
    fi
fi
install_or_skip deb 77 "${need[@]}"

version=$(dpkg-parsechangelog -l debian/changelog -S Version)
engine_version=$(sed -n 's/.*"id name Dravnik \([^"]*\)".*/\1/p' src/engine/main.cpp)
if [ "$version" != "$engine_version" ]; then
    echo "deb: debian/changelog says $version, the engine says $engine_version: add a changelog entry"
    exit 1
fi

out=build/deb
stage=$out/dravnik-$version
rm -rf "$stage"
mkdir -p "$stage"
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files -z | xargs -0 cp --parents -t "$stage"
else # an exported tree: all of it but the builds
    tar -c --exclude=./build --exclude=./.git . | tar -x -C "$stage"
fi
options=(-us -uc -b)
# Across architectures the host's build dependencies are checked by hand above: the cross compiler.
[ "$arch" != "$native" ] && options+=(-a"$arch" -d)
start=$(date +%s)
(cd "$stage" && DEB_BUILD_OPTIONS="parallel=$(nproc) ${DEB_BUILD_OPTIONS:-}" dpkg-buildpackage "${options[@]}") \
    >"$out/build-$arch.log" 2>&1 || { tail -30 "$out/build-$arch.log"; exit 1; }
echo "deb: dpkg-buildpackage for $arch took $(( $(date +%s) - start )) s"
package=$out/dravnik_${version}_$arch.deb
dpkg -c "$package"
echo "deb: lintian $package"
lintian --fail-on error,warning "$package"
echo "deb: built $package"
