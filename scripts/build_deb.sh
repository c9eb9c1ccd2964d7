#!/usr/bin/env bash
# Builds the Debian packages from the last commit, or from a source tree without git, and checks them with lintian.
# Argument: the folder for the packages; it is emptied first.
set -euo pipefail
out=$1
version=$(dpkg-parsechangelog --show-field Version)
version=${version%-*}
name=kv-hostlink-$version

sources() {
    if [ -e .git ]; then
        git diff --quiet HEAD || echo "== left out: changes that are not committed" >&2
        git archive --prefix="$name/" HEAD
    else
        tar --exclude=./build --transform="s#^\.#$name#" -c .
    fi
}

rm -rf "$out"
mkdir -p "$out"
sources | xz -T0 >"$out/kv-hostlink_$version.orig.tar.xz"
cd "$out"
tar -xf "kv-hostlink_$version.orig.tar.xz"
(cd "$name" && dpkg-buildpackage --no-sign) >build.log 2>&1 || {
    cat build.log >&2
    exit 1
}
# Root in a container has no other user at hand.
lintian --allow-root --fail-on error,warning --info kv-hostlink_*.changes
