#!/usr/bin/env bash
# Unpacks Debian's armhf packages, with all that they depend on, into a folder of their own. The
# machine's packages and what its apt knows stay untouched, and nothing here needs root. Arguments:
# the folder, the packages.
set -euo pipefail
sysroot=$1
shift
complete=$sysroot/packages
apt=$(realpath -m "$sysroot/apt")

# The mirror of this machine. The suites with security updates are left out: nothing of the folder is
# ever installed.
sources() {
    local targets
    targets=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | sort -u)
    [ -n "$targets" ] ||
        targets="http://deb.debian.org/debian $(. /etc/os-release && echo "$VERSION_CODENAME") main"
    sed 's#^#deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] #' <<<"$targets"
}

# apt-get with the other architecture and with a memory of its own.
armhf() {
    apt-get -qq -o APT::Architecture=armhf -o APT::Architectures::=armhf -o APT::Sandbox::User=root \
        -o Dir::State="$apt" -o Dir::State::status="$apt/status" -o Dir::Cache="$apt" \
        -o Dir::Etc::sourcelist="$apt/sources.list" -o Dir::Etc::sourceparts="$apt/sources.d" "$@"
}

unpack() {
    rm -rf "$sysroot"
    mkdir -p "$apt"/{lists,archives}/partial "$apt/sources.d"
    : >"$apt/status"
    sources >"$apt/sources.list"
    armhf update
    armhf install -y --no-install-recommends --download-only "$@"
    local package
    for package in "$apt"/archives/*.deb; do
        dpkg-deb -x "$package" "$sysroot"
    done
    rm -rf "$apt"
}

# Links that start at the root lead out of the folder.
turn_links() {
    local link
    find "$sysroot" -type l -lname '/*' | while IFS= read -r link; do
        ln -sfn --relative "$sysroot$(readlink "$link")" "$link"
    done
}

if [ ! -f "$complete" ] || [ "$(<"$complete")" != "$*" ]; then
    unpack "$@"
    turn_links
    # moc and the other build programs of Qt run on this machine, so they are this machine's own.
    rm -rf "$sysroot/usr/lib/qt5/bin"
    ln -s /usr/lib/qt5/bin "$sysroot/usr/lib/qt5/bin"
    echo "$*" >"$complete"
fi
arm-linux-gnueabihf-gcc --sysroot="$sysroot" -O2 -Wall -Wextra -Werror -shared -fPIC \
    -o "$sysroot/lib/no_pidfd.so" scripts/no_pidfd.c
echo /lib/no_pidfd.so >"$sysroot/etc/ld.so.preload"
