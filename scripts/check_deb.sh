#!/usr/bin/env bash
# Installs the Debian packages into a temporary root, uses what they installed, removes them again, and compares the
# root before and after. Argument: the folder that build_deb.sh has filled.
set -euo pipefail
built=$(realpath "$1")
tree=$built/kv-hostlink
version=$(cd "$tree" && dpkg-parsechangelog --show-field Version)
packages=("$built"/kv-hostlink{,-driver,-dev}_*.deb)
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

# Runs a command, and shows what it says only when it fails.
logged() { "$@" >"$root/var/log/run" 2>&1 || fail "$(cat "$root/var/log/run")"; }

mkdir -p "$root"/var/{lib/dpkg/{updates,info,triggers},log}
: >"$root/var/lib/dpkg/status"
: >"$root/var/lib/dpkg/available"
in_root() {
    logged dpkg --root="$root" --force-depends --force-not-root --log="$root/var/log/dpkg.log" "$@"
}

# Everything outside dpkg's own records.
contents() { (cd "$root" && find . -path ./var -prune -o "$@" -print | sort); }

before=$(contents)
in_root --install "${packages[@]}"
installed=$(contents -type f)

# What Debian adds or compresses aside, the packages have the files of cmake --install.
additions='/share/doc/[^/]*/(changelog|changelog\.Debian|copyright)$|/share/lintian/'
diff <(cd "$tree/debian/tmp" && find . -type f | grep -vE "$additions" | sort) \
    <(sed 's/\.gz$//' <<<"$installed" | grep -vE "$additions" | sort) >&2 ||
    fail "the packages (>) and cmake --install (<) have other files"

kvlink=$root/usr/bin/kvlink
plugin=$(find "$root/usr/lib" -name libkv_l20v_host_link.so)
commit=$(grep -v '^\$' "$tree/cmake/commit.txt") || commit=
expected="${version%-*}${commit:+ ($commit)}"
for program in kvlink kvsim; do
    named=$("$root/usr/bin/$program" --version)
    [ "$named" = "$program $expected" ] || fail "$program --version: \"$named\", expected $expected"
done
"$kvlink" info | grep -xF "plug-in: $plugin" || fail "kvlink does not load $plugin"
"$kvlink" --sim read DM0 | grep -qx 0 || fail "kvlink does not read"

# A unit is looked for below the root, where the example's own instructions put it.
unit=etc/systemd/system/kvlink-log@press.service
mkdir -p "$root/${unit%/*}"
cp "$root/usr/share/doc/kv-hostlink/examples/kvlink-log@.service" "$root/$unit"
systemd-analyze --root="$root" --man=no --recursive-errors=no verify "${unit##*/}" ||
    fail "systemd does not take the example unit"
rm -r "$root/etc"

# A driver made of nothing but these packages, as their page says.
zcat "$root/usr/share/doc/kv-hostlink/library.md.gz" >"$root/var/library.md"
library=$(dirname "$(find "$root/usr/lib" -name pkgconfig)")
logged bash "$tree/tests/install/library_page.sh" "$root/usr" "${library#"$root/usr/"}" \
    "$root/var/library.md" "$root/var/page" g++ Ninja

in_root --purge kv-hostlink kv-hostlink-driver kv-hostlink-dev
after=$(contents)
[ "$before" = "$after" ] || fail "left behind:" "$(diff <(echo "$before") <(echo "$after"))"
du -h "${packages[@]}" | sed "s#$built/##"
echo "$(wc -l <<<"$installed") files installed, used and removed; nothing left behind"
