#!/usr/bin/env bash
# Builds the Debian packages from the last commit, or from a source tree without git. lintian checks them, blhc the
# hardening of each compiler's call. Argument: the folder for the packages, which is emptied first. Its folder
# kv-hostlink has the sources that they are built from.
set -euo pipefail
out=$1
version=$(dpkg-parsechangelog --show-field Version)
tree=kv-hostlink
rm -rf "$out"
mkdir -p "$out/$tree"

sources() {
    if [ -e .git ]; then
        git diff --quiet HEAD || echo "== left out: changes that are not committed" >&2
        git archive HEAD
    else
        tar --exclude=./build -c .
    fi
}
sources | tar -x -C "$out/$tree"

cd "$out"
tar --exclude="$tree/debian" --transform="s#^$tree#$tree-${version%-*}#" --sort=name --owner=0 --group=0 \
    -cJf "kv-hostlink_${version%-*}.orig.tar.xz" "$tree"
(cd "$tree" && dpkg-buildpackage --no-sign) >build.log 2>&1 || {
    tail -n 50 build.log >&2
    echo "all of it is in $out/build.log" >&2
    exit 1
}
# A container has no other user than root at hand.
lintian --allow-root --fail-on error,warning ./*.changes
blhc --all build.log
echo "lintian and blhc: no errors, no warnings"
