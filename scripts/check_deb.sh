#!/usr/bin/env bash
# Installs the Debian package into a temporary root, runs what it installed, removes it again, and
# compares the root before and after. Argument: the package.
set -euo pipefail
package=$(realpath "$1")
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

mkdir -p "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/triggers"
: >"$root/var/lib/dpkg/status"
: >"$root/var/lib/dpkg/available"
in_root() { dpkg --root="$root" --force-depends --force-not-root --log="$root/var/log/dpkg.log" "$@"; }
mkdir -p "$root/var/log"

# Everything outside dpkg's own records.
contents() { (cd "$root" && find . -path ./var -prune -o -print | sort); }

before=$(contents)
in_root --install "$package" >"$root/var/log/install.log" 2>&1 || { cat "$root/var/log/install.log" >&2; exit 1; }
"$root/usr/bin/kvlink" info | grep '^plug-in: ' | grep -F "$root/usr/lib"
"$root/usr/bin/kvlink" --sim read DM0 | grep -qx 0
"$root/usr/bin/kvsim" --version
find "$root/usr/lib" -name libkv_l20v_host_link.so -exec readelf --dyn-syms -W {} + | grep _chk@GLIBC >/dev/null || {
    echo "the plug-in is built without checked library calls" >&2
    exit 1
}
installed=$(contents | wc -l)
in_root --purge kv-hostlink >"$root/var/log/remove.log" 2>&1 || { cat "$root/var/log/remove.log" >&2; exit 1; }
after=$(contents)
if [ "$before" != "$after" ]; then
    echo "left behind:" >&2
    diff <(echo "$before") <(echo "$after") >&2
    exit 1
fi
echo "$(basename "$package"): $installed entries installed, used and removed; nothing left behind"
