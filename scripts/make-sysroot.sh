#!/usr/bin/env bash
# Makes build/sysroot/ARCH: the libraries of Debian 12 for that architecture, unpacked and not installed, so that the
# machine's own packages stay as they are. Argument: armhf or arm64. DEBIAN_MIRROR: in place of deb.debian.org.
# Below var/lib/dpkg is what dpkg-shlibdeps wants to know of the packages.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib.sh
. scripts/lib.sh

arch=${1:?"armhf or arm64"}
sysroot=$PWD/build/sysroot/$arch
[[ $(cat "$sysroot/complete" 2>/dev/null) != "${SYSROOT_PACKAGES[*]}" ]] || exit 0
rm -rf "$sysroot"
apt=$sysroot.apt
admin=$sysroot/var/lib/dpkg
mkdir -p "$apt"/{state/lists/partial,cache/archives/partial} "$admin/info"

echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] ${DEBIAN_MIRROR:-http://deb.debian.org/debian} bookworm main" \
    >"$apt/sources.list"
: >"$apt/status"
options=(
    -o Dir::State="$apt/state" -o Dir::State::status="$apt/status" -o Dir::Cache="$apt/cache"
    -o Dir::Etc::SourceList="$apt/sources.list" -o Dir::Etc::SourceParts=- -o Dir::Etc::Parts=-
    -o APT::Architecture="$arch" -o APT::Architectures="$arch" -o APT::Sandbox::User=root
    -o Debug::NoLocking=true -o APT::Install-Recommends=false
)
run_logged "$sysroot.log" apt-get "${options[@]}" update
run_logged "$sysroot.log" apt-get "${options[@]}" --yes --download-only install "${SYSROOT_PACKAGES[@]}"

echo 1 >"$admin/info/format"
printf '%s\n' "$arch" "$(dpkg --print-architecture)" | sort -u >"$admin/arch"
for deb in "$apt"/cache/archives/*.deb; do
    dpkg-deb --extract "$deb" "$sysroot"
    name=$(dpkg-deb --field "$deb" Package)
    [[ $(dpkg-deb --field "$deb" Multi-Arch) != same ]] || name+=:$arch
    { dpkg-deb --field "$deb" && printf '%s\n' 'Status: install ok installed' ''; } >>"$admin/status"
    # With the sysroot in front: where dpkg-shlibdeps finds the library is where it looks for its package.
    dpkg-deb --fsys-tarfile "$deb" | tar --list | sed -E "s:^\.?/?:$sysroot/:; s:/$::" >"$admin/info/$name.list"
    for file in symbols shlibs; do
        dpkg-deb --info "$deb" $file >"$admin/info/$name.$file" 2>/dev/null || rm "$admin/info/$name.$file"
    done
done
# Links that lead out of the sysroot lead into it.
find "$sysroot" -type l -lname '/*' -printf '%p %l\n' | while read -r link target; do
    ln -sfn "$(realpath --relative-to="$(dirname "$link")" -m "$sysroot$target")" "$link"
done
rm -r "$apt"
echo "${SYSROOT_PACKAGES[*]}" >"$sysroot/complete"
